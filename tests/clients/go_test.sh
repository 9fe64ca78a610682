#!/usr/bin/env bash
# A program in Go with Debian's miekg/pkcs11 uses the card.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

GO111MODULE=off GOPATH=/usr/share/gocode GOCACHE=$PWD/cache go build -o client "$here/go/client.go"
run_client() { # TOKEN
    rm -f signature
    timeout 60 ./client "$front" "$1" 2>client.log
}

# shellcheck source=go/uses.sh
. "$here/go/uses.sh"
