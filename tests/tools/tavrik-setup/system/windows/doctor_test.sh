#!/usr/bin/env bash
# tavrik-setup.exe check: finds nothing where all is well, and each fault that is made on purpose.
#   doctor_test.sh RUN-UNDER-WINE TOOL FRONT CARD-TOOL PINENTRY BROKEN-LIBRARY HOST EXAMPLE-CONFIGURATION
# HOST holds a card while it runs; BROKEN-LIBRARY is one that is no PKCS#11 module and lacks the functions of a card layer.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/setup.sh"
# shellcheck source=../../doctor.sh
. "$(dirname "$0")/../../doctor.sh"
pinentry=$5
broken_library=$6
host=$7
example=$8
libraries=$(dirname "$front")
config=$local_data/Tavrik/config
state=$local_data/Tavrik/state
# As installed, with the software card in its folder beside the program.
installed="$drive/Program Files/Tavrik"
mkdir -p "$installed/softcard"
cp "$tool" "$front" "$libraries/pkcs11_x64.dll" "$installed/"
cp "$4" "$front" "$libraries/pkcs11_x64.dll" "$libraries/CardAPI.dll" "$installed/softcard/"
doctor=("$installed/tavrik-setup.exe")
card_tool=$installed/softcard/tavrik-card.exe
checked_front='C:\Program Files\Tavrik\softcard\tavrik-pkcs11.dll'
TAVRIK_PINENTRY=$(as_windows "$pinentry")
export TAVRIK_PINENTRY

check_without_faults
found '^fine front: C:\\Program Files\\Tavrik\\softcard\\tavrik-pkcs11.dll, version 4.0, starts'
found '^fine library: The front works with C:\\Program Files\\Tavrik\\softcard\\pkcs11_x64.dll'
found '^fine card layer: The card layer is C:\\Program Files\\Tavrik\\softcard\\CardAPI.dll'
found '^fine log: The library can write its log in C:\\users\\.*\\AppData\\Local\\Tavrik\\state'
expect_exit 0 "${doctor[@]}" --module "$checked_front" check
expect_said "reader: Reader 0 has a card."

echo "a user folder with letters that no code page has"
TAVRIK_HOME=$(as_windows "$folder/Ďurčová 漢") check 0
found '^fine log: .*\\Ďurčová 漢\\state|^warning log: There is no folder .*\\Ďurčová 漢\\state'

echo "the configuration: each fault with its line"
mkdir -p "$config"
check_faults_of_the_configuration "$example"
mkdir "$config/config.json"
check 1
found "^fault configuration: .*cannot be read: It is no regular file"
rmdir "$config/config.json"

echo "the log"
check_fault_of_the_log

echo "the card"
check_faults_of_the_card
card lock anna pin
check 1
found "^fault code: The signature PIN of the card \"anna\" is locked"
card remove anna
check 0
found "^fine reader: Reader 0 has no card"

echo "a card that another program holds, and which"
card new boris --bok 123456 --pin 654321
card insert boris
: >hold
"$run" "$host" "$checked_front" 123456 "$(as_windows "$folder/ready")" "$(as_windows "$folder/hold")" >host.log 2>&1 </dev/null &
holder=$!
for _ in $(seq 600); do [ -e ready ] && break; sleep 0.1; done
check 0
found "^warning card: Another program holds the card in Reader 0. .*$(basename "$host") \([0-9]+\)"
rm hold
wait $holder || fail "the host: $(cat host.log)"
check 0
not_found "holds the card"

echo "pinentry: missing, mute, and none chosen"
TAVRIK_PINENTRY='C:\nowhere\pinentry.exe' check 1
found '^fault pinentry: .*C:\\nowhere\\pinentry.exe, is not there'
TAVRIK_PINENTRY='C:\windows\system32\where.exe' check 1
found '^fault pinentry: .*where.exe does not speak as a pinentry does'
TAVRIK_PINENTRY='' check 0
found "^warning pinentry: No program is chosen"

echo "the front, the library and the card layer: missing, broken, of others"
check 1 'C:\nowhere\tavrik-pkcs11.dll'
found '^fault front: The front cannot be loaded: C:\\nowhere\\tavrik-pkcs11.dll: '
mkdir "$drive/front"
echo "no library" >"$drive/front/tavrik-pkcs11.dll"
check 1 'C:\front\tavrik-pkcs11.dll'
found '^fault front: The front cannot be loaded: C:\\front\\tavrik-pkcs11.dll: '
cp "$broken_library" "$drive/front/tavrik-pkcs11.dll"
check 1 'C:\front\tavrik-pkcs11.dll'
found "^fault front: .*is no PKCS#11 module"
cp "$front" "$drive/front/tavrik-pkcs11.dll"
check 1 'C:\front\tavrik-pkcs11.dll'
found "^fault front: .*does not start: C_Initialize answers 5"
found "^fault library: pkcs11_x64.dll does not lie beside the front"
cp "$libraries/pkcs11_x64.dll" "$drive/front/"
check 1 'C:\front\tavrik-pkcs11.dll'
found '^fault card layer: The card layer cannot be used: .*CardAPI.dll'
cp "$broken_library" "$drive/front/CardAPI.dll"
check 1 'C:\front\tavrik-pkcs11.dll'
found "^fault card layer: .*it lacks CardAPI_GetAppDataDir"
rm "$drive/front/CardAPI.dll"

echo "the software card on PATH, in the place of a real one"
printf '@set PATH=C:\\Program Files\\Tavrik\\softcard;%%PATH%%\r\n@"C:\\Program Files\\Tavrik\\tavrik-setup.exe" check\r\n' >"$drive/check.bat"
expect_exit 0 cmd /c 'C:\check.bat'
expect_said 'card layer: The card layer is C:\Program Files\Tavrik\softcard\CardAPI.dll.'
expect_said "warning: card layer: This is the software card, which does not lie beside the library."
check 1 'C:\Program Files\Tavrik\tavrik-pkcs11.dll'
found "^fault card layer: The card layer cannot be used"
