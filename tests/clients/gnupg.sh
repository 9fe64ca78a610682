# For the tests of clients of gpgsm, which source it after card.sh: a GnuPG of the test's own that `tavrik-setup gnupg` has set
# up, which trusts the card's authority and has learnt the card.
setup_tool=$4

export GNUPGHOME=$TAVRIK_HOME/.gnupg
end_gnupg() {
    gpgconf --kill all || true
    gpgconf --remove-socketdir 2>/dev/null || true
}
trap 'end_gnupg; rm -rf "$TAVRIK_HOME"' EXIT

"$setup_tool" --module "$(realpath "$front")" gnupg >/dev/null
# The software card's certificates name no list of the revoked ones.
echo "disable-crl-checks" >"$GNUPGHOME/gpgsm.conf"
gpgsm --quiet --import "$authority/root.pem" "$authority/issuing.pem"
openssl x509 -in "$authority/root.pem" -noout -fingerprint -sha1 | sed 's/.*=//; s/$/ S/' >"$GNUPGHOME/trustlist.txt"

# GnuPG 2.4 has its card program list the keys before it uses one. When the code for that was cancelled, gnupg-pkcs11-scd
# asks for it at the other slot, and lists nothing any more until the agent is ended.
lists_keys_first() {
    [ "$(printf '%s\n' 2.4 "$(gpgsm --version | sed -n '1s/.* //p')" | sort --version-sort | head -n 1)" = 2.4 ]
}

learn_card() {
    gpgsm --quiet --learn-card 2>"$TAVRIK_HOME/learning.log" || { cat "$TAVRIK_HOME/learning.log"; return 1; }
}

# The fingerprint by which GnuPG knows a key of the card.
fingerprint_of() { # FAMILY
    "$card_tool" export-certificate anna "$1" | openssl x509 -noout -fingerprint -sha1 | sed 's/.*=//; s/://g'
}

# Takes the zero away that GnuPG 2.2 puts before a card's signature when that begins with a one bit: gpgsm reads it so, and
# OpenSSL does not.
as_openssl_reads_it() { # <MESSAGE
    /usr/bin/python3 "$here/drop_zero.py"
}
