#!/usr/bin/env bash
# nginx, in one process and by OpenSSL's pkcs11 engine, serves pages with the ordinary key of a card.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
# shellcheck source-path=SCRIPTDIR
. "$here/tls.sh"
make_openssl_card
"$card_tool" export-certificate anna es | cat - "$authority/issuing.pem" >chain.pem
make_nginx_configuration "ssl_protocols TLSv1.2;" "ssl_certificate chain.pem;" \
    "ssl_certificate_key \"engine:pkcs11:pkcs11:token=Sig_EP;type=private\";"
sed -i "1i ssl_engine pkcs11;" nginx.conf
cp document www/document

start_server() { # CODE
    type_codes "$1"
    OPENSSL_CONF=openssl-card.cnf start_nginx
}
longest=60 # seconds
# The certificate of a card is for clients, so it is taken for any purpose.
get() {
    rm -f got # whose end is the end of the page
    printf 'GET /document HTTP/1.0\r\n\r\n' | timeout "$longest" openssl s_client -connect "127.0.0.1:$port" -CAfile authority.pem \
        -purpose any -verify_return_error -ign_eof "$@" >got 2>&1 && tr -d '\r' <got | grep -qxF "$(cat document)"
}

echo "serves to clients of TLS 1.2 and of 1.3 after one code"
start_server 123456
get || { cat got server.log; exit 1; }
expect "Verify return code: 0 (ok)" <got
get -tls1_2 || { cat got server.log; exit 1; }
expect "Anna" <got

echo "serves nothing while the card is away, and until it is started anew"
longest=10
"$card_tool" remove anna >/dev/null
expect_failure get
"$card_tool" insert anna >/dev/null
expect_failure get
engine_waits_for_ever || expect "handle invalid" <server.log # of the session, or of the key
end_last_without_card
longest=60
start_server 123456
get || { cat got server.log; exit 1; }
end_last

echo "does not start when the code is cancelled or wrong"
for code in CANCEL 111111; do
    type_codes "$code"
    ! OPENSSL_CONF=openssl-card.cnf timeout 60 nginx -p "$PWD" -c nginx.conf -e stderr 2>refused || exit 1
    expect "cannot load certificate key" <refused
done
