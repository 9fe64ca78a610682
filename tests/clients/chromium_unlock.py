"""Answers Chromium's dialogs that ask for a token's code, as the user of a headless Chromium that nobody sees.

Chromium is reached by its tools for inspecting its own dialogs (--enable-ui-devtools). Ends when Chromium does, and
prints the text of each dialog, or "unknown" where Chromium tells no texts. Usage: chromium_unlock.py PROFILE"""

import base64
import json
import os
import pathlib
import socket
import struct
import sys
import time

DIALOG = "CryptoModulePasswordDialogView"
UNKNOWN_TEXT = "unknown"
# A dialog takes no click for as long as one may have been meant for what was there before it, in seconds.
TIME_BEFORE_A_CLICK = 1
TIME_BETWEEN_LOOKS = 0.1


class Connection:
    """Calls over a web socket."""

    def __init__(self, port):
        self.socket = socket.create_connection(("127.0.0.1", port))
        self.input = self.socket.makefile("rb")
        key = base64.b64encode(os.urandom(16)).decode()
        self.socket.sendall(
            f"GET /0 HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
            f"Sec-WebSocket-Key: {key}\r\nSec-WebSocket-Version: 13\r\n\r\n".encode()
        )
        while self.input.readline() not in (b"\r\n", b""):
            pass
        self.calls = 0

    def call(self, method, **parameters):
        self.calls += 1
        text = json.dumps({"id": self.calls, "method": method, "params": parameters}).encode()
        # The frame of a text: final, masked with zeros, its length in two bytes.
        self.socket.sendall(struct.pack(">BBHI", 0x81, 0x80 | 126, len(text), 0) + text)
        while True:
            answer = self._receive()
            if answer.get("id") == self.calls:
                if "error" in answer:
                    sys.exit(f"{method}: {answer['error']}")
                return answer["result"]

    def _receive(self):
        length = self._read(2)[1]
        if length == 126:
            length = int.from_bytes(self._read(2), "big")
        elif length == 127:
            length = int.from_bytes(self._read(8), "big")
        return json.loads(self._read(length))

    def _read(self, count):
        content = self.input.read(count)
        if len(content) < count:
            raise ConnectionResetError
        return content


def parts_of(node):
    yield node
    for child in node.get("children", []):
        yield from parts_of(child)


def name_of(node):
    return dict(zip(*[iter(node.get("attributes", []))] * 2)).get("name")


def property_of(connection, node, name):
    rules = connection.call("CSS.getMatchedStylesForNode", nodeId=node["nodeId"])["matchedCSSRules"]
    properties = [one for rule in rules for one in rule["rule"]["style"]["cssProperties"]]
    return next((one["value"] for one in properties if one["name"] == name), "")


def default_button(connection, dialog):
    """The button that the return key presses, which unlocks. Not each version of Chromium tells the texts of buttons."""
    for node in parts_of(dialog):
        if name_of(node) == "MdTextButton" and property_of(connection, node, "IsDefault") == "true":
            return node
    sys.exit("the dialog has no default button")


def type_into(connection, node, character):
    key = {"keyCode": ord(character.upper()), "code": 0, "flags": 0, "key": ord(character)}
    for kind, is_character in (("keyPressed", True), ("keyReleased", False)):
        event = {"type": kind, "isChar": is_character, **key}
        connection.call("DOM.dispatchKeyEvent", nodeId=node["nodeId"], event=event)


def click(connection, node):
    for kind in ("mousePressed", "mouseReleased"):
        event = {"type": kind, "x": 5, "y": 5, "button": "left", "wheelDirection": "none"}
        connection.call("DOM.dispatchMouseEvent", nodeId=node["nodeId"], event=event)


def answer_dialogs(connection):
    connection.call("DOM.enable")
    while True:
        windows = connection.call("DOM.getDocument")["root"].get("children", [])
        dialog = next((one for one in windows if name_of(one) == DIALOG), None)
        if dialog is not None:
            nodes = list(parts_of(dialog))
            label = next(one for one in nodes if name_of(one) == "Label")
            print(property_of(connection, label, "Text") or UNKNOWN_TEXT, flush=True)
            # Chromium takes an empty field for a cancelled dialog. What is typed goes nowhere.
            type_into(connection, next(one for one in nodes if name_of(one) == "Textfield"), "x")
            unlock = default_button(connection, dialog)
            time.sleep(TIME_BEFORE_A_CLICK)
            click(connection, unlock)
        time.sleep(TIME_BETWEEN_LOOKS)


port_file = pathlib.Path(sys.argv[1]) / "UIDevToolsActivePort"
while not (port_file.exists() and port_file.read_text()):
    time.sleep(TIME_BETWEEN_LOOKS)
try:
    answer_dialogs(Connection(int(port_file.read_text().splitlines()[0])))
except ConnectionError:
    pass
