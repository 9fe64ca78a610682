#!/usr/bin/env bash
# What lies in the current folder under the name of a library that is looked for is not loaded, unless its folder is the one
# of the library that looks.
#   current_folder_test.sh FRONT CARD_TOOL SCRIPTED_PINENTRY LIBRARY SYMBOL_HOST CARD_LIBRARY PLANTED_LIBRARY
library=$4
host=$5
card_library=$6
planted=$7
# shellcheck source-path=SCRIPTDIR/../clients
. "$(dirname "$0")/../clients/card.sh"

unset LD_LIBRARY_PATH
failed=0
mkdir here alone good
here_folder=$PWD/here
library_alone=$PWD/alone/$(basename "$library")
cp "$library" alone/
cp "$card_library" good/
good=$PWD/good
card_library_name=$(basename "$card_library")
botan_name=$(readelf --dynamic "$library" | sed -n 's/.*(NEEDED).*\[\(libbotan.*\)\]$/\1/p')

try() { # EXPECTED_STATUS WHAT COMMAND...
    local status=0
    (cd "$here_folder" && "${@:3}" 2>"$TAVRIK_HOME/errors") || status=$?
    if [ $status = "$1" ] && { [ $status = 0 ] || grep -q "C_Initialize answers" "$TAVRIK_HOME/errors"; }; then
        echo "ok: $2"
    else
        echo "FAILED: $2: ends with $status: $(cat "$TAVRIK_HOME/errors")"
        failed=1
    fi
}

echo "libraries that the loader looks for"
for name in "$botan_name" "$card_library_name" "$(basename "$library")"; do
    cp "$planted" "here/$name"
done
try 0 "library" "$host" library "$library"
try 0 "front" "$host" front "$front"

# The rest is about the search for the card-access library, which has no place of its own here.
rm "here/$botan_name"
try 1 "library without its card-access library" "$host" library "$library_alone"
for path in "" : :/nowhere /nowhere: /nowhere::/elsewhere . ./ ../here; do
    try 1 "library, and the loader's path is '$path'" env LD_LIBRARY_PATH="$path" "$host" library "$library_alone"
done
for path in "$good" ":$good" "$good:" "$good::/nowhere" ".:$good" "../here:$good"; do
    try 0 "library, and the loader's path is '$path'" env LD_LIBRARY_PATH="$path" "$host" library "$library_alone"
done

echo "one that the host has loaded already"
try 0 "library" env LD_LIBRARY_PATH=: "$host" --global "$good/$card_library_name" library "$library_alone"
exit $failed
