#!/usr/bin/env bash
# The library and the front in hosts where other modules have the names of their functions and classes in the global
# scope: each calls itself alone, and works.
#   foreign_symbols_test.sh FRONT CARD_TOOL SCRIPTED_PINENTRY LIBRARY SYMBOL_HOST LINKED_SYMBOL_HOST
declare -A module_of=([library]=$4 [front]=$1) other_of=([library]=$1 [front]=$4)
host=$5
linked_host=$6 # linked against the front
# shellcheck source-path=SCRIPTDIR/../clients
. "$(dirname "$0")/../clients/card.sh"

soft_hsm=/usr/lib/softhsm/libsofthsm2.so
proxy=/usr/lib/$(gcc -print-multiarch)/p11-kit-proxy.so
mkdir copy
cp "${module_of[@]}" copy/
failed=0

try() { # WHAT COMMAND...
    if "${@:2}"; then
        echo "ok: $1"
    else
        echo "FAILED: $1"
        failed=1
    fi
}

for kind in library front; do
    module=${module_of[$kind]}
    other=${other_of[$kind]}
    copy=$PWD/copy/$(basename "$module")
    try "$kind by itself" "$host" "$kind" "$module"
    try "$kind after SoftHSM in the global scope" "$host" --global "$soft_hsm" "$kind" "$module"
    try "$kind after GnuTLS and p11-kit in the global scope" \
        "$host" --global libgnutls.so.30 --global "$proxy" "$kind" "$module"
    try "$kind after the other of the two in the global scope" "$host" --global "$other" "$kind" "$module"
    try "$kind after a copy of itself in the global scope" "$host" --global "$copy" "$kind" "$module"
    try "$kind in a program that is linked against the front" "$linked_host" "$kind" "$module"
    for preloaded in "$soft_hsm" "$proxy" "$other" "$copy"; do
        try "$kind in a program that has preloaded $preloaded" env LD_PRELOAD="$preloaded" "$host" "$kind" "$module"
    done
    for others in "" "$soft_hsm" "$proxy" "$other" "$copy"; do
        try "$kind in Python with RTLD_GLOBAL, after ${others:-nothing}" \
            /usr/bin/python3 "$here/../symbols/global_host.py" ${others:+"$others"} "$kind" "$module"
    done
done
exit $failed
