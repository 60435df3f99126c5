#!/usr/bin/env python3
"""What bash completes behind displayctl: typed into an interactive bash, as people do."""

import json
import os
import pty
import re
import select
import shutil
import subprocess
import tempfile
import time
import unittest

BUILD = os.environ["BUILD"]
PATIENCE = float(os.environ.get("DESK_PATIENCE", "1"))
DISPLAYCTL = os.path.join(BUILD, "tools", "displayctl")
COMPLETION = os.path.join(BUILD, "packaging", "displayctl.bash")


class Shell:
    """bash in a terminal."""

    def __init__(self, folder):
        self.unread = ""
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.chdir(folder)
            os.execvpe("bash", ["bash", "--norc", "--noprofile", "-i"], dict(
                os.environ, PS1="prompt>", TERM="dumb", INPUTRC="/dev/null", HISTFILE="/dev/null"))

    def read_to(self, text, within=10):
        """What it writes up to `text`, which must come."""
        end = time.monotonic() + within * PATIENCE
        while text not in self.unread:
            if not select.select([self.terminal], [], [], max(0, end - time.monotonic()))[0]:
                raise AssertionError(f"{text!r} does not come, but {self.unread!r}")
            self.unread += os.read(self.terminal, 4096).decode()
        said, self.unread = self.unread.split(text, 1)
        return said

    def type(self, text):
        os.write(self.terminal, text.encode())

    def close(self):
        os.close(self.terminal)
        os.waitpid(self.process, 0)


class Completion(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        words = subprocess.run([DISPLAYCTL, "words", "--json"], capture_output=True, text=True, check=True).stdout
        cls.words = [entry["word"] for entry in json.loads(words)]

    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        self.shell = Shell(self.folder)
        self.addCleanup(self.shell.close)
        self.shell.read_to("prompt>")
        self.shell.type(f". {COMPLETION}; bind 'set completion-query-items 0' 'set page-completions off' "
                        "'set bell-style none'; displayctl() { printf 'got:'; printf '<%s>' \"$@\"; echo; }; "
                        "echo lo''aded\n")
        self.shell.read_to("loaded")
        self.shell.read_to("prompt>")

    def completed(self, line):
        """The arguments that displayctl gets of a line with a Tab behind it."""
        self.shell.type(line + "\t\n")
        self.shell.read_to("got:")
        return re.findall("<(.*?)>", self.shell.read_to("prompt>"))

    def offered(self, line):
        """What two Tabs list."""
        self.shell.type(line + "\t\t")
        self.shell.read_to("\n")
        shown = self.shell.read_to("prompt>")  # the line is shown again below the list
        self.shell.type("\x15")
        return shown.split()

    def test_the_words(self):
        self.assertEqual(set(self.offered("displayctl send ")), set(self.words))
        self.assertEqual(self.completed("displayctl send chan_b"), ["send", "chan_bt"])
        self.assertEqual(self.completed("displayctl send --wait M4_r"), ["send", "--wait", "M4_ready"])
        self.assertEqual(self.completed("displayctl send --bus unix:path=/tmp/bus Err"),
                         ["send", "--bus", "unix:path=/tmp/bus", "Error_Code"])

    def test_nothing_where_there_is_nothing_to_say(self):
        self.assertEqual(self.completed("displayctl send Error_Code chan_b"), ["send", "Error_Code", "chan_b"])
        self.assertEqual(self.completed("displayctl send --bus chan_b"), ["send", "--bus", "chan_b"])
        self.assertEqual(self.completed("displayctl bogus chan_b"), ["bogus", "chan_b"])
        self.assertEqual(self.completed("displayctl view --scale 6"), ["view", "--scale", "6"])

    def test_the_subcommands(self):
        shown = subprocess.run([DISPLAYCTL, "--help"], capture_output=True, text=True, check=True).stdout
        known = re.findall(r"^  displayctl (\S+)", shown, re.M)
        self.assertEqual(set(self.offered("displayctl ")), set(known))

    def test_the_options_are_those_of_the_help(self):
        for command in ("send", "words", "view"):
            shown = subprocess.run([DISPLAYCTL, command, "--help"], capture_output=True, text=True, check=True).stdout
            known = set(re.findall(r"^  (--[a-z]*)", shown, re.M))
            self.assertTrue(known)
            self.assertEqual(set(self.offered(f"displayctl {command} --")), known, command)

    def test_files(self):
        with open(os.path.join(self.folder, "a panel.pbm"), "w", encoding="ascii"):
            pass
        self.assertEqual(self.completed("displayctl view a"), ["view", "a panel.pbm"])
        self.assertEqual(self.completed("displayctl view --png a"), ["view", "--png", "a panel.pbm"])
        self.assertEqual(self.completed("displayctl view --size 12"), ["view", "--size", "128x66"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
