#!/usr/bin/env bash
# Okular signs PDF files with both keys, on a screen that nobody sees, and OpenSSL verifies them. It shows a password dialog of
# its own for each slot; what is typed there goes nowhere, and the card's keyboard asks once.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"

make_nss_database nss
/usr/bin/python3 "$here/write_pdf.py" contract.pdf
mkdir -p config run
chmod 700 run
cat >config/okular-generator-popplerrc <<END
[Signatures]
UseDefaultCertDB=false
DBCertificatePath=file://$PWD/nss
END
export XDG_CONFIG_HOME=$PWD/config XDG_RUNTIME_DIR=$PWD/run

processes=()
trap 'kill ${processes[@]+"${processes[@]}"} 2>/dev/null || true; wait; rm -rf "$TAVRIK_HOME"' EXIT
Xvfb -noreset -displayfd 3 -screen 0 1280x900x24 3>display 2>screen.log &
processes+=($!)
await '^[0-9]*$' display
DISPLAY=:$(cat display)
export DISPLAY
for _ in $(seq 300); do
    xdotool getdisplaygeometry >/dev/null 2>&1 && break
    sleep 0.1
done
openbox >windows.log 2>&1 &
processes+=($!)

# Waits until a window in front has a title that begins with this regular expression, or fails and says which one has.
await_window() { # TITLES
    title=
    for _ in $(seq 300); do
        title=$(xdotool getactivewindow getwindowname 2>/dev/null || true)
        [[ ! $title =~ ^($1) ]] || return 0
        xdotool search --onlyvisible --name "^($1)" windowactivate >/dev/null 2>&1 || true # it has come without the focus
        sleep 0.1
    done
    echo "There is no window '$1', but '$title', and in all:"
    xdotool search --onlyvisible --name "Okular" getwindowname %@ || true
    tail -n 20 okular.log
    exit 1
}
press() { # KEY...
    sleep 0.5
    xdotool key "$@"
}

unlock() {
    await_window "Enter Password"
    xdotool type x
    press Return
}
# Okular is started anew for each signature: its library now and then damages its memory when it signs a document more than
# once, also with keys that are on no card. It ends with the screen at the latest.
start_okular() {
    dbus-run-session okular contract.pdf >okular.log 2>&1 &
    okular=$!
}
end_okular() {
    await_window contract.pdf
    press ctrl+q
    wait "$okular"
}
begin_signing() {
    await_window contract.pdf
    press alt+t d
}
# Draws the rectangle for the signature, and waits for the offer of certificates.
draw_signature() {
    await_window contract.pdf
    sleep 1
    local window
    window=$(xdotool getactivewindow)
    xdotool mousemove --window "$window" 240 320 mousedown 1 sleep 0.2 mousemove --window "$window" 300 380 sleep 0.2 \
        mousemove --window "$window" 400 450 sleep 0.2 mouseup 1
    await_window "Select certificate|Certificates" # of Okular 22.12 and 25.04
}
save_as() { # NAME
    local title=
    await_window "Enter certificate password|Save Signed File"
    if [[ $title == "Enter certificate password"* ]]; then # Okular 25.04
        sleep 1 # until it takes keys
        xdotool type x
        press Return
        await_window "Save Signed File"
    fi
    sleep 0.5
    xdotool type "$1"
    press Return
    await_window "$1"
    press alt+F4
    end_okular
}
offers_nothing() {
    await_window "Information"
    press Return
}
all_codes_were_asked_for() {
    diff <(echo CANCEL) answers
}

echo "without a code, no certificate is offered; each slot asks"
start_okular
type_codes CANCEL CANCEL CANCEL
begin_signing
unlock
unlock
offers_nothing
all_codes_were_asked_for

echo "signs with the ordinary key; a wrong code is asked for again"
type_codes 999999 123456 CANCEL
begin_signing
unlock
unlock
unlock
draw_signature
press Return
save_as ordinary.pdf
all_codes_were_asked_for

echo "signs with the qualified key, whose PIN Okular makes the keyboard ask for three times"
start_okular
type_codes 123456 654321 654321 654321 CANCEL
begin_signing
unlock
unlock
draw_signature
press Down
press Return
save_as qualified.pdf
all_codes_were_asked_for

echo "while the card is out, no certificate is offered; when it is back, it asks for its code"
start_okular
type_codes 123456 CANCEL
begin_signing
unlock
unlock
draw_signature
press Escape
all_codes_were_asked_for
"$card_tool" remove anna
sleep 2
begin_signing
offers_nothing
"$card_tool" insert anna
sleep 2
type_codes 123456 CANCEL
begin_signing
unlock
unlock
draw_signature
press Return
save_as again.pdf
all_codes_were_asked_for

"$card_tool" export-certificate anna es >ordinary.pem
"$card_tool" export-certificate anna qes >qualified.pem
verify_pdf ordinary.pdf ordinary.pem
verify_pdf qualified.pdf qualified.pem
verify_pdf again.pdf ordinary.pem
