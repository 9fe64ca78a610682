#!/usr/bin/env bash
# NSS: its database takes the module up, lists the card's certificates and keys, and signs and opens messages with them.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

make_nss_database nss
echo "takes the interface of version 3.0"
modutil -dbdir sql:nss -list tavrik 2>&1 | expect "PKCS #11 Version 3.0"
modutil -dbdir sql:nss -list tavrik 2>&1 | expect "Token Name: Sig_ZEP"

echo "lists certificates and keys; the card's keyboard asks for the login code"
type_codes 123456
certutil -L -d sql:nss -h Sig_EP 2>&1 | expect "Sig_EP:Signing Certificate"
type_codes 123456
certutil -K -d sql:nss -h Sig_EP 2>&1 | expect "Signing Key"

echo "signs a message, not without a code and again after a wrong one, and OpenSSL verifies it"
type_codes CANCEL CANCEL
expect_refused "problem signing" cmsutil -S -d sql:nss -N "Sig_EP:Signing Certificate" -G -P -i document -o message
type_codes 999999 123456
cmsutil -S -d sql:nss -N "Sig_EP:Signing Certificate" -G -P -i document -o message
openssl cms -verify -inform DER -in message -CAfile authority.pem -purpose any -binary -out verified 2>&1 | expect "successful"
cmp document verified

echo "opens a message that OpenSSL has encrypted"
"$card_tool" export-certificate anna es >ordinary.pem
openssl cms -encrypt -aes256 -binary -in document -outform DER -out encrypted ordinary.pem
type_codes 123456
cmsutil -D -d sql:nss -i encrypted -o decrypted
cmp document decrypted
