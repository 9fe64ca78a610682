#!/usr/bin/env bash
# A shared library whose references to its own functions and data are all settled at its linking: none is left to the
# loader, which would take whoever has the name first. Nor does it ask for a place in the static block of thread-local
# data, of which a program that loads many libraries has none left.
#   own_relocations_test.sh LIBRARY
set -euo pipefail

# In wide form, a relocation by name reads: offset, info, type, value, name, "+", addend. The value is that of the
# library's own symbol, and 0 for a symbol of another library.
relocations=$(readelf --relocs --wide "$1")
grep -q "R_X86_64_JUMP_SLO" <<<"$relocations" || { echo "no calls of other libraries in $1"; exit 1; }
own=$(awk '$3 ~ /^R_X86_64_/ && NF >= 7 && $4 !~ /^0+$/ { print $3, $5 }' <<<"$relocations")
if [ -n "$own" ]; then
    echo "$1 leaves these of its own symbols to the loader:"
    echo "$own" | c++filt
    exit 1
fi
if readelf --dynamic "$1" | grep -q STATIC_TLS; then
    echo "$1 needs static thread-local data"
    exit 1
fi
