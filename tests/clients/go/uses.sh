# For the tests of the client in Go, which source it after card.sh and define run_client, a run with a token whose errors go to
# client.log: it signs with both keys and decrypts; the card's keyboard asks. OpenSSL verifies.
# shellcheck shell=bash
# shellcheck disable=SC2154 # card.sh has set it

for family in es qes; do
    "$card_tool" export-certificate anna "$family" | openssl x509 -noout -pubkey >"$family.pub"
done
openssl pkeyutl -encrypt -pubin -inkey es.pub -in document -out encrypted

echo "signs and decrypts with the ordinary key after the code"
type_codes 123456
run_client Sig_EP
all_codes_were_asked_for
expect_signature_of es
cmp document decrypted

echo "signs with the qualified key after the code and the PIN"
type_codes 123456 654321
run_client Sig_ZEP
all_codes_were_asked_for
expect_signature_of qes

echo "does nothing after a cancelled or a wrong code or PIN, and asks for none again"
expect_refusal() { # RESULT CODE...
    type_codes "${@:2}"
    expect_failure run_client Sig_ZEP
    expect "$1" <client.log
    all_codes_were_asked_for
}
expect_refusal CKR_FUNCTION_CANCELED CANCEL
expect_refusal CKR_PIN_INCORRECT 000000
expect_refusal CKR_FUNCTION_CANCELED 123456 CANCEL

echo "finds a card that was taken out and is back"
"$card_tool" remove anna
expect_failure run_client Sig_EP
expect "no such token" <client.log
"$card_tool" insert anna >/dev/null
type_codes 123456
run_client Sig_EP
all_codes_were_asked_for
expect_signature_of es
