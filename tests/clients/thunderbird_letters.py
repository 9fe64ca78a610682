"""The user of a Thunderbird with a card: opens an encrypted message of the local folder "Letters", and sends signed ones, which
get into files sent-NUMBER.eml of the current folder.

The card's keyboard answers with the lines of the file that TAVRIK_PINENTRY_ANSWERS names.
Usage: thunderbird_letters.py PROFILE CARD_TOOL TEXT"""

import os
import pathlib
import socket
import subprocess
import sys
import threading
import time

from marionette import TIME_BETWEEN_LOOKS, Marionette, Refused

BOK = "123456"
WRONG_BOK = "999999"
LONGEST_WAIT = 60  # seconds
# NSS believes for a second what it has seen of a card.
TIME_UNTIL_A_CARD_IS_SEEN = 2
ANSWERS = pathlib.Path(os.environ["TAVRIK_PINENTRY_ANSWERS"])

LOG_OUT = 'Cc["@mozilla.org/security/sdr;1"].getService(Ci.nsISecretDecoderRing).logout()'
MAIL = 'const {MailServices} = ChromeUtils.importESModule("resource:///modules/MailServices.sys.mjs");'
# Closes each window that tells of an error, and the one that lets the user choose a certificate, with its first button.
# What the errors say is kept.
CLOSE_DIALOGS = """
    window.errors = [];
    Services.ww.registerNotification({observe(opened, topic) {
        if (topic != "domwindowopened") return;
        opened.addEventListener("load", () => {
            const name = opened.location.href.split("/").pop();
            if (name != "commonDialog.xhtml" && name != "certpicker.xhtml") return;
            if (name == "commonDialog.xhtml") {
                const text = opened.document.getElementById("infoBody").textContent;
                if (text.startsWith("Please authenticate")) return; // Thunderbird 140, until the login has ended
                window.errors.push(text);
            }
            opened.setTimeout(() => opened.document.querySelector("dialog").acceptDialog(), 200);
        }, {once: true});
    }});"""
# What the button "Select" for the certificate that signs does in the settings of an account. Thunderbird 140 answers a script
# that opens a dialog at once and with nothing, so this one is answered before it opens one.
CHOOSE_CERTIFICATE = (
    MAIL
    + """
    const choose = () => {
        const signs = 4; // SECCertUsage
        const certificate = Cc["@mozilla.org/user_cert_picker;1"].createInstance(Ci.nsIUserCertPicker)
            .pickByUsage(window, "", signs, false, true, "anna@example.org", {});
        const identity = MailServices.accounts.defaultAccount.defaultIdentity;
        identity.setUnicharAttribute("signing_cert_name", certificate.displayName);
        identity.setCharAttribute("signing_cert_dbkey", certificate.dbKey);
        identity.setBoolAttribute("sign_mail", true);
        window.chosenToken = certificate.tokenName;
    };
    window.setTimeout(choose, 0);"""
)
CHOSEN_TOKEN = "return window.chosenToken"
SHOW_FOLDER = (
    MAIL
    + """
    const folders = MailServices.accounts.localFoldersServer.rootFolder.subFolders;
    const pane = window.document.getElementById("tabmail").currentAbout3Pane;
    pane.displayFolder(folders.find(folder => folder.name == "Letters").URI);"""
)
FOLDER_IS_SHOWN = 'return window.document.getElementById("tabmail").currentAbout3Pane.gDBView?.rowCount == 1'
SELECT_LETTER = """
    const list = window.document.getElementById("tabmail").currentAbout3Pane.threadTree;
    list.selectedIndex = -1;
    window.setTimeout(() => list.selectedIndex = 0, 500);"""
# Once the message is shown, whether it could be decrypted, and its text.
SHOWN_LETTER = """
    const shown = window.document.getElementById("tabmail").currentAboutMessage;
    const icon = shown?.document.getElementById("encryptedHdrIcon")?.getAttribute("src") ?? "";
    const text = shown?.getMessagePaneBrowser().contentDocument?.body?.textContent ?? "";
    return icon.endsWith("-notok.svg") ? ["refused", text] : icon.endsWith("-ok.svg") && text ? ["opened", text] : null;"""
WRITE_LETTER = (
    MAIL
    + """
    const fields = Cc["@mozilla.org/messengercompose/composefields;1"].createInstance(Ci.nsIMsgCompFields);
    fields.to = "boris@example.org";
    fields.subject = "A bill";
    fields.body = arguments[0];
    const letter = Cc["@mozilla.org/messengercompose/composeparams;1"].createInstance(Ci.nsIMsgComposeParams);
    letter.composeFields = fields;
    letter.identity = MailServices.accounts.defaultAccount.defaultIdentity;
    letter.type = Ci.nsIMsgCompType.New;
    letter.format = Ci.nsIMsgCompFormat.PlainText;
    MailServices.compose.OpenComposeWindowWithParams(null, letter);"""
)
LETTER_IS_WRITTEN = 'return Services.wm.getMostRecentWindow("msgcompose")?.composeEditorReady'
SEND_LETTER = """
    window.errors.length = 0;
    const writing = Services.wm.getMostRecentWindow("msgcompose");
    writing.setTimeout(() => writing.goDoCommand("cmd_sendNow"), 0);"""
