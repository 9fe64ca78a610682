#!/usr/bin/env bash
# p11-kit for Windows lists what a software card has behind the front, and exports its certificates and public keys, which
# OpenSSL on Linux reads. Its proxy module finds the front by a module file, in the same process and in another one, and
# pkcs11-tool signs through it.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

front=$(on_windows "$programs/tavrik-pkcs11.dll")
module=$(on_windows "$p11_kit/bin/p11-kit-proxy.dll")

kit() {
    "$run" "$p11_kit/bin/p11-kit.exe" "$@" 2>&1
}
kit_with_front() { # COMMAND URI [OPTION]...
    kit "$1" --provider="$front" "${@:3}" "$2"
}
# What the module file has, for who names no module.
configure() { # LINE
    mkdir -p pkcs11/modules
    echo "$1" >pkcs11/modules/tavrik.module
}
sign() { # TOKEN FILE
    rm -f "$2"
    tool --token-label "$1" --login --sign --mechanism SHA256-RSA-PKCS --input-file document --output-file "$2"
}
XDG_CONFIG_HOME=$(on_windows "$folder")
export XDG_CONFIG_HOME

echo "lists tokens and mechanisms of a module that it is told"
kit_with_front list-tokens pkcs11: >listed
expect "token: Sig_ZEP" <listed
expect "token: Sig_EP" <listed
expect "manufacturer: Tavrik" <listed
expect "login-required" <listed
expect "protected-authentication-path" <listed
kit_with_front list-tokens pkcs11:token=Sig_EP --only-uris >listed
expect ";token=Sig_EP" <listed
expect_number 1 "$(wc -l <listed)" "listed tokens"
kit_with_front list-mechanisms pkcs11:token=Sig_EP >listed
expect "rsa-pkcs: hw encrypt decrypt sign verify key-size=2048-2048" <listed
expect "sha256-rsa-pkcs: hw sign verify key-size=2048-2048" <listed
expect "sha512: digest" <listed

echo "lists the objects of both tokens"
for token in Sig_EP Sig_ZEP; do
    kit_with_front list-objects "pkcs11:token=$token?pin-value=123456" --login >listed
    expect "class: certificate" <listed
    expect "certificate-type: x-509" <listed
    expect "class: private-key" <listed
    expect "class: public-key" <listed
    expect "key-type: rsa" <listed
    expect_number 3 "$(grep -c "^Object: " listed)" "listed objects"
done

echo "exports certificates and public keys"
export_object() { # TOKEN TYPE
    kit_with_front export-object "pkcs11:token=$1;type=$2?pin-value=123456" --login
}
for family in es qes; do
    token=Sig_EP
    [ "$family" = es ] || token=Sig_ZEP
    "$card_tool" export-certificate anna "$family" >on_card.pem
    export_object "$token" cert | openssl x509 | cmp - on_card.pem
    export_object "$token" public | openssl pkey -pubin >"$family.pub"
    openssl x509 -in on_card.pem -noout -pubkey | cmp - "$family.pub"
done

# p11-kit says nothing of a login that fails, and lists what there is without it.
echo "shows no objects without the code, and the card counts a wrong one"
before=$(tries_left)
kit_with_front list-objects pkcs11:token=Sig_EP --login >listed
expect_empty listed
expect_number "$before" "$(tries_left)" "tries left"
kit_with_front list-objects "pkcs11:token=Sig_EP?pin-value=999999" --login >listed
expect_empty listed
expect_number $((before - 1)) "$(tries_left)" "tries left"
quietly kit_with_front list-objects "pkcs11:token=Sig_EP?pin-value=123456" --login
expect_number "$before" "$(tries_left)" "tries left"

echo "finds the front by a module file, with a card and without"
configure "module: $front"
kit list-modules >listed
expect "module: tavrik" <listed
expect "library-manufacturer: Corvane" <listed
expect "token: Sig_EP" <listed
"$card_tool" remove anna >/dev/null
kit list-modules >listed
expect "library-manufacturer: Corvane" <listed
expect_failure grep -F "token:" listed
"$card_tool" insert anna >/dev/null
kit list-tokens pkcs11: --only-uris | expect ";token=Sig_ZEP"

test_proxy() {
    type_codes 123456
    quietly sign Sig_EP signature
    all_codes_were_asked_for
    expect_signature_of es signature
    type_codes 123456 654321
    quietly sign Sig_ZEP signature
    all_codes_were_asked_for
    expect_signature_of qes signature
    type_codes CANCEL
    expect_refused CKR_FUNCTION_CANCELED sign Sig_EP signature
    all_codes_were_asked_for
    expect_empty signature
    expect_refused CKR_PIN_INCORRECT tool --token-label Sig_EP --login --pin 999999 --list-objects
    expect_number $((before - 1)) "$(tries_left)" "tries left"
    quietly tool --token-label Sig_EP --login --pin 123456 --list-objects
}

echo "a program signs through the proxy module"
tool --list-slots --show-info >listed
expect "PKCS#11 Kit Proxy Module" <listed
expect "Reader 0; Sig_EP" <listed
test_proxy

echo "a program signs through the proxy module with the front in another process"
configure "remote: |$(on_windows "$p11_kit/bin/p11-kit-remote.exe") $front"
test_proxy
