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

echo "tells of a cancelled code"
type_codes CANCEL
expect_refused "load failed" keytool "${provider[@]}" "${store[@]}" -list

echo "signs and verifies"
mkdir content
cp document content/
jar --create --file archive.jar -C content .
sign() {
    jarsigner "${provider[@]}" "${store[@]}" archive.jar "$alias"
}

echo "signs nothing after a cancelled or a wrong code, and asks for neither again"
for code in CANCEL 000000; do
    type_codes "$code"
    expect_failure sign >refused 2>&1
    expect "load failed" <refused
    all_codes_were_asked_for
done

echo "signs and verifies"
type_codes 123456
sign 2>&1 | expect "jar signed."
keytool -importcert -noprompt -alias root -file "$authority/root.pem" -keystore trusted.p12 -storepass changeit 2>/dev/null
jarsigner -verify -verbose -certs -keystore trusted.p12 -storepass changeit archive.jar 2>&1 | expect "jar verified."

echo "OpenSSL verifies what signs the archive"
jar --extract --file archive.jar META-INF
openssl cms -verify -inform DER -in META-INF/SIGNING_.RSA -content META-INF/SIGNING_.SF -CAfile authority.pem -purpose any \
    -binary -out verified 2>&1 | expect "successful"
# Java 17 digests with SHA-256, Java 21 with SHA-384. What is longer than a line goes on behind a space on the next one.
hash=$(sed -n 's/^\(SHA-[0-9]*\)-Digest-Manifest: .*/\1/p' META-INF/SIGNING_.SF)
cat META-INF/MANIFEST.MF META-INF/SIGNING_.SF | sed --null-data 's/\r\n //g' >unfolded
for name in content/document META-INF/MANIFEST.MF; do
    digest=$(openssl dgst "-${hash,,}" -binary "$name" | base64 --wrap 0)
    expect "$digest" <unfolded
done

echo "signs with the qualified key after the code and the PIN, by the hash that the key takes"
sed -i 's/slotListIndex = 1/slotListIndex = 0/' provider.cfg
type_codes 123456 654321
jarsigner "${provider[@]}" "${store[@]}" -sigalg SHA256withRSA archive.jar "$alias" 2>&1 | expect "jar signed."
all_codes_were_asked_for
