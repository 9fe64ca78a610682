#!/usr/bin/env bash
# stunnel, by OpenSSL's pkcs11 engine, proves to a server that also speaks TLS 1.3 who one is.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
# shellcheck source-path=SCRIPTDIR
. "$here/tls.sh"
make_openssl_card
make_certificate server /CN=localhost
openssl s_server -key server.key -cert server.pem -accept 127.0.0.1:0 -CAfile authority.pem -Verify 2 \
    -verify_return_error -no_ticket -no_cache -rev >server.log 2>&1 &
started+=($!)
"$card_tool" export-certificate anna es >ordinary.pem
tunnel=$(free_port)
cat >stunnel.conf <<CONF
foreground = yes
pid = $PWD/stunnel.pid
engine = pkcs11
[server]
client = yes
accept = 127.0.0.1:$tunnel
connect = 127.0.0.1:$(port_of_server)
engineId = pkcs11
cert = $PWD/ordinary.pem
key = pkcs11:token=Sig_EP;type=private
CAfile = $PWD/server.pem
verifyChain = yes
CONF
start_tunnel() { # CODE
    rm -f stunnel.pid
    type_codes "$1"
    OPENSSL_CONF=openssl-card.cnf stunnel stunnel.conf >stunnel.log 2>&1 &
    started+=($!)
    await "" stunnel.pid
}
longest=60 # seconds
hello() {
    timeout "$longest" python3 -c '
import socket, sys
with socket.create_connection(("127.0.0.1", int(sys.argv[1]))) as tunnel:
    tunnel.sendall(b"hello\n")
    print(tunnel.recv(100).decode())' "$tunnel" >client.log 2>&1 && grep -qx olleh client.log
}

echo "leads to the server after one code, again and again"
start_tunnel 123456
hello || { cat client.log stunnel.log server.log; exit 1; }
hello || { cat client.log stunnel.log server.log; exit 1; }
expect "Anna" <server.log

echo "leads nowhere while the card is away, and until it is started anew"
longest=10
"$card_tool" remove anna >/dev/null
expect_failure hello
"$card_tool" insert anna >/dev/null
expect_failure hello
longest=60
end_last_without_card
start_tunnel 123456
hello || { cat client.log stunnel.log server.log; exit 1; }

echo "does not start when the code is cancelled or wrong"
end_last
for code in CANCEL 111111; do
    type_codes "$code"
    ! OPENSSL_CONF=openssl-card.cnf timeout 60 stunnel stunnel.conf >refused 2>&1 || exit 1
    expect "Failed to initialize TLS context" <refused
done
