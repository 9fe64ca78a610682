# For the tests of Windows' clients, which source it, as ../clients/card.sh is for Linux: a folder of the test's own that
# goes with it, with a software card in a reader.
#   CLIENT_test.sh RUN_UNDER_WINE FOLDER_OF_THE_LIBRARY [FOLDER_OF_OPENSC FOLDER_OF_P11_KIT]
# shellcheck shell=bash
set -euo pipefail

run=$1
programs=$2
opensc=${3-}
# shellcheck disable=SC2034 # its test uses it
p11_kit=${4-}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
# shellcheck disable=SC2034 # expect.sh uses it
answers=$folder/answers
# shellcheck source=../clients/expect.sh
. "$here/../clients/expect.sh"

# The name that a path has for Windows' programs.
on_windows() { # PATH
    echo "Z:${1//\//\\}"
}
TAVRIK_HOME=$(on_windows "$folder")
TAVRIK_PINENTRY=$(on_windows "$programs/tavrik-scripted-pinentry.exe")
TAVRIK_PINENTRY_ANSWERS=$(on_windows "$answers")
export TAVRIK_HOME TAVRIK_PINENTRY TAVRIK_PINENTRY_ANSWERS

# A command of one word, as on Linux.
card_tool=$folder/card_tool
printf '#!/bin/sh\nexec "%s" "%s" "$@"\n' "$run" "$programs/tavrik-card.exe" >"$card_tool"
chmod +x "$card_tool"

"$card_tool" new anna --subject "Anna" --bok 123456 --pin 654321 >/dev/null
"$card_tool" insert anna >/dev/null
echo "one hundred and twelve euros" >document

# OpenSC's tool, with the module that $module names.
tool() {
    # shellcheck disable=SC2154 # the tests set it
    "$run" "$opensc/bin/pkcs11-tool.exe" --module "$module" "$@" 2>&1
}

# What a client says is of interest only when it fails.
quietly() { # COMMAND...
    "$@" >said || { cat said; return 1; }
}
