#!/usr/bin/env bash
# git signs commits and tags with the card in both of its ways: by ssh's agent, and by gpgsm. git verifies them, and so do
# ssh-keygen and OpenSSL with what stands in the commit.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
. "$here/gnupg.sh"
. "$here/ssh_agent.sh"
trap 'end_gnupg; end_agent; rm -rf "$TAVRIK_HOME"' EXIT

git config --global user.name "Anna Horvátová"
git config --global user.email anna@example.org
git config --global init.defaultBranch main
git init --quiet work
cd work

commit() { # MESSAGE
    timeout 60 git commit --quiet --allow-empty --gpg-sign --message "$1" 2>"$TAVRIK_HOME/commit.log"
}
# What was signed, and the signature, as they stand in the last commit.
split_commit() {
    git cat-file commit HEAD >../whole
    sed -n '/^gpgsig /,/^ -----END/p' ../whole | sed 's/^gpgsig //; s/^ //' >../signature
    sed '/^gpgsig /,/^ -----END/d' ../whole >../signed
}
expect_openssl_verifies() {
    split_commit
    grep -v -e "-----" ../signature | base64 -d | as_openssl_reads_it >../signature.der
    openssl cms -verify -inform DER -in ../signature.der -content ../signed -CAfile ../authority.pem -purpose any -binary \
        -out ../verified 2>&1 | expect "successful"
}
changed_commit() {
    git cat-file commit HEAD | sed 's/twelve/twenty/' | git hash-object -t commit -w --stdin
}

echo "ssh: signs a commit and a tag once the agent has asked for the code"
git config gpg.format ssh
git config user.signingKey "$TAVRIK_HOME/es.pub"
git config gpg.ssh.allowedSignersFile "$TAVRIK_HOME/signers"
echo "anna@example.org $(cat ../es.pub)" >../signers
start_agent
add_card_to_agent 123456
commit "twelve euros"
git tag --sign --message "thirteen euros" tag-by-ssh
git verify-commit HEAD 2>&1 | expect 'Good "git" signature for anna@example.org'
git verify-tag tag-by-ssh 2>&1 | expect 'Good "git" signature for anna@example.org'
split_commit
ssh-keygen -Y verify -n git -f ../signers -I anna@example.org -s ../signature <../signed | expect "Good"
expect_failure git verify-commit "$(changed_commit)" 2>/dev/null

echo "ssh: signs nothing while the card is away, and again once it is back and has been added anew"
"$card_tool" remove anna
expect_failure commit "without a card"
"$card_tool" insert anna >/dev/null
ssh-add -q -e "$front" 2>/dev/null
add_card_to_agent 123456
commit "with a card"
end_agent
unset SSH_AGENT_PID

echo "x509: signs a commit and a tag with the ordinary key after one code"
git config gpg.format x509
type_codes 123456
learn_card
git config user.signingKey "$(fingerprint_of es)"
commit "twelve euros"
git tag --sign --message "thirteen euros" tag-by-gpgsm
git verify-commit HEAD 2>&1 | expect 'Good signature from "/CN=Anna Horv'
git verify-tag tag-by-gpgsm 2>&1 | expect 'Good signature from "/CN=Anna Horv'
expect_openssl_verifies
expect_failure git verify-commit "$(changed_commit)" 2>/dev/null

echo "x509: signs a commit with the qualified key after its PIN"
git config user.signingKey "$(fingerprint_of qes)"
type_codes CANCEL CANCEL
expect_failure commit "cancelled"
all_codes_were_asked_for
type_codes 654321
commit "twelve euros"
all_codes_were_asked_for
git verify-commit HEAD 2>&1 | expect 'Good signature from "/CN=Anna Horv'
expect_openssl_verifies
