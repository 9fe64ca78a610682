#!/usr/bin/env bash
# strongSwan loads the front by itself and connects two networks by IPsec. With an empty code in its configuration, the
# card's keyboard asks. Packets are encrypted by the daemon, since not each kernel does it.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
# shellcheck source-path=SCRIPTDIR
. "$here/tls.sh"
# shellcheck source-path=SCRIPTDIR
. "$here/networks.sh"
make_certificate ca "/CN=Authority of the server"
make_certificate server /CN=server.example.org -CA ca.pem -CAkey ca.key \
    -addext subjectAltName=DNS:server.example.org -addext basicConstraints=CA:FALSE
mkdir -p server/{x509,x509ca,private} client/x509ca
openssl x509 -in "$authority/root.pem" -out server/x509ca/root.pem
openssl x509 -in "$authority/issuing.pem" -out server/x509ca/issuing.pem
cp server.pem server/x509
cp server.key server/private
cp ca.pem client/x509ca

cat >server/swanctl.conf <<CONF
connections {
    card {
        local_addrs = 192.0.2.1
        pools = clients
        local {
            certs = server.pem
            id = server.example.org
        }
        remote {
            auth = pubkey
            cacerts = issuing.pem
        }
        children {
            net {
                local_ts = 198.51.100.1/32
            }
        }
    }
}
pools {
    clients {
        addrs = 203.0.113.0/24
    }
}
CONF
cat >client/swanctl.conf <<CONF
connections {
    card {
        remote_addrs = 192.0.2.1
        vips = 0.0.0.0
        local {
            auth = pubkey
            cert {
                module = tavrik
                slot = 1
                handle = 5369675F45505F30
            }
        }
        remote {
            auth = pubkey
            id = server.example.org
        }
        children {
            net {
                remote_ts = 198.51.100.1/32
            }
        }
    }
}
secrets {
    token {
        module = tavrik
        slot = 1
        handle = 5369675F45505F30
        pin = ""
    }
}
CONF
start_daemon() { # MACHINE COMMAND...
    cat >"$1/strongswan.conf" <<CONF
charon-systemd {
    load = random nonce openssl kdf pem pkcs1 x509 constraints pubkey pkcs11 kernel-libipsec kernel-netlink socket-default vici
    plugins {
        vici {
            socket = unix://$PWD/$1/vici
        }
        pkcs11 {
            modules {
                tavrik {
                    path = $front
                }
            }
        }
    }
    filelog {
        stderr {
            default = 1
        }
    }
}
CONF
    STRONGSWAN_CONF=$PWD/$1/strongswan.conf "${@:2}" charon-systemd >"$1.log" 2>&1 &
    started+=($!)
    for _ in $(seq 600); do
        [ ! -S "$1/vici" ] || break
        sleep 0.1
    done
}
control() { # MACHINE [OPTION]...
    SWANCTL_DIR=$PWD/$1 timeout 60 swanctl "${@:2}" --uri "unix://$PWD/$1/vici" 2>>swanctl.log
}
load_key() { # CODE
    type_codes "$1"
    control client --load-creds --noprompt >loaded
    grep -q "loaded key token" loaded
}
connect() {
    control client --initiate --child net --timeout 20 >connected && expect "CHILD_SA net" <connected &&
        "${on_client[@]}" ping -q -c 1 -W 20 198.51.100.1 >ping.log
}

"${on_server[@]}" ip address add 198.51.100.1/32 dev lo
"${on_server[@]}" ip route add 203.0.113.0/24 dev cable
start_daemon server "${on_server[@]}"
start_daemon client "${on_client[@]}"
control server --load-all --noprompt >/dev/null

echo "takes no key when the code is cancelled or wrong"
expect_failure load_key CANCEL
expect "FUNCTION_CANCELED" <client.log
expect_failure load_key 111111
expect "PIN_INCORRECT" <client.log

echo "connects after one code"
load_key 123456 || { cat loaded client.log; exit 1; }
control client --load-conns >/dev/null
connect || { cat swanctl.log connected client.log server.log; exit 1; }
grep "CN=Anna.*RSA_EMSA_PKCS1_SHA2_.* successful" server.log | expect "authentication of"

echo "does not connect without the card, and again when it is back and the key is loaded"
control client --terminate --ike card >/dev/null
"$card_tool" remove anna >/dev/null
! connect || exit 1
"$card_tool" insert anna >/dev/null
load_key 123456 || { cat loaded client.log; exit 1; }
connect || { cat swanctl.log connected client.log server.log; exit 1; }

echo "signs SHA-256 alone, for keys that do no other, when that is named"
control client --terminate --ike card >/dev/null
sed -i '0,/auth = pubkey/s//auth = rsa-2048-sha256/' client/swanctl.conf
control client --load-conns >/dev/null
connect || { cat swanctl.log connected client.log server.log; exit 1; }
grep "CN=Anna" server.log | expect "RSA_EMSA_PKCS1_SHA2_256 successful"
