"""The remote control of Firefox and Thunderbird: commands and answers as JSON, each behind its length and a colon, over a TCP
connection."""

import json
import pathlib
import socket
import time

TIME_BETWEEN_LOOKS = 0.1
LONGEST_START = 60


class Refused(Exception):
    """A command is answered with an error."""


class Marionette:
    """A connection to the program that runs with the profile. It writes the port into a file there, when it is ready."""

    def __init__(self, profile):
        port_file = pathlib.Path(profile, "MarionetteActivePort")
        end = time.monotonic() + LONGEST_START
        while not (port_file.exists() and port_file.read_text()):
            if time.monotonic() > end:
                raise TimeoutError("the program does not listen")
            time.sleep(TIME_BETWEEN_LOOKS)
        self.connection = socket.create_connection(("127.0.0.1", int(port_file.read_text())))
        self.received = b""
        self.number = 0
        self._read()  # what the program says of itself
        # A window that asks for a login is left to the user of the test.
        self.call("WebDriver:NewSession", capabilities={"alwaysMatch": {"unhandledPromptBehavior": "ignore"}})

    def begin(self, command, **parameters):
        """Sends a command whose answer nobody waits for."""
        self.number += 1
        message = json.dumps([0, self.number, command, parameters]).encode()
        self.connection.sendall(str(len(message)).encode() + b":" + message)

    def call(self, command, **parameters):
        """The value that the command is answered with. Raises Refused."""
        self.begin(command, **parameters)
        _, _, error, result = self._read()
        if error is not None:
            raise Refused(f"{error['error']}: {error['message']}")
        return result.get("value")

    def run_in_browser(self, script, *arguments):
        """What a script returns that runs with the browser's own rights, or what the promise that it returns comes to."""
        self.call("Marionette:SetContext", value="chrome")
        result = self.call("WebDriver:ExecuteScript", script=script, args=arguments)
        self.call("Marionette:SetContext", value="content")
        return result

    def _read(self):
        while b":" not in self.received:
            self._receive()
        length, self.received = self.received.split(b":", 1)
        while len(self.received) < int(length):
            self._receive()
        message, self.received = self.received[: int(length)], self.received[int(length) :]
        return json.loads(message)

    def _receive(self):
        data = self.connection.recv(65536)
        if not data:
            raise ConnectionError("the program has closed the connection")
        self.received += data
