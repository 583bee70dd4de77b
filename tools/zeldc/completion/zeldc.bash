# Completion of zeldc for bash.

_zeldc() {
    local current=$2 command=${COMP_WORDS[1]} previous=$3
    local common='-c --stdout -d --decompress -z --compress -k --keep -t --test -l --list -q --quiet
        -v --verbose -r --recursive -o --output -j --threads --force -1 -2 -3 -4 -5 -6 -7 -8 -9
        --fast --best -h --help'
    local words=''

    if [ "$COMP_CWORD" -eq 1 ]; then
        words='gzip gunzip bzip2 bunzip2 compress decompress sum stages --help --version'
    elif [ "$previous" = --select ]; then
        words='size library'
    elif [ "$previous" = --format ] || { [ "$command" = compress ] && [ "$previous" = -f ]; }; then
        words='gz bz2'
    elif [[ $current == -* ]]; then
        case $command in
            gzip | gunzip) words="$common -f -n --no-name -N --name --select" ;;
            bzip2 | bunzip2) words="$common -f" ;;
            compress) words="$common -f --format -n --no-name -N --name --select" ;;
            decompress) words="$common -f -n --no-name -N --name" ;;
            stages) words='--json --plot -h --help' ;;
            sum) words='-h --help' ;;
        esac
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    [ -n "$words" ] || mapfile -t COMPREPLY < <(compgen -f -- "$current")
}
complete -o filenames -F _zeldc zeldc
