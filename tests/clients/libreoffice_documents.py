"""The user of a LibreOffice with a card: signs PDF files while they are exported, and documents, by what LibreOffice shows. Its
windows are handled through its interface for tests of its own windows.

The card's keyboard answers with the lines of the file that TAVRIK_PINENTRY_ANSWERS names.
Usage: libreoffice_documents.py PIPE CARD_TOOL TEXT"""

import os
import pathlib
import subprocess
import sys
import threading
import time

import uno
from com.sun.star.beans import PropertyValue
from com.sun.star.connection import NoConnectException
from com.sun.star.uno import Exception as Refused
from com.sun.star.util import CloseVetoException

BOK = "123456"
WRONG_BOK = "999999"
PIN = "654321"
ORDINARY = "Digital signature"  # how LibreOffice tells the certificates from one another
QUALIFIED = "Non-repudiation"
NOTICE = ("", "ok")  # a window with a text and a button
QUESTION = ("", "no", "yes")  # in which LibreOffice 25.2 wants a signature confirmed
LONGEST_WAIT = 60  # seconds
TIME_BETWEEN_LOOKS = 0.1
TIME_OF_A_PRESS = 0.5
# NSS believes for a second what it has seen of a card.
TIME_UNTIL_A_CARD_IS_SEEN = 2
ANSWERS = pathlib.Path(os.environ["TAVRIK_PINENTRY_ANSWERS"])


def properties(**values):
    return tuple(PropertyValue(Name=name, Value=value) for name, value in values.items())


def connect(pipe):
    context = uno.getComponentContext()
    resolver = context.ServiceManager.createInstanceWithContext("com.sun.star.bridge.UnoUrlResolver", context)
    end = time.monotonic() + LONGEST_WAIT
    while True:
        try:
            return resolver.resolve(f"uno:pipe,name={pipe};urp;StarOffice.ComponentContext")
        except NoConnectException:
            if time.monotonic() > end:
                raise
            time.sleep(TIME_BETWEEN_LOOKS)


def press(window, button):
    """Such a call returns only when the windows that it opens are closed, for which nobody waits here."""
    threading.Thread(target=window.getChild(button).executeAction, args=("CLICK", ()), daemon=True).start()
    time.sleep(TIME_OF_A_PRESS)


def text_of(item):
    return next(one.Value for one in item.getState() if one.Name == "Text")


class Office:
    def __init__(self, pipe):
        self.context = connect(pipe)
        self.windows = self.make("org.libreoffice.uitest.UITest")
        self.desktop = self.make("com.sun.star.frame.Desktop")

    def make(self, service):
        return self.context.ServiceManager.createInstanceWithContext(service, self.context)

    def window(self):
        """The one in front, and the names of what is in it."""
        try:
            window = self.windows.getTopFocusWindow()
            return window, window.getChildren() if window else ()
        except Refused:  # it closes just now
            return None, ()

    def wait_for(self, name):
        """The window with this name. On the way to it, passwords are typed, which go nowhere, and notices closed."""
        end = time.monotonic() + LONGEST_WAIT
        while True:
            window, children = self.window()
            if name in children:
                return window
            if "PasswordDialog" in children:
                window.getChild("newpassEntry").executeAction("TYPE", properties(TEXT="x"))
            if "PasswordDialog" in children or children == NOTICE:
                press(window, "ok")
            if time.monotonic() > end:
                sys.exit(f"there is no {name}, but {children}")
            time.sleep(TIME_BETWEEN_LOOKS)


class Codes:
    """What the keyboard is told when it asks. It asks for no more."""

    def __init__(self, what, codes):
        print(what, flush=True)
        ANSWERS.write_text("".join(code + "\n" for code in [*codes, "CANCEL"]), encoding="ascii")

    def __enter__(self):
        return self

    def __exit__(self, failure, *_):
        left = ANSWERS.read_text(encoding="ascii").split()
        if failure is None and left != ["CANCEL"]:
            sys.exit(f"the keyboard was asked another number of times: {left}")


