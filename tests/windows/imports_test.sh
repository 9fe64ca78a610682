#!/usr/bin/env bash
# imports_test.sh OBJDUMP LIBRARY...: each library, and each program, needs nothing but Windows' own libraries, and has
# no list of libraries that are bound late; CardAPI.dll is asked for by name at the first call.
set -euo pipefail
objdump=$1
shift
own='ADVAPI32|bcrypt|CRYPT32|KERNEL32|msvcrt|ncrypt|ntdll|ole32|SHELL32|USER32|WS2_32'

for library in "$@"; do
    headers=$("$objdump" -p "$library")
    needed=$(sed -n 's/^\tDLL Name: //p' <<<"$headers")
    if [ -z "$needed" ]; then
        echo "$library: no imports were found" >&2
        exit 1
    fi
    if others=$(grep -viE "^($own)\.dll\$" <<<"$needed"); then
        echo "$library needs: ${others//$'\n'/ }" >&2
        exit 1
    fi
    if ! grep -qE '^Entry d 0+ 0+ Delay Import Directory' <<<"$headers"; then
        echo "$library binds libraries late by a list" >&2
        exit 1
    fi
done
