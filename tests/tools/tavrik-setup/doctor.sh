# For the doctor's tests, which source it after their setup.sh: the command and what it finds, where that is alike on both
# systems. The tests set $doctor to the words that begin the command, $checked_front to the front that it looks at unless
# another is named, $card_tool to the software card's tool, and $config and $state to the card's folders.
# shellcheck shell=bash
# shellcheck disable=SC2154

# Has $findings with each finding in a line: severity, area, text, advice.
check() { # EXIT-CODE [FRONT]
    expect_exit "$1" "${doctor[@]}" --module "${2:-$checked_front}" check --json
    findings=$(python3 -c '
import json, sys
for finding in json.load(sys.stdin):
    print(finding["severity"], finding["area"] + ":", finding["text"], "=>", finding["advice"])' <<<"$said")
}

found() { # PATTERN
    grep -qE "$1" <<<"$findings" || fail "'$1' is not among: $findings"
}

not_found() { # PATTERN
    ! grep -qE "$1" <<<"$findings" || fail "'$1' is among: $findings"
}

card() { # ARGUMENTS
    expect_exit 0 "$card_tool" "$@"
}

check_without_faults() { # first without a reader, then with a card "anna" in one
    echo "no reader, no card"
    check 0
    found "^warning reader: There is no reader"
    found "^fine front: Applications see no card"
    echo "all is well"
    card new anna --subject "Anna Horvátová" --bok 123456 --pin 654321
    card insert anna
    check 0
    not_found "^(warning|fault)"
    found "^fine front: Applications see Reader 0; Sig_ZEP, Reader 0; Sig_EP"
    found "^fine certificate: Sig_ZEP of Anna Horvátová in Reader 0 is valid until [0-9]{4}-[01][0-9]-[0-3][0-9]"
    found "^fine code: The login code of the card \"anna\" has 3 tries left"
    found "^fine pinentry: .*answers"
}

configure() { # TEXT
    printf '%b' "$1" >"$config/config.json"
}

check_faults_of_the_configuration() { # EXAMPLE
    cp "$1" "$config/"
    check 0
    found "^fine configuration: .*config.json is valid"
    configure '{\n  "log": {\n    "extensive": true,\n  }\n}'
    check 1
    found "^fault configuration: .*no valid JSON.*line 4"
    configure '{\r\n  "log": {\r\n    "extensive": "yes",\r\n    "fileCount": 3\r\n  }\r\n}\r\n'
    check 1
    found "^fault configuration: .*line 3: \"extensive\" cannot be \"yes\""
    configure '{\n  "log": {\n    "logtofile": true\n  }\n}'
    check 0
    found "^warning configuration: .*line 3: \"logtofile\" is no key that the library knows"
    rm "$config/config.json"
}

check_fault_of_the_log() {
    rm -f "$state"/Pkcs11*.log
    mkdir "$state/Pkcs11.log"
    check 1
    found "^fault log: .*Pkcs11.log is no regular file"
    rmdir "$state/Pkcs11.log"
}

check_faults_of_the_card() { # of a card "anna" in a reader
    card fault anna OpenSession --status eCardCommErr --count 9
    check 1
    found "^fault card: The card in Reader 0 cannot be opened: eCardCommErr"
    card fault anna --clear
    card fault anna QES_GetCertificates --status eCardCommErr --count 9
    check 1
    found "^fault certificate: A certificate of Sig_ZEP in Reader 0 cannot be read: eCardCommErr"
    card fault anna --clear
}