def close(office, document):
    """Closes it once it lets itself be closed: a dialog may end a moment after its button was pressed."""
    end = time.monotonic() + LONGEST_WAIT
    while True:
        try:
            document.close(False)
            return
        except CloseVetoException:
            if time.monotonic() > end:
                raise
            window, children = office.window()
            if children == QUESTION:
                press(window, "yes")
            time.sleep(TIME_BETWEEN_LOOKS)


class User:
    def __init__(self, pipe):
        self.office = Office(pipe)
        self.folder = pathlib.Path.cwd().as_uri()

    def open(self, url):
        return self.office.desktop.loadComponentFromURL(url, "_blank", 0, ())

    def write(self, name, text):
        document = self.open("private:factory/swriter")
        document.Text.String = text
        document.storeAsURL(f"{self.folder}/{name}", ())
        close(self.office, document)

    def sign(self, what, name, key, codes, signs=True):
        """By "Digital Signatures" in the menu "File". Without a code, no certificate is offered."""
        document = self.open(f"{self.folder}/{name}")
        with Codes(what, codes):
            self.office.windows.executeDialog(".uno:Signature")
            signatures = self.office.wait_for("DigitalSignaturesDialog")
            press(signatures, "sign")
            offer = self.office.wait_for("SelectCertificateDialog")
            certificates = offer.getChild("signatures")
            items = [certificates.getChild(number) for number in certificates.getChildren()]
            print([text_of(item) for item in items])
            if signs:
                next(item for item in items if key in text_of(item)).executeAction("SELECT", ())
            elif items:
                sys.exit("a certificate is offered")
            press(offer, "ok" if signs else "cancel")
            press(self.office.wait_for("DigitalSignaturesDialog"), "close")
        close(self.office, document)

    def export(self, what, source, name, certificate, codes):
        """Makes a signed PDF file, as "Export as PDF" does with a certificate that is chosen in its "Digital Signatures"."""
        wanted = pathlib.Path(certificate).read_bytes()
        initializer = self.office.make("com.sun.star.xml.crypto.SEInitializer")
        certificates = initializer.createSecurityContext("").getSecurityEnvironment().getPersonalCertificates()
        chosen = next(one for one in certificates if one.Encoded.value == wanted)
        data = uno.Any("[]com.sun.star.beans.PropertyValue", properties(SignPDF=True, SignatureCertificate=chosen))
        document = self.open(f"{self.folder}/{source}")
        with Codes(what, codes):
            document.storeToURL(f"{self.folder}/{name}", properties(FilterName="writer_pdf_Export", FilterData=data))
        close(self.office, document)


def main():
    pipe, card_tool, text = sys.argv[1:]
    user = User(pipe)
    for name in ("ordinary.odt", "qualified.odt", "again.odt"):
        user.write(name, text)
    user.sign("a cancelled code signs nothing", "ordinary.odt", ORDINARY, ["CANCEL"], signs=False)
    user.sign("a wrong code is asked for again", "ordinary.odt", ORDINARY, [WRONG_BOK, BOK])
    user.sign("the qualified key asks for its PIN", "qualified.odt", QUALIFIED, [PIN])
    user.export("a PDF file is signed with the ordinary key", "ordinary.odt", "ordinary.pdf", "ordinary.der", [])
    user.export("and with the qualified one", "ordinary.odt", "qualified.pdf", "qualified.der", [PIN])
    subprocess.run([card_tool, "remove", "anna"], check=True)
    time.sleep(TIME_UNTIL_A_CARD_IS_SEEN)
    user.sign("a card that has gone signs nothing", "again.odt", ORDINARY, [], signs=False)
    subprocess.run([card_tool, "insert", "anna"], check=True)
    time.sleep(TIME_UNTIL_A_CARD_IS_SEEN)
    user.sign("a card that is back asks for its code", "again.odt", ORDINARY, [BOK])
    user.office.desktop.terminate()


main()
