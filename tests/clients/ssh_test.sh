#!/usr/bin/env bash
# ssh signs in with the card, by itself and by its agent, at a server that a pipe leads to. ssh logs in where it finds the first
# key, which is the qualified one, and then sees the ordinary one too: the login code is asked for once, and the
# signature PIN for the qualified key alone.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

. "$here/ssh_agent.sh"

ssh-keygen -q -t ed25519 -N '' -f host
echo "server $(cat host.pub)" >known_hosts
cat >sshd_config <<END
HostKey $PWD/host
AuthorizedKeysFile $PWD/authorized_keys
UsePAM no
StrictModes no
END
# As root, the server wants an empty folder in a place that only the installation makes.
cat >server <<END
#!/bin/sh
set -e
if [ "\$(id -u)" -eq 0 ]; then
    mount -t tmpfs none /run
    mkdir /run/sshd
fi
exec /usr/sbin/sshd -i -e -f "$PWD/sshd_config" 2>>"$PWD/sshd.log"
END
chmod +x server
server=$PWD/server
[ "$(id -u)" -ne 0 ] || server="unshare --mount $server"
sign_in() { # [OPTION]...
    timeout 60 ssh -F none -o "ProxyCommand=$server" -o HostKeyAlias=server -o UserKnownHostsFile=known_hosts \
        -o PreferredAuthentications=publickey "$@" host echo "signed in" 2>ssh.log || { tail -n 20 ssh.log sshd.log; return 1; }
}

echo "ssh-keygen shows both keys after one code"
type_codes 123456
ssh-keygen -D "$front" | cut -d ' ' -f 1,2 >keys
cat qes.pub es.pub | diff - keys
all_codes_were_asked_for

echo "ssh signs in with the ordinary key after one code"
cp es.pub authorized_keys
type_codes 123456
sign_in -I "$front" | expect "signed in"
all_codes_were_asked_for

echo "ssh signs in with the qualified key after the code and the PIN"
cp qes.pub authorized_keys
type_codes 123456 654321
sign_in -I "$front" -o PubkeyAcceptedAlgorithms=rsa-sha2-256 | expect "signed in"
all_codes_were_asked_for

echo "the qualified key does not sign without its PIN"
type_codes 123456 CANCEL
expect_failure sign_in -I "$front" -o PubkeyAcceptedAlgorithms=rsa-sha2-256 >refused
expect "Permission denied" <refused
all_codes_were_asked_for

echo "the agent, which asks for the code itself, signs in with the ordinary key"
start_agent
trap 'end_agent; rm -rf "$TAVRIK_HOME"' EXIT
add_card_to_agent 123456
expect "Card added" <added
test "$(wc -l <asked)" -eq 1
ssh-add -L | cut -d ' ' -f 1,2 | diff keys -
cp es.pub authorized_keys
sign_in | expect "signed in"

echo "and a file"
ssh-keygen -q -Y sign -n file -f es.pub document
echo "anna $(cat es.pub)" >signers
ssh-keygen -Y verify -n file -f signers -I anna -s document.sig <document | expect "Good"
