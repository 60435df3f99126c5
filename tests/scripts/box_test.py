#!/usr/bin/env python3
"""The preset for the box builds the daemon and displayctl, and nothing that only a desk or a test needs."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


class Box(unittest.TestCase):
    def test_two_programs(self):
        build = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, build)
        configured = subprocess.run(["cmake", "--preset", "box", "-B", build], cwd=SOURCE, capture_output=True,
                                    text=True, timeout=200)
        self.assertEqual(configured.returncode, 0, configured.stderr)
        targets = subprocess.run(["ninja", "-C", build, "-t", "targets", "all"], capture_output=True, text=True,
                                 check=True).stdout
        programs = re.findall(r"^(\S+): C(?:XX)?_EXECUTABLE_LINKER", targets, re.M)
        self.assertEqual(sorted(programs), ["status-display", "tools/displayctl"])
        steps = subprocess.run(["ninja", "-C", build, "-n"], capture_output=True, text=True, check=True).stdout
        self.assertNotIn("layout", steps)
        self.assertNotIn("simulator/", steps)
        self.assertNotIn("tests/", steps)


if __name__ == "__main__":
    unittest.main(verbosity=2)
