#!/usr/bin/env bash
# Lists, signs, verifies and decrypts with pkcs11-tool, through the front and with a software card.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

tool() {
    pkcs11-tool --module "$front" "$@" 2>&1
}

echo "finds the interfaces, and takes that of version 3.0"
tool --list-interfaces | expect "version: 3.0"
tool --list-interfaces | expect "version: 2.40"
tool --show-info | expect "Cryptoki version 3.0"

echo "lists"
tool --list-slots | expect "Slot 1"
tool --list-mechanisms --slot 1 | expect "SHA256-RSA-PKCS"
objects=$(tool --list-objects --slot 1 --login --pin 123456)
expect "Certificate Object; type = X.509 cert" <<<"$objects"
expect "Private Key Object; RSA" <<<"$objects"
expect "Public Key Object; RSA 2048 bits" <<<"$objects"

echo "signs with the ordinary key"
id=$(sed -n 's/^ *ID: *//p' <<<"$objects" | head -n 1)
tool --slot 1 --login --pin 123456 --sign --id "$id" --mechanism SHA256-RSA-PKCS --input-file document \
    --output-file signature | expect "Using signature algorithm SHA256-RSA-PKCS"
tool --slot 1 --login --pin 123456 --read-object --type pubkey --id "$id" --output-file key.der >/dev/null
openssl dgst -sha256 -keyform DER -verify key.der -signature signature document | expect "Verified OK"

echo "verifies, and finds a changed document"
tool --slot 1 --login --pin 123456 --verify --id "$id" --mechanism SHA256-RSA-PKCS --input-file document \
    --signature-file signature | expect "Signature is valid"
echo "nine hundred and twelve euros" >changed
# OpenSC 0.26 also ends with a status for it, 0.23 does not.
{ tool --slot 1 --login --pin 123456 --verify --id "$id" --mechanism SHA256-RSA-PKCS --input-file changed \
    --signature-file signature || true; } | expect "Invalid signature"

echo "decrypts"
echo "a secret" >secret
openssl pkeyutl -encrypt -pubin -keyform DER -inkey key.der -in secret -out encrypted
tool --slot 1 --login --pin 123456 --decrypt --id "$id" --mechanism RSA-PKCS --input-file encrypted \
    --output-file decrypted >/dev/null
cmp secret decrypted

echo "signs with the qualified key; the card's keyboard asks for both codes"
type_codes 123456 654321
qualified=$(tool --list-objects --slot 0 --login --pin 123456 | sed -n 's/^ *ID: *//p' | head -n 1)
tool --slot 0 --login --sign --id "$qualified" --mechanism SHA256-RSA-PKCS --input-file document \
    --output-file qualified.signature | expect "Using signature algorithm"
tool --slot 0 --login --pin 123456 --verify --id "$qualified" --mechanism SHA256-RSA-PKCS --input-file document \
    --signature-file qualified.signature | expect "Signature is valid"

echo "signs with pkcs11-spy between it and the front, which writes the calls down"
PKCS11SPY=$front PKCS11SPY_OUTPUT=$PWD/calls pkcs11-tool --module "/usr/lib/$(gcc -print-multiarch)/pkcs11-spy.so" --slot 1 \
    --login --pin 123456 --sign --id "$id" --mechanism SHA256-RSA-PKCS --input-file document --output-file spied 2>/dev/null
cmp signature spied
expect "C_GetInterface" <calls
sed -n '/: C_Sign$/,/^Returned/p' calls | expect "Returned:  0 CKR_OK"

echo "tells of a wrong and of a cancelled code"
type_codes 999999 CANCEL
expect_refused CKR_PIN_INCORRECT tool --slot 1 --login --sign --id "$id" --mechanism SHA256-RSA-PKCS --input-file document
expect_refused CKR_FUNCTION_CANCELED tool --slot 1 --login --sign --id "$id" --mechanism SHA256-RSA-PKCS --input-file document

echo "passes the tool's own tests, with a key that signs whatever it is given"
"$card_tool" remove anna >/dev/null
"$card_tool" new raw --bok 123456 --pin 654321 --es-reference 1 >/dev/null
"$card_tool" insert raw >/dev/null
tool --slot 1 --login --pin 123456 --test | expect "No errors"
tool --slot 1 --test-fork >/dev/null
