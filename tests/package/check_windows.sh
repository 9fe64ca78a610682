#!/usr/bin/env bash
# check_windows.sh BUILD_FOLDER RUN_UNDER_WINE: the ZIP and the installer that cpack has made in the build folder. The ZIP
# has everything; the installer installs without a question, over an older version and over itself, while applications use
# them; what it has installed makes a card and signs with it; and its uninstaller leaves nothing behind but the cards. The
# older version is made here, signed with a certificate of the test's own.
set -euo pipefail
build=$(realpath "$1")
run=$(realpath "$2")
: "${WINEPREFIX:=$build/../wine}"
WINEPREFIX=$(realpath -m "$WINEPREFIX")
export WINEPREFIX
programs="$WINEPREFIX/drive_c/Program Files/Tavrik"
uninstall_key='HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\Tavrik'

fail() {
    echo "check_windows: $*" >&2
    exit 1
}

expected='doc/windows.md
include/tavrik/rsa.h
lib/libpkcs11_x64.dll.a
pkcs11_x64.dll
softcard/CardAPI.dll
softcard/pkcs11_x64.dll
softcard/tavrik-card.exe
softcard/tavrik-pkcs11.dll
softcard/tavrik-scripted-pinentry.exe
tavrik-log.exe
tavrik-pkcs11.dll
tavrik-setup.exe'

zip=("$build"/tavrik-*-x64.zip)
installer=("$build"/tavrik-*-x64.exe)
version=$(sed -n 's/^set(CPACK_PACKAGE_VERSION "\(.*\)")/\1/p' "$build/CPackConfig.cmake")
if ! [ -f "${zip[0]}" ] || ! [ -f "${installer[0]}" ]; then
    fail "cpack has made no ZIP or no installer"
fi
listing=$(python3 -m zipfile --list "${zip[0]}" | awk 'NR > 1 {print $1}' | sed 's|^[^/]*/||')
while read -r file; do
    grep -qxF "$file" <<<"$listing" || fail "$file is not in the ZIP"
done <<<"$expected"
! grep -qx 'CardAPI.dll' <<<"$listing" || fail "a card-access library lies beside the library"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
[ ! -e "$programs" ] || fail "something is installed already"

# An older version, signed, with a file that is no longer there in this one.
openssl req -x509 -newkey rsa:2048 -nodes -keyout "$folder/signer.key" -out "$folder/signer.pem" -days 2 \
    -subj "/CN=Signer of the test" -addext extendedKeyUsage=codeSigning 2>"$folder/openssl.log" || fail "no certificate"
mkdir "$folder/more"
echo "of the older version" >"$folder/more/older.txt"
(cd "$build" && cpack -B "$folder/older" -D CPACK_PACKAGE_VERSION=3.9.9 -D CPACK_PACKAGE_FILE_NAME=older \
    -D "CPACK_INSTALLED_DIRECTORIES=$folder/more;." -D "TAVRIK_SIGNING_CERTIFICATE=$folder/signer.pem" \
    -D "TAVRIK_SIGNING_KEY=$folder/signer.key") >"$folder/cpack.log" 2>&1 || { cat "$folder/cpack.log"; fail "cpack"; }
is_signed() { # FILE
    osslsigncode verify -CAfile "$folder/signer.pem" -in "$1" >"$folder/verified" 2>&1 &&
        grep -q '^Number of verified signatures: 1' "$folder/verified"
}
is_signed "$folder/older/older.exe" || fail "the installer is not signed"
! is_signed "${installer[0]}" || fail "an installer without a signature counts as signed"
python3 -m zipfile --extract "$folder/older/older.zip" "$folder/unpacked"
while read -r file; do
    is_signed "$file" || fail "$file is not signed"
done < <(find "$folder/unpacked" -name '*.dll' -o -name '*.exe')

registered() { # KEY NAME
    "$run" reg query "$1" /v "$2" | tr -d '\r' | sed -n "s/^ *$2 *REG_[A-Z]* *//p"
}
is_installed() { # VERSION
    local file
    while read -r file; do
        [ -f "$programs/$file" ] || fail "$file is not installed"
    done <<<"$expected"
    [ "$(registered "$uninstall_key" DisplayVersion)" = "$1" ] || fail "the version is not $1"
}
# Firefox is set up for all users, as far as can be seen without it, and Thunderbird is not there.
"$run" cmd /c exit # which makes that Windows, if there is none
mkdir "$WINEPREFIX/drive_c/Program Files/Mozilla Firefox"
touch "$WINEPREFIX/drive_c/Program Files/Mozilla Firefox/firefox.exe"
policy='HKLM\Software\Policies\Mozilla\Firefox\SecurityDevices\Add'
firefox_is_set_up() {
    [ "$(registered "$policy" Tavrik)" = 'C:\Program Files\Tavrik\tavrik-pkcs11.dll' ]
}
code=0
said=$("$run" "$folder/older/older.exe" /S /FIREFOX /THUNDERBIRD) || code=$?
[ "$code" -eq 4 ] || fail "the missing Thunderbird gives $code"
grep -i thunderbird <<<"$said" >/dev/null || fail "nobody is told of Thunderbird: $said"
is_installed 3.9.9
firefox_is_set_up || fail "Firefox is not set up"
[ -f "$programs/older.txt" ] || fail "the older version is not whole"
is_signed "$programs/uninstall.exe" || fail "the uninstaller is not signed"

