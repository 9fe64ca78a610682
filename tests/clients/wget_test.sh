#!/usr/bin/env bash
# wget, which uses GnuTLS, finds the card by p11-kit and proves to a web server that also speaks TLS 1.3 who one is.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
require_own_mounts
# shellcheck source-path=SCRIPTDIR
. "$here/tls.sh"
start_web_server
cp document www/document
get() { # [OPTION]...
    rm -f got
    with_p11_kit timeout 60 wget -q --tries 1 --ca-certificate server.pem --certificate "pkcs11:token=Sig_EP;id=Sig_EP_0" \
        -O got "$@" "https://localhost:$port/document"
}
to_tls_1_2=(--ciphers "NORMAL:-VERS-ALL:+VERS-TLS1.2")

echo "fetches a page after one code"
type_codes 123456
get "${to_tls_1_2[@]}"
cmp document got
expect_requests 1 /document

echo "and with the configuration of GnuTLS that the package brings along"
type_codes 123456
GNUTLS_SYSTEM_PRIORITY_FILE=$here/../../tools/tavrik-setup/templates/gnutls-card.conf get
cmp document got

echo "fetches nothing when the code is cancelled or wrong, or the card is away"
type_codes CANCEL
expect_failure get "${to_tls_1_2[@]}"
type_codes 111111
expect_failure get "${to_tls_1_2[@]}"
"$card_tool" remove anna >/dev/null
expect_failure get "${to_tls_1_2[@]}"
"$card_tool" insert anna >/dev/null
type_codes 123456
get "${to_tls_1_2[@]}"
cmp document got
