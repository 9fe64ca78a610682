#!/usr/bin/env bash
# curl, with OpenSSL's pkcs11 engine and the configuration that the package brings along, proves to a web server that also
# speaks TLS 1.3 who one is.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
# shellcheck source-path=SCRIPTDIR
. "$here/tls.sh"
start_web_server
make_openssl_card
cp document www/document
get() { # [OPTION]...
    OPENSSL_CONF=openssl-card.cnf timeout 60 curl -sS --cacert server.pem --cert "pkcs11:token=Sig_EP" "$@" 2>curl.log ||
        { cat curl.log; return 1; }
}
page=https://localhost:$port/document

echo "fetches pages after one code"
type_codes 123456
get "$page" -o one "$page" -o two
cmp document one
cmp document two
expect_requests 2 /document

echo "key and certificate may be named each"
"$card_tool" export-certificate anna es >ordinary.pem
type_codes 123456
get --cert ordinary.pem --key "pkcs11:token=Sig_EP;type=private" "$page" | cmp document -

echo "fetches nothing when the code is cancelled or wrong, or the card is away"
type_codes CANCEL
expect_failure get "$page" -o refused
expect "cannot load client cert" <curl.log
type_codes 111111
expect_failure get "$page" -o refused
"$card_tool" remove anna >/dev/null
expect_failure get "$page" -o refused
"$card_tool" insert anna >/dev/null
type_codes 123456
get "$page" | cmp document -
