"""The user of a Firefox with a card: visits a page that wants a client certificate, and looks at what Firefox shows.

The card's keyboard answers with the lines of the file that TAVRIK_PINENTRY_ANSWERS names. At the end, a dialog of the
keyboard is open, which hangs as long as there is a file "hang" in the current folder, and says so by a file "asked".
Usage: firefox_visits.py PROFILE URL CERTIFICATE CARD_TOOL"""

import os
import pathlib
import subprocess
import sys
import time

from marionette import TIME_BETWEEN_LOOKS, Marionette, Refused

BOK = "123456"
WRONG_BOK = "999999"
LONGEST_VISIT = 40  # seconds; a window that stays open holds up a visit for ever
# NSS believes for a second what it has seen of a card.
TIME_UNTIL_A_CARD_IS_SEEN = 2
ANSWERS = pathlib.Path(os.environ["TAVRIK_PINENTRY_ANSWERS"])

OPEN_WINDOWS = "return Array.from(Services.wm.getEnumerator(null), window => window.location.href)"
LOG_OUT = 'Cc["@mozilla.org/security/sdr;1"].getService(Ci.nsISecretDecoderRing).logout()'
CARDS_CERTIFICATES = (
    'return Cc["@mozilla.org/security/x509certdb;1"].getService(Ci.nsIX509CertDB).getCerts()'
    '.map(certificate => certificate.tokenName).filter(name => name.startsWith("Sig_"))'
)


class User:
    def __init__(self, profile, url, certificate):
        self.firefox = Marionette(profile)
        self.firefox.call("WebDriver:SetTimeouts", pageLoad=LONGEST_VISIT * 1000)
        self.url = url
        self.certificate = pathlib.Path(certificate).read_text(encoding="ascii").strip()

    def visit(self, what, codes, signs_in=True):
        """The keyboard asks for these codes and for no more, no window is left open, and the server has seen the card.

        How often Firefox tries again after a code was cancelled is its own affair."""
        print(what, flush=True)
        ANSWERS.write_text("".join(code + "\n" for code in [*codes, "CANCEL"]), encoding="ascii")
        try:
            self.firefox.call("WebDriver:Navigate", url=self.url)
            page = self.firefox.call("WebDriver:GetPageSource")
        except Refused as refused:
            page = str(refused)
        if (self.certificate in page) != signs_in:
            sys.exit(page)
        left = ANSWERS.read_text(encoding="ascii").split()
        if left != ["CANCEL"] and "CANCEL" not in codes:
            sys.exit(f"the keyboard was asked another number of times: {left}")
        windows = self.firefox.run_in_browser(OPEN_WINDOWS)
        if windows != ["chrome://browser/content/browser.xhtml"]:
            sys.exit(f"the open windows are {windows}")


def use_card(user, card_tool):
    user.visit("a cancelled code signs nobody in", ["CANCEL"] * 10, signs_in=False)
    user.visit("one code signs in", [BOK])
    user.visit("a further visit asks for none", [])
    for turn in range(1, 11):
        user.firefox.run_in_browser(LOG_OUT)
        user.visit(f"login {turn} of ten in a row", [BOK])
    user.firefox.run_in_browser(LOG_OUT)
    user.visit("a wrong code is asked for again", [WRONG_BOK, BOK])
    certificates = user.firefox.run_in_browser(CARDS_CERTIFICATES)
    if sorted(certificates) != ["Sig_EP", "Sig_ZEP"]:
        sys.exit(f"the certificates are those of {certificates}")
    subprocess.run([card_tool, "remove", "anna"], check=True)
    time.sleep(TIME_UNTIL_A_CARD_IS_SEEN)
    user.visit("a card that has gone signs nobody in", [], signs_in=False)
    subprocess.run([card_tool, "insert", "anna"], check=True)
    time.sleep(TIME_UNTIL_A_CARD_IS_SEEN)
    user.visit("a card that is back asks for its code", [BOK])


def leave_dialog_open(user):
    print("a dialog is open", flush=True)
    user.firefox.run_in_browser(LOG_OUT)
    pathlib.Path("hang").touch()
    user.firefox.begin("WebDriver:Navigate", url=user.url)
    while not pathlib.Path("asked").exists():
        time.sleep(TIME_BETWEEN_LOOKS)


def main():
    profile, url, certificate, card_tool = sys.argv[1:]
    user = User(profile, url, certificate)
    use_card(user, card_tool)
    leave_dialog_open(user)


if __name__ == "__main__":
    main()
