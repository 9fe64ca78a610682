#!/usr/bin/env bash
# OpenSSL's provider pkcs11-provider, by the module's own path and by p11-kit: lists, signs, makes and opens CMS messages,
# issues certificates, and proves to a web server who it is. OpenSSL without the provider judges what comes of it.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
require_own_mounts
# shellcheck source-path=SCRIPTDIR
. "$here/tls.sh"
start_web_server
cp document www/document
page=https://localhost:$port/document

make_openssl_card
sed "s|^pkcs11-module-path = .*|pkcs11-module-path = /usr/lib/$(gcc -print-multiarch)/p11-kit-proxy.so|" openssl-card.cnf \
    >by-p11-kit.cnf
declare -A token=([es]=Sig_EP [qes]=Sig_ZEP)
for family in es qes; do
    "$card_tool" export-certificate anna "$family" >"$family.pem"
    openssl x509 -in "$family.pem" -noout -pubkey >"$family.pub"
done
openssl dgst -sha256 -binary -out digest document
openssl cms -encrypt -aes256 -binary -in document -out encrypted es.pem
openssl pkeyutl -encrypt -pubin -inkey es.pub -in digest -out encrypted-digest

key() { # FAMILY
    echo "pkcs11:token=${token[$1]};type=private"
}
certificate() { # FAMILY
    echo "pkcs11:token=${token[$1]};type=cert"
}
# Runs a command that uses the card in the way that the test is at. What a program wants is asked for once, and nothing
# that is typed is left over.
card() { # CODES COMMAND...
    # shellcheck disable=SC2086 # each is a code of its own
    type_codes $1
    "${way[@]}" timeout 60 "${@:2}" >said 2>complaints || { cat said complaints; return 1; }
    all_codes_were_asked_for
}
# What the code or the PIN was refused for must fail, after that one question.
refused() { # CODES COMMAND...
    # shellcheck disable=SC2086
    type_codes $1
    expect_failure "${way[@]}" timeout 60 "${@:2}" >said 2>complaints
    all_codes_were_asked_for
}
# How many tries login code and PIN have left.
expect_tries() { # LOGIN_CODE PIN
    "$card_tool" list | cut -f 3,4 | expect "$1"$'\t'"$2"
}
# And no other one: the file is gone then.
expect_new_signature_of() { # FAMILY
    expect_signature_of "$1"
    rm signature
}

use_both_keys() {
    echo "lists what both tokens have, after one code"
    card 123456 openssl storeutl -noout -text pkcs11:
    expect_number 2 "$(grep -c ": Certificate$" said)" certificates
    expect_number 2 "$(grep -c ": Pkey$" said)" "private keys"
    expect_number 2 "$(grep -c ": Public key$" said)" "public keys"
    expect "token=Sig_ZEP;id=%53%69%67%5F%5A%45%50%5F%30;object=Signing%20Key;type=private" <said
    expect "token=Sig_EP;id=%53%69%67%5F%45%50%5F%30;object=Signing%20Key;type=private" <said

    local family codes
    for family in es qes; do
        codes=123456
        [ "$family" = es ] || codes="123456 654321"

        echo "${token[$family]}: signs a document, and a digest; a code in the URI is not used"
        card "$codes" openssl dgst -sha256 -sign "$(key $family)" -out signature document
        expect_new_signature_of "$family"
        card "$codes" openssl pkeyutl -sign -inkey "$(key $family);pin-value=999999" -in digest -pkeyopt digest:sha256 \
            -out signature
        expect_new_signature_of "$family"

        echo "${token[$family]}: makes an advanced signature (CAdES), with the certificate of the card"
        card "$codes" openssl cms -sign -cades -inkey "$(key $family)" -signer "$(certificate $family)" -in document \
            -out message -nodetach -binary
        openssl cms -verify -cades -in message -CAfile authority.pem -purpose any -binary -out verified 2>&1 |
            expect "CAdES Verification successful"
        cmp document verified

        echo "${token[$family]}: shows the certificate"
        card 123456 openssl x509 -in "$(certificate $family)" -out got.pem
        cmp got.pem "$family.pem"

        echo "${token[$family]}: makes a request, a certificate of its own, and one for what was asked for"
        card "$codes" openssl req -new -key "$(key $family)" -subj "/CN=Anna" -out request.pem
        openssl req -in request.pem -noout -verify 2>&1 | expect "verify OK"
        openssl req -in request.pem -noout -pubkey | cmp - "$family.pub"
        card "$codes" openssl req -x509 -new -key "$(key $family)" -subj "/CN=Authority of Anna" \
            -addext basicConstraints=critical,CA:TRUE -out own.pem
        card "$codes" openssl x509 -req -in request.pem -CA own.pem -CAkey "$(key $family)" -out issued.pem
        openssl verify -CAfile own.pem -check_ss_sig own.pem issued.pem >/dev/null
    done

    echo "opens what is encrypted for the ordinary key"
    card 123456 openssl cms -decrypt -inkey "$(key es)" -recip es.pem -in encrypted -out decrypted
    cmp document decrypted
    card 123456 openssl pkeyutl -decrypt -inkey "$(key es)" -in encrypted-digest -out decrypted
    cmp digest decrypted
    rm decrypted
}

