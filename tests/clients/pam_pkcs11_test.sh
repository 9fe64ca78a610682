#!/usr/bin/env bash
# pam_pkcs11 lets a person log in with the ordinary key: pamtester asks a PAM service whose configuration `tavrik-setup
# pam_pkcs11` has made, in a view of /etc that only this test has.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
require_own_mounts
setup_tool=$4

mkdir root
cp -a /etc root/ 2>/dev/null || true # but for what only root may read
rm -rf root/etc/pam_pkcs11
mkdir -p root/etc/pam_pkcs11/cacerts
"$setup_tool" --module "$(realpath "$front")" --root "$PWD/root" pam_pkcs11 >/dev/null
cp "$authority/root.pem" "$authority/issuing.pem" root/etc/pam_pkcs11/cacerts/
pkcs11_make_hash_link root/etc/pam_pkcs11/cacerts >/dev/null
echo "auth required pam_pkcs11.so" >root/etc/pam.d/door
"$card_tool" export-certificate anna es >ordinary.pem
openssl x509 -in ordinary.pem -noout -subject -nameopt compat | sed 's/^subject= *//; s/$/ -> root/' \
    >root/etc/pam_pkcs11/subject_mapping

over_etc() { # COMMAND...
    # shellcheck disable=SC2016 # the inner shell expands its own variables
    in_own_mounts timeout 60 sh -euc 'mount --bind root/etc /etc; exec "$@"' sh "$@"
}
log_in() { # USER
    over_etc pamtester door "$1" authenticate </dev/null >answer 2>&1
}

echo "the owner of the card logs in after the code"
type_codes 123456
log_in root
expect "successfully authenticated" <answer
expect "Welcome Sig_EP!" <answer
all_codes_were_asked_for

echo "nobody logs in as another user, after a cancelled or a wrong code, or without a card"
type_codes 123456
expect_failure log_in daemon
expect "No matching certificate found" <answer
for code in CANCEL 000000; do
    type_codes "$code"
    expect_failure log_in root
    sed "s|smartcard|smart card|" answer | expect "Wrong smart card PIN"
    all_codes_were_asked_for
done
"$card_tool" remove anna
expect_failure log_in root
# What pam_pkcs11 0.6.12 says, and what PAM says after 0.6.13.
sed "s|cannot retrieve authentication info|No smart card found|" answer | expect "No smart card found"

echo "nobody logs in whose authority is not known"
"$card_tool" insert anna >/dev/null
mv root/etc/pam_pkcs11/cacerts known
mkdir root/etc/pam_pkcs11/cacerts
type_codes 123456
expect_failure log_in root
expect "Certificate signature invalid" <answer
rm -r root/etc/pam_pkcs11/cacerts
mv known root/etc/pam_pkcs11/cacerts

echo "a card that was taken out and is back asks for its code"
type_codes 123456
log_in root
all_codes_were_asked_for
