#!/usr/bin/env bash
# tavrik-setup.exe: lists, sets up, shows, takes back, and leaves what it must not touch, in the registry and in files.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/setup.sh"
every=(firefox thunderbird java openvpn)
mozilla='Software\Policies\Mozilla'
firefox="HKCU\\$mozilla\\Firefox\\SecurityDevices"
firefox_for_all="HKLM\\$mozilla\\Firefox\\SecurityDevices"
own=$local_data/Tavrik/config
# As installed, in a folder that needs quotation marks in most places.
installed="$drive/Program Files (x86)/Tavrik"
module='C:\Program Files (x86)\Tavrik\tavrik-pkcs11.dll'
mkdir -p "$installed"
cp "$tool" "$front" "$(dirname "$front")/pkcs11_x64.dll" "$installed/"

setup() { # CODE ARGUMENTS
    local code=$1
    shift
    expect_exit "$code" "$installed/tavrik-setup.exe" "$@"
}

# All that the programs read, and the record for all users.
everything() {
    for root in HKCU HKLM; do
        key "$root\\Software\\Policies"
    done
    key 'HKLM\Software\Tavrik'
    find "$installed" "$drive/Program Files/Mozilla Firefox" "$own" -type f -exec sha256sum {} + 2>/dev/null || true
}

echo "lists what is installed"
setup 0
[ "$(wc -l <<<"$said")" -eq 4 ] || fail "four programs have not four lines: $said"
expect_said "firefox      not installed"
setup 1 firefox
expect_said "Firefox is not installed."
mkdir -p "$drive/Program Files/Mozilla Firefox" "$drive/Program Files/OpenVPN/bin" "$drive/mail"
touch "$drive/Program Files/Mozilla Firefox/firefox.exe" "$drive/Program Files/OpenVPN/bin/openvpn.exe" "$drive/mail/thunderbird.exe"
registry add 'HKLM\Software\Microsoft\Windows\CurrentVersion\App Paths\thunderbird.exe' /ve /d 'C:\mail\thunderbird.exe'
registry add 'HKLM\Software\JavaSoft'
setup 0
[ "$(grep -c "does not use the card" <<<"$said")" -eq 4 ] || fail "not all are installed: $said"
before=$(everything)

echo "shows and changes nothing"
setup 0 --dry-run "${every[@]}"
expect_said "firefox: would make HKEY_CURRENT_USER\\$mozilla\\Firefox\\SecurityDevices\\Add\\Tavrik
    +$module"
expect_said '    +library = "C:/Program Files (x86)/Tavrik/tavrik-pkcs11.dll"'
expect_said '    +pkcs11-providers "C:\\Program Files (x86)\\Tavrik\\tavrik-pkcs11.dll"'
[ "$(everything)" = "$before" ] || fail "--dry-run has changed something"
[ ! -e "$local_data/Tavrik" ] || fail "--dry-run has made a folder"

echo "sets up for this user, once"
setup 0 "${every[@]}"
for product in Firefox Thunderbird; do
    key_has "HKCU\\$mozilla\\$product\\SecurityDevices\\Add" "Tavrik    REG_SZ    $module" || fail "no policy of $product"
done
[ -z "$(key 'HKLM\Software\Policies\Mozilla')" ] || fail "a policy for all users"
grep -qx 'slotListIndex = 1' "$own/java-sig-ep.cfg" || fail "no provider file"
grep -qx 'MODULE_PATH = C:/Program Files (x86)/Tavrik/tavrik-pkcs11.dll' "$own/openssl-card.cnf" || fail "no file for OpenSSL"
setup 0
[ "$(grep -c "uses the card" <<<"$said")" -eq 4 ] || fail "not all use the card: $said"
after=$(everything)
setup 0 "${every[@]}"
expect_said "firefox: is set up already."
[ "$(everything)" = "$after" ] || fail "the second time has changed something"

echo "takes back what it did, in any order"
setup 0 --undo firefox
expect_said "firefox: removed HKEY_CURRENT_USER\\$mozilla\\Firefox\\SecurityDevices\\Add\\Tavrik"
[ -z "$(key "HKCU\\$mozilla\\Firefox")" ] || fail "keys are left: $(key "HKCU\\$mozilla\\Firefox")"
setup 0 --undo openvpn java thunderbird
[ "$(everything)" = "$before" ] || { diff <(echo "$before") <(everything); fail "something is left"; }
[ -z "$(key 'HKCU\Software\Policies')" ] || fail "keys are left: $(key 'HKCU\Software\Policies')"
[ ! -e "$own" ] || fail "a folder is left"
[ ! -e "$local_data/Tavrik/state/setup.json" ] || fail "the record is left"
setup 0 --undo "${every[@]}"
expect_said "there is nothing to undo"

