#!/usr/bin/env bash
# The example takes a document through the library under Wine, and OpenSSL on Linux judges the hash that it tells. The
# signature and the decrypted secret the example judges itself, with C_Verify and what it has encrypted.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

round_trip() { "$run" "$programs/card_round_trip.exe" --code 123456 "$@"; }

cp document "Ž document"
round_trip "$(on_windows "$folder/Ž document")" | tr -d '\r' >said
expect "    $(openssl dgst -sha256 -r document | cut -d ' ' -f 1)" <said
expect "The card signs it: 256 bytes." <said
expect "C_Verify accepts the signature." <said
expect "C_Verify refuses it for a changed document." <said
expect 'Encrypted for the card: "Meet me at the old mill.", 256 bytes beginning ' <said
expect 'The card decrypts:      "Meet me at the old mill."' <said

expect_refused "card_round_trip: The document $(on_windows "$folder/none") cannot be read." \
    round_trip "$(on_windows "$folder/none")"
"$card_tool" remove anna
expect_refused "card_round_trip: There is no card in any reader." round_trip "$(on_windows "$folder/document")"
