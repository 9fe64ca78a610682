# Completion of tavrik-log for bash.

_tavrik_log()
{
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    COMPREPLY=()
    case $previous in
    --level)
        mapfile -t COMPREPLY < <(compgen -W "error warning info debug" -- "$word")
        return
        ;;
    --color | --colour)
        mapfile -t COMPREPLY < <(compgen -W "auto always never" -- "$word")
        return
        ;;
    --function | --since | --until | --name)
        return
        ;;
    esac
    if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(tavrik-log --help 2>/dev/null | grep -o -- '--[a-z][a-z-]*' | sort -u)" \
            -- "$word")
        return
    fi
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
    if [ "$COMP_CWORD" -eq 1 ] && [[ calls == "$word"* ]]; then
        COMPREPLY+=(calls)
    fi
}

complete -o filenames -F _tavrik_log tavrik-log
