#!/usr/bin/env bash
# ssh signs in with the card, by itself and by its agent, at a server that a pipe leads to. ssh logs in where it finds the first
# key, which is the qualified one, and then sees the ordinary one too: the login code is asked for once, and the
# signature PIN for the qualified key alone.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
. "$here/ssh_server.sh"
. "$here/ssh_agent.sh"

echo "ssh-keygen shows both keys after one code"
type_codes 123456
ssh-keygen -D "$front" | cut -d ' ' -f 1,2 >keys
cat qes.pub es.pub | diff - keys
all_codes_were_asked_for

cp es.pub authorized_keys
echo "without a code, asked for at each slot, ssh signs nobody in"
type_codes CANCEL CANCEL
expect_refused "Permission denied" sign_in -I "$front"
all_codes_were_asked_for

echo "ssh signs in with the ordinary key after one code, and after a wrong one"
type_codes 999999 123456
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
expect_number 1 "$(wc -l <asked)" "questions for the code"
ssh-add -L | cut -d ' ' -f 1,2 | diff keys -
cp es.pub authorized_keys
sign_in | expect "signed in"

echo "of a card that is back, the agent must be told"
"$card_tool" remove anna >/dev/null
"$card_tool" insert anna >/dev/null
expect_refused "Permission denied" sign_in
ssh-add -e "$front" 2>/dev/null
SSH_ASKPASS=$PWD/askpass SSH_ASKPASS_REQUIRE=force ssh-add -s "$front" 2>/dev/null
sign_in | expect "signed in"

echo "and a file"
ssh-keygen -q -Y sign -n file -f es.pub document
echo "anna $(cat es.pub)" >signers
ssh-keygen -Y verify -n file -f signers -I anna -s document.sig <document | expect "Good"
