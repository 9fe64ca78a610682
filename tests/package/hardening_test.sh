#!/usr/bin/env bash
# hardening_test.sh FILE_OR_FOLDER...: every ELF file there, and there is one at least, has what distributions build with:
# full RELRO, a position of the loader's choice, no executable stack, no text relocations, calls of the stack protector, and the
# landing marks of CET. One of the files at least calls the checked functions of _FORTIFY_SOURCE.
set -euo pipefail
failed=0
files=0
fortified=0

complain() { # FILE WHAT
    echo "$1: $2" >&2
    failed=1
}

check() { # FILE
    local headers dynamic symbols
    headers=$(readelf --wide --file-header --program-headers "$1")
    dynamic=$(readelf --wide --dynamic "$1")
    symbols=$(readelf --wide --dyn-syms "$1")
    grep -qE '^ *Type: +DYN ' <<<"$headers" || complain "$1" "is not position-independent"
    grep -q ' GNU_RELRO ' <<<"$headers" || complain "$1" "has no RELRO"
    grep -qE 'BIND_NOW|Flags:.* NOW' <<<"$dynamic" || complain "$1" "binds late, so that its RELRO is partial"
    ! grep -q TEXTREL <<<"$dynamic" || complain "$1" "has text relocations"
    grep -qE ' GNU_STACK .* RW +0x' <<<"$headers" || complain "$1" "has an executable stack, or does not say"
    ! grep -E ' LOAD ' <<<"$headers" | grep -q 'RWE' || complain "$1" "has memory that is written and executed"
    grep -q ' __stack_chk_fail' <<<"$symbols" || complain "$1" "has no stack protector"
    if grep -qE ' __[a-z]+_chk(@|$)' <<<"$symbols"; then
        fortified=$((fortified + 1))
    fi
    # The files that the compiler adds have a few marks of their own.
    [ "$(objdump --disassemble "$1" | grep -c endbr64)" -gt 20 ] || complain "$1" "has no marks of CET"
    files=$((files + 1))
}

while IFS= read -r -d '' file; do
    if [ "$(head -c 4 "$file" | tr -d '\0')" = $'\x7fELF' ]; then
        check "$file"
    fi
done < <(find "$@" -type f -print0)

[ "$files" -gt 0 ] || { echo "no ELF file in $*" >&2; exit 1; }
[ "$fortified" -gt 0 ] || { echo "no file calls a checked function of _FORTIFY_SOURCE" >&2; exit 1; }
[ "$failed" -eq 0 ] || exit 1
echo "$files ELF files are hardened, $fortified of them with checked functions."
