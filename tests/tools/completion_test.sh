#!/usr/bin/env bash
# Bash completes the options and words of tavrik-log. Usage: completion_test.sh BIN-FOLDER COMPLETION-FILE
set -euo pipefail
export PATH=$1:$PATH
# shellcheck disable=SC1090
. "$2"
cd "$(mktemp -d)"
trap 'rm -rf "$PWD"' EXIT

# expect WANTED WORD...: the last word is the one that is completed.
expect() {
    local wanted=$1
    shift
    COMP_WORDS=(tavrik-log "$@")
    COMP_CWORD=$#
    _tavrik_log
    if [ "${COMPREPLY[*]}" != "$wanted" ]; then
        echo "FAILED: '$*' gave '${COMPREPLY[*]}' in place of '$wanted'" >&2
        exit 1
    fi
}

touch logs.txt
expect "error" --level e
expect "auto always never" --color ""
expect "--follow --function" --f
expect "calls" ca
expect "logs.txt" lo
expect "" --since x
