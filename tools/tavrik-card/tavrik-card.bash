# Completion of tavrik-card for bash.

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

# The options of a subcommand, from its own help.
_tavrik_card_options()
{
    tavrik-card "$1" --help 2>/dev/null | grep -o -- '--[a-z][a-z-]*' | sort -u
}

_tavrik_card()
{
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
    local commands=(new delete insert remove plug unplug list show set-code unblock lock break-channel import
        export-certificate fault)
    local operations=(any OpenSession StartTransaction GetTokenInfo GetSessionFlags QES_GetCertificates
        ES_GetCertificates QES_GetKeyInfo ES_GetKeyInfo QES_SignData ES_SignData ES_DecryptData Passwords_VerifyBOK
        QES_VerifyPin GetReaderList CloseSession StopTransaction WaitForReaderEvent)
    local place=0 i
    COMPREPLY=()
    if [ "$COMP_CWORD" -eq 1 ]; then
        _tavrik_card_take "$word" < <(printf '%s\n' "${commands[@]}" --help --version)
        return
    fi
    # The name of a command is taken from the list, and not from the line that is typed.
    [[ " ${commands[*]} " == *" $command "* ]] || return 0
    case $previous in
    --key | --out)
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
        ;;
    esac
    if [[ $word == -* ]]; then
        _tavrik_card_take "$word" < <(_tavrik_card_options "$command")
        return
    fi
    # Which positional argument it is, as long as no option stands before it.
    for ((i = 2; i < COMP_CWORD; ++i)); do
        [[ ${COMP_WORDS[i]} == -* ]] || place=$((place + 1))
    done
    case $command:$place in
    delete:0 | insert:0 | remove:0 | show:0 | set-code:0 | unblock:0 | lock:0 | break-channel:0 | import:0 | \
        export-certificate:0 | fault:0)
        _tavrik_card_take "$word" < <(_tavrik_card_names)
        ;;
    set-code:1 | lock:1)
        _tavrik_card_take "$word" < <(printf '%s\n' bok pin puk)
        ;;
    unblock:1)
        _tavrik_card_take "$word" < <(printf '%s\n' bok pin)
        ;;
    import:1 | export-certificate:1)
        _tavrik_card_take "$word" < <(printf '%s\n' qes es)
        ;;
    import:2)
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        ;;
    fault:1)
        _tavrik_card_take "$word" < <(printf '%s\n' "${operations[@]}")
        ;;
    esac
}

complete -o filenames -F _tavrik_card tavrik-card
