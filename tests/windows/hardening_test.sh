#!/usr/bin/env bash
# hardening_test.sh OBJDUMP FILE...: each library and program can be loaded anywhere in memory, and above 4 GiB (ASLR), and has
# no data that are executed (DEP).
set -euo pipefail
objdump=$1
shift
failed=0

for file in "$@"; do
    headers=$("$objdump" --private-headers "$file")
    for characteristic in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
        if ! grep -qE "^[[:space:]]+$characteristic\$" <<<"$headers"; then
            echo "$file: not $characteristic" >&2
            failed=1
        fi
    done
    # Without relocations there is one address only, whatever the characteristics say.
    if grep -qE '^Entry 5 0+ 0+ Base Relocation Directory' <<<"$headers"; then
        echo "$file: has no relocations" >&2
        failed=1
    fi
    if "$objdump" --section-headers "$file" | grep -A1 -E '^ *[0-9]+ \.(data|bss|rdata|idata)' | grep -q CODE; then
        echo "$file: has data that are executed" >&2
        failed=1
    fi
done
exit $failed
