#!/usr/bin/env bash
# LibreOffice, without a screen, signs documents and PDF files with both keys; xmlsec1 and OpenSSL verify them. A user of ours
# handles its windows. It shows a password dialog of its own for each slot; what is typed there goes nowhere, and the card's
# keyboard asks once.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

make_nss_database nss
export MOZILLA_CERTIFICATE_FOLDER=$PWD/nss
"$card_tool" export-certificate anna es --der --out ordinary.der
"$card_tool" export-certificate anna qes --der --out qualified.der

pipe=tavrik-$$
SAL_USE_VCLPLUGIN=svp soffice --norestore --nologo --nodefault "--accept=pipe,name=$pipe;urp" \
    "-env:UserInstallation=file://$PWD/office" >office.log 2>&1 &
office=$!
trap 'kill $office 2>/dev/null || true; wait; rm -rf "$TAVRIK_HOME"' EXIT
timeout 150 /usr/bin/python3 "$here/libreoffice_documents.py" "$pipe" "$card_tool" "$(cat document)" ||
    { tail -n 20 office.log; exit 1; }
wait $office

verify_document() { # NAME CERTIFICATE_OF_THE_SIGNER
    [ -d "$1" ] || /usr/bin/python3 -m zipfile -e "$1.odt" "$1"
    tr -d '\r\n' <"$1/META-INF/documentsignatures.xml" | expect "<X509Certificate>$(base64 --wrap 0 "$2")</X509Certificate>"
    (cd "$1" && xmlsec1 --verify --trusted-pem "$authority/root.pem" --untrusted-pem "$authority/issuing.pem" \
        --id-attr:Id SignedProperties META-INF/documentsignatures.xml 2>&1)
}
verify_document ordinary ordinary.der
verify_document qualified qualified.der
verify_document again ordinary.der
sed -i 's/twelve euros/twenty euros/' again/content.xml
if verify_document again ordinary.der >changed; then
    exit 1
fi
expect "FAIL" <changed
verify_pdf ordinary.pdf ordinary.der
verify_pdf qualified.pdf qualified.der
