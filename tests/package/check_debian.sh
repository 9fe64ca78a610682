#!/usr/bin/env bash
# Tries the Debian packages of a folder: lintian, then installing them into an empty root, building the examples against
# what is installed, signing with them, with OpenSSL and with Java, setting up ssh, using ssh, curl and Firefox, and purging.
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

! grep -rlF "$(git rev-parse --show-toplevel)" "$root/usr" || fail "the folder of the build is named"

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
for package in libengine-pkcs11-openssl p11-kit pkcs11-provider; do
    dpkg-deb --field "$packages"/tavrik-pkcs11_*.deb Recommends | grep -qw -- "$package" || fail "$package is not recommended"
done

# The files that the package brings along name the front where the package puts it; here, the root stands before it.
for file in man/man1/tavrik-setup.1.gz bash-completion/completions/tavrik-setup tavrik/openssl-card.cnf \
    tavrik/gnutls-card.conf tavrik/openvpn-card.conf tavrik/java-sig-zep.cfg tavrik/java-sig-ep.cfg; do
    [ -e "$root/usr/share/$file" ] || fail "$file is not there"
done
grep -q "^MODULE_PATH = ${front#"$root"}\$" "$root/usr/share/tavrik/openssl-card.cnf" || fail "openssl-card.cnf names another front"
grep -q "^pkcs11-providers ${front#"$root"}\$" "$root/usr/share/tavrik/openvpn-card.conf" || fail "openvpn-card.conf names another front"
for file in openssl-card.cnf java-sig-ep.cfg; do
    sed "s|= /usr|= $root/usr|" "$root/usr/share/tavrik/$file" >"$root/$file"
done
OPENSSL_CONF=$root/openssl-card.cnf openssl dgst -engine pkcs11 -keyform engine -sha256 -out "$root/engine.sig" \
    -sign "pkcs11:token=Sig_EP;type=private;pin-value=123456" "$document" 2>/dev/null || fail "the engine does not sign"
openssl dgst -sha256 -verify "$root/Sig_EP.pub" -signature "$root/engine.sig" "$document" >/dev/null || fail "engine: a bad signature"
echo 123456 >"$TAVRIK_PINENTRY_ANSWERS"
keytool -providerClass sun.security.pkcs11.SunPKCS11 -providerArg "$root/java-sig-ep.cfg" -keystore NONE -storetype PKCS11 \
    -storepass none -list | grep -q PrivateKeyEntry || fail "Java finds no key"

# tavrik-setup finds the front of the package, which p11-kit has already, and sets up and takes back what a user has.
mkdir "$root/user"
setup() {
    HOME=$root/user XDG_CONFIG_HOME='' XDG_STATE_HOME='' "$root/usr/bin/tavrik-setup" "$@"
}
setup check >"$root/checked" || { cat "$root/checked"; fail "tavrik-setup check finds a fault"; }
grep -qF "front: $front, version" "$root/checked" || fail "tavrik-setup does not find the front of the package"
ln -s "$(command -v p11-kit)" "$root/usr/bin/p11-kit"
setup --root "$root" | grep -q "^p11-kit *uses the card" || fail "p11-kit is not set up by the package"
rm "$root/usr/bin/p11-kit"
setup ssh >/dev/null
ssh -T -F "$root/user/.ssh/config" -G example.org | grep -qx "pkcs11provider $front" || fail "ssh does not take the front"
setup --undo ssh >/dev/null
[ ! -e "$root/user/.ssh" ] || fail "tavrik-setup leaves something of ssh"

"$(dirname "$0")/installed_clients_test.sh" "$root" || [ $? -eq 77 ] || fail "a program does not work with what is installed"

"$root/usr/bin/tavrik-log" "$TAVRIK_HOME/state" | grep -q "CardAPI, version" || fail "the log cannot be read"

in_root --purge tavrik-pkcs11-dev tavrik-softcard tavrik-pkcs11
left=$(find "$root/usr" "$root/etc" -mindepth 1 2>/dev/null || true)
[ -z "$left" ] || fail "left behind: $left"
[ -e "$TAVRIK_HOME/state/cards/anna" ] || fail "the user's card is gone"
echo "The packages install, work and go."
