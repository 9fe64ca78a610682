#!/usr/bin/env bash
# Lists, signs, decrypts and reads with pkcs11-tool for Windows and a software card: through the front, then through the
# library itself. OpenSSL on Linux judges.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

# With one of the card's keys.
with_ordinary() {
    tool --token-label Sig_EP --login --pin 123456 --id "$ordinary" "$@"
}
with_qualified() {
    tool --token-label Sig_ZEP --login --id "$qualified" "$@"
}
id_in() { # LISTING
    sed -n 's/^ *ID: *\([0-9a-f]*\).*/\1/p' "$1" | sed -n 1p
}
# The DigestInfo of the document's SHA-256.
digest_info() {
    printf '\x30\x31\x30\x0d\x06\x09\x60\x86\x48\x01\x65\x03\x04\x02\x01\x05\x00\x04\x20'
    openssl dgst -sha256 -binary document
}

for family in es qes; do
    "$card_tool" export-certificate anna "$family" >"$family.pem"
    openssl x509 -in "$family.pem" -noout -pubkey >"$family.pub"
done
digest_info >info
openssl pkeyutl -encrypt -pubin -inkey es.pub -in document -out encrypted
ordinary=""
qualified=""

# What the front and the library both do. Their slots differ in number and not in name.
test_module() { # FILE VERSION_OF_CRYPTOKI
    module=$(on_windows "$programs/$1")
    rm -f signature decrypted certificate

    echo "$1: lists the card's slots, mechanisms and objects"
    tool --token-label Sig_EP --login --pin 123456 --show-info --list-slots --list-mechanisms --list-objects >ordinary-listed
    expect "Cryptoki version $2" <ordinary-listed
    expect "Reader 0; Sig_ZEP" <ordinary-listed
    expect "Reader 0; Sig_EP" <ordinary-listed
    expect "token manufacturer : Tavrik" <ordinary-listed
    expect "login required, PIN pad present" <ordinary-listed
    expect "pin min/max        : 6/6" <ordinary-listed
    expect "RSA-PKCS, keySize={2048,2048}, hw" <ordinary-listed
    expect "SHA256, digest" <ordinary-listed
    expect "Certificate Object; type = X.509 cert" <ordinary-listed
    expect "Private Key Object; RSA" <ordinary-listed
    expect "Usage:      decrypt, sign" <ordinary-listed
    tool --token-label Sig_ZEP --login --pin 123456 --list-objects >qualified-listed
    expect "Certificate Object; type = X.509 cert" <qualified-listed
    expect "Private Key Object; RSA" <qualified-listed
    expect "Usage:      sign" <qualified-listed
    expect "always authenticate" <qualified-listed
    ordinary=$(id_in ordinary-listed)
    qualified=$(id_in qualified-listed)

    echo "$1: reads the certificates"
    quietly with_ordinary --read-object --type cert --output-file certificate
    openssl x509 -inform DER -in certificate | cmp - es.pem
    quietly tool --token-label Sig_ZEP --login --pin 123456 --id "$qualified" --read-object --type cert \
        --output-file certificate
    openssl x509 -inform DER -in certificate | cmp - qes.pem

    echo "$1: signs with the ordinary key"
    with_ordinary --sign --mechanism RSA-PKCS --input-file info --output-file signature |
        expect "Using signature algorithm RSA-PKCS"
    expect_signature_of es signature

    echo "$1: signs with the qualified key, which asks for its PIN at each signature"
    for _ in first second; do
        rm -f signature
        type_codes 123456 654321
        quietly with_qualified --sign --mechanism RSA-PKCS --input-file info --output-file signature
        all_codes_were_asked_for
        expect_signature_of qes signature
    done

    echo "$1: makes no signature when the PIN is cancelled"
    rm signature
    type_codes 123456 CANCEL
    expect_refused CKR_FUNCTION_CANCELED with_qualified --sign --mechanism RSA-PKCS --input-file info --output-file signature
    all_codes_were_asked_for
    expect_empty signature

    echo "$1: decrypts what OpenSSL has encrypted"
    with_ordinary --decrypt --mechanism RSA-PKCS --input-file encrypted --output-file decrypted |
        expect "Using decrypt algorithm RSA-PKCS"
    cmp document decrypted

    echo "$1: tells of a wrong and of a cancelled code"
    local before
    before=$(tries_left)
    expect_refused CKR_PIN_INCORRECT tool --token-label Sig_EP --login --pin 999999 --list-objects
    expect_number $((before - 1)) "$(tries_left)" "tries left"
    type_codes CANCEL
    expect_refused CKR_FUNCTION_CANCELED tool --token-label Sig_EP --login --list-objects
    all_codes_were_asked_for
    expect_number $((before - 1)) "$(tries_left)" "tries left"

    echo "$1: has no slots without a card, and the card's when it is back"
    "$card_tool" remove anna >/dev/null
    expect_refused "No slots" tool --list-slots
    "$card_tool" insert anna >/dev/null
    quietly with_ordinary --sign --mechanism RSA-PKCS --input-file info --output-file signature
    expect_signature_of es signature
    expect_number "$before" "$(tries_left)" "tries left"
}