prove_who_one_is() {
    echo "s_client proves to a server that also speaks TLS 1.3 who one is"
    : >seen.log
    printf 'GET /document HTTP/1.0\r\n\r\n' >request
    local client=(openssl s_client -connect "localhost:$port" -CAfile server.pem -verify_return_error -ign_eof)
    card 123456 "${client[@]}" -key "$(key es)" -cert "$(certificate es)" <request
    tr -d '\r' <said | grep -qxF "$(cat document)"
    card 123456 "${client[@]}" -tls1_2 -key "$(key es)" -cert es.pem <request
    tr -d '\r' <said | grep -qxF "$(cat document)"
    expect_requests 2 /document

    echo "curl does, and fetches several pages after one code"
    local curl=("${for_curl[@]}" curl -sS --cacert server.pem --cert-type PROV --key-type PROV --cert "$(certificate es)" --key "$(key es)")
    card 123456 "${curl[@]}" "$page" -o one "$page" -o two
    cmp document one
    cmp document two
    expect_requests 4 /document
    refused CANCEL "${curl[@]}" "$page"
    expect "No cert found" <complaints
}

lose_tries() {
    echo "a cancelled code is not asked for again and costs no try"
    refused CANCEL openssl dgst -sha256 -sign "$(key es)" -out signature document
    expect "Could not find private key" <complaints
    refused "123456 CANCEL" openssl dgst -sha256 -sign "$(key qes)" -out signature document
    expect_tries 3 3
    echo "a wrong one costs one, until a right one is given"
    refused 000000 openssl dgst -sha256 -sign "$(key es)" -out signature document
    expect_tries 2 3
    refused "123456 111111" openssl dgst -sha256 -sign "$(key qes)" -out signature document
    expect_tries 3 2
    card "123456 654321" openssl dgst -sha256 -sign "$(key qes)" -out signature document
    expect_new_signature_of qes
    expect_tries 3 3
    echo "the qualified key, which is for signatures, opens nothing"
    refused 123456 openssl pkeyutl -decrypt -inkey "$(key qes)" -in encrypted-digest -out decrypted
    expect_empty decrypted
}

expect_version() { # LIBRARY
    echo "takes the functions of version 3.0"
    rm -f provider.log
    PKCS11_PROVIDER_DEBUG=file:$PWD/provider.log card 123456 openssl storeutl -noout -keys pkcs11:
    expect "Populating Interfaces with 'PKCS 11', version 3.0" <provider.log
    expect "Module Info: ck_ver:3.0 lib: '$1'" <provider.log
}

# curl reads the settings of no provider, and so has one take p11-kit's modules, unless the environment names another.
use_all() { # LIBRARY
    use_both_keys
    prove_who_one_is
    lose_tries
    expect_version "$1"
}
echo "-- by the module's path"
way=(env "OPENSSL_CONF=$PWD/openssl-card.cnf")
for_curl=(env "PKCS11_PROVIDER_MODULE=$(realpath "$front")")
use_all Corvane
echo "-- by p11-kit"
way=(with_p11_kit env "OPENSSL_CONF=$PWD/by-p11-kit.cnf")
for_curl=()
use_all "PKCS#11 Kit"