echo "leaves the devices of others, in both forms, and what they change meanwhile"
registry add "$firefox\\Add" /v Other /d 'C:\other.dll'
registry add "HKCU\\$mozilla\\Thunderbird\\SecurityDevices" /v Older /d 'C:\older.dll'
registry add "HKCU\\$mozilla\\Firefox" /v DisableTelemetry /t REG_DWORD /d 1
before=$(everything)
setup 0 firefox thunderbird
key_has "HKCU\\$mozilla\\Thunderbird\\SecurityDevices" "Tavrik    REG_SZ    $module" || fail "not in the older form"
setup 0 --undo firefox thunderbird
[ "$(everything)" = "$before" ] || { diff <(echo "$before") <(everything); fail "not as before"; }
registry delete "$firefox\\Add" /v Other
setup 0 firefox
registry add "$firefox\\Add" /v Late /d 'C:\late.dll'
setup 0 --undo firefox
key_has "$firefox\\Add" 'Late    REG_SZ' || fail "a device that came later is gone"
registry delete 'HKCU\Software\Policies\Mozilla'

echo "what others have made of it stays"
setup 0 firefox
registry add "$firefox\\Add" /v Tavrik /d 'C:\mine.dll'
setup 1 --undo firefox
expect_said "SecurityDevices\\Add\\Tavrik is left as it is. It was changed since."
setup 1 firefox
key_has "$firefox\\Add" 'Tavrik    REG_SZ    C:\mine.dll' || fail "the user's value is gone"
registry add "$firefox\\Add" /v Tavrik /d "$module"
setup 0 --undo firefox

echo "a device of our name that is another's is left, and what to add is told"
registry add "$firefox\\Add" /v Tavrik /d 'C:\other.dll'
setup 1 firefox
expect_said 'Tavrik is left as it is. It is there already, and names C:\other.dll.'
expect_said "HKEY_CURRENT_USER\\$mozilla\\Firefox\\SecurityDevices\\Add\\Tavrik = $module"
registry add "$firefox\\Add" /v Tavrik /t REG_DWORD /d 7
setup 1 firefox
expect_said "It is no text"
setup 0
expect_said "firefox      has a file that cannot be read"
registry delete 'HKCU\Software\Policies\Mozilla'

echo "what was set up by hand counts, and is not taken back"
registry add "$firefox\\Add" /v Tavrik /d "$module"
setup 0 firefox
expect_said "firefox: is set up already."
setup 1 --undo firefox
expect_said "It was not tavrik-setup that set this up."
registry delete 'HKCU\Software\Policies\Mozilla'

echo "for all users: the policies of the computer, and Java's files beside the front"
before=$(everything)
setup 0 --all-users firefox thunderbird java
key_has "$firefox_for_all\\Add" "Tavrik    REG_SZ    $module" || fail "no policy for all users"
[ -z "$(key 'HKCU\Software\Policies\Mozilla')" ] || fail "a policy of the user"
grep -qF 'library = "C:/Program Files (x86)/Tavrik/tavrik-pkcs11.dll"' "$installed/java-sig-ep.cfg" || fail "no provider file for all"
[ ! -e "$own" ] || fail "a file of the user"
key_has 'HKLM\Software\Tavrik' Setup || fail "no record"
setup 0 --all-users firefox thunderbird java
expect_said "java: is set up already."
setup 0
expect_said "firefox      uses the card"
expect_said "java         does not use the card"
setup 0 firefox
expect_said "firefox: is set up already."
setup 0 --all-users --undo firefox thunderbird java
[ "$(everything)" = "$before" ] || { diff <(echo "$before") <(everything); fail "something is left"; }
[ -z "$(key 'HKLM\Software\Policies\Mozilla')$(key 'HKLM\Software\Tavrik')" ] || fail "keys for all users are left"

