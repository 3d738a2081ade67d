#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""terminal_test.py FOLDER: how varnel behaves on a terminal, where it asks, colours and redraws; and in a pipe."""
import fcntl
import os
import pty
import signal
import struct
import subprocess
import sys
import termios
import unittest

VARNEL = os.path.join(sys.argv.pop(), "varnel")


class Terminal:
    """A program on a terminal of 24 lines of 60 columns."""

    def __init__(self, *words, **variables):
        self.process, self.descriptor = pty.fork()
        if self.process == 0:
            environment = {**os.environ, "TERM": "xterm", **variables}
            fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 60, 0, 0))
            os.execve(VARNEL, ["varnel", *words], environment)
        self.text = ""

    def read(self):
        try:
            some = os.read(self.descriptor, 4096).decode()
        except OSError:  # the program has closed its end
            return False
        self.text += some
        return some != ""

    def read_until(self, text):
        while text not in self.text:
            if not self.read():
                raise AssertionError(f"no {text!r} in {self.text!r}")

    def type(self, text):
        os.write(self.descriptor, text.encode())

    def finish(self):
        while self.read():
            pass
        os.close(self.descriptor)
        return os.waitstatus_to_exitcode(os.waitpid(self.process, 0)[1])


class Confirmation(unittest.TestCase):
    def asked(self, answer):
        terminal = Terminal("psu", "output", "1:0x58", "off")
        terminal.read_until("1:0x58: output off: what this supply feeds loses power\r\nGo on? [y/N] ")
        terminal.type(answer)
        return terminal.finish(), terminal.text

    def output_state(self):
        terminal = Terminal("psu", "get", "1:0x58", "output")
        self.assertEqual(terminal.finish(), 0)
        return terminal.text

    def test_no_is_no(self):
        for answer in "n\n", "\n", "yesterday\n", "\x04":
            status, text = self.asked(answer)
            self.assertEqual(status, 3, answer)
            self.assertIn("varnel: not confirmed: nothing was written\r\n", text)
        self.assertEqual(self.output_state(), "12.00 V\r\n")

    def test_yes_is_yes(self):
        status, _ = self.asked("y\n")
        self.assertEqual(status, 0)
        self.assertEqual(self.output_state(), "0.00 V\r\n")
        self.assertEqual(Terminal("psu", "output", "1:0x58", "on").finish(), 0)


class Colour(unittest.TestCase):
    def status(self, **variables):
        terminal = Terminal("psu", "status", "1:0x58", **variables)
        self.assertEqual(terminal.finish(), 0)
        return terminal.text

    def test_on_terminals(self):
        self.assertIn("0x0000  \x1b[32mok\x1b[0m\r\n", self.status())

    def test_not_when_unwelcome(self):
        self.assertNotIn("\x1b", self.status(NO_COLOR="1"))
        self.assertNotIn("\x1b", self.status(TERM="dumb"))


class Pipe(unittest.TestCase):
    def into_a_closed_pipe(self, **how):
        read_end, write_end = os.pipe()
        os.close(read_end)
        words = [VARNEL, "gpio", "list", "0:0x20"]
        result = subprocess.run(words, stdout=write_end, stderr=subprocess.PIPE, check=False, **how)
        os.close(write_end)
        return result.returncode, result.stderr

    def test_a_reader_that_went_away_needs_no_message(self):
        self.assertEqual(self.into_a_closed_pipe(), (-signal.SIGPIPE, b""))

    def test_nor_does_one_when_the_signal_is_ignored(self):
        self.assertEqual(self.into_a_closed_pipe(restore_signals=False), (1, b""))


class Watch(unittest.TestCase):
    def test_redraws_in_place(self):
        terminal = Terminal("psu", "get", "1:0x58", "input", "--watch", "1ms", "--count", "3")
        self.assertEqual(terminal.finish(), 0)
        first = "\x1b[?7l230.0 V\x1b[K\r\n\x1b[J\x1b[?7h"
        again = "\x1b[?7l\x1b[1A\r230.0 V\x1b[K\r\n\x1b[J\x1b[?7h"
        self.assertEqual(terminal.text, first + 2 * again)

    def test_draws_no_more_than_the_terminal_has(self):
        terminal = Terminal("gpio", "list", "0:0x24", "--chip", "pca9505", "--watch", "1ms", "--count", "2")
        self.assertEqual(terminal.finish(), 0)
        self.assertIn("\x1b[23A\r", terminal.text)
        self.assertIn("\r\n2.5  ", terminal.text.replace("\x1b[K", ""))
        self.assertNotIn("\r\n2.6  ", terminal.text)

    def test_shows_trouble_and_goes_on(self):
        terminal = Terminal("psu", "get", "1:0x59", "input", "--watch", "1ms", "--count", "2")
        self.assertEqual(terminal.finish(), 0)
        trouble = "\x1b[31m1:0x59: input: no acknowledge (No such device or address)\x1b[0m"
        self.assertEqual(terminal.text.count(trouble), 2)

    def test_ends_with_an_interrupt(self):
        terminal = Terminal("psu", "get", "1:0x58", "input", "--watch", "1440m")
        terminal.read_until("\x1b[?7h")
        terminal.type("\x03")
        self.assertEqual(terminal.finish(), 0)

    def test_ends_with_sigterm(self):
        terminal = Terminal("psu", "get", "1:0x58", "input", "--watch", "1440m")
        terminal.read_until("\x1b[?7h")
        os.kill(terminal.process, signal.SIGTERM)
        self.assertEqual(terminal.finish(), 0)


if __name__ == "__main__":
    unittest.main()
