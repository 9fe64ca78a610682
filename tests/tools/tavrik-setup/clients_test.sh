#!/usr/bin/env bash
# The programs themselves see the card as tavrik-setup has set them up, and no more once that is taken back.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/setup.sh"
# shellcheck source=../../own_mounts.sh
. "$(dirname "$0")/../../own_mounts.sh"
require_own_mounts
card_tool=$3
export TAVRIK_PINENTRY=$4 TAVRIK_PINENTRY_ANSWERS=$folder/answers PATH=$PATH:/usr/sbin
"$card_tool" new anna --bok 123456 --pin 654321 >/dev/null
"$card_tool" insert anna >/dev/null
echo "one hundred and twelve euros" >document

user_setup() {
    "$tool" --module "$front" "$@"
}

# Runs a command where /etc of the root, and what else the system has there, lies over that of the system, and its folder of
# p11-kit's modules over the system's, in a view of the files of its own.
over_system() { # COMMAND...
    rm -rf etc
    cp -a /etc . 2>/dev/null || true # but for what only root may read
    cp -a "$root/etc" .
    # shellcheck disable=SC2016 # the inner shell expands its own variables
    in_own_mounts sh -euc '
        mount --bind "$0" /etc
        mount --bind "$1" /usr/share/p11-kit/modules
        shift
        exec "$@"' "$folder/etc" "$root/usr/share/p11-kit/modules" "$@"
}

# What is sent to `openssl s_server -rev`: "hello", and the end once the answer is in client.log.
greet() {
    echo "hello"
    for _ in $(seq 300); do grep -q "olleh" client.log && break; sleep 0.1; done
}

echo "ssh"
expect_exit 0 user_setup --host "*.example.org" ssh
ssh -T -F "$home/.ssh/config" -G host.example.org | grep -qx "pkcs11provider $front" || fail "ssh does not take the front"
! ssh -T -F "$home/.ssh/config" -G other.example.com | grep -q "$front" || fail "ssh takes the front for other hosts"
expect_exit 0 user_setup --undo ssh
[ ! -e "$home/.ssh" ] || fail "something of ssh is left"

echo "NSS: Chromium's database, and the profile that LibreOffice takes"
expect_exit 0 user_setup chromium
modutil -dbdir "sql:$home/.pki/nssdb" -list tavrik 2>&1 | grep -q "Token Name: Sig_EP" || fail "NSS does not show the card"
expect_exit 0 user_setup --undo chromium
[ ! -e "$home/.pki" ] || fail "something of NSS is left"
install_programs soffice modutil certutil
mkdir -p "$home/.mozilla/firefox/abc.default-esr"
printf '[Install1]\nDefault=abc.default-esr\n\n[Profile0]\nName=default\nIsRelative=1\nPath=other\nDefault=1\n' \
    >"$home/.mozilla/firefox/profiles.ini"
expect_exit 1 setup libreoffice
expect_said "there is none"
certutil -N -d "sql:$home/.mozilla/firefox/abc.default-esr" --empty-password
cp "$home/.mozilla/firefox/abc.default-esr/pkcs11.txt" before
ln -s "127.0.1.1:+$$" "$home/.mozilla/firefox/abc.default-esr/lock"
expect_exit 1 setup libreoffice
expect_said "A program is at work with it. End it first."
rm "$home/.mozilla/firefox/abc.default-esr/lock"
expect_exit 0 setup libreoffice
modutil -dbdir "sql:$home/.mozilla/firefox/abc.default-esr" -list tavrik 2>&1 | grep -q "Sig_ZEP" || fail "the profile has no card"
expect_exit 0 setup --undo libreoffice
cmp before "$home/.mozilla/firefox/abc.default-esr/pkcs11.txt" || fail "the profile is not as before"

