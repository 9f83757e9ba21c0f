# fish completion for zrpctl
complete -c zrpctl -f -a '(set -l words (commandline -opc); $words[1] --complete $words[2..-1] (commandline -ct) 2>/dev/null)'
