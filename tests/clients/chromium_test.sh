#!/usr/bin/env bash
# Chromium, without a screen, opens a page of a server that wants a client certificate, and shows whom the server saw.
# Chromium asks for a code in a dialog of its own, for each slot. What is typed there goes nowhere, and the card's keyboard
# asks, and once more after a wrong code. The qualified certificate is none for TLS, so it is the ordinary one that is shown.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
require_own_mounts
# shellcheck source-path=SCRIPTDIR
. "$here/tls.sh"

database=sql:$HOME/.pki/nssdb
mkdir -p .pki/nssdb
certutil -N -d "$database" --empty-password
modutil -dbdir "$database" -add tavrik -libfile "$front" -force >/dev/null 2>&1
start_tls_server
certutil -A -d "$database" -n server -t C,, -i ca.pem

# The certificate is chosen by a policy, which Chromium reads where only this test has put it.
mkdir -p settings/policies/managed profile
cat >settings/policies/managed/certificate.json <<END
{"AutoSelectCertificateForUrls": ["{\"pattern\": \"https://localhost:$port\", \"filter\": {}}"]}
END
open_page() {
    in_own_mounts sh -euc '
        mount --bind settings /etc/chromium
        exec timeout 50 chromium "$@"' sh --ssl-version-max=tls1.2 --headless --dump-dom --no-sandbox --disable-gpu \
        --disable-quic --no-first-run --disable-background-networking --disable-component-update --disable-sync \
        --user-data-dir="$PWD/profile" --enable-ui-devtools=0 \
        --enable-features=ui-debug-tools-enable-synthetic-events "$@"
}

type_codes 999999 123456 CANCEL
timeout 55 /usr/bin/python3 "$here/chromium_unlock.py" "$PWD/profile" >dialogs &
unlocking=$!
started+=("$unlocking")
TMPDIR=$PWD open_page "https://localhost:$port/" >page 2>chromium.log ||
    { cat dialogs server.log; tail -n 40 chromium.log; exit 1; }
wait $unlocking
expect_number 3 "$(wc -l <dialogs)" "dialogs"
if ! grep -qx unknown dialogs; then
    expect_number 2 "$(grep -c "unlock Sig_EP to authenticate to localhost" dialogs)" "dialogs for Sig_EP"
    expect "unlock Sig_ZEP to authenticate to localhost" <dialogs
fi

echo "the page shows the certificate that the server saw"
expect "Client certificate" <page
"$card_tool" export-certificate anna es | openssl x509 -noout -serial >ordinary
sed -n '/BEGIN CERTIFICATE/,/END CERTIFICATE/p' page | openssl x509 -noout -serial -subject -nameopt RFC2253 >seen
expect "$(cat ordinary)" <seen
expect ",CN=Anna Horv" <seen

echo "the card's keyboard has asked once more after the wrong code and then no more, and the dialog with it"
diff <(echo CANCEL) "$TAVRIK_PINENTRY_ANSWERS"
expect_number 3 "$(tries_left)" "tries left"
