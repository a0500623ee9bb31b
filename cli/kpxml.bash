# bash completion for kpxml: commands, each command's options, and file names for FILE and OUT.
_kpxml() {
    local cur prev words cword
    _init_completion 2>/dev/null || {
        cur=${COMP_WORDS[COMP_CWORD]}
        prev=${COMP_WORDS[COMP_CWORD-1]}
        words=("${COMP_WORDS[@]}")
        cword=$COMP_CWORD
    }
    if [ "$cword" -eq 1 ]; then
        COMPREPLY=($(compgen -W "dump fmt get set check --help --version" -- "$cur"))
        return
    fi
    local options="--help"
    case "${words[1]}" in
        fmt) options="-o --indent --no-declaration --force --strict --help" ;;
        set) options="--create --indent --no-declaration --force --strict --help" ;;
        check) options="--strict --help" ;;
    esac
    case "$prev" in
        --indent)
            COMPREPLY=($(compgen -W "0 2 4 tab" -- "$cur"))
            return
            ;;
        -o)
            COMPREPLY=($(compgen -f -- "$cur"))
            return
            ;;
    esac
    if [[ "$cur" == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
    else
        COMPREPLY=($(compgen -f -- "$cur"))
    fi
}
complete -o filenames -F _kpxml kpxml
