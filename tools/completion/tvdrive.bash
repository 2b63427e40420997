# Completion of tvdrive's command line in bash.

_tvdrive()
{
    @VERBS@
    @MEDIA@
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} verb='' options='' files='' word
    ((COMP_CWORD > 1)) && verb=${COMP_WORDS[1]}

    COMPREPLY=()
    case $previous in
        --media)
            current=${current#[\"\']}
            for word in "${media[@]}"; do
                [[ $word == "$current"* ]] && COMPREPLY+=("$word")
            done
            compopt -o filenames    # the shell quotes blanks and brackets
            return
            ;;
        --speed)
            for word in fast real; do
                [[ $word == "$current"* ]] && COMPREPLY+=("$word")
            done
            return
            ;;
        --busy)
            for word in still transient forever; do
                [[ $word == "$current"* ]] && COMPREPLY+=("$word")
            done
            return
            ;;
        --model | --blocks | --read-error | --slow | --write-error | --after | --transport-error | --power-loss | --refuse) return ;;
    esac

    case $verb in
        '') options=${!purposes[*]} ;;
        list) options='--json --help' ;;
        add) options='--model --speed --help' ;;
        map) options='--help' files=yes ;;
        insert) options='--media --help' files=yes ;;
        new) options='--media --blocks --yes --help' files=yes ;;
        info) options='--json --help' ;;
        fault) options='--read-error --slow --write-error --busy --after --transport-error --power-loss --refuse --clear --help' ;;
        log) options='--on --off --clear --json --help' ;;
        export) options='--yes --help' files=yes ;;
        *) options='--help' ;;
    esac
    if [[ -n $files && $current != -* ]]; then
        compopt -o default
    elif [[ $verb == '' || $verb == list || $current == -* ]]; then
        for word in $options; do
            [[ $word == "$current"* ]] && COMPREPLY+=("$word")
        done
    fi
} && complete -F _tvdrive tvdrive
