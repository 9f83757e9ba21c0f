# fish completion for zrpctl
function __zrpctl_complete
    set -l words (commandline -opc)
    set -l word (commandline -ct)
    set -l found ($words[1] --complete $words[2..-1] "$word" 2>/dev/null)
    if set -q found[1]
        printf '%s\n' $found
    else
        __fish_complete_path $word
    end
end
complete -c zrpctl -f -a '(__zrpctl_complete)'
