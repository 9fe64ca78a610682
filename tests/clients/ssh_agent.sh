# For the tests of clients of ssh, which source it after card.sh: the card's public keys as ssh writes them, and ssh's agent.
public_key_of qes >qes.pub
public_key_of es >es.pub

cat >askpass <<END
#!/bin/sh
echo "\$1" >>"$PWD/asked"
cat "$PWD/typed"
END
chmod +x askpass

start_agent() {
    # shellcheck disable=SC2154 # card.sh has set it
    eval "$(ssh-agent -P "$(realpath "$front")")" >/dev/null
}
# Without an agent, nothing.
end_agent() {
    [ -z "${SSH_AGENT_PID-}" ] || kill "$SSH_AGENT_PID"
}
# The agent asks for the code itself.
add_card_to_agent() { # CODE
    echo "$1" >"$TAVRIK_HOME/typed"
    SSH_ASKPASS=$TAVRIK_HOME/askpass SSH_ASKPASS_REQUIRE=force timeout 60 ssh-add -s "$front" 2>"$TAVRIK_HOME/added"
}
