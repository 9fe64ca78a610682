#!/usr/bin/env bash
# The example signs under Wine, by itself and for a card that is inserted while it watches, and OpenSSL on Linux judges.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

document=$(on_windows "$folder/document")
nowhere=$(on_windows "$folder/none")

sign() { "$run" "$programs/sign_document.exe" --code 123456 "$@"; }

expect_signed() { # FOLDER
    local label
    for label in Sig_ZEP Sig_EP; do
        openssl x509 -in "$1/$label.pem" -noout -pubkey -out "$label.pub"
        expect_signature_of "$label" "$1/$label.sig"
    done
}

"$card_tool" remove anna
expect_refused "sign_document: There is no card in any reader." sign "$document" "$nowhere"

type_codes 654321
sign --watch --count 1 "$document" "$(on_windows "$folder/watched")" >said 2>&1 &
watching=$!
sleep 2
"$card_tool" insert anna
wait $watching || { cat said; exit 1; }
all_codes_were_asked_for
expect 'A card was inserted into "Reader 0".' <said
expect_signed watched/1

type_codes 654321
quietly sign --module "$(on_windows "$programs/pkcs11_x64.dll")" "$document" "$(on_windows "$folder/Ž")"
all_codes_were_asked_for
expect_signed "Ž"
expect_refused "sign_document: The library cannot be loaded: " \
    sign --module 'Z:\nowhere\pkcs11_x64.dll' "$document" "$nowhere"
