#!/usr/bin/env bash
# Programs of Node: pkcs11js signs and decrypts with the ordinary key, graphene-pk11 signs with the qualified one. OpenSSL
# verifies. node/install.sh has installed both into the folder that NODE_PATH names.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

"$card_tool" export-certificate anna es | openssl x509 -noout -pubkey >ordinary.pub
"$card_tool" export-certificate anna qes >qualified.pem
openssl x509 -in qualified.pem -noout -pubkey >qualified.pub

echo "pkcs11js: is refused for a wrong code, signs with the right one, and decrypts"
openssl pkeyutl -encrypt -pubin -inkey ordinary.pub -in document -out encrypted
node "$here/node/pkcs11js_client.js" "$front" 123456
expect_signature_of ordinary
cmp document decrypted

sign() { # CODE
    rm -f signature
    node "$here/node/graphene_client.js" "$front" "$1" 2>signing
}
echo "graphene-pk11: signs with the qualified key after the PIN"
type_codes 654321
sign 123456
all_codes_were_asked_for
expect_signature_of qualified
openssl x509 -in qualified.pem -outform DER | cmp - certificate

echo "graphene-pk11: a cancelled PIN, a wrong code and a card that is away make no signature"
type_codes CANCEL
expect_failure sign 123456
expect "CKR_FUNCTION_CANCELED" <signing
all_codes_were_asked_for
expect_failure sign 000000
expect "CKR_PIN_INCORRECT" <signing
"$card_tool" remove anna
expect_failure sign 123456
"$card_tool" insert anna >/dev/null
type_codes 654321
sign 123456
expect_signature_of qualified
