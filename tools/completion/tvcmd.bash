# Completion of tvcmd's command line in bash.

_tvcmd()
{
    @TABLE@
    local line=${COMP_LINE:0:COMP_POINT} words=() pending=() word current command='' i

    # Bash breaks words at ":" and "=" as well: what touches belongs together.
    for ((i = 0; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if ((i)) && [[ $line == [![:space:]]* ]]; then words[-1]+=$word; else words+=("$word"); fi
        line=${line#"${line%%[![:space:]]*}"}
        line=${line#"$word"}
    done
    current=${line#"${line%%[![:space:]]*}"}
    if [[ $line == [![:space:]]* && ${#words[@]} -gt 0 ]]; then
        current=${words[-1]}$current
        unset 'words[-1]'
    fi

    for word in "${words[@]:1}"; do
        if ((${#pending[@]})); then
            pending=("${pending[@]:1}")
        elif [[ -n $word && -n ${purposes[$word]-} ]]; then
            read -ra pending <<<"${takes[$word]-}"
            [[ $word == -* ]] || command=$word
        fi
    done

    COMPREPLY=()
    case ${pending[0]-} in
        path) compopt -o default ;;
        folder) compopt -o dirnames ;;
        other) ;;
        '='*)
            word=${pending[0]#=}
            for word in ${word//,/ }; do
                [[ $word == "$current"* ]] && COMPREPLY+=("$word")
            done
            ;;
        *)
            # A line has one command; switches come after it, or wherever the first "-" is typed.
            for word in "${!purposes[@]}"; do
                [[ $word == "$current"* ]] || continue
                if [[ $word == -* ]]; then
                    [[ -n $command || -n $current ]] || continue
                elif [[ -n $command ]]; then
                    continue
                fi
                COMPREPLY+=("$word")
            done
            ;;
    esac
} && complete -F _tvcmd tvcmd
