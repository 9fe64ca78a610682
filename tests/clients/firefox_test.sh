#!/usr/bin/env bash
# Firefox, without a screen, opens a page of a server that wants a client certificate; a user of ours steers it through its
# remote control. Firefox logs in to each slot, and opens a window of its own for each login until that has ended. The card's
# keyboard asks once.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
# shellcheck source-path=SCRIPTDIR
. "$here/tls.sh"

# A keyboard that can be made to hang.
cat >keyboard <<END
#!/bin/sh
if [ -e "$PWD/hang" ]; then
    touch "$PWD/asked"
    while [ -e "$PWD/hang" ]; do sleep 0.1; done
fi
exec "$TAVRIK_PINENTRY" "\$@"
END
chmod +x keyboard
export TAVRIK_PINENTRY=$PWD/keyboard

start_tls_server
mkdir profile
certutil -N -d sql:profile --empty-password
certutil -A -d sql:profile -n server -t C,, -i ca.pem
modutil -dbdir sql:profile -add tavrik -libfile "$front" -force >/dev/null 2>&1
# The card signs no RSA-PSS, which TLS 1.3 needs.
cat >profile/user.js <<END
user_pref("security.default_personal_cert", "Select Automatically");
user_pref("security.tls.version.max", 3);
user_pref("marionette.port", 0);
END

firefox-esr --headless --no-remote --marionette --remote-allow-system-access --profile "$PWD/profile" >firefox.log 2>&1 &
browser=$!
started+=("$browser")
"$card_tool" export-certificate anna es >ordinary.pem
timeout 150 /usr/bin/python3 "$here/firefox_visits.py" profile "https://localhost:$port/" ordinary.pem "$card_tool" ||
    { tail -n 20 firefox.log server.log; exit 1; }

echo "Firefox ends although a dialog of the keyboard is open, once that is cancelled"
kill "$browser"
: >"$TAVRIK_PINENTRY_ANSWERS"
rm hang
wait "$browser" || true
expect_number 3 "$(tries_left)" "tries left"
