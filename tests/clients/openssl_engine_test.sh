#!/usr/bin/env bash
# OpenSSL's pkcs11 engine: signs, makes and opens CMS messages, makes a certificate request, serves TLS, and proves who it is with the ordinary key.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

cat >engine.cnf <<END
openssl_conf = config
[config]
engines = engines
[engines]
pkcs11 = pkcs11
[pkcs11]
engine_id = pkcs11
MODULE_PATH = $front
init = 1
END
export OPENSSL_CONF=$TAVRIK_HOME/engine.cnf
ordinary="pkcs11:token=Sig_EP;type=private"
"$card_tool" export-certificate anna es >ordinary.pem
"$card_tool" export-certificate anna qes >qualified.pem
openssl x509 -in ordinary.pem -noout -pubkey >ordinary.pub
openssl x509 -in qualified.pem -noout -pubkey >qualified.pub

echo "signs a document with the ordinary key; the code is in the URI"
openssl dgst -engine pkcs11 -keyform engine -sign "$ordinary;pin-value=123456" -sha256 -out signature document 2>/dev/null
expect_signature_of ordinary

echo "signs with the qualified key; the card's keyboard asks for the PIN"
type_codes 654321
openssl dgst -engine pkcs11 -keyform engine -sign "pkcs11:token=Sig_ZEP;type=private;pin-value=123456" -sha256 \
    -out signature document 2>/dev/null
expect_signature_of qualified

echo "tells of a wrong and of a cancelled code"
type_codes 999999 CANCEL
expect_refused "PIN incorrect" openssl dgst -engine pkcs11 -keyform engine -sign "$ordinary" -sha256 document
expect_refused "Function canceled" openssl dgst -engine pkcs11 -keyform engine -sign "$ordinary" -sha256 document

echo "makes a signed message"
openssl cms -engine pkcs11 -keyform engine -inkey "$ordinary;pin-value=123456" -sign -signer ordinary.pem -in document \
    -out message -nodetach -binary 2>/dev/null
openssl cms -verify -in message -CAfile authority.pem -purpose any -binary -out verified 2>&1 | expect "successful"
cmp document verified

echo "makes an advanced signature (CAdES) with the qualified key, after the code and the PIN"
sign_cades() {
    rm -f message
    openssl cms -engine pkcs11 -keyform engine -inkey "pkcs11:token=Sig_ZEP;type=private" -sign -cades \
        -signer qualified.pem -in document -out message -nodetach -binary 2>signing
}
type_codes 123456 654321
sign_cades
all_codes_were_asked_for
openssl cms -verify -cades -in message -CAfile authority.pem -purpose any -binary -out verified 2>&1 |
    expect "CAdES Verification successful"
cmp document verified

echo "makes none after a cancelled or a wrong code, and asks for none of them again"
for codes in CANCEL 000000 "123456 CANCEL" "123456 111111"; do
    # shellcheck disable=SC2086 # each is a code of its own
    type_codes $codes
    expect_failure sign_cades
    all_codes_were_asked_for
done

echo "makes a request for a certificate of the ordinary key"
openssl req -new -engine pkcs11 -keyform engine -key "$ordinary;pin-value=123456" -subj "/CN=Anna" -out request.pem \
    2>/dev/null
openssl req -in request.pem -noout -verify 2>&1 | expect "verify OK"
openssl req -in request.pem -noout -pubkey | cmp - ordinary.pub

echo "opens a message that is encrypted for the card"
openssl cms -encrypt -aes256 -binary -in document -out encrypted ordinary.pem
openssl cms -engine pkcs11 -keyform engine -inkey "$ordinary;pin-value=123456" -decrypt -recip ordinary.pem \
    -in encrypted -out decrypted 2>/dev/null
cmp document decrypted

echo "serves TLS with one person's key to a client that proves who it is with another's"
# Each of the two holds its card as long as it works, so each has a card, and a machine, of its own. TLS 1.3 wants
# RSA-PSS, which the card can't do. The certificate of a card is for clients, so the server's is taken as it is.
tls=(-tls1_2 -sigalgs RSA+SHA256)
mkdir boris
on_boris() {
    TAVRIK_HOME=$PWD/boris "$@"
}
on_boris "$card_tool" new boris --subject "Boris Kováč" --bok 1111 >/dev/null
on_boris "$card_tool" insert boris >/dev/null
on_boris "$card_tool" export-certificate boris es >boris.pem
cat boris/state/authority/*.pem >boris-authority.pem
openssl s_server -engine pkcs11 -keyform engine -key "$ordinary;pin-value=123456" -cert ordinary.pem \
    -cert_chain authority.pem -accept 127.0.0.1:0 -CAfile boris-authority.pem -Verify 2 -verify_return_error -naccept 1 -rev "${tls[@]}" \
    >server.log 2>&1 &
server=$!
trap 'kill $server 2>/dev/null || true; rm -rf "$TAVRIK_HOME"' EXIT
port=$(port_of_server)
greet | on_boris openssl s_client -engine pkcs11 -keyform engine \
    -key "$ordinary;pin-value=1111" -cert boris.pem -cert_chain boris-authority.pem -connect "127.0.0.1:$port" \
    -CAfile authority.pem -purpose any -verify_return_error "${tls[@]}" >client.log 2>&1 || true
expect "olleh" <client.log
expect "Verify return code: 0 (ok)" <client.log
wait $server || true
expect "Boris" <server.log
