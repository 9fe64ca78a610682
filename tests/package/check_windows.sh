#!/usr/bin/env bash
# check_windows.sh BUILD_FOLDER RUN_UNDER_WINE: the ZIP and the installer that cpack has made in the build folder. The ZIP
# has everything; the installer installs without a question, what it has installed makes a card and signs with it, and
# its uninstaller leaves nothing behind.
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
tavrik-pkcs11.dll'

zip=("$build"/tavrik-*-x64.zip)
installer=("$build"/tavrik-*-x64.exe)
if ! [ -f "${zip[0]}" ] || ! [ -f "${installer[0]}" ]; then
    fail "cpack has made no ZIP or no installer"
fi
listing=$(python3 -m zipfile --list "${zip[0]}" | awk 'NR > 1 {print $1}' | sed 's|^[^/]*/||')
while read -r file; do
    grep -qxF "$file" <<<"$listing" || fail "$file is not in the ZIP"
done <<<"$expected"
! grep -qx 'CardAPI.dll' <<<"$listing" || fail "a card-access library lies beside the library"

[ ! -e "$programs" ] || fail "something is installed already"
"$run" "${installer[0]}" /S
while read -r file; do
    [ -f "$programs/$file" ] || fail "$file is not installed"
done <<<"$expected"
while read -r file; do
    "$(dirname "$0")/../windows/hardening_test.sh" x86_64-w64-mingw32-objdump "$programs/$file" ||
        fail "$file is not hardened"
done < <(grep -E '\.(dll|exe)$' <<<"$expected")
"$run" reg query "$uninstall_key" >/dev/null || fail "Windows does not know that it is installed"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
# Wine has a user folder of its own for every program that it starts, so a command interpreter gives it the other one.
for_user() { # COMMAND LINE
    "$run" cmd /c "set TAVRIK_HOME=&set LOCALAPPDATA=Z:${folder//\//\\}&$1"
}
cd "$programs/softcard"
for_user "tavrik-card.exe new anna --bok 123456 --puk 1"
for_user "tavrik-card.exe insert anna"
for library in pkcs11_x64.dll tavrik-pkcs11.dll; do
    said=$(for_user "Z:${build//\//\\}\\bin\\c_host.exe $library 123456 finalize")
    grep -q '^done' <<<"$said" || fail "the host did not sign with $library: $said"
done
for_user "..\\tavrik-log.exe" | grep -q "CardAPI, version" || fail "the log cannot be read"
cd /

"$run" "$programs/uninstall.exe" /S
for _ in $(seq 100); do # it goes on by itself, from a copy
    [ -e "$programs" ] || break
    sleep 0.1
done
[ ! -e "$programs" ] || fail "left behind: $(find "$programs")"
! "$run" reg query "$uninstall_key" >/dev/null 2>&1 || fail "Windows still takes it for installed"
echo "The ZIP has $(wc -l <<<"$listing") entries; the installed library signed and is gone."
