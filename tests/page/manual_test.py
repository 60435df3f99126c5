#!/usr/bin/env python3
"""docs/http.md as somebody follows it: every line is typed into a shell, and the examples do what they say."""

import os
import re
import subprocess
import sys
import tempfile
import unittest

from simulator import SOURCE, Simulator, decode_png, golden

EXAMPLES = os.path.join(SOURCE, "docs", "examples")


def lines_of_the_manual():
    with open(os.path.join(SOURCE, "docs", "http.md"), encoding="utf-8") as file:
        return re.findall(r"^    (curl .*)$", file.read(), re.M)


class Manual(unittest.TestCase):
    def setUp(self):
        self.simulator = Simulator()
        self.addCleanup(self.simulator.close)
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def run_line(self, line):
        environment = {**os.environ, "PAGE": self.simulator.address.rstrip("/")}
        return subprocess.run(["sh", "-c", line], cwd=self.folder, env=environment, capture_output=True, text=True,
                              timeout=120)

    def test_every_line(self):
        lines = lines_of_the_manual()
        self.assertGreater(len(lines), 12)
        answers = {}
        for line in lines:
            result = self.run_line(line)
            # A stream never ends by itself.
            self.assertEqual(result.returncode, 28 if "/events" in line else 0, line + result.stderr + result.stdout)
            answers[line.split("$PAGE")[1].strip('"')] = result.stdout
            if "--data" in line:
                self.assertTrue(result.stdout.startswith('{"ok":true'), line + result.stdout)
        self.assertIn('"supply":"11.8"', answers["/api/state"])
        self.assertIn('"AUTOCHECK..."', answers["/api/texts"])
        self.assertIn("event: picture-layout\n", answers["/events"])
        self.assertIn("\nsend M4_ready\n", answers["/api/scenario"])
        with open(os.path.join(self.folder, "panel.png"), "rb") as file:
            rows = decode_png(file.read())
        self.assertEqual((len(rows[0]), len(rows)), (128 * 4, 66 * 4))

    def test_every_address_is_named(self):
        with open(os.path.join(SOURCE, "simulator", "page", "page.cpp"), encoding="utf-8") as file:
            served = set(re.findall(r'"(/(?:api/)?[a-z./]+)"', file.read().replace("\\", "")))
        named = {re.sub(r"[?].*", "", line.split("$PAGE")[1].strip('"')) for line in lines_of_the_manual()}
        self.assertEqual({path for path in served if path.startswith(("/api", "/events"))}, named)

    def check_example(self, *command):
        self.simulator.speed(0)
        address = self.simulator.address
        done = subprocess.run([*command, address, "start", "send chan_bt", "wait 2s"], capture_output=True, text=True,
                              timeout=120)
        self.assertEqual(done.returncode, 0, done.stderr)
        shown = decode_png(self.simulator.request("/api/picture.png?view=device")[2])
        self.assertEqual(shown[:13], golden("device", "views/view_bluetooth")[:13])
        wrong = subprocess.run([*command, address, "send chan_bt", "jump"], capture_output=True, text=True, timeout=120)
        self.assertEqual(wrong.returncode, 1)

    def test_the_example_in_python(self):
        self.check_example(sys.executable, os.path.join(EXAMPLES, "display.py"))

        sys.path.insert(0, EXAMPLES)
        from display import Display
        display = Display(self.simulator.address)
        display.do("start", "send chan_bt", "send M4_ready", "wait 2s")
        self.assertEqual(display.texts("layout")[0], "BLUETOOTH")
        self.assertEqual(display.texts("layout")[-1], "READY")
        self.assertEqual(display.texts()[0], "BLUE")

    def test_the_example_in_shell(self):
        self.check_example(os.path.join(EXAMPLES, "display.sh"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