random_numbers() { # FILE
    quietly tool --token-label Sig_EP --generate-random 32 --output-file "$1"
    expect_number 32 "$(stat --format %s "$1")" "random bytes"
}

test_module tavrik-pkcs11.dll 3.0

echo "the front hashes what it signs, with either key"
expect "SHA256-RSA-PKCS, keySize={2048,2048}, hw, sign, verify" <ordinary-listed
quietly with_ordinary --sign --mechanism SHA256-RSA-PKCS --input-file document --output-file hashed
expect_signature_of es hashed
type_codes 123456 654321
quietly with_qualified --sign --mechanism SHA256-RSA-PKCS --input-file document --output-file signature
all_codes_were_asked_for
expect_signature_of qes signature

echo "the front has public keys, and verifies with them"
expect "Public Key Object; RSA 2048 bits" <ordinary-listed
with_ordinary --verify --mechanism SHA256-RSA-PKCS --input-file document --signature-file hashed | expect "Signature is valid"
echo "nine hundred and twelve euros" >changed
# OpenSC 0.26 also ends with a status for it, 0.23 does not.
{ with_ordinary --verify --mechanism SHA256-RSA-PKCS --input-file changed --signature-file hashed || true; } | expect "Invalid signature"

echo "the front hashes in parts, and has random numbers"
quietly tool --token-label Sig_EP --hash --mechanism SHA256 --input-file document --output-file hash
openssl dgst -sha256 -binary document | cmp - hash
random_numbers one
random_numbers another
expect_failure cmp -s one another

echo "the front passes the tool's own tests, as far as they go without OpenSSL"
tool --token-label Sig_EP --login --pin 123456 --test >tested
expect "all 4 digest functions seem to work" <tested
expect "all 4 signature functions seem to work" <tested
expect "No errors" <tested

echo "signs with pkcs11-spy between the tool and the front, which writes the calls down"
spied=$module
module=$(on_windows "$opensc/bin/pkcs11-spy.dll")
export PKCS11SPY=$spied PKCS11SPY_OUTPUT=${TAVRIK_HOME}\\calls
quietly with_ordinary --sign --mechanism SHA256-RSA-PKCS --input-file document --output-file signature
cmp hashed signature
sed -n '/: C_Sign\r*$/,/^Returned/p' calls | expect "Returned:  0 CKR_OK"

test_module pkcs11_x64.dll 2.20

# What the library leaves to its hosts, and the front is for. See docs/windows.md.
echo "the library signs what it is given and makes no hash of it, whatever the mechanism"
quietly with_ordinary --sign --mechanism SHA256-RSA-PKCS --input-file document --output-file signature
openssl pkeyutl -verifyrecover -pubin -inkey es.pub -in signature | cmp - document

echo "the library has no public keys, digests in parts or random numbers"
expect_failure grep "Public Key Object" ordinary-listed
expect_refused CKR_KEY_FUNCTION_NOT_PERMITTED with_ordinary --verify --mechanism RSA-PKCS --input-file info \
    --signature-file signature
expect_refused CKR_FUNCTION_NOT_SUPPORTED tool --token-label Sig_EP --hash --mechanism SHA256 --input-file document \
    --output-file hash
expect_refused "Could not generate random bytes" tool --token-label Sig_EP --generate-random 32 --output-file random
