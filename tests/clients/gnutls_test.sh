#!/usr/bin/env bash
# p11tool and GnuTLS: list, read the certificate, sign, and prove to a TLS server who one is. The card's keyboard asks for
# the login code, because the token says that it has one.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
# shellcheck source-path=SCRIPTDIR
. "$here/tls.sh"

tool() {
    type_codes 123456 123456 123456 123456
    p11tool --provider "$front" "$@" 2>&1
}

tool --list-tokens | expect "token=Sig_ZEP"
tool --list-all --login "pkcs11:token=Sig_EP" >objects
expect "X.509 Certificate" <objects
expect "Private key (RSA-2048)" <objects
key=$(sed -n 's/^\tURL: \(.*type=private.*\)$/\1/p' objects | head -n 1)
certificate=$(sed -n 's/^\tURL: \(.*type=cert.*\)$/\1/p' objects | head -n 1)

echo "reads the certificate, and tests the key by a signature"
tool --login --export "$certificate" >ordinary.pem
"$card_tool" export-certificate anna es --der --out expected
openssl x509 -in ordinary.pem -outform DER | cmp expected -
tool --login --test-sign "$key" | expect "ok"

echo "tells of a wrong and of a cancelled code"
type_codes 999999 CANCEL
expect_refused "Error in provided PIN" p11tool --provider "$front" --list-all --login "pkcs11:token=Sig_EP"
expect_refused "PKCS #11 error" p11tool --provider "$front" --list-all --login "pkcs11:token=Sig_EP"

echo "says so when another program has the card, and so does the keyboard"
export TAVRIK_PINENTRY_LOG=$PWD/asked
if flock -o "$TAVRIK_HOME/state/cards/anna/transaction" p11tool --provider "$front" --list-all --login \
    "pkcs11:token=Sig_EP" >refused 2>&1; then
    exit 1
fi
expect "error in device" <refused
expect "Another program, flock (process" <asked
unset TAVRIK_PINENTRY_LOG

echo "proves to a TLS server who one is"
make_certificate server /CN=localhost -addext subjectAltName=DNS:localhost
openssl s_server -key server.key -cert server.pem -accept 127.0.0.1:0 -CAfile authority.pem -Verify 2 \
    -verify_return_error -naccept 1 -rev -tls1_2 -sigalgs RSA+SHA256 >server.log 2>&1 &
server=$!
started+=("$server")
port=$(port_of_server)
type_codes 123456 123456 123456
greet | gnutls-cli --provider "$front" --x509keyfile "$key" --x509certfile "$certificate" \
    --x509cafile server.pem --port "$port" localhost --verify-hostname localhost \
    --priority "NORMAL:-VERS-ALL:+VERS-TLS1.2" >client.log 2>&1 || true
expect "olleh" <client.log
wait $server || true
expect "Anna" <server.log
