#!/usr/bin/env bash
# tavrik-setup: lists, sets up, shows, takes back, and leaves what it must not touch.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/setup.sh"
every=(p11-kit firefox thunderbird chromium java openssl openvpn ssh gnupg pam_pkcs11)
policies=$root/etc/firefox/policies/policies.json

echo "lists what is installed"
expect_exit 0 setup
expect_said "firefox      not installed"
[ "$(wc -l <<<"$said")" -eq 11 ] || fail "eleven programs have not eleven lines: $said"
expect_exit 1 setup firefox
expect_said "Firefox is not installed."
install_programs p11-kit firefox-esr thunderbird chromium java openssl ssh gnupg-pkcs11-scd modutil certutil openvpn pkcs11_inspect \
    soffice
expect_exit 0 setup
expect_said "firefox      does not use the card"
expect_said "libreoffice  is set up by hand"
mkdir -p "$root/etc"
before=$(all_files)

echo "shows and changes nothing"
expect_exit 0 setup --dry-run "${every[@]}"
expect_said "+    PKCS11Provider $front"
expect_said "modutil -dbdir sql:$home/.pki/nssdb -add tavrik -libfile $front"
[ "$(all_files)" = "$before" ] || fail "--dry-run has changed something"

echo "sets up, once"
expect_exit 0 setup "${every[@]}"
expect_exit 0 setup
[ "$(grep -c "uses the card" <<<"$said")" -eq ${#every[@]} ] || fail "not all use the card: $said"
after=$(all_files)
expect_exit 0 setup "${every[@]}"
[ "$(all_files)" = "$after" ] || fail "the second time has changed something"
[ "$(stat -c %a "$home/.ssh")" = 700 ] || fail "the mode of .ssh"
[ "$(stat -c %a "$home/.ssh/config")" = 600 ] || fail "the mode of .ssh/config"
[ "$(stat -c %a "$policies")" = 644 ] || fail "the mode of policies.json"

echo "takes back what it did"
expect_exit 0 setup --undo "${every[@]}"
[ "$(all_files)" = "$before" ] || { diff <(echo "$before") <(all_files); fail "something is left"; }
expect_exit 0 setup --undo "${every[@]}"
expect_said "there is nothing to undo"

echo "merges with what is there, and takes its own part out to the byte"
mkdir -p "$home/.ssh" "$home/.gnupg" "$(dirname "$policies")" "$home/.pki/nssdb"
printf 'Host a\n\tUser b' >"$home/.ssh/config"
chmod 640 "$home/.ssh/config"
printf 'default-cache-ttl 60\n' >"$home/.gnupg/gpg-agent.conf"
printf '{\n\t"policies" : {\n\t\t"DisableTelemetry" : true }\n}' >"$policies"
certutil -N -d "sql:$home/.pki/nssdb" --empty-password
modutil -dbdir "sql:$home/.pki/nssdb" -add other -libfile "$front" -force >/dev/null 2>&1
modutil -dbdir "sql:$home/.pki/nssdb" -disable other -force >/dev/null 2>&1
sed -i "s|library=$front|library=/nowhere/other.so|" "$home/.pki/nssdb/pkcs11.txt"
before=$(all_files)
expect_exit 0 setup "${every[@]}"
[ "$(stat -c %a "$home/.ssh/config")" = 640 ] || fail "the mode of a file that was there"
grep -q "DisableTelemetry" "$policies" || fail "the policies of others are gone"
python3 -m json.tool "$policies" >/dev/null || fail "the policies are no JSON"
expect_exit 0 setup --undo "${every[@]}"
[ "$(all_files)" = "$before" ] || { diff <(echo "$before") <(all_files); fail "not as before"; }

echo "leaves what others change meanwhile"
expect_exit 0 setup "${every[@]}"
echo "Host late" >>"$home/.ssh/config"
sed -i 's/DisableTelemetry/DisablePocket/' "$policies"
python3 - "$policies" <<'END'
import json, sys
policies = json.load(open(sys.argv[1]))
policies["policies"]["SecurityDevices"]["Add"]["Other"] = "/o.so"
json.dump(policies, open(sys.argv[1], "w"), indent=3)
END
modutil -dbdir "sql:$home/.pki/nssdb" -enable other -force >/dev/null 2>&1 || true
echo "# mine" >>"$home/.pki/nssdb/pkcs11.txt"
echo "# mine" >>"$home/.config/tavrik/openssl-card.cnf"
after=$(all_files)
expect_exit 0 setup firefox chromium ssh
[ "$(all_files)" = "$after" ] || fail "the second time has changed something that others have changed too"
expect_exit 1 setup --undo "${every[@]}"
expect_said "openssl-card.cnf is left as it is. It was changed since."
[ -e "$home/.config/tavrik/openssl-card.cnf" ] || fail "a file with changes of the user is gone"
[ "$(cat "$home/.ssh/config")" = $'Host a\n\tUser b\nHost late' ] || fail "ssh: $(cat "$home/.ssh/config")"
python3 - "$policies" <<'END' || fail "policies: $(cat "$policies")"
import json, sys
assert json.load(open(sys.argv[1])) == {
    "policies": {"DisablePocket": True, "SecurityDevices": {"Add": {"Other": "/o.so"}}}}
END
! grep -q "$front" "$home/.pki/nssdb/pkcs11.txt" || fail "the module is in the database still"
grep -q "other.so" "$home/.pki/nssdb/pkcs11.txt" || fail "the module of others is gone"
rm "$home/.config/tavrik/openssl-card.cnf"
expect_exit 0 setup --undo openssl

echo "a database with something in it stays"
rm -rf "$home/.pki"
expect_exit 0 setup chromium
openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=mine -keyout key.pem -out certificate.pem 2>/dev/null
certutil -A -d "sql:$home/.pki/nssdb" -n mine -t ,, -i certificate.pem
expect_exit 0 setup --undo chromium
certutil -L -d "sql:$home/.pki/nssdb" | grep -q mine || fail "the user's certificate is gone"
! grep -q "$front" "$home/.pki/nssdb/pkcs11.txt" || fail "the module is there still"

echo "another front, and other hosts, take the place of the earlier ones"
expect_exit 0 setup --host "*.example.org" ssh
expect_exit 0 setup ssh # as it is
grep -qx "Host \*.example.org" "$home/.ssh/config" || fail "the hosts are lost"
expect_exit 0 setup --host "one two" ssh
[ "$(grep -c PKCS11Provider "$home/.ssh/config")" -eq 1 ] || fail "two blocks: $(cat "$home/.ssh/config")"
grep -qx "Host one two" "$home/.ssh/config" || fail "the hosts are not taken"
cp "$front" "$folder/other-front.so" # which does not start without the library beside it
list=$home/.pki/nssdb/pkcs11.txt
rm -rf "$home/.pki"
expect_exit 1 "$tool" --module "$folder/other-front.so" --root "$root" chromium
expect_said "modutil failed"
[ ! -e "$home/.pki" ] || fail "a database for a module that does not load"
expect_exit 0 setup chromium
cp "$list" list
expect_exit 1 "$tool" --module "$folder/other-front.so" --root "$root" chromium
cmp "$list" list || fail "the module is gone after a failure"
ln -s "$(dirname "$front")/"lib{pkcs11_x64,CardAPI}.so .
expect_exit 0 setup java
expect_exit 0 "$tool" --module "$folder/other-front.so" --root "$root" java chromium ssh
grep -q other-front.so "$home/.config/tavrik/java-sig-ep.cfg" || fail "java has the old front"
[ "$(grep -c "^name=tavrik" "$home/.pki/nssdb/pkcs11.txt")" -eq 1 ] || fail "two modules"
expect_exit 0 setup --undo ssh java chromium
[ "$(cat "$home/.ssh/config")" = $'Host a\n\tUser b\nHost late' ] || fail "ssh: $(cat "$home/.ssh/config")"

echo "leaves what it cannot merge, and says what to add"
printf '{ "policies": {}, }' >"$policies"
printf 'scdaemon-program /old\n' >"$home/.gnupg/gpg-agent.conf"
mkdir -p "$root/etc/pkcs11/modules"
echo "module: other.so" >"$root/etc/pkcs11/modules/tavrik.module"
head -c 1048577 /dev/zero >"$home/.ssh/config"
mkdir -p "$root/etc/pam_pkcs11" "$root/etc/pam.d"
echo "pam_pkcs11 { use_pkcs11_module = other; }" >"$root/etc/pam_pkcs11/pam_pkcs11.conf"
before=$(sha256sum "$policies" "$home/.gnupg/gpg-agent.conf" "$home/.ssh/config" "$root/etc/pkcs11/modules/tavrik.module" \
    "$root/etc/pam_pkcs11/pam_pkcs11.conf")
expect_exit 1 setup p11-kit firefox gnupg ssh pam_pkcs11
expect_said "policies.json is left as it is. It is no valid JSON: "
expect_said '"Tavrik": "'"$front"'"'
expect_said 'It has a line "scdaemon-program /old" already.'
expect_said "tavrik.module is left as it is. It is there already and holds something else."
expect_said "config: It is too large."
expect_said "pam_pkcs11.conf is left as it is. It is there already and holds something else."
expect_said "module = $front;"
expect_said "slot_num = 2;"
[ "$before" = "$(sha256sum "$policies" "$home/.gnupg/gpg-agent.conf" "$home/.ssh/config" "$root/etc/pkcs11/modules/tavrik.module" "$root/etc/pam_pkcs11/pam_pkcs11.conf")" ] ||
    fail "a file of others was changed"
expect_exit 0 setup --undo gnupg

echo "the configuration of pam_pkcs11 stays set up while its owner works on it; /etc/pam.d is never touched"
rm "$root/etc/pam_pkcs11/pam_pkcs11.conf"
echo "auth required pam_unix.so" >"$root/etc/pam.d/common-auth"
expect_exit 0 setup pam_pkcs11
expect_said "subject_mapping"
[ "$(stat -c %a "$root/etc/pam_pkcs11/pam_pkcs11.conf")" = 644 ] || fail "the mode of pam_pkcs11.conf"
sed -i 's/use_mappers = subject/use_mappers = cn/' "$root/etc/pam_pkcs11/pam_pkcs11.conf"
expect_exit 0 setup pam_pkcs11
expect_said "pam_pkcs11: is set up already."
expect_exit 1 setup --undo pam_pkcs11
expect_said "pam_pkcs11.conf is left as it is. It was changed since."
sed -i 's/use_mappers = cn/use_mappers = subject/' "$root/etc/pam_pkcs11/pam_pkcs11.conf"
expect_exit 0 setup --undo pam_pkcs11
[ "$(find "$root"/etc/pam* -type f -exec cat {} +)" = "auth required pam_unix.so" ] || fail "something else of PAM is there"

echo "hides no policies of another file, and finds its own when another one comes first by now"
expect_exit 0 setup --undo firefox
rm -r "$root/etc/firefox"
mkdir -p "$root/usr/lib/firefox-esr/distribution"
echo '{"policies": {}}' >"$root/usr/lib/firefox-esr/distribution/policies.json"
expect_exit 0 setup firefox
[ ! -e "$policies" ] || fail "the policies of the installation are hidden"
grep -q "$front" "$root/usr/lib/firefox-esr/distribution/policies.json" || fail "the policies of the installation lack the card"
mkdir -p "$(dirname "$policies")"
echo '{"policies": {}}' >"$policies"
expect_exit 0 setup
expect_said "firefox      does not use the card"
expect_exit 0 setup --undo firefox
[ "$(cat "$root/usr/lib/firefox-esr/distribution/policies.json")" = '{"policies": {}}' ] || fail "not taken back"
rm -r "$root/etc/firefox" "$root/usr/lib/firefox-esr"

echo "what is for everybody can be read by everybody, whatever the mask"
(umask 077 && setup firefox >/dev/null)
[ "$(stat -c %a "$policies" "$(dirname "$policies")" "$root/etc/firefox" | xargs)" = "644 755 755" ] || fail "modes of the policies"
expect_exit 0 setup --undo firefox

echo "follows a link of the user to a file of dotfiles, and no pipe"
rm "$home/.ssh/config"
mkdir "$home/dotfiles"
echo "Host a" >"$home/dotfiles/ssh"
ln -s ../dotfiles/ssh "$home/.ssh/config"
expect_exit 0 setup ssh
[ -L "$home/.ssh/config" ] || fail "the link is gone"
grep -q "$front" "$home/dotfiles/ssh" || fail "the target is not changed"
expect_exit 0 setup --undo ssh
[ "$(cat "$home/dotfiles/ssh")" = "Host a" ] || fail "the target is not as before"
rm "$home/.ssh/config"
mkfifo "$home/.ssh/config"
expect_exit 1 timeout 20 "$tool" --module "$front" ssh
expect_said "It is no regular file"
rm "$home/.ssh/config"

echo "what a package has brought along counts"
rm -r "$root/etc/pkcs11"
mkdir -p "$root/usr/share/p11-kit/modules"
echo "module: $(basename "$front")" >"$root/usr/share/p11-kit/modules/tavrik.module"
expect_exit 0 setup p11-kit
expect_said "p11-kit: is set up already."

echo "what was set up by hand is not taken back"
mkdir -p "$home/.ssh"
printf 'Host a\n    PKCS11Provider %s\n' "$front" >"$home/.ssh/config"
expect_exit 0 setup ssh
expect_said "ssh: is set up already."
expect_exit 1 setup --undo ssh
expect_said "It was not tavrik-setup that set this up."
rm "$home/.ssh/config"

echo "a damaged record is no reason to guess"
expect_exit 0 setup ssh
echo "[{]" >"$home/.local/state/tavrik/setup.json"
expect_exit 1 setup --undo ssh
expect_said "is damaged"
grep -q "$front" "$home/.ssh/config" || fail "taken out without a record"
rm "$home/.local/state/tavrik/setup.json" "$home/.ssh/config"

echo "JSON for machines"
setup --json | python3 -c '
import json, sys
programs = {p["program"]: p for p in json.load(sys.stdin)}
assert programs["ssh"] == {"program": "ssh", "title": "ssh", "installed": True, "usesCard": "no"}, programs["ssh"]
assert programs["libreoffice"]["usesCard"] == "byHand"'
setup --json --dry-run ssh | python3 -c '
import json, sys
(plan,) = json.load(sys.stdin)
assert plan["done"] is False and plan["left"] == [], plan
(change,) = plan["changes"]
assert change["action"] == "make" and change["file"].endswith("/.ssh/config") and "+Host *" in change["difference"], change'
setup --json --dry-run pam_pkcs11 | python3 -c '
import json, sys
(plan,) = json.load(sys.stdin)
(change,) = plan["changes"]
assert change["file"].endswith("/etc/pam_pkcs11/pam_pkcs11.conf") and "+    use_pkcs11_module = tavrik;" in change["difference"], change'
[ ! -e "$root/etc/pam_pkcs11/pam_pkcs11.conf" ] || fail "--dry-run has made a file"

echo "refuses arguments that make no sense"
expect_exit 2 setup nothing-like-this
expect_exit 2 setup --undo
expect_exit 2 setup check ssh
expect_exit 2 "$tool" --host $'a\nProxyCommand x' ssh
expect_exit 1 "$tool" --module "/tmp/a b.so" ssh
expect_said "has characters"
[ ! -e "$home/.ssh/config" ] || fail "refused arguments have changed something"

if [ "$(id -u)" -eq 0 ]; then
    echo "a user who may not write is told that root is needed"
    chmod 755 "$folder"
    mkdir "$folder/other"
    chown 65534:65534 "$folder/other"
    mkdir -p "$(dirname "$policies")"
    as_other() {
        setpriv --reuid 65534 --regid 65534 --clear-groups env HOME="$folder/other" "$@"
    }
    expect_exit 1 as_other "$tool" --module "$front" --root "$root" firefox
    expect_said "This needs root"
    expect_exit 0 as_other "$tool" --module "$front" --root "$root" ssh
    [ "$(stat -c %u "$folder/other/.ssh/config")" -eq 65534 ] || fail "the owner of a user's file"

    echo "a user with sudo is told whose files these are"
    SUDO_UID=65534 expect_exit 0 setup --dry-run java
    expect_said "are those of root"
    expect_exit 0 setup --dry-run java
    [[ $said != *"those of root"* ]] || fail "root without sudo is told the same"

    echo "root changes nothing in the home of another user, whatever HOME says"
    HOME=$folder/other expect_exit 0 setup --dry-run java
    [[ $said != *"$folder/other"* ]] || fail "root takes another user's home: $said"

    echo "with borrowed rights it does nothing"
    cp "$tool" borrowed
    chmod 4755 borrowed
    expect_exit 1 as_other "$folder/borrowed" --module "$front" --root "$root" firefox
    expect_said "rights"
    [ ! -e "$policies" ] || fail "a set-id program has written"
fi
