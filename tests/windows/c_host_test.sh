#!/usr/bin/env bash
# The host in C signs with a software card of its own user folder, as a person would arrange it by hand.
# Arguments: what runs Windows' programs, and the folder with them.
set -euo pipefail

run=$1
programs=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
# shellcheck source-path=SCRIPTDIR source=../clients/expect.sh
. "$(dirname "$0")/../clients/expect.sh"

# Runs a program beside the library, with its arguments, for a user whose data lie in the folder. Wine has a user
# folder of its own for every program that it starts, so a command interpreter gives it the other one.
for_user() {
    local program
    program="Z:${programs//\//\\}\\$1"
    shift
    "$run" cmd /c "set TAVRIK_HOME=&set LOCALAPPDATA=Z:${folder//\//\\}&$program $*"
}

for_user tavrik-card.exe new anna --bok 123456 --puk 1
for_user tavrik-card.exe insert anna
test -f "$folder/Tavrik/state/readers/Reader 0/card" || { find "$folder"; exit 1; }
for library in pkcs11_x64.dll tavrik-pkcs11.dll; do
    for way in finalize unload exit; do
        echo "$library, $way"
        for_user c_host.exe "$library" 123456 "$way" | expect "done"
    done
done

# A wrong code is refused, and the card has counted it: the host did use this card.
expect_failure for_user c_host.exe pkcs11_x64.dll 000000 finalize
for_user tavrik-card.exe list | expect $'anna\tReader 0\t2\t3\tanna'
