#!/usr/bin/env bash
# Tries the Debian packages of a folder: lintian, then installing them into an empty root, building the examples against
# what is installed, signing with them, and purging.
#
#   check_debian.sh PACKAGES EXAMPLES
set -euo pipefail
packages=$1
examples=$2
document=$examples/contract.txt

fail() {
    echo "check_debian: $*" >&2
    exit 1
}

lintian --allow-root --fail-on error --tag-display-limit 0 "$packages"/tavrik-*.deb || fail "lintian finds errors"

root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
: >"$root/var/lib/dpkg/status"

# Without the packages that they depend on, which the machine has, and without their scripts, for which a root would
# need a shell.
in_root() {
    fakeroot dpkg --root="$root" --force-depends --force-script-chrootless --force-not-root "$@" 2>>"$root/dpkg.log" \
        >>"$root/dpkg.log" || { cat "$root/dpkg.log" >&2; fail "dpkg $*"; }
}

in_root --install "$packages"/tavrik-*.deb
for package in tavrik-pkcs11 tavrik-softcard tavrik-pkcs11-dev; do
    dpkg-query --admindir="$root/var/lib/dpkg" --show --showformat='${db:Status-Abbrev}' "$package" | grep -q '^ii' ||
        fail "$package is not installed"
done

"$(dirname "$0")/hardening_test.sh" "$root/usr" || fail "a file is not hardened"

library=$(find "$root/usr/lib" -name libpkcs11_x64.so)
[ -n "$library" ] || fail "the library is not there"
[ -e "$root/usr/share/man/man1/tavrik-card.1.gz" ] || fail "the manual is not there"
# A copy alone, so that nothing of the sources is found beside it.
cp -r "$examples" "$root/examples"
cmake -S "$root/examples" -B "$root/built" -G Ninja "-DCMAKE_PREFIX_PATH=$root/usr" >/dev/null ||
    fail "the examples do not find the development package"
cmake --build "$root/built" || fail "the examples do not build against the development package"
export TAVRIK_HOME=$root/home
export TAVRIK_PINENTRY=$root/usr/bin/tavrik-scripted-pinentry
export TAVRIK_PINENTRY_ANSWERS=$root/answers
"$root/usr/bin/tavrik-card" new anna --bok 123456 --pin 654321 >/dev/null
"$root/usr/bin/tavrik-card" insert anna
printf '123456\n654321\n' >"$TAVRIK_PINENTRY_ANSWERS"
"$root/built/sign_document" --module "$library" "$document" "$root/signed" >/dev/null
for label in Sig_ZEP Sig_EP; do
    openssl x509 -in "$root/signed/$label.pem" -noout -pubkey >"$root/$label.pub"
    openssl dgst -sha256 -verify "$root/$label.pub" -signature "$root/signed/$label.sig" "$document" >/dev/null ||
        fail "$label: a bad signature"
done

front=$(find "$root/usr/lib" -path '*/pkcs11/tavrik-pkcs11.so')
[ -n "$front" ] || fail "the front is not where applications look"
[ -e "$root/usr/share/p11-kit/modules/tavrik.module" ] || fail "the module file is not there"
pkcs11-tool --module "$front" --list-token-slots 2>/dev/null | grep -q "token label *: Sig_EP" ||
    fail "the front shows no token"
"$root/usr/bin/tavrik-log" "$TAVRIK_HOME/state" | grep -q "CardAPI, version" || fail "the log cannot be read"

in_root --purge tavrik-pkcs11-dev tavrik-softcard tavrik-pkcs11
left=$(find "$root/usr" "$root/etc" -mindepth 1 2>/dev/null || true)
[ -z "$left" ] || fail "left behind: $left"
[ -e "$TAVRIK_HOME/state/cards/anna" ] || fail "the user's card is gone"
echo "The packages install, work and go."
