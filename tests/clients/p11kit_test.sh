#!/usr/bin/env bash
# p11-kit finds the front by its module file and shows its tokens to every program that uses p11-kit; and it lends them to
# programs elsewhere, by a socket and by a command.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
require_own_mounts

echo "finds the front by its module file"
libraries=/usr/lib/$(gcc -print-multiarch)
with_p11_kit p11-kit list-modules >listed
expect "library-manufacturer: Corvane" <listed
expect "token: Sig_ZEP" <listed
expect "token: Sig_EP" <listed

for family in es qes; do
    "$card_tool" export-certificate anna "$family" | openssl x509 -noout -pubkey >"$family.pub"
done
sign_by() { # MODULE TOKEN [COMMAND THAT RUNS IT]...
    rm -f signature
    "${@:3}" timeout 60 pkcs11-tool --module "$1" --token-label "$2" --login --sign --mechanism SHA256-RSA-PKCS \
        --input-file document --output-file signature 2>signing
}

echo "a program signs over the socket of p11-kit's server, at whose machine the card's keyboard asks"
p11-kit server --foreground --provider "$front" --name "$PWD/socket" "pkcs11:token=Sig_ZEP" "pkcs11:token=Sig_EP" \
    >server.log 2>&1 &
server=$!
trap 'kill $server 2>/dev/null || true; rm -rf "$TAVRIK_HOME"' EXIT
await "P11_KIT_SERVER_PID" server.log
export P11_KIT_SERVER_ADDRESS=unix:path=$PWD/socket
there=$libraries/pkcs11/p11-kit-client.so
type_codes 123456
sign_by "$there" Sig_EP
all_codes_were_asked_for
expect_signature_of es
type_codes 123456 654321
sign_by "$there" Sig_ZEP
all_codes_were_asked_for
expect_signature_of qes

echo "over the socket, a cancelled or a wrong code makes no signature, and a card that is back asks again"
type_codes CANCEL
expect_failure sign_by "$there" Sig_EP
expect CKR_FUNCTION_CANCELED <signing
all_codes_were_asked_for
type_codes 000000
expect_failure sign_by "$there" Sig_EP
expect CKR_PIN_INCORRECT <signing
"$card_tool" remove anna
expect_failure sign_by "$there" Sig_EP
"$card_tool" insert anna >/dev/null
type_codes 123456
sign_by "$there" Sig_EP
all_codes_were_asked_for
expect_signature_of es
kill $server
wait $server || true

echo "a module file lends the front by a command, as ssh may run it on another machine"
echo "remote: |p11-kit remote $front" >files/tavrik.module
type_codes 123456
sign_by "$libraries/p11-kit-proxy.so" Sig_EP with_p11_kit
all_codes_were_asked_for
expect_signature_of es