# Wine has a user folder of its own for every program that it starts, so a command interpreter gives it the other one.
windows_path() { # PATH
    echo "Z:${1//\//\\}"
}
for_user() { # COMMAND LINE
    (cd "$programs/softcard" && "$run" cmd /c "set TAVRIK_HOME=&set LOCALAPPDATA=$(windows_path "$folder")&$1")
}
bin=$(windows_path "$build/bin")
for_user "tavrik-card.exe new anna --bok 123456 --puk 1"
for_user "tavrik-card.exe insert anna"
sign() { # LIBRARY MORE...
    for_user "$bin\\c_host.exe $1 123456 finalize ${*:2}"
}

# Goes on until the mark that it makes is removed.
begin() { # FUNCTION ARGUMENTS...
    "$@" "$(windows_path "$folder/mark")" >"$folder/said" &
    host=$!
    for _ in $(seq 600); do
        [ -e "$folder/mark" ] && return
        sleep 0.1
    done
    cat "$folder/said"
    fail "$* has not begun"
}
end() {
    rm "$folder/mark"
    wait "$host"
}

# A file that a program lets nobody move: nothing is changed.
hold() { # FILE MARK
    "$run" "$build/bin/file_holder.exe" "$1" "$2"
}
begin hold 'C:\Program Files\Tavrik\softcard\pkcs11_x64.dll'
! "$run" "${installer[0]}" /S || fail "it installs over a file that is held"
is_installed 3.9.9
! find "$programs" -name '*.old-*' | grep . || fail "something is left aside"
end

# A library that an application has loaded: the application goes on with it, and others have the new one.
begin sign tavrik-pkcs11.dll
"$run" "${installer[0]}" /S
is_installed "$version"
firefox_is_set_up || fail "Firefox is no longer set up"
[ ! -e "$programs/older.txt" ] || fail "a file of the older version is still there"
end
grep -q '^done' "$folder/said" || fail "the host did not go on: $(cat "$folder/said")"
for library in pkcs11_x64.dll tavrik-pkcs11.dll; do
    said=$(sign "$library")
    grep -q '^done' <<<"$said" || fail "the host did not sign with $library: $said"
done

# Repair: what was damaged is whole again.
echo damaged >"$programs/tavrik-pkcs11.dll"
rm "$programs/softcard/CardAPI.dll"
"$run" "${installer[0]}" /S
is_installed "$version"
cmp "$programs/tavrik-pkcs11.dll" "$programs/softcard/tavrik-pkcs11.dll" || fail "the front is still damaged"

while read -r file; do
    "$(dirname "$0")/../windows/hardening_test.sh" x86_64-w64-mingw32-objdump "$programs/$file" ||
        fail "$file is not hardened"
done < <(grep -E '\.(dll|exe)$' <<<"$expected")

! grep -rlF "$(git -C "$build" rev-parse --show-toplevel)" "$programs" || fail "the folder of the build is named"
for_user "..\\tavrik-log.exe" | grep "CardAPI, version" >/dev/null || fail "the log cannot be read"

# What Windows' list of programs shows, and where applications find the front.
[ "$(registered "$uninstall_key" DisplayName)" = "Tavrik PKCS11 library" ] || fail "no name"
[ "$(registered "$uninstall_key" InstallLocation)" = 'C:\Program Files\Tavrik' ] || fail "no folder"
installed=$(du -s --apparent-size --block-size=1024 --exclude=uninstall.exe "$programs" | cut -f 1)
size=$(registered "$uninstall_key" EstimatedSize)
if [ $((size)) -lt $((installed * 9 / 10)) ] || [ $((size)) -gt $((installed * 11 / 10)) ]; then
    fail "the size is said to be $((size)) KiB and is $installed"
fi
[ "$(registered 'HKLM\Software\Tavrik' Module)" = 'C:\Program Files\Tavrik\tavrik-pkcs11.dll' ] || fail "no front"

# Uninstalled while an application uses it, and by a program that waits.
begin sign tavrik-pkcs11.dll
echo '"C:\Program Files\Tavrik\uninstall.exe" /S _?=C:\Program Files\Tavrik' >"$folder/uninstall.bat"
said=$("$run" cmd /c "$(windows_path "$folder/uninstall.bat")")
grep -qF 'AppData\Local\Tavrik' <<<"$said" || fail "nobody is told where the cards are: $said"
[ ! -e "$programs/tavrik-pkcs11.dll" ] || fail "it is still installed"
end
grep -q '^done' "$folder/said" || fail "the host did not go on: $(cat "$folder/said")"
[ -f "$folder/Tavrik/state/readers/Reader 0/card" ] || fail "the card is gone"
! "$run" reg query "$uninstall_key" >/dev/null 2>&1 || fail "Windows still takes it for installed"
! "$run" reg query "$policy" >/dev/null 2>&1 || fail "Firefox is still set up"
rm -r "$WINEPREFIX/drive_c/Program Files/Mozilla Firefox"

# Uninstalled as Windows does it.
"$run" "${installer[0]}" /S
"$run" "$programs/uninstall.exe" /S
for _ in $(seq 100); do # it goes on by itself, from a copy
    [ -e "$programs" ] || break
    sleep 0.1
done
[ ! -e "$programs" ] || fail "left behind: $(find "$programs")"
for key in "$uninstall_key" 'HKLM\Software\Tavrik'; do
    ! "$run" reg query "$key" >/dev/null 2>&1 || fail "left behind: $key"
done
pending=$("$run" reg query 'HKLM\System\CurrentControlSet\Control\Session Manager' /v PendingFileRenameOperations 2>&1 || true)
! grep -F '\Tavrik\\0' <<<"$pending" || fail "Windows' next start removes a folder that is in use"
echo "The ZIP has $(wc -l <<<"$listing") entries; the installed library signed and is gone."
