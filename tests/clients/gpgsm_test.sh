#!/usr/bin/env bash
# gpgsm, by gnupg-pkcs11-scd: learns the card, signs with both keys, and opens what is encrypted for the card. One code opens
# the card for as long as GnuPG's agent runs.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
. "$here/gnupg.sh"
es=$(fingerprint_of es)
qes=$(fingerprint_of qes)

sign() { # FINGERPRINT
    rm -f message
    timeout 60 gpgsm --local-user "$1" --sign --output message document 2>signing
}
# OpenSSL judges it; gpgsm itself does too, where it sees that the document was changed.
expect_signature_of() { # FINGERPRINT
    as_openssl_reads_it <message >message.der
    openssl cms -verify -inform DER -in message.der -CAfile authority.pem -purpose any -binary -signer signer.pem \
        -out verified 2>&1 | expect "successful"
    cmp document verified
    openssl x509 -in signer.pem -noout -fingerprint -sha1 | tr -d : | expect "$1"
    gpgsm --verify message 2>&1 | expect "Good signature"
    sed 's/twelve euros/twenty euros/' message >changed
    expect_failure gpgsm --verify changed 2>refused
    expect "invalid signature" <refused
}

echo "learns both keys of the card after one code"
type_codes 123456
learn_card
all_codes_were_asked_for
gpgsm --list-secret-keys --with-colons >keys
expect "$es" <keys
expect "$qes" <keys

echo "signs with the ordinary key without another code"
sign "$es"
expect_signature_of "$es"

echo "signs with the qualified key after the PIN"
type_codes 654321
sign "$qes"
all_codes_were_asked_for
expect_signature_of "$qes"

echo "asks for a cancelled PIN once more, and for a wrong one too"
type_codes CANCEL CANCEL
expect_failure sign "$qes"
all_codes_were_asked_for
type_codes 111111 654321
sign "$qes"
all_codes_were_asked_for

echo "a card that was taken out and is back asks for its code again"
"$card_tool" remove anna
expect_failure sign "$es"
"$card_tool" insert anna >/dev/null
type_codes 123456
# Asked while no card is seen, GnuPG's agent crashes, and the next call starts another.
for _ in $(seq 100); do
    ! sign "$es" || break
    sleep 0.3
done
all_codes_were_asked_for
expect_signature_of "$es"

echo "a new agent asks for the code; a cancelled one ends the signature"
gpgconf --kill gpg-agent
if lists_keys_first; then
    type_codes CANCEL CANCEL
else
    type_codes CANCEL
fi
expect_failure sign "$es"
expect "error creating signature" <signing # GnuPG 2.4 names its dialog that it could not open here, 2.2 the card
all_codes_were_asked_for
! lists_keys_first || gpgconf --kill gpg-agent

echo "opens what OpenSSL has encrypted, and asks for a wrong code again"
"$card_tool" export-certificate anna es >ordinary.pem
openssl cms -encrypt -aes256 -binary -in document -outform DER -out encrypted ordinary.pem
gpgconf --kill gpg-agent # which GnuPG 2.4 has asked for the card by its own dialog since the code was cancelled
type_codes 000000 123456
gpgsm --quiet --decrypt --output decrypted encrypted
all_codes_were_asked_for
cmp document decrypted
