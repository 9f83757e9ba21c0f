# bash completion for zrpctl                               -*- shell-script -*-
_zrpctl() {
    local word
    COMPREPLY=()
    while IFS= read -r word; do
        COMPREPLY+=("$(printf '%q' "$word")")
    done < <("${COMP_WORDS[0]}" --complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
}
complete -o default -F _zrpctl zrpctl
