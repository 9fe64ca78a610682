#!/usr/bin/env bash
# tavrik-setup check: finds nothing where all is well, and each fault that is made on purpose.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/setup.sh"
. "$(dirname "$0")/doctor.sh"
doctor=(timeout 100 "$tool")
checked_front=$front
card_tool=$3
pinentry=$4
libraries=$(dirname "$front")
config=$TAVRIK_HOME/config
state=$TAVRIK_HOME/state
export TAVRIK_PINENTRY=$pinentry

check_without_faults
found "^fine front: .*tavrik-pkcs11.so, version 4.0, starts"
found "^fine library: The front works with $(realpath "$libraries")/libpkcs11_x64.so"
found "^fine card layer: The card layer is $(realpath "$libraries")/libCardAPI.so"
found "^fine log: The library can write its log in $state"
expect_exit 0 "${doctor[@]}" --module "$checked_front" check
expect_said "reader: Reader 0 has a card."

echo "the configuration: each fault with its line"
check_faults_of_the_configuration "$(dirname "$0")/../../../examples/config.json"
configure '{\n  "pinPadEnabled": 1,\n  "log": {\n\n    "logFromLevel": "LogLevel_All"\n  }\n}'
check 1
found "^fault configuration: .*line 2: \"pinPadEnabled\" cannot be 1"
found "^fault configuration: .*line 5: \"logFromLevel\" cannot be \"LogLevel_All\""
configure '{ "logToFile": true }'
check 1
found "^fault configuration: .*has no object \"log\""
configure '[]'
check 1
found "^fault configuration: .*no JSON object"
configure "{ \"log\": {} $(printf '%8200s' '')}"
check 0
found "^warning configuration: .*larger than"
rm "$config/config.json"
mkfifo "$config/config.json"
check 1
found "^fault configuration: .*cannot be read: It is no regular file"
rm "$config/config.json"

echo "the log"
check_fault_of_the_log

echo "the card"
check_faults_of_the_card
card remove anna
check 0
found "^fine reader: Reader 0 has no card"

echo "certificates that end, have ended, and are not there"
own_certificate() { # NAME DAYS
    openssl req -x509 -newkey rsa:2048 -nodes -subj "/CN=$1" -days "$2" -keyout "$1.key" -out "$1.pem" 2>/dev/null
    cat "$1.key" "$1.pem" >"$1.both"
    card new "$1" --bok 123456 --pin 654321 --qes-certificates 0 --es-certificates 0
    card import "$1" es "$1.both" --code 123456
    card insert "$1"
}
own_certificate short 20
check 0
found "^warning certificate: Sig_EP of short in Reader 0 ends on .*, in (19|20) days.*renewed"
card remove short
own_certificate long 35
check 0
found "^fine certificate: Sig_EP of long"
card remove long
card new past --bok 123456 --pin 654321 --qes-certificates 0 --es-certificates 0
openssl genrsa -out past.key 2048 2>/dev/null
openssl req -new -key past.key -subj /CN=past -out past.csr
mkdir authority && : >authority/index && echo 01 >authority/serial
printf '[ca]\ndefault_ca=a\n[a]\ndatabase=authority/index\nserial=authority/serial\nnew_certs_dir=authority\ndefault_md=sha256\npolicy=p\n[p]\ncommonName=supplied\n' >ca.cnf
openssl ca -config ca.cnf -batch -selfsign -keyfile past.key -in past.csr -out past.pem -notext \
    -startdate 20200101000000Z -enddate 20210101000000Z 2>/dev/null
cat past.key past.pem >past.both
card import past es past.both --code 123456
card insert past
check 1
found "^fault certificate: Sig_EP of past in Reader 0 ended on 2021-01-01"
card remove past
card new empty --bok 123456 --qes-certificates 0 --es-certificates 0
card insert empty
check 0
found "^warning certificate: The card in Reader 0 has no certificates"
card remove empty

echo "codes with few tries"
card insert anna
card lock anna pin
"$card_tool" set-code anna bok --old 000000 --new 222222 >/dev/null 2>&1 || true
"$card_tool" set-code anna bok --old 000000 --new 222222 >/dev/null 2>&1 || true
check 1
found "^fault code: The signature PIN of the card \"anna\" is locked"
found "^warning code: The login code of the card \"anna\" has one try left"

