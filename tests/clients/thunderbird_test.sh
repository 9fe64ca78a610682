#!/usr/bin/env bash
# Thunderbird, without a screen, opens a message that OpenSSL has encrypted for the card, and sends signed ones, which OpenSSL
# verifies. It has the card by a policy, as tavrik-setup makes it, or in its profile where it knows no such policy. A user of ours steers it through its remote control. The
# card's keyboard asks once.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
require_own_mounts

make_trusting_database profile
# Thunderbird 140, which Debian 13 had at first, has no policy for security devices; 153 has it.
if [ "$(thunderbird --version | tr -dc '0-9.' | cut -d . -f 1)" -lt 153 ]; then
    modutil -dbdir sql:profile -add Tavrik -libfile "$front" -force >/dev/null 2>&1
fi
cat >profile/user.js <<END
user_pref("marionette.port", 0);
user_pref("app.update.enabled", false);
user_pref("datareporting.policy.dataSubmissionPolicyBypassNotification", true);
user_pref("mail.provider.suppress_dialog_on_startup", true);
user_pref("mail.shell.checkDefaultClient", false);
user_pref("mail.accountmanager.accounts", "account1,account2");
user_pref("mail.accountmanager.defaultaccount", "account1");
user_pref("mail.accountmanager.localfoldersserver", "server2");
user_pref("mail.account.account1.identities", "id1");
user_pref("mail.account.account1.server", "server1");
user_pref("mail.account.account2.server", "server2");
user_pref("mail.identity.id1.fullName", "Anna");
user_pref("mail.identity.id1.useremail", "anna@example.org");
user_pref("mail.identity.id1.valid", true);
user_pref("mail.identity.id1.smtpServer", "smtp1");
user_pref("mail.server.server1.type", "pop3");
user_pref("mail.server.server1.hostname", "localhost");
user_pref("mail.server.server1.userName", "anna");
user_pref("mail.server.server1.login_at_startup", false);
user_pref("mail.server.server1.check_new_mail", false);
user_pref("mail.server.server2.type", "none");
user_pref("mail.server.server2.hostname", "Local Folders");
user_pref("mail.server.server2.userName", "nobody");
user_pref("mail.server.server2.directory-rel", "[ProfD]Mail/Local Folders");
user_pref("mail.smtpservers", "smtp1");
user_pref("mail.smtp.defaultserver", "smtp1");
user_pref("mail.smtpserver.smtp1.type", "smtp");
user_pref("mail.smtpserver.smtp1.hostname", "127.0.0.1");
user_pref("mail.smtpserver.smtp1.authMethod", 1);
user_pref("mail.smtpserver.smtp1.try_ssl", 0);
END

"$card_tool" export-certificate anna es >ordinary.pem
printf 'Content-Type: text/plain\n\n' | cat - document >letter
mkdir -p "profile/Mail/Local Folders"
{
    echo "From - Thu Jan  1 00:00:00 2026"
    openssl cms -encrypt -aes256 -in letter -from boris@example.org -to anna@example.org -subject "A bill" ordinary.pem
    echo
} >"profile/Mail/Local Folders/Letters"

# In a view of /etc and of tavrik-setup's record that only this test has.
mkdir record
cp -a /etc etc 2>/dev/null || true # but for what only root may read
# shellcheck disable=SC2016 # the inner shell expands its own variables
in_own_mounts sh -euc '
    mount --bind etc /etc
    mount --bind record /var/lib
    "$0" --module "$1" thunderbird
    exec thunderbird --headless --no-remote --marionette --remote-allow-system-access --profile "$2"' \
    "$4" "$(realpath "$front")" "$PWD/profile" >thunderbird.log 2>&1 &
thunderbird=$!
trap 'kill $thunderbird 2>/dev/null || true; wait; rm -rf "$TAVRIK_HOME"' EXIT
timeout 150 /usr/bin/python3 "$here/thunderbird_letters.py" profile "$card_tool" "$(cat document)" ||
    { grep -v -i gtk thunderbird.log | tail -n 20; exit 1; }

for message in sent-*.eml; do
    openssl cms -verify -in "$message" -CAfile authority.pem -out verified 2>&1 | expect "successful"
    openssl cms -verify -in "$message" -CAfile authority.pem -noverify -signer signer.pem -out /dev/null 2>/dev/null
    cmp ordinary.pem signer.pem
    tr -d '\r' <verified | sed '1,/^$/d' | base64 -d | expect "$(cat document)"
done
