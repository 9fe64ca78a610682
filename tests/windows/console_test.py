#!/usr/bin/env python3
"""Programs at a console. Without a keyboard program the card asks there; what is typed does not show, and the console has
its echo back when the program that asks is interrupted.

Arguments: what runs Windows' programs, and the folder with them. The console is a pseudo-terminal.
"""
import os
import pty
import re
import select
import subprocess
import sys
import tempfile
import time

LONGEST = 60.0  # seconds
RIGHT_CODE = "123456"
WRONG_CODE = "987650"


def without_movements(text):
    """What a person sees of a terminal's output, without blanks, which Wine draws as movements."""
    return re.sub(rb"\x1b\[[?0-9;]*[a-zA-Z]", b"", text).replace(b" ", b"").decode()


def run_at_console(command, folder, environment, keys, prompt="BOK:"):
    """Presses the keys when the prompt stands there; returns the bytes that were shown and the exit code."""
    child, terminal = pty.fork()
    if child == 0:
        os.chdir(folder)
        os.execvpe(command[0], command, environment)
    shown = b""
    typed = False
    end = time.monotonic() + LONGEST
    while time.monotonic() < end:
        if select.select([terminal], [], [], 0.3)[0]:
            try:
                shown += os.read(terminal, 4096)
            except OSError:  # the other end is closed
                break
        elif not typed and without_movements(shown).rstrip().endswith(prompt):
            os.write(terminal, keys.encode())
            typed = True
    else:
        os.kill(child, 9)
    status = os.waitpid(child, 0)[1]
    return shown, os.waitstatus_to_exitcode(status)


def demand(holds, what, shown):
    if not holds:
        sys.exit(f"console_test: {what}:\n{shown}")


def main():
    run, programs = sys.argv[1:]
    with tempfile.TemporaryDirectory() as home:
        environment = dict(os.environ, TERM="xterm", TAVRIK_HOME="Z:" + home.replace("/", "\\"))
        environment.pop("TAVRIK_PINENTRY", None)
        card_tool = [run, f"{programs}/tavrik-card.exe"]
        subprocess.run(card_tool + ["new", "anna", "--bok", RIGHT_CODE, "--puk", "1"], env=environment, check=True)
        subprocess.run(card_tool + ["insert", "anna"], env=environment, check=True)
        host = [run, "c_host.exe", "pkcs11_x64.dll", "", "finalize"]  # a code of no length has the card ask

        shown, status = run_at_console(host, programs, environment, RIGHT_CODE + "\r")
        shown = without_movements(shown)
        demand("logincode(BOK)ofthecard\"anna\"" in shown, "the card did not ask", shown)
        demand(status == 0 and "done" in shown, "the host did not sign", shown)
        demand(RIGHT_CODE not in shown, "the code was shown", shown)

        shown, status = run_at_console(host, programs, environment, WRONG_CODE + "\r")
        shown = without_movements(shown)
        demand(status == 1 and "0xa0:C_Login" in shown, "a wrong code was not refused", shown)
        demand(WRONG_CODE not in shown, "the wrong code was shown", shown)

        # What asks is interrupted, and gives the console its echo back.
        set_code = ["tavrik-card.exe", "set-code", "anna", "bok"]
        for interruption, keys, asking in [("typed", "\x03", set_code), ("sent", "", set_code), ("sent", "", host[1:])]:
            interrupter = [run, "console_interrupter.exe", interruption] + [word or '""' for word in asking]
            shown, status = run_at_console(interrupter, programs, environment, keys, prompt=":")
            demand(status == 0, f"interrupted ({interruption}), {asking[0]} leaves no echo: {status}", shown)

        with open(f"{home}/Pkcs11.log", "w", encoding="utf-8", newline="") as log:
            log.write(" ERR; Thu Nov 12 12:10:02 2026; m; wr\u00f6ng\r\n")
        follow = [run, f"{programs}/tavrik-log.exe", "--follow", environment["TAVRIK_HOME"]]
        shown, status = run_at_console(follow, programs, environment, "\x03", prompt="wr\u00f6ng")
        demand(b"\x1b[31m" in shown, "tavrik-log has no colours", shown)
        demand("wr\u00f6ng".encode() in shown, "tavrik-log writes no UTF-8", shown)
        demand(status == 0, f"Ctrl+C is a failure to tavrik-log: {status}", shown)


main()
