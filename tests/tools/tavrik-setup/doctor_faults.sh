# For the doctor's tests, which source it: faults that are made alike on both systems. They have `check EXIT-CODE`, `found
# PATTERN`, `card COMMAND...` for a card "anna" in a reader, and $config and $state for the folders.
# shellcheck shell=bash
# shellcheck disable=SC2154

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

check_faults_of_the_card() {
    card fault anna OpenSession --status eCardCommErr --count 9
    check 1
    found "^fault card: The card in Reader 0 cannot be opened: eCardCommErr"
    card fault anna --clear
    card fault anna QES_GetCertificates --status eCardCommErr --count 9
    check 1
    found "^fault certificate: A certificate of Sig_ZEP in Reader 0 cannot be read: eCardCommErr"
    card fault anna --clear
}
