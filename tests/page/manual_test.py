#!/usr/bin/env python3
"""docs/http.md as somebody follows it: every line is typed into a shell, and the examples do what they say."""

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from own_tree import OwnTree
from simulator import SOURCE, decode_png, golden, load_pbm

EXAMPLES = os.path.join(SOURCE, "docs", "examples")


def lines_of_the_manual():
    with open(os.path.join(SOURCE, "docs", "http.md"), encoding="utf-8") as file:
        return re.findall(r"^    ((?:curl|printf) .*)$", file.read(), re.M)


class Manual(unittest.TestCase):
    def setUp(self):
        tree = OwnTree()  # one of the lines writes into it
        self.addCleanup(tree.cleanup)
        self.simulator = tree.simulator()
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
        # Somebody has expected pictures of their own.
        shutil.copy(os.path.join(SOURCE, "simulator", "scenarios", "views", "view_bluetooth-layout.pbm"),
                    os.path.join(self.folder, "bluetooth-layout.pbm"))
        answers = {}
        for line in lines:
            result = self.run_line(line)
            if line.startswith("printf"):
                self.assertEqual(result.returncode, 0, line)
                continue
            # A stream never ends by itself.
            self.assertEqual(result.returncode, 28 if "/events" in line else 0, line + result.stderr + result.stdout)
            answers[line.split("$PAGE")[1].strip('"')] = result.stdout
            if "--data" in line:
                self.assertTrue(json.loads(result.stdout)["ok"], line + result.stdout)
        self.assertIn('"supply":"11.8"', answers["/api/state"])
        self.assertIn('"AUTOCHECK..."', answers["/api/texts"])
        self.assertIn("event: picture-layout\n", answers["/events"])
        self.assertIn("\nsend M4_ready\n", answers["/api/scenario"])
        for name in ("panel.png", "down.png", "expected.png"):
            with open(os.path.join(self.folder, name), "rb") as file:
                rows = decode_png(file.read())
            self.assertEqual((len(rows[0]), len(rows)), (128 * 4, 66 * 4))
        self.assertEqual(json.loads(answers["/api/player"])["name"], "power_fails")
        self.assertEqual(load_pbm(os.path.join(self.folder, "down-layout.pbm")), golden("layout", "power_fails/down"))
        self.assertIn("\nsend chan_bt\n", answers["/api/copy?as=scenario"])
        self.assertIn(" string:chan_bt\n", answers["/api/copy?as=dbus-send&what=last&for=box"])

    def test_every_address_is_named(self):
        served = set()
        for name in ("page.cpp", "scenario_routes.cpp"):
            with open(os.path.join(SOURCE, "simulator", "page", name), encoding="utf-8") as file:
                served |= set(re.findall(r'"(/(?:api/)?[a-z./]+)["(]', file.read().replace("\\", "")))
        named = {re.sub(r"[?].*", "", line.split("$PAGE")[1].strip('"')) for line in lines_of_the_manual()
                 if "$PAGE" in line}
        named = {re.sub("^(/api/scenarios/).*", r"\1", path) for path in named}
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
