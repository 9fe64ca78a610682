# Completion of tavrik-setup for bash. The program itself tells what it takes: "tavrik-setup --describe".

# Takes those of the lines of its input that begin with the word.
_tavrik_setup_take()
{
    local line
    while IFS= read -r line; do
        if [[ $line == "$1"* ]]; then
            COMPREPLY+=("$line")
        fi
    done
}

_tavrik_setup()
{
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} name argument values programs
    local words=()
    local -A options=()
    COMPREPLY=()
    while IFS=$'\t' read -r name argument values; do
        if [ "$name" != tavrik-setup ]; then
            [[ $argument == --help ]] && words+=("$name")
        elif [[ $argument == --* ]]; then
            options[$argument]=$values
        else
            IFS=' ' read -ra programs <<<"$values"
            words+=("${programs[@]}")
        fi
    done < <(tavrik-setup --describe 2>/dev/null)
    case ${options[$previous]:--} in
    -) ;;
    '<file>')
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
        ;;
    *) return ;;
    esac
    if [[ $word == -* ]]; then
        _tavrik_setup_take "$word" < <(printf '%s\n' "${!options[@]}" | sort)
    else
        _tavrik_setup_take "$word" < <(printf '%s\n' "${words[@]}")
    fi
}

complete -o filenames -F _tavrik_setup tavrik-setup
