#!/usr/bin/env bash
# wpa_supplicant, by OpenSSL's pkcs11 engine, is let into a wired network by EAP-TLS.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
# shellcheck source-path=SCRIPTDIR
. "$here/tls.sh"
# shellcheck source-path=SCRIPTDIR
. "$here/networks.sh"
make_openssl_card
make_certificate server /CN=server.example.org
"$card_tool" export-certificate anna es >ordinary.pem
echo '* TLS' >users
cat >hostapd.conf <<CONF
interface=cable
driver=wired
ieee8021x=1
eap_server=1
eap_user_file=$PWD/users
ca_cert=$PWD/authority.pem
server_cert=$PWD/server.pem
private_key=$PWD/server.key
CONF
cat >network.conf <<CONF
ctrl_interface=$PWD/control
ap_scan=0
network={
    key_mgmt=IEEE8021X
    eapol_flags=0
    eap=TLS
    identity="anna"
    ca_cert="$PWD/server.pem"
    client_cert="$PWD/ordinary.pem"
    private_key="pkcs11:token=Sig_EP;type=private"
}
CONF
# The server is started with each client, since it waits for a minute once it has let one in or not.
sign_in() { # CODE
    type_codes "$1"
    : >server.log
    "${on_server[@]}" hostapd -d hostapd.conf >>server.log 2>&1 &
    started+=($!)
    await "AP-ENABLED" server.log
    : >client.log
    OPENSSL_CONF=openssl-card.cnf "${on_client[@]}" wpa_supplicant -D wired -i cable -c network.conf >>client.log 2>&1 &
    started+=($!)
    await "CTRL-EVENT-EAP-SUCCESS\|CTRL-EVENT-EAP-FAILURE\|CTRL-REQ-PASSPHRASE" client.log
}
sign_out() {
    end_last
    end_last
}
signed_in() {
    await "CTRL-EVENT-CONNECTED" client.log
    grep -q "CTRL-EVENT-CONNECTED" client.log || { cat client.log; tail -n 40 server.log; exit 1; }
}

echo "is not let in when the code is cancelled or wrong"
sign_in CANCEL
expect "Function canceled" <client.log
! grep "AP-STA-CONNECTED" server.log || exit 1
sign_out
sign_in 111111
expect "PIN incorrect" <client.log
! grep "AP-STA-CONNECTED" server.log || exit 1
sign_out

echo "is let in after one code"
sign_in 123456
signed_in
grep "AP-STA-CONNECTED" server.log | expect cable
grep "subject=" server.log | expect "/CN=Anna"

echo "is not let in again once the card was out, until it is started anew"
"$card_tool" remove anna >/dev/null
"$card_tool" insert anna >/dev/null
: >client.log
wpa_cli -p "$PWD/control" -i cable reassociate >/dev/null
await "CTRL-EVENT-EAP-SUCCESS\|CTRL-EVENT-EAP-FAILURE" client.log
expect "handle invalid" <client.log # of the session or, with libp11 0.4.13, of the key
sign_out
sign_in 123456
signed_in
