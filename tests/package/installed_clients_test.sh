#!/usr/bin/env bash
# Programs of others use the card with the packages as they are installed below a root, and with nothing but what the packages
# bring along and tavrik-setup sets up: ssh signs in, and curl and Firefox show their user's certificate to a web server.
#
#   installed_clients_test.sh ROOT
# shellcheck source-path=SCRIPTDIR
root=$1
set -- "$(find "$root/usr/lib" -path '*/pkcs11/tavrik-pkcs11.so')" "$root/usr/bin/tavrik-card" "$root/usr/bin/tavrik-scripted-pinentry"
. "$(dirname "$0")/../clients/card.sh"
here=$here/../clients
# shellcheck source=../clients/ssh_server.sh
. "$here/ssh_server.sh"
# shellcheck source=../clients/tls.sh
. "$here/tls.sh"
unset XDG_CONFIG_HOME XDG_STATE_HOME

trap 'end_started; wait; rm -rf "$TAVRIK_HOME"' EXIT
start_tls_server
"$card_tool" export-certificate anna es >ordinary.pem

echo "ssh"
"$root/usr/bin/tavrik-setup" ssh >/dev/null
public_key_of es >authorized_keys
type_codes 123456
sign_in -F .ssh/config | expect "signed in"
all_codes_were_asked_for

echo "curl"
sed "s|= /usr|= $root/usr|" "$root/usr/share/tavrik/openssl-card.cnf" >openssl-card.cnf
type_codes 123456
OPENSSL_CONF=$PWD/openssl-card.cnf curl --silent --show-error --cert "pkcs11:token=Sig_EP" --cacert ca.pem \
    "https://localhost:$port/" |
    expect "$(sed -n 2p ordinary.pem)"

echo "Firefox"
mkdir profile state-of-setup
certutil -N -d sql:profile --empty-password
certutil -A -d sql:profile -n server -t C,, -i ca.pem
cat >profile/user.js <<END
user_pref("security.default_personal_cert", "Select Automatically");
user_pref("security.tls.version.max", 3);
user_pref("marionette.port", 0);
END
cp -a /etc etc 2>/dev/null || true # but for what only root may read
# shellcheck disable=SC2016 # the inner shell expands its own variables
in_own_mounts sh -euc '
    mount --bind etc /etc
    mount --bind state-of-setup /var/lib
    "$0" firefox
    exec firefox-esr --headless --no-remote --marionette --remote-allow-system-access --profile "$1"' \
    "$root/usr/bin/tavrik-setup" "$PWD/profile" >firefox.log 2>&1 &
started+=($!)
PYTHONPATH=$here timeout 150 /usr/bin/python3 - "https://localhost:$port/" <<'END' || { tail -n 20 firefox.log; exit 1; }
import sys
from firefox_visits import BOK, User
User("profile", sys.argv[1], "ordinary.pem").visit("one code signs in", [BOK])
END
