#!/usr/bin/env bash
# The check of the includes finds what goes against the list of rooms, and what is in no room.
#   rooms_test.sh TOP_FOLDER
set -euo pipefail
top=$1
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT

expect() { # STATUS TEXT_OF_THE_OUTPUT
    local status=0
    "$top/.ci/check-rooms" "$copy" >"$copy/output" || status=$?
    if [ "$status" != "$1" ] || ! grep -qF "$2" "$copy/output"; then
        echo "expected $1 and \"$2\", but $status and:"
        cat "$copy/output"
        exit 1
    fi
}

mkdir -p "$copy/.ci" "$copy/low/part" "$copy/high"
printf '# comment\nlow:\nlow/part: low\nhigh: low\n' >"$copy/.ci/rooms"
echo '#pragma once' >"$copy/low/a.h"
echo '#include "low/a.h"' >"$copy/high/b.cpp"
echo '#include "low/a.h"' >"$copy/low/part/c.cpp"
expect 0 "3 files"

echo '#include "high/b.cpp"' >"$copy/low/a.h"
expect 1 "low/a.h:1: low must not include high"
echo '#include "low/part/c.cpp"' >"$copy/low/a.h"
expect 1 "low/a.h:1: low must not include low/part"
echo '#include "nowhere.h"' >"$copy/low/a.h"
expect 1 'low/a.h:1: #include "nowhere.h" is in no room'
echo '#include <vector>' >"$copy/low/a.h"
expect 0 "3 files"

mkdir "$copy/low/part/deeper" "$copy/other"
echo '#include "high/b.cpp"' >"$copy/low/part/deeper/d.h"
expect 1 "low/part/deeper/d.h:1: low/part must not include high"
rm "$copy/low/part/deeper/d.h"

printf 'low: high\nhigh: low\n' >"$copy/.ci/rooms"
expect 1 "low may include high, which does not stand above it"
