#!/usr/bin/env bash
# make_bundles.sh FOLDER: PKCS#12 files for the tests of the import, as programs of others write them, with the password
# "geheim" where nothing else is said. The file "made" is the last.
set -euo pipefail
mkdir -p "$1"
cd "$1"
rm -rf ./*
openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out certificate.pem -subj /CN=Imported -days 3650 2>/dev/null
openssl x509 -in certificate.pem -outform DER -out certificate.der
openssl req -x509 -newkey rsa:2048 -nodes -keyout lone.pem -out lone-certificate.pem -subj /CN=Lone -days 3650 2>/dev/null
openssl x509 -in lone-certificate.pem -outform DER -out lone.der
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout other.pem -out other-certificate.pem \
    -subj /CN=Other -days 3650 2>/dev/null
cat other-certificate.pem certificate.pem >chain.pem

bundle() { # FILE CERTIFICATES [OPTION...]
    openssl pkcs12 -export -out "$1" -in "$2" -inkey key.pem -passout pass:geheim "${@:3}" 2>openssl.log ||
        { cat openssl.log >&2; exit 1; } # it also tells of each certificate that is another key's
}
bundle aes.p12 certificate.pem -keypbe AES-256-CBC -certpbe AES-256-CBC -macalg sha256
bundle triple-des.p12 certificate.pem -keypbe PBE-SHA1-3DES -certpbe PBE-SHA1-3DES -macalg sha1
bundle rc2.p12 certificate.pem -legacy
bundle chain.p12 chain.pem
bundle no-password.p12 certificate.pem -passout pass:
openssl pkcs12 -export -out no-key.p12 -in certificate.pem -nokeys -passout pass:geheim
openssl pkcs12 -export -out other.p12 -in other-certificate.pem -inkey other.pem -passout pass:geheim
openssl pkcs12 -export -out lone.p12 -in lone-certificate.pem -inkey lone.pem -passout pass:geheim
head -c 500 aes.p12 >damaged.p12
head -c 1048577 /dev/zero >too-large.p12

# With lengths that stand behind the values, and values in pieces.
certutil -N -d sql:. --empty-password
pk12util -i aes.p12 -d sql:. -W geheim -K '' >/dev/null
pk12util -o nss.p12 -n Imported -d sql:. -W geheim -K '' >/dev/null
touch made
