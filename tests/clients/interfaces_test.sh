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

# The version of the functions that a program has taken, as OpenSC's spy between it and the front tells.
version_taken_by() { # COMMAND...
    rm -f spy.log
    PKCS11SPY=$front PKCS11SPY_OUTPUT=$PWD/spy.log "$@" >/dev/null 2>&1
    sed -n 's/^ *cryptokiVersion: *//p' spy.log | head -n 1
}
# That of OpenSC 0.23 crashes when the front refuses an interface, and p11-kit 0.24, of the same release, asks for none.
if dpkg --compare-versions "$(dpkg-query --show --showformat='${Version}' opensc)" ge 0.26; then
    echo "NSS and p11-kit, and GnuTLS by it, take the functions of version 3.0"
    spy=/usr/lib/$(gcc -print-multiarch)/pkcs11-spy.so
    mkdir nss
    certutil -N -d sql:nss --empty-password
    test "$(version_taken_by modutil -dbdir sql:nss -add spy -libfile "$spy" -force)" = 3.0
    test "$(version_taken_by p11tool --provider "$spy" --list-tokens)" = 3.0
fi
