# Completion of tavrik-card for bash. The program itself tells what it takes: "tavrik-card --describe".

# Takes those of the lines of its input that begin with the word. Nothing in them is expanded, whatever a folder is called.
_tavrik_card_take()
{
    local line
    COMPREPLY=()
    while IFS= read -r line; do
        if [[ $line == "$1"* ]]; then
            COMPREPLY+=("$line")
        fi
    done
}

# The cards that the tool lists, each with a name that needs no quoting.
_tavrik_card_names()
{
    tavrik-card list 2>/dev/null | cut -f1 | LC_ALL=C grep -x '[A-Za-z0-9_-][A-Za-z0-9._-]*'
}

# Completes a value, given what the program offers for it.
_tavrik_card_value()
{
    case $1 in
    '<card>') _tavrik_card_take "$2" < <(_tavrik_card_names) ;;
    '<file>') mapfile -t COMPREPLY < <(compgen -f -- "$2") ;;
    '<text>') ;;
    *) _tavrik_card_take "$2" < <(tr -s ' ' '\n' <<<"$1") ;;
    esac
}

_tavrik_card()
{
    local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]} name argument values i
    local commands=() own=() positionals=()
    local -A options=()
    COMPREPLY=()
    while IFS=$'\t' read -r name argument values; do
        if [ "$name" = tavrik-card ]; then
            own+=("$argument")
            continue
        fi
        [[ " ${commands[*]} " == *" $name "* ]] || commands+=("$name")
        if [ "$name" != "$command" ]; then
            continue
        elif [[ $argument == --* ]]; then
            options[$argument]=$values
        else
            positionals+=("$values")
        fi
    done < <(tavrik-card --describe 2>/dev/null)
    if [ "$COMP_CWORD" -eq 1 ]; then
        _tavrik_card_take "$word" < <(printf '%s\n' "${commands[@]}" "${own[@]}")
        return
    fi
    # Past the positional arguments, the options and their values that stand before the word.
    for ((i = 2; i < COMP_CWORD; ++i)); do
        if [[ ${COMP_WORDS[i]} != -* ]]; then
            positionals=("${positionals[@]:1}")
        elif [[ ${options[${COMP_WORDS[i]}]:--} != - ]]; then
            i=$((i + 1))
        fi
    done
    if [ "$i" -gt "$COMP_CWORD" ]; then
        _tavrik_card_value "${options[${COMP_WORDS[COMP_CWORD - 1]}]}" "$word"
    elif [[ $word == -* ]]; then
        _tavrik_card_take "$word" < <(printf '%s\n' "${!options[@]}" | sort)
    elif [ "${#positionals[@]}" -gt 0 ]; then
        _tavrik_card_value "${positionals[0]}" "$word"
    fi
}

complete -o filenames -F _tavrik_card tavrik-card
