#!/usr/bin/env bash
# PyKCS11: signs, verifies, encrypts, decrypts and digests from Python, with a key that signs what it is given.
card_options=(--es-reference 1)
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

/usr/bin/python3 "$here/pykcs11_client.py" "$front" | expect "all went well"
