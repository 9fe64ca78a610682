# What tests of tavrik-setup expect of a command; the setup.sh of each system sources it.
# shellcheck shell=bash

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

expect_said() { # TEXT
    # shellcheck disable=SC2154 # expect_exit has set it
    [[ $said == *"$1"* ]] || fail "'$1' is not in: $said"
}
