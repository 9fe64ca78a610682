#!/usr/bin/env bash
# OpenVPN loads the front by itself and connects two networks. The card's keyboard asks for the code, and again when the card
# was out.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
# shellcheck source-path=SCRIPTDIR
. "$here/tls.sh"
# shellcheck source-path=SCRIPTDIR
. "$here/networks.sh"
make_openssl_card
make_certificate server /CN=server -addext extendedKeyUsage=serverAuth \
    -addext keyUsage=digitalSignature,keyEncipherment

echo "shows both certificates after one code"
type_codes 123456
openvpn --show-pkcs11-ids "$front" 1 >shown
id=$(sed -n 's/.*Serialized id: *\(.*Sig_EP.*\)/\1/p' shown)
expect "Sig_ZEP" <shown
expect "Sig_EP" <<<"$id"

cat >server.conf <<CONF
dev tun
local 192.0.2.1
server 198.51.100.0 255.255.255.0
topology subnet
ca authority.pem
cert server.pem
key server.key
dh none
keepalive 1 5
verb 3
CONF
sed "s|@TAVRIK_MODULE@|$front|" "$here/../../tools/tavrik-setup/templates/openvpn-card.conf.in" >openvpn-card.conf
cat >client.conf <<CONF
client
dev tun
remote 192.0.2.1
ca server.pem
remote-cert-tls server
config openvpn-card.conf
pkcs11-id '$id'
connect-retry 1 1
verb 3
CONF
"${on_server[@]}" openvpn server.conf >server.log 2>&1 &
started+=($!)
await "Initialization Sequence Completed" server.log
connect() { # CODE...
    type_codes "$@"
    : >client.log
    OPENSSL_CONF=openssl-card.cnf "${on_client[@]}" openvpn client.conf >client.log 2>&1 &
    started+=($!)
}
reaches_server() { # as often as it is connected
    for _ in $(seq 600); do
        [ "$(grep -c "Initialization Sequence Completed" client.log)" -lt "$1" ] || break
        kill -0 "${started[-1]}" 2>/dev/null || break
        sleep 0.1
    done
    "${on_client[@]}" ping -q -c 1 -W 20 198.51.100.1 >ping.log 2>&1 || { cat ping.log client.log server.log; exit 1; }
}

echo "connects after one code"
connect 123456
reaches_server 1
expect "Control Channel: TLSv1.2" <client.log
grep "VERIFY OK: depth=0" server.log | expect "CN=Anna"
all_codes_were_asked_for

echo "connects again after the card was out, with its code"
"$card_tool" remove anna >/dev/null
"$card_tool" insert anna >/dev/null
type_codes 123456
kill -USR1 "${started[-1]}" # as when the network was away
reaches_server 2
all_codes_were_asked_for
end_last

echo "ends when the code is cancelled, and asks for a wrong one again"
export TAVRIK_PINENTRY_LOG=$PWD/asked
refused_after() { # TIMES CODE
    rm -f asked
    connect "$2"
    expect_failure wait "${started[-1]}"
    expect "private key password verification failed" <client.log
    expect_number "$1" "$(grep -c "^SETPROMPT" asked)" "questions for the code"
}
refused_after 1 CANCEL
refused_after 2 111111