LETTER_IS_DONE = """
    return window.errors.length || !Services.wm.getMostRecentWindow("msgcompose") ? [window.errors.join()] : null"""


class MailServer(threading.Thread):
    """Takes messages and puts them into files."""

    def __init__(self):
        super().__init__(daemon=True)
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.taken = 0

    def run(self):
        while True:
            connection, _ = self.listener.accept()
            with connection, connection.makefile("rwb", buffering=0) as stream:
                self.serve(stream)

    def serve(self, stream):
        stream.write(b"220 localhost\r\n")
        while command := stream.readline()[:4].upper():
            if command == b"DATA":
                stream.write(b"354 go on\r\n")
                lines = iter(stream.readline, b".\r\n")
                message = b"".join(line.removeprefix(b".") for line in lines)
                self.taken += 1
                pathlib.Path(f"sent-{self.taken}.eml").write_bytes(message)
            stream.write(b"221 bye\r\n" if command == b"QUIT" else b"250 taken\r\n")
            if command == b"QUIT":
                return


class User:
    def __init__(self, profile, text):
        self.server = MailServer()
        self.server.start()
        self.thunderbird = Marionette(profile)
        self.text = text
        self.do(CLOSE_DIALOGS)
        self.do('Services.prefs.setIntPref("mail.smtpserver.smtp1.port", arguments[0])', self.server.port)

    def do(self, script, *arguments):
        return self.thunderbird.run_in_browser(script, *arguments)

    def do_when_possible(self, script):
        """Nothing while a window asks for a login, which Thunderbird 140 takes for one that is in the way of scripts."""
        try:
            return self.do(script)
        except Refused as refused:
            if "unexpected alert open" not in str(refused):
                raise
            return None

    def wait_for(self, script):
        """What the script returns as soon as that is something."""
        end = time.monotonic() + LONGEST_WAIT
        while not (result := self.do_when_possible(script)):
            if time.monotonic() > end:
                sys.exit(f"this did not come about: {script}")
            time.sleep(TIME_BETWEEN_LOOKS)
        return result

    def choose_certificate(self):
        with Codes("the account's certificate is chosen after one code", [BOK]):
            self.do(CHOOSE_CERTIFICATE)
            token = self.wait_for(CHOSEN_TOKEN)
        if token != "Sig_EP":
            sys.exit(f"the certificate is one of {token}")

    def open_letter(self, what, codes, opens=True):
        with Codes(what, codes):
            self.do(SHOW_FOLDER)
            self.wait_for(FOLDER_IS_SHOWN)
            self.do(SELECT_LETTER)
            state, text = self.wait_for(SHOWN_LETTER)
        if (state == "opened" and self.text in text) != opens:
            sys.exit(f"{state}: {text}")

    def send_letter(self, what, codes, sends=True):
        """A letter that could not be sent is sent once more."""
        sent = self.server.taken
        with Codes(what, codes):
            if not self.do(LETTER_IS_WRITTEN):
                self.do(WRITE_LETTER, self.text)
                self.wait_for(LETTER_IS_WRITTEN)
            self.do(SEND_LETTER)
            errors = self.wait_for(LETTER_IS_DONE)[0]
        if sends and (errors or self.server.taken != sent + 1):
            sys.exit(f"nothing was sent: {errors}")
        if not sends:
            if self.server.taken != sent:
                sys.exit("a message was sent")
            print(errors)


class Codes:
    """What the keyboard is told when it asks, and that it asks for no more, unless a code is cancelled: how often Thunderbird
    tries again then is its own affair."""

    def __init__(self, what, codes):
        print(what, flush=True)
        self.cancels = "CANCEL" in codes
        ANSWERS.write_text("".join(code + "\n" for code in [*codes, "CANCEL"]), encoding="ascii")

    def __enter__(self):
        return self

    def __exit__(self, failure, *_):
        left = ANSWERS.read_text(encoding="ascii").split()
        if failure is None and left != ["CANCEL"] and not self.cancels:
            sys.exit(f"the keyboard was asked another number of times: {left}")


def main():
    profile, card_tool, text = sys.argv[1:]
    user = User(profile, text)
    user.choose_certificate()
    user.send_letter("a signed message takes no further code", [])
    user.open_letter("nor does an encrypted one", [])
    user.do(LOG_OUT)
    user.open_letter("a cancelled code opens nothing", ["CANCEL"] * 10, opens=False)
    user.open_letter("a wrong code is asked for again", [WRONG_BOK, BOK])
    user.do(LOG_OUT)
    user.send_letter("a cancelled code signs nothing", ["CANCEL"] * 10, sends=False)
    user.send_letter("a wrong code is asked for again to sign", [WRONG_BOK, BOK])
    subprocess.run([card_tool, "remove", "anna"], check=True)
    time.sleep(TIME_UNTIL_A_CARD_IS_SEEN)
    user.open_letter("a card that has gone opens nothing", [], opens=False)
    user.send_letter("and signs nothing", [], sends=False)
    subprocess.run([card_tool, "insert", "anna"], check=True)
    time.sleep(TIME_UNTIL_A_CARD_IS_SEEN)
    user.send_letter("a card that is back asks for its code, and signs", [BOK])
    user.open_letter("and opens", [])


main()
