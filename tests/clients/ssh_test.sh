#!/usr/bin/env bash
# ssh-keygen shows the card's key for authorized_keys; the card's keyboard asks for the login code. It logs in where it finds
# the first key and to no slot behind that, so it shows the qualified key.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

type_codes 123456
ssh-keygen -D "$front" >keys
"$card_tool" export-certificate anna qes | openssl x509 -noout -pubkey >qualified.pub
ssh-keygen -i -m PKCS8 -f qualified.pub >expected
cut -d ' ' -f 1,2 keys | expect "$(cut -d ' ' -f 1,2 expected)"
