# For the tests of clients, which source it: a folder of the test's own that goes with it, with a software card in a
# reader. `card_options` may hold more options for the making of the card.
#   CLIENT_test.sh FRONT CARD_TOOL SCRIPTED_PINENTRY
set -euo pipefail

front=$1
card_tool=$2
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
TAVRIK_HOME=$(mktemp -d)
export PYTHONDONTWRITEBYTECODE=1 # the folder of the sources stays as it is
export TAVRIK_HOME TAVRIK_PINENTRY=$3 TAVRIK_PINENTRY_ANSWERS=$TAVRIK_HOME/answers HOME=$TAVRIK_HOME
trap 'rm -rf "$TAVRIK_HOME"' EXIT
cd "$TAVRIK_HOME"
# shellcheck disable=SC2034 # expect.sh uses it
answers=$TAVRIK_PINENTRY_ANSWERS
. "$here/expect.sh"
. "$here/../own_mounts.sh"

"$card_tool" new anna --subject "Anna Horvátová" --bok 123456 --pin 654321 ${card_options[@]+"${card_options[@]}"} \
    >/dev/null
"$card_tool" insert anna >/dev/null
authority=$TAVRIK_HOME/state/authority
cat "$authority/root.pem" "$authority/issuing.pem" >authority.pem
echo "one hundred and twelve euros" >document

# The public key of the card as ssh writes it.
public_key_of() { # FAMILY
    "$card_tool" export-certificate anna "$1" | openssl x509 -noout -pubkey >"$1.pub.pem"
    ssh-keygen -i -m PKCS8 -f "$1.pub.pem" | cut -d ' ' -f 1,2
}

# Makes an NSS database that trusts the card's authority, and one that has the front for a module too.
make_trusting_database() { # FOLDER
    mkdir "$1"
    certutil -N -d "sql:$1" --empty-password
    certutil -A -d "sql:$1" -n root -t CT,C,C -i "$authority/root.pem"
    certutil -A -d "sql:$1" -n issuing -t ,, -i "$authority/issuing.pem"
}
make_nss_database() { # FOLDER
    make_trusting_database "$1"
    modutil -dbdir "sql:$1" -add tavrik -libfile "$front" -force >/dev/null 2>&1
}

# Waits until the file, which may come later, has a line with the pattern, for as long as no machine is too slow for.
await() { # PATTERN FILE
    for _ in $(seq 1200); do
        grep -qs -- "$1" "$2" && break
        sleep 0.1
    done
}

# What a client sends to `openssl s_server -rev`: "hello", and the end once the answer is in client.log.
greet() {
    echo "hello"
    await "olleh" client.log
}

# Waits until `openssl s_server`, whose output is in server.log, accepts, and says its port.
port_of_server() {
    await "^ACCEPT" server.log
    sed -n 's/^ACCEPT .*:\([0-9]*\)$/\1/p' server.log
}

# Has OpenSSL verify the signature of a PDF file, which is about all of it.
verify_pdf() { # FILE CERTIFICATE_OF_THE_SIGNER
    local head tail end
    read -r head tail end < <(pdfsig "$1" |
        sed -n 's/.*Signed Ranges: \[0 - \([0-9]*\)\], \[\([0-9]*\) - \([0-9]*\)\]/\1 \2 \3/p')
    expect_number "$(stat --format %s "$1")" "$end" "the end of what is signed of $1"
    { head -c "$head" "$1" && tail -c "+$((tail + 1))" "$1"; } >signed-part
    head -c "$tail" "$1" | tail -c "+$((head + 1))" | tr -d '<>' | tr a-f A-F | basenc --base16 --decode >signature.der
    openssl cms -verify -binary -inform DER -in signature.der -content signed-part -CAfile authority.pem -purpose any \
        -signer signer.pem -out /dev/null 2>&1 | expect "successful"
    cmp <(openssl x509 -in signer.pem) <(openssl x509 -in "$2")
}

# Runs a command as if the package were installed: the module file is where p11-kit looks for them, and the front where it
# looks for modules. Both folders are covered in a view of the file system that only this command has.
with_p11_kit() { # COMMAND...
    mkdir -p files objects
    cp "$here/../../front/tavrik.module" files/
    ln -sf "$front" objects/tavrik-pkcs11.so
    # shellcheck disable=SC2016 # the inner shell expands its own $0
    in_own_mounts sh -euc '
        mount --bind files /usr/share/p11-kit/modules
        mount --bind objects "$0"
        exec "$@"' "/usr/lib/$(gcc -print-multiarch)/pkcs11" "$@"
}
