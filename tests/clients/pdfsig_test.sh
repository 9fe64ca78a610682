#!/usr/bin/env bash
# pdfsig signs a PDF with the qualified key and verifies it. The card's keyboard asks for the login code and the PIN; the
# password that pdfsig is given goes nowhere. It takes one token with a password and no more, so the other slot of the card
# is disabled in the database, which itself has none.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

make_nss_database nss
modutil -dbdir sql:nss -disable tavrik -slot "Reader 0; Sig_EP" -force >/dev/null 2>&1
/usr/bin/python3 "$here/write_pdf.py" contract.pdf

type_codes 999999
expect_refused "Password was not accepted" pdfsig contract.pdf signed.pdf -add-signature -nssdir "$PWD/nss" \
    -nick "Sig_ZEP:Signing Certificate" -nss-pwd none
type_codes 123456 654321 654321
pdfsig contract.pdf signed.pdf -add-signature -nssdir "$PWD/nss" -nick "Sig_ZEP:Signing Certificate" \
    -nss-pwd none >signing 2>&1 ||
    { cat signing; exit 1; }
type_codes 123456
pdfsig -nssdir "$PWD/nss" -nss-pwd none signed.pdf >verified 2>&1
expect "Anna" <verified
expect "Signature is Valid" <verified
"$card_tool" export-certificate anna qes >qualified.pem
verify_pdf signed.pdf qualified.pem
sed 's/twelve euros/twenty euros/' signed.pdf >changed.pdf
type_codes 123456
pdfsig -nssdir "$PWD/nss" -nss-pwd none changed.pdf 2>&1 | expect "Digest Mismatch"