echo "a card that another program holds, and which"
card new boris --bok 123456 --pin 654321
card remove anna
card insert boris
mkfifo hold
python3 - "$front" hold <<'END' &
import ctypes, sys
front = ctypes.CDLL(sys.argv[1])
front.C_Initialize(None)
count = ctypes.c_ulong(4)
slots = (ctypes.c_ulong * 4)()
front.C_GetSlotList(ctypes.c_ubyte(1), slots, ctypes.byref(count))
session = ctypes.c_ulong()
front.C_OpenSession(slots[0], ctypes.c_ulong(4), None, None, ctypes.byref(session))
assert front.C_Login(session, ctypes.c_ulong(1), b"123456", ctypes.c_ulong(6)) == 0
open("ready", "w").close()
open(sys.argv[2]).read()
END
holder=$!
for _ in $(seq 300); do [ -e ready ] && break; sleep 0.1; done
check 0
found "^warning card: Another program holds the card in Reader 0. .*python3 \($holder\)"
: >hold
wait $holder
check 0
not_found "holds the card"

echo "pinentry: missing, mute, without a place to ask at, and with one"
TAVRIK_PINENTRY=/nowhere/pinentry check 1
found "^fault pinentry: .*/nowhere/pinentry, is not there"
TAVRIK_PINENTRY=/bin/true check 1
found "^fault pinentry: /bin/true does not speak as a pinentry does"
printf '#!/bin/sh\necho "OK hello"\nread line\necho "D gtk2:curses"\necho OK\n' >pinentry-both
printf '#!/bin/sh\necho "OK hello"\nread line\necho "D qt"\necho OK\n' >pinentry-screen
chmod +x pinentry-both pinentry-screen
TAVRIK_PINENTRY=$PWD/pinentry-both check 1 </dev/null
found "^fault pinentry: .*has no terminal and no screen"
DISPLAY=:0 TAVRIK_PINENTRY=$PWD/pinentry-both check 0 </dev/null
found "^fine pinentry: .*there is a screen for it"
GPG_TTY=/dev/null TAVRIK_PINENTRY=$PWD/pinentry-both check 0
found "^fine pinentry: .*asks at /dev/null"
GPG_TTY=/dev/no-such-terminal TAVRIK_PINENTRY=$PWD/pinentry-both check 1
found "^fault pinentry: .*may not use the terminal"
TAVRIK_PINENTRY=$PWD/pinentry-screen check 1
found "^fault pinentry: .*wants a screen, and there is none"
unset TAVRIK_PINENTRY
echo "$pinentry" >"$config/pinentry"
check 0
found "^fine pinentry: $pinentry answers"
rm "$config/pinentry"
export TAVRIK_PINENTRY=$pinentry

echo "the front, the library and the card layer: missing, broken, crashing"
check 1 /nowhere/tavrik-pkcs11.so
found "^fault front: The front cannot be loaded: /nowhere"
echo "no library" >broken.so
check 1 "$PWD/broken.so"
found "^fault front: The front cannot be loaded: .*(invalid ELF header|file too short)"
check 1 "$(find /usr/lib /lib -name 'libz.so.1' | head -n 1)"
found "^fault front: .*is no PKCS#11 module"
mkdir front
cp "$front" front/tavrik-pkcs11.so
check 1 "$PWD/front/tavrik-pkcs11.so"
found "^fault front: .*does not start: C_Initialize answers 5"
found "^fault library: libpkcs11_x64.so does not lie beside the front"
cp "$libraries/libpkcs11_x64.so" front/
check 1 "$PWD/front/tavrik-pkcs11.so"
found "^fault card layer: The card layer cannot be used: .*libCardAPI.so"
LD_LIBRARY_PATH=$libraries check 0 "$PWD/front/tavrik-pkcs11.so"
found "^fine card layer: The card layer is .*libCardAPI.so"
found "^warning card layer: This is the software card, which does not lie beside the library"
cc_library() { # FILE CODE
    echo "$2" | cc -shared -fPIC -x c -o "$1" -
}
cc_library front/libCardAPI.so 'int CardAPI_Initialize;'
check 1 "$PWD/front/tavrik-pkcs11.so"
found "^fault card layer: .*it lacks CardAPI_GetAppDataDir"
cc_library front/libCardAPI.so '__attribute__((constructor)) static void begin(void) { __builtin_trap(); }'
check 1 "$PWD/front/tavrik-pkcs11.so"
found "^fault card layer: The card layer crashed"
cp "$libraries/libCardAPI.so" front/
check 0 "$PWD/front/tavrik-pkcs11.so"
found "^fine card layer: The card layer is $(realpath front)/libCardAPI.so"
