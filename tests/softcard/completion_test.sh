#!/usr/bin/env bash
# Bash completes subcommands, cards, options and words. Usage: completion_test.sh BIN-FOLDER COMPLETION-FILE
# Nothing in single quotes is meant to be expanded, and a function stands in for the tool near the end.
# shellcheck disable=SC2016,SC2218,SC2317
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
expect "eCardCommErr eCardProfileError eCardProfileNotInitialized" fault anna any --status eCard
expect "ES_SignData" fault --count 2 anna ES_S
expect "--clear" fault anna --status 7 --cl
expect "" set-code anna bok --old a
# Every subcommand that the tool has is completed, and has help.
commands=$(tavrik-card --help | sed -n '/^Subcommands:/,$s/^  \([a-z-]*\) .*/\1/p')
[ -n "$commands" ] || { echo "FAILED: the help names no subcommands" >&2; exit 1; }
for command in $commands; do
    tavrik-card "$command" --help | grep -q "^Usage: tavrik-card $command" ||
        { echo "FAILED: no help for $command" >&2; exit 1; }
    expect "$command" "$command"
done
expect "$(xargs <<<"$commands --help --version")" ""
expect "--version" --v
# A folder whose name the tool would refuse is no card, is not listed, and above all is not expanded.
cards=$TAVRIK_HOME/state/cards
for name in "b\$(touch ${TAVRIK_HOME//\//_})" 'b`touch planted`' 'b$HOME' 'b c' 'b*' $'b\e[31mred' $'b\nanna' '.bhidden' \
    'b;id' 'b~' 'b{1,2}'; do
    cp -r "$cards/anna" "$cards/$name"
done
cp -r "$cards/anna" "$cards/-b"
cd "$TAVRIK_HOME"
before=$(find . | sort)
expect "" show b
expect "anna" show a
expect "-b anna" show ""
[ "$(tavrik-card list | cut -f1)" = $'-b\nanna' ] || { echo "FAILED: names that are refused are listed" >&2; exit 1; }
# Nor does what is typed, or another program of the tool's name, have anything run.
expect "" '$(touch planted)' "--x"
expect "" show '$(touch planted)'
tavrik-card() {
    case $1 in
    --describe) command tavrik-card --describe; printf 'show\t--b$(touch planted)\t$(touch planted)\n' ;;
    *) printf '%s\t-\n' 'b$(touch planted)' 'b`touch planted`' 'boris' ;;
    esac
}
expect "boris" show b
expect '--b$(touch planted) --help --json' show --
expect '$(touch' show '--b$(touch planted)' '$'
unset -f tavrik-card
[ "$(find . | sort)" = "$before" ] || { echo "FAILED: something was run" >&2; exit 1; }
