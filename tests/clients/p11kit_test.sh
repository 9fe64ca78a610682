#!/usr/bin/env bash
# p11-kit finds the front by its module file and shows its tokens to every program that uses p11-kit.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

# As installed: the module file where p11-kit looks for them, and the front where it looks for modules. Both folders are
# covered in a view of the file system that only this test has.
mkdir files objects
cp "$here/../../front/tavrik.module" files/
ln -s "$front" objects/tavrik-pkcs11.so
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(--map-root-user)
# shellcheck disable=SC2016 # the inner shell expands its own $0
unshare --mount ${as_root[@]+"${as_root[@]}"} sh -euc '
    mount --bind files /usr/share/p11-kit/modules
    mount --bind objects "$0"
    p11-kit list-modules' "/usr/lib/$(gcc -print-multiarch)/pkcs11" >listed
expect "library-manufacturer: Corvane" <listed
expect "token: Sig_ZEP" <listed
expect "token: Sig_EP" <listed
