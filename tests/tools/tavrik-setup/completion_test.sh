#!/usr/bin/env bash
# Bash completes the options and words of tavrik-setup. Usage: completion_test.sh BIN-FOLDER COMPLETION-FILE
set -euo pipefail
export PATH=$1:$PATH
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/../../completion.sh"
# shellcheck disable=SC1090
. "$2"
cd "$(mktemp -d)"
trap 'rm -rf "$PWD"' EXIT

expect() {
    expect_of tavrik-setup "$@"
}

touch front.so
expect "chromium check" ch
expect "firefox" ssh fire
expect "--dry-run" --d
expect "openssl openvpn" --undo open
expect "front.so" --module fr
expect "" --host x
