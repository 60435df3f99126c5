#!/usr/bin/env python3
"""What cmake --install brings is all that the simulator needs: it runs from there, wherever the sources are."""

import os
import shutil
import subprocess
import tempfile
import unittest

BUILD = os.environ["BUILD"]


class Install(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp()
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.prefix = os.path.join(cls.folder, "usr")
        subprocess.run(["cmake", "--install", BUILD, "--prefix", cls.prefix], check=True, stdout=subprocess.DEVNULL)
        cls.share = os.path.join(cls.prefix, "share", "status-display-simulator")

    def start(self, *words):
        program = os.path.join(self.prefix, "bin", "display-sim")
        return subprocess.run([program, *words], cwd=self.folder, capture_output=True, text=True, timeout=200)

    def test_what_is_installed(self):
        found = {os.path.relpath(os.path.join(folder, name), self.prefix)
                 for folder, _, names in os.walk(self.prefix) for name in names}
        pictures = {path for path in found if path.endswith(".pbm")}
        self.assertGreater(len(pictures), 100)
        scenarios = {path for path in found if path.endswith(".scenario")}
        self.assertGreater(len(scenarios), 10)
        examples = {f"share/status-display-simulator/examples/{name}" for name in (
            "gateway.py", "gateway.sh", "gateway.scenario", "display.py", "display.sh")}
        self.assertEqual(found - pictures - scenarios | examples, examples | {
            "bin/status-display", "bin/displayctl", "bin/display-sim", "share/man/man1/displayctl.1",
            "share/bash-completion/completions/displayctl",
            "share/man/man1/display-sim.1", "libexec/status-display-simulator/status-display",
            "libexec/status-display-simulator/status-display-layout",
            "libexec/status-display-simulator/libdesk_shim.so", "share/dbus-1/system.d/zor.signal.sink.conf",
            "share/dbus-1/interfaces/zor.signal.Type.xml", "lib/systemd/system/status-display.service",
            "lib/sysusers.d/status-display.conf", "lib/udev/rules.d/60-status-display.rules",
            "share/doc/status-display/examples/fewer-wake-ups.conf"})

    def test_no_program_names_the_sources(self):
        source = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))).encode()
        for name in ("bin/status-display", "bin/displayctl", "bin/display-sim"):
            with open(os.path.join(self.prefix, name), "rb") as file:
                self.assertFalse(source in file.read(), name)  # which would print all of it

    def test_the_demo(self):
        shown = self.start("--demo")
        self.assertEqual(shown.returncode, 0, shown.stderr)
        self.assertIn("12. ", shown.stdout)
        self.assertIn(f'export PATH="{self.prefix}/bin:$PATH"', shown.stdout)

    def test_scenarios_and_the_example(self):
        played = self.start("play", os.path.join(self.share, "scenarios", "power_fails.scenario"), "--out", "played")
        self.assertEqual(played.returncode, 0, played.stderr)
        examples = os.path.join(self.share, "examples")
        done = self.start("exec", "--scenario", os.path.join(examples, "gateway.scenario"), "--out", "done", "--",
                          os.path.join(examples, "gateway.sh"))
        self.assertEqual(done.returncode, 0, done.stderr + done.stdout)

    def test_the_gallery(self):
        drawn = self.start("gallery", "--out", "drawn")
        self.assertEqual(drawn.returncode, 0, drawn.stderr)
        self.assertTrue(os.path.exists(os.path.join(self.folder, "drawn", "README.md")))


if __name__ == "__main__":
    unittest.main(verbosity=2)
