# Completion of tavrik-card for bash.

_tavrik_card_names()
{
    tavrik-card list 2>/dev/null | cut -f1
}

_tavrik_card_operations()
{
    echo any OpenSession StartTransaction GetTokenInfo GetSessionFlags QES_GetCertificates ES_GetCertificates \
        QES_GetKeyInfo ES_GetKeyInfo QES_SignData ES_SignData ES_DecryptData Passwords_VerifyBOK QES_VerifyPin \
        GetReaderList CloseSession StopTransaction WaitForReaderEvent
}

# The options of a subcommand, from its own help.
_tavrik_card_options()
{
    tavrik-card "$1" --help 2>/dev/null | grep -o -- '--[a-z][a-z-]*' | sort -u
}

_tavrik_card()
{
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
    local commands="new delete insert remove plug unplug list show set-code unblock lock break-channel import
        export-certificate fault"
    local place=0 i
    COMPREPLY=()
    if [ "$COMP_CWORD" -eq 1 ]; then
        mapfile -t COMPREPLY < <(compgen -W "$commands --help" -- "$word")
        return
    fi
    case $previous in
    --key | --out)
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
        ;;
    esac
    if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(_tavrik_card_options "$command")" -- "$word")
        return
    fi
    # Which positional argument it is, as long as no option stands before it.
    for ((i = 2; i < COMP_CWORD; ++i)); do
        [[ ${COMP_WORDS[i]} == -* ]] || place=$((place + 1))
    done
    case $command:$place in
    delete:0 | insert:0 | remove:0 | show:0 | set-code:0 | unblock:0 | lock:0 | break-channel:0 | import:0 | \
        export-certificate:0 | fault:0)
        mapfile -t COMPREPLY < <(compgen -W "$(_tavrik_card_names)" -- "$word")
        ;;
    set-code:1 | lock:1)
        mapfile -t COMPREPLY < <(compgen -W "bok pin puk" -- "$word")
        ;;
    unblock:1)
        mapfile -t COMPREPLY < <(compgen -W "bok pin" -- "$word")
        ;;
    import:1 | export-certificate:1)
        mapfile -t COMPREPLY < <(compgen -W "qes es" -- "$word")
        ;;
    import:2)
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        ;;
    fault:1)
        mapfile -t COMPREPLY < <(compgen -W "$(_tavrik_card_operations)" -- "$word")
        ;;
    esac
}

complete -o filenames -F _tavrik_card tavrik-card
