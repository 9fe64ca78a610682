#!/usr/bin/env bash
# Bash completes subcommands, cards, options and words. Usage: completion_test.sh BIN-FOLDER COMPLETION-FILE
set -euo pipefail
export PATH=$1:$PATH
TAVRIK_HOME=$(mktemp -d)
export TAVRIK_HOME
trap 'rm -rf "$TAVRIK_HOME"' EXIT
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/../completion.sh"
# shellcheck disable=SC1090
. "$2"

expect() {
    expect_of tavrik-card "$@"
}

tavrik-card new anna --puk 1
expect "delete" de
expect "insert import" "i"
expect "anna" show a
expect "bok" set-code anna b
expect "bok pin" unblock anna ""
expect "qes" import anna q
expect "--json" list --j
expect "--clear --code-state --count" fault anna --c
expect "ES_GetCertificates ES_GetKeyInfo ES_SignData ES_DecryptData" fault anna ES_
# Every operation that the tool knows is completed.
operations=$(tavrik-card fault --help | sed -n 's/^ *OPERATION TEXT *//p' | tr -d ,)
[ -n "$operations" ] || { echo "FAILED: the help names no operations" >&2; exit 1; }
expect "$operations" fault anna ""
# Every subcommand that the tool has is completed, and has help.
for command in new delete insert remove plug unplug list show set-code unblock lock break-channel import \
    export-certificate fault; do
    tavrik-card --help | grep -q "^  $command " || { echo "FAILED: no $command" >&2; exit 1; }
    tavrik-card "$command" --help | grep -q "^Usage: tavrik-card $command" ||
        { echo "FAILED: no help for $command" >&2; exit 1; }
    expect "$command" "$command"
done