echo "OpenVPN, which logs in before it looks for the certificate"
expect_exit 0 user_setup openvpn
cat "$TAVRIK_HOME"/state/authority/*.pem >authority.pem
echo CANCEL >"$TAVRIK_PINENTRY_ANSWERS"
expect_exit 1 timeout 60 openvpn --client --dev null --remote 127.0.0.1 --ca authority.pem \
    --config "$home/.config/tavrik/openvpn-card.conf" --pkcs11-id 'Tavrik/Software\x20card/ffffffff/Sig_EP/5369675F45505F30'
expect_said "Adding PKCS#11 provider '$front'"
[ ! -s "$TAVRIK_PINENTRY_ANSWERS" ] || fail "OpenVPN has asked for no code: $said"
expect_exit 0 user_setup --undo openvpn
[ ! -e "$home/.config" ] || fail "something of OpenVPN is left"

echo "OpenSSL"
expect_exit 0 user_setup openssl
OPENSSL_CONF=$home/.config/tavrik/openssl-card.cnf openssl engine -t pkcs11 2>&1 | grep -q "available" || fail "no engine"
key="pkcs11:token=Sig_EP;type=private;pin-value=123456"
openssl dgst -sha256 -binary -out digest document
OPENSSL_CONF=$home/.config/tavrik/openssl-card.cnf openssl pkeyutl -engine pkcs11 -keyform engine -inkey "$key" -sign \
    -pkeyopt digest:sha256 -in digest -out signature 2>/dev/null
"$card_tool" export-certificate anna es >ordinary.pem
openssl x509 -in ordinary.pem -noout -pubkey >ordinary.pub
openssl dgst -sha256 -verify ordinary.pub -signature signature document | grep -q "Verified OK" || fail "a bad signature"
if [ -e "$(pkg-config --variable=modulesdir libcrypto)/pkcs11.so" ]; then
    rm signature
    echo 123456 >"$TAVRIK_PINENTRY_ANSWERS"
    OPENSSL_CONF=$home/.config/tavrik/openssl-card.cnf openssl pkeyutl -inkey "pkcs11:token=Sig_EP;type=private" -sign \
        -pkeyopt digest:sha256 -in digest -out signature
    openssl dgst -sha256 -verify ordinary.pub -signature signature document | grep -q "Verified OK" ||
        fail "a bad signature by the provider"
fi

echo "OpenSSL proves who one is to a server that speaks TLS 1.3 too, without further options"
openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=localhost -keyout server.key -out server.pem 2>/dev/null
openssl s_server -accept 127.0.0.1:0 -cert server.pem -key server.key -CAfile authority.pem -Verify 2 \
    -verify_return_error -naccept 1 -rev >server.log 2>&1 &
server=$!
for _ in $(seq 300); do grep -q "^ACCEPT" server.log && break; sleep 0.1; done
port=$(sed -n 's/^ACCEPT .*:\([0-9]*\)$/\1/p' server.log)
greet |
    OPENSSL_CONF=$home/.config/tavrik/openssl-card.cnf openssl s_client -engine pkcs11 -keyform engine -key "$key" \
        -cert ordinary.pem -cert_chain authority.pem -connect "127.0.0.1:$port" >client.log 2>&1 || true
grep -q "olleh" client.log || { kill "$server"; cat client.log server.log; fail "no TLS"; }
wait "$server" || true
grep -q "anna" server.log || fail "the server does not know who it was: $(cat server.log)"
expect_exit 0 user_setup --undo openssl

echo "Java"
expect_exit 0 user_setup java
for slot in sig-zep sig-ep; do
    echo 123456 >"$TAVRIK_PINENTRY_ANSWERS"
    keytool -providerClass sun.security.pkcs11.SunPKCS11 -providerArg "$home/.config/tavrik/java-$slot.cfg" -keystore NONE \
        -storetype PKCS11 -storepass none -list | grep -q PrivateKeyEntry || fail "Java finds no key of $slot"
done
expect_exit 0 user_setup --undo java
[ ! -e "$home/.config" ] || fail "something of Java is left"

echo "p11-kit"
install_programs p11-kit
mkdir -p "$root/usr/share/p11-kit/modules"
expect_exit 0 setup p11-kit
over_system p11-kit list-modules >listed
grep -q "token: Sig_EP" listed || fail "p11-kit does not show the card: $(cat listed)"
expect_exit 0 setup --undo p11-kit
over_system p11-kit list-modules >listed
! grep -q "token: Sig_EP" listed || fail "p11-kit shows the card still"

echo "Firefox"
install_programs firefox-esr
mkdir -p "$root/etc/firefox/policies" profile
echo '{"policies": {"DisableTelemetry": true}}' >"$root/etc/firefox/policies/policies.json"
expect_exit 0 setup firefox
over_system timeout 100 firefox-esr --headless --profile profile --screenshot "$folder/page.png" about:blank \
    >firefox.log 2>&1 || true
modutil -dbdir sql:profile -list 2>&1 | grep -q "Sig_ZEP" || { cat firefox.log; fail "Firefox has no card"; }
expect_exit 0 setup --undo firefox
[ "$(cat "$root/etc/firefox/policies/policies.json")" = '{"policies": {"DisableTelemetry": true}}' ] ||
    fail "the policies are not as before"

echo "GnuPG"
install_programs gnupg-pkcs11-scd
expect_exit 0 setup gnupg
echo 123456 >"$TAVRIK_PINENTRY_ANSWERS"
printf 'LEARN --force\nEND\nEND\n' | timeout 60 gnupg-pkcs11-scd --server --options "$home/.gnupg/gnupg-pkcs11-scd.conf" \
    >scd.log 2>&1 || true
grep -q "^S KEYPAIRINFO" scd.log || fail "gnupg-pkcs11-scd shows no key: $(cat scd.log)"
gpgconf --homedir "$home/.gnupg" --check-options gpg-agent >/dev/null || fail "gpg-agent does not take its configuration"
expect_exit 0 setup --undo gnupg
[ ! -e "$home/.gnupg" ] || fail "something of GnuPG is left: $(ls -la "$home/.gnupg")"
