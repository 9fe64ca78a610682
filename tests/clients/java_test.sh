#!/usr/bin/env bash
# Java's SunPKCS11: keytool lists the card's entries, and jarsigner signs an archive with the ordinary key and verifies it.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

printf 'name = Tavrik\nlibrary = %s\nslotListIndex = 1\n' "$front" >provider.cfg
provider=(-providerClass sun.security.pkcs11.SunPKCS11 -providerArg provider.cfg)
store=(-keystore NONE -storetype PKCS11 -storepass 123456)

echo "lists; the card's keyboard asks for the login code"
type_codes 123456
keytool "${provider[@]}" "${store[@]}" -list 2>&1 | tee listed | expect "PrivateKeyEntry"
alias=$(sed -n 's/^\(.*\), PrivateKeyEntry.*$/\1/p' listed | head -n 1)

echo "signs and verifies"
mkdir content
cp document content/
jar --create --file archive.jar -C content .
type_codes 123456
jarsigner "${provider[@]}" "${store[@]}" archive.jar "$alias" 2>&1 | expect "jar signed."
keytool -importcert -noprompt -alias root -file "$authority/root.pem" -keystore trusted.p12 -storepass changeit 2>/dev/null
jarsigner -verify -verbose -certs -keystore trusted.p12 -storepass changeit archive.jar 2>&1 | expect "jar verified."
