#!/usr/bin/env bash
# What docs/softcard.md shows at a terminal: two cards, one of which signs, is locked by wrong PINs and unblocked; then
# both are put in while sign_document watches, the second one by hand. Usage: terminal_session.sh BIN-FOLDER LIBRARY DOCUMENT
set -euo pipefail
export PATH=$1:$PATH
library=$2
document=$3

scratch=$(mktemp -d)
watcher=
clean_up()
{
    [ -z "$watcher" ] || kill "$watcher" 2>/dev/null || true
    rm -rf "$scratch"
}
trap clean_up EXIT
export TAVRIK_HOME=$scratch/home
export TAVRIK_PINENTRY=tavrik-scripted-pinentry
export TAVRIK_PINENTRY_ANSWERS=$scratch/answers

fail()
{
    echo "FAILED: $1" >&2
    [ ! -e "$scratch/watch" ] || sed 's/^/    watch: /' "$scratch/watch" >&2
    exit 1
}

# Each argument is one answer to the virtual keyboard.
type_codes()
{
    printf '%s\n' "$@" >"$TAVRIK_PINENTRY_ANSWERS"
}

expect_line()
{
    grep -qxF -- "$2" "$1" || fail "no line '$2' in $(cat "$1")"
}

# Waits until the watching program has said the line as often as wanted.
await_line()
{
    local tries
    for ((tries = 0; tries < 600; ++tries)); do
        [ "$(grep -cxF -- "$1" "$scratch/watch" || true)" -lt "${2:-1}" ] || return 0
        sleep 0.05
    done
    fail "never said: $1"
}

verify_signature()
{
    openssl x509 -in "$1/$2.pem" -noout -pubkey >"$scratch/key.pub"
    openssl dgst -sha256 -verify "$scratch/key.pub" -signature "$1/$2.sig" "$document" >/dev/null ||
        fail "OpenSSL does not accept $1/$2.sig"
    openssl verify -CAfile "$TAVRIK_HOME/state/authority/root.pem" \
        -untrusted "$TAVRIK_HOME/state/authority/issuing.pem" "$1/$2.pem" >/dev/null ||
        fail "OpenSSL does not accept $1/$2.pem"
}

expect_subject()
{
    openssl x509 -in "$1" -noout -subject -nameopt utf8,sep_comma_plus | grep -qF "CN=$2" || fail "$1 is not $2's"
}

# Two cards.
tavrik-card new anna --subject "Anna Horvátová" --bok 123456 --pin 654321 --puk 11223344
tavrik-card new boris --subject "Boris Kováč" --bok 1111 --pin 2222 --puk 3333
tavrik-card insert anna
tavrik-card list >"$scratch/list"
expect_line "$scratch/list" $'anna\tReader 0\t3\t3\tAnna Horvátová'
expect_line "$scratch/list" $'boris\t-\t3\t3\tBoris Kováč'

# One signs.
type_codes 123456 654321
sign_document --module "$library" "$document" "$scratch/signed" >"$scratch/said"
expect_line "$scratch/said" 'Signing with "Sig_ZEP" of Reader 0; Sig_ZEP'
expect_line "$scratch/said" '    certificate of Anna Horvátová'
expect_line "$scratch/said" "    wrote $scratch/signed/Sig_EP.sig"
for label in Sig_ZEP Sig_EP; do
    verify_signature "$scratch/signed" "$label"
    expect_subject "$scratch/signed/$label.pem" "Anna Horvátová"
done

# Three wrong PINs lock it.
type_codes 123456 000000 000000 000000
if sign_document --module "$library" "$document" "$scratch/not" >"$scratch/said" 2>"$scratch/errors"; then
    fail "it signed with wrong PINs"
fi
expect_line "$scratch/errors" "sign_document: Signing: The code is locked after too many wrong tries."
tavrik-card list >"$scratch/list"
expect_line "$scratch/list" $'anna\tReader 0\t3\t0\tAnna Horvátová'

# A program that watches says so and goes on.
type_codes 123456
sign_document --watch --count 2 --module "$library" "$document" "$scratch/watched" >"$scratch/watch" 2>&1 &
watcher=$!
await_line 'Waiting for cards ...'
await_line 'A card was inserted into "Reader 0".'
await_line 'Not signed with the card in "Reader 0": Signing: The code is locked after too many wrong tries.'
tavrik-card remove anna
await_line 'A card was removed from "Reader 0".'

# Unblocked, the card signs again.
tavrik-card unblock anna pin --puk 11223344
type_codes 123456 654321
tavrik-card insert anna
await_line 'Signed with the card in "Reader 0".'

# The cards are swapped by hand.
type_codes 1111 2222
cd "$TAVRIK_HOME/state/readers"
rm "Reader 0/card"
ln -s ../../cards/boris "Reader 0/card"
wait "$watcher" || fail "the watching program failed"
watcher=
expect_line "$scratch/watch" 'Signed with 2 cards.'
[ "$(grep -cxF 'A card was removed from "Reader 0".' "$scratch/watch")" = 2 ] || fail "a removal was not told"
for label in Sig_ZEP Sig_EP; do
    verify_signature "$scratch/watched/1" "$label"
    verify_signature "$scratch/watched/2" "$label"
    expect_subject "$scratch/watched/1/$label.pem" "Anna Horvátová"
    expect_subject "$scratch/watched/2/$label.pem" "Boris Kováč"
done
echo "The session went as it reads."
