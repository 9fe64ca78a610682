# Completion of tavrik-log for bash. The program itself tells what it takes: "tavrik-log --describe".

# Takes those of the lines of its input that begin with the word.
_tavrik_log_take()
{
    local line
    while IFS= read -r line; do
        if [[ $line == "$1"* ]]; then
            COMPREPLY+=("$line")
        fi
    done
}

_tavrik_log()
{
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} name argument values
    local commands=()
    local -A options=()
    COMPREPLY=()
    while IFS=$'\t' read -r name argument values; do
        if [ "$name" != tavrik-log ]; then
            commands+=("$name")
        elif [[ $argument == --* ]]; then
            options[$argument]=$values
        fi
    done < <(tavrik-log --describe 2>/dev/null)
    case ${options[$previous]:--} in
    -) ;;
    '<text>') return ;;
    *)
        _tavrik_log_take "$word" < <(tr -s ' ' '\n' <<<"${options[$previous]}")
        return
        ;;
    esac
    if [[ $word == -* ]]; then
        _tavrik_log_take "$word" < <(printf '%s\n' "${!options[@]}" | sort)
        return
    fi
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
    if [ "$COMP_CWORD" -eq 1 ]; then
        _tavrik_log_take "$word" < <(printf '%s\n' "${commands[@]}" | sort -u)
    fi
}

complete -o filenames -F _tavrik_log tavrik-log
