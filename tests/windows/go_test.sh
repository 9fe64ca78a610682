#!/usr/bin/env bash
# A program in Go with Debian's miekg/pkcs11, built for Windows, uses the card under Wine.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

# Debian's package takes the headers of NSS for those of PKCS#11, and links NSS' libraries, which it has no use for and which
# are not there for Windows.
# shellcheck disable=SC2016 # that shell expands it
printf '#!/bin/sh\n[ "$1" = --libs ] || exec pkg-config "$@"\n' >headers-only
chmod +x headers-only
PKG_CONFIG=$folder/headers-only GOOS=windows GOARCH=amd64 CGO_ENABLED=1 CC=x86_64-w64-mingw32-gcc-posix GO111MODULE=off \
    GOPATH=/usr/share/gocode GOCACHE=${GOCACHE:-$folder/cache} go build -o client.exe "$here/../clients/go/client.go"
run_client() { # TOKEN
    rm -f signature
    timeout 100 "$run" "$folder/client.exe" "$(on_windows "$programs/tavrik-pkcs11.dll")" "$1" 2>client.log
}

# shellcheck source=../clients/go/uses.sh
. "$here/../clients/go/uses.sh"
