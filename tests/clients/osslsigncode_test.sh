#!/usr/bin/env bash
# osslsigncode signs a Windows program with the ordinary key and verifies it; OpenSSL verifies the signature that is in it. A
# certificate for that purpose is made for the card's key, since the card has none.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

"$card_tool" export-certificate anna es | openssl x509 -noout -pubkey >ordinary.pub
openssl req -x509 -newkey rsa:2048 -nodes -keyout maker.key -out maker.pem -days 2 -subj "/CN=Authority of makers" 2>/dev/null
openssl req -new -key maker.key -subj "/CN=Anna, maker of programs" |
    openssl x509 -req -force_pubkey ordinary.pub -CA maker.pem -CAkey maker.key -days 1 -out certificate.pem \
        -extfile <(echo "extendedKeyUsage = codeSigning") 2>/dev/null

echo "int begin(void) { return 0; }" >program.c
gcc -c -fno-pic -fno-asynchronous-unwind-tables -fno-ident program.c -o program.o
ld -m i386pep --entry begin program.o -o program.exe

sign() { # [OPTION]...
    rm -f signed.exe
    timeout 60 osslsigncode sign -pkcs11module "$front" -certs certificate.pem -key "pkcs11:token=Sig_EP;type=private" \
        -h sha256 "$@" -in program.exe -out signed.exe >signing 2>&1
}
verify() { # PROGRAM
    osslsigncode verify -CAfile maker.pem -in "$1"
}
# The content is no octet string, and OpenSSL is given what stands in it.
expect_openssl_verifies() {
    rm -f signature.pem
    osslsigncode extract-signature -pem -in signed.exe -out signature.pem >/dev/null
    openssl pkcs7 -in signature.pem -outform DER -out signature
    local begin head size
    read -r begin head size < <(openssl asn1parse -inform DER -in signature | grep -A 2 "1.3.6.1.4.1.311.2.1.4" |
        sed -n 's/^ *\([0-9]*\):d=5 *hl=\([0-9]*\) l= *\([0-9]*\) cons: SEQUENCE .*/\1 \2 \3/p')
    tail -c "+$((begin + head + 1))" signature | head -c "$size" >content
    openssl smime -verify -inform DER -in signature -content content -CAfile maker.pem -purpose any -binary \
        -out verified 2>&1 | expect "successful"
    echo >>content
    expect_failure openssl smime -verify -inform DER -in signature -content content -CAfile maker.pem -purpose any -binary \
        -out verified 2>/dev/null
}

echo "signs a program; the card's keyboard asks for the code"
type_codes 123456
sign
all_codes_were_asked_for
verify signed.exe | expect "Signature verification: ok"
expect_openssl_verifies

echo "takes the code as its password too"
sign -pass 123456
verify signed.exe | expect "Signature verification: ok"

echo "a changed program is refused"
printf x | dd of=signed.exe bs=1 seek=600 conv=notrunc 2>/dev/null
expect_failure verify signed.exe >refused
expect "MISMATCH" <refused

echo "a wrong code and a cancelled one make no signature, and neither is asked for again"
for code in 000000 CANCEL; do
    type_codes "$code"
    expect_failure sign
    all_codes_were_asked_for
done
expect "Function canceled" <signing

echo "a card that was taken out and is back asks for its code"
"$card_tool" remove anna
expect_failure sign
"$card_tool" insert anna >/dev/null
type_codes 123456
sign
all_codes_were_asked_for
