#!/usr/bin/env bash
# The example signs under Wine, by itself and for a card that is inserted while it watches, and OpenSSL on Linux judges.
# Arguments: what runs Windows' programs, the folder with them, and a document.
set -euo pipefail

run=$1
programs=$2
document=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
windows() { echo "Z:${1//\//\\}"; }
TAVRIK_HOME=$(windows "$folder/home")
TAVRIK_PINENTRY=$(windows "$programs/tavrik-scripted-pinentry.exe")
TAVRIK_PINENTRY_ANSWERS=$(windows "$folder/answers")
export TAVRIK_HOME TAVRIK_PINENTRY TAVRIK_PINENTRY_ANSWERS

sign() { "$run" "$programs/sign_document.exe" --code 123456 "$@"; }

verify() { # FOLDER
    local label
    for label in Sig_ZEP Sig_EP; do
        openssl x509 -in "$1/$label.pem" -noout -pubkey -out "$folder/key"
        openssl dgst -sha256 -verify "$folder/key" -signature "$1/$label.sig" "$document"
    done
}

"$run" "$programs/tavrik-card.exe" new anna --bok 123456 --pin 654321 >/dev/null
if sign "$(windows "$document")" "$(windows "$folder/none")" 2>"$folder/errors"; then
    exit 1
fi
grep -qF "sign_document: There is no card in any reader." "$folder/errors"

echo 654321 >"$folder/answers"
sign --watch --count 1 "$(windows "$document")" "$(windows "$folder/watched")" >"$folder/said" &
sleep 2
"$run" "$programs/tavrik-card.exe" insert anna
wait $!
grep -qF 'A card was inserted into "Reader 0".' "$folder/said"
verify "$folder/watched/1"

echo 654321 >"$folder/answers"
sign --module "$(windows "$programs/pkcs11_x64.dll")" "$(windows "$document")" "$(windows "$folder/Ž")"
verify "$folder/Ž"
if sign --module 'Z:\nowhere\pkcs11_x64.dll' "$(windows "$document")" "$(windows "$folder/none")" 2>"$folder/errors"; then
    exit 1
fi
grep -qF "sign_document: The library cannot be loaded: " "$folder/errors"
