#!/usr/bin/env bash
# A host that knows Cryptoki 3.0 from the headers of NSS signs through the functions of C_GetInterface, and through those that
# it takes by their names.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

read -ra headers < <(pkg-config --cflags nss)
cc -std=c11 -Wall -Werror "${headers[@]}" -o client "$here/interfaces/client.c" -ldl

for family in es qes; do
    "$card_tool" export-certificate anna "$family" | openssl x509 -noout -pubkey >"$family.pub"
done
printf message >signed
for way in interface symbols; do
    echo "signs with both keys: $way"
    type_codes 123456
    ./client "$front" Sig_EP "$way" signature >"es.$way"
    openssl dgst -sha256 -verify es.pub -signature signature signed | expect "Verified OK"
    all_codes_were_asked_for
    type_codes 123456 654321
    ./client "$front" Sig_ZEP "$way" signature >"qes.$way"
    openssl dgst -sha256 -verify qes.pub -signature signature signed | expect "Verified OK"
    all_codes_were_asked_for
done

echo "each key has an id of its own, and the same each time"
cmp es.interface es.symbols
cmp qes.interface qes.symbols
expect_failure cmp -s es.interface qes.interface

echo "pkcs11-tool reads the same id"
pkcs11-tool --module "$front" --slot 1 --login --pin 123456 --list-objects --type privkey 2>/dev/null |
    expect "Unique ID:  $(cat es.interface)"