echo "hides no policies, and makes none that would be hidden"
registry add "$firefox_for_all\\Add" /v Other /d 'C:\other.dll'
before=$(everything)
setup 1 firefox
expect_said "hide those of one user. Call tavrik-setup with --all-users."
[ "$(everything)" = "$before" ] || fail "a policy without effect was made"
setup 0 --all-users firefox
setup 0 --all-users --undo firefox
[ "$(everything)" = "$before" ] || fail "not as before"
registry delete 'HKLM\Software\Policies\Mozilla'
registry add "$firefox\\Add" /v Other /d 'C:\other.dll'
setup 1 --all-users firefox
expect_said "The policies of this user name security devices"
[ -z "$(key "$firefox_for_all")" ] || fail "the user's device is hidden"
registry delete 'HKCU\Software\Policies\Mozilla'
mkdir "$drive/Program Files/Mozilla Firefox/distribution"
policies="$drive/Program Files/Mozilla Firefox/distribution/policies.json"
echo '{"policies": {"DisableTelemetry": true}}' >"$policies"
setup 0 --dry-run firefox
echo '{"policies": {"SecurityDevices": {"Add": {"Other": "C:/other.dll"}}}}' >"$policies"
setup 1 firefox
expect_said 'C:\Program Files\Mozilla Firefox\distribution\policies.json names security devices, which this would hide.'
echo '{"policies": {"SecurityDevices": {"Add": {"Card": "D:/tavrik-pkcs11.dll"}}}}' >"$policies"
setup 0 firefox
expect_said "firefox: is set up already."
rm -r "$(dirname "$policies")"

echo "another front takes the place of the earlier one"
mkdir "$drive/other"
cp "$front" "$drive/other/"
setup 0 firefox java
setup 0 --module 'C:\other\tavrik-pkcs11.dll' firefox java
key_has "$firefox\\Add" 'Tavrik    REG_SZ    C:\other\tavrik-pkcs11.dll' || fail "the earlier front is there still"
grep -qF 'library = "C:/other/tavrik-pkcs11.dll"' "$own/java-sig-ep.cfg" || fail "java has the earlier front"
setup 0 --module 'C:\other\tavrik-pkcs11.dll' --undo firefox java
[ -z "$(key 'HKCU\Software\Policies')" ] || fail "a policy is left"
[ ! -e "$own" ] || fail "a file is left"

echo "leaves files that others have changed, and reads none that is too large"
setup 0 java
echo "# mine" >>"$own/java-sig-ep.cfg"
setup 1 --undo java
expect_said 'java-sig-ep.cfg is left as it is. It was changed since.'
[ -e "$own/java-sig-ep.cfg" ] || fail "a file with changes of the user is gone"
[ ! -e "$own/java-sig-zep.cfg" ] || fail "a file is left"
head -c 1048577 /dev/zero >"$own/java-sig-ep.cfg"
setup 1 java
expect_said "It is too large."
rm "$own/java-sig-ep.cfg"
mkdir "$own/java-sig-ep.cfg"
setup 1 java
expect_said "It is no regular file"
rmdir "$own/java-sig-ep.cfg"
setup 0 --undo java

echo "a damaged record is no reason to guess"
setup 0 firefox
echo "[{]" >"$local_data/Tavrik/state/setup.json"
setup 1 --undo firefox
expect_said "setup.json, which says what tavrik-setup has changed, is damaged."
key_has "$firefox\\Add" Tavrik || fail "taken out without a record"
rm "$local_data/Tavrik/state/setup.json"
registry delete 'HKCU\Software\Policies\Mozilla'

echo "JSON for machines"
setup 0 --json
python3 -c '
import json, sys
programs = {p["program"]: p for p in json.loads(sys.argv[1])}
assert programs["firefox"] == {"program": "firefox", "title": "Firefox", "installed": True, "usesCard": "no"}, programs' "$said"
setup 0 --json --dry-run --all-users firefox
python3 -c '
import json, sys
(plan,) = json.loads(sys.argv[1])
(change,) = plan["changes"]
assert plan["done"] is False and plan["left"] == [], plan
assert change["action"] == "make" and change["file"].startswith("HKEY_LOCAL_MACHINE\\Software\\Policies\\"), change
assert change["difference"] == "+" + sys.argv[2] + "\n", change' "$said" "$module"

echo "refuses arguments that make no sense"
setup 2 ssh
setup 2 --undo
setup 2 check firefox
setup 2 check --all-users
setup 2 firefox --root C:/
setup 1 --module 'C:\Anna Horvátová\tavrik-pkcs11.dll' firefox
expect_said 'C:\Anna Horvátová\tavrik-pkcs11.dll has characters'
[ -z "$(key 'HKCU\Software\Policies')" ] || fail "refused arguments have changed something"
