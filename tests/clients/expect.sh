# What tests of clients expect of a command, of the card's keyboard and of a signature; card.sh sources it, and the one for
# Windows does. The file $answers is what the scripted pinentry reads.
# shellcheck shell=bash

# What a person would type into the card's keyboard, in order.
type_codes() {
    # shellcheck disable=SC2154 # who sources this has set it
    printf '%s\n' "$@" >"$answers"
}

all_codes_were_asked_for() {
    if [ -s "$answers" ]; then
        echo "these codes were not asked for: $(tr '\n' ' ' <"$answers")"
        exit 1
    fi
}

# Of the card's login code.
tries_left() {
    # shellcheck disable=SC2154 # who sources this has set it
    "$card_tool" list | cut -f 3
}

expect_failure() { # COMMAND...
    if "$@"; then
        echo "this was done: $*"
        exit 1
    fi
}

# Runs a command that must fail, and say this.
expect_refused() { # TEXT COMMAND...
    if "${@:2}" >refused 2>&1; then
        echo "this went through: ${*:2}"
        exit 1
    fi
    expect "$1" <refused
}

expect() { # TEXT in the standard input
    local text
    text=$(cat)
    if ! grep -qF -- "$1" <<<"$text"; then
        echo "'$1' is not in:"
        echo "$text"
        exit 1
    fi
}

expect_empty() { # FILE
    if [ -s "$1" ]; then
        echo "$1 is not empty:"
        cat --show-nonprinting "$1"
        exit 1
    fi
}

expect_number() { # WANTED NUMBER OF-WHAT
    if [ "$2" -ne "$1" ]; then
        echo "$3: $2 in place of $1"
        exit 1
    fi
}

# Has OpenSSL verify a signature of the document with the public key that the test has put into NAME.pub.
expect_signature_of() { # NAME [FILE]
    openssl dgst -sha256 -verify "$1.pub" -signature "${2-signature}" document | expect "Verified OK"
}
