# Debian's zsh looks for what packages bring in a folder of another name.
set(folder ${CPACK_TEMPORARY_DIRECTORY}/usr/share/zsh)
file(RENAME ${folder}/site-functions ${folder}/vendor-completions)
