#!/usr/bin/env bash
# Bash completes the options and words of tavrik-log. Usage: completion_test.sh BIN-FOLDER COMPLETION-FILE
set -euo pipefail
export PATH=$1:$PATH
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/../completion.sh"
# shellcheck disable=SC1090
. "$2"
cd "$(mktemp -d)"
trap 'rm -rf "$PWD"' EXIT

expect() {
    expect_of tavrik-log "$@"
}

touch logs.txt
expect "error" --level e
expect "auto always never" --color ""
expect "--follow --function" --f
expect "calls" ca
expect "logs.txt" lo
expect "" --since x
