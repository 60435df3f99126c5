#!/usr/bin/env python3
"""The unit as it is installed: systemd finds nothing to say about it, and it is as confined as it can be."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest

BUILD = os.environ["BUILD"]
MOST_EXPOSED = 1.5  # on systemd's scale from 0 to 10


@unittest.skipUnless(shutil.which("systemd-analyze"), "systemd is not installed")
class Unit(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.root = tempfile.mkdtemp()
        cls.addClassCleanup(shutil.rmtree, cls.root)
        subprocess.run(["cmake", "--install", BUILD, "--component", "daemon", "--prefix", f"{cls.root}/usr"],
                       check=True, stdout=subprocess.DEVNULL)
        # The targets and sockets that it names.
        for folder in ("lib/systemd/system", "usr/lib/systemd/system"):
            if os.path.isdir(f"/{folder}") and not os.path.islink("/lib"):
                shutil.copytree(f"/{folder}", f"{cls.root}/{folder}", symlinks=True, dirs_exist_ok=True)
        if os.path.islink("/lib"):
            os.symlink("usr/lib", f"{cls.root}/lib")
            shutil.copytree("/usr/lib/systemd/system", f"{cls.root}/usr/lib/systemd/system", symlinks=True,
                            dirs_exist_ok=True)

    def test_verifies_in_silence(self):
        said = subprocess.run(
            ["systemd-analyze", "verify", "--man=no", f"--root={self.root}", "status-display.service"],
            capture_output=True, text=True)
        own = [line for line in (said.stdout + said.stderr).splitlines() if "status-display" in line]
        self.assertEqual(own, [])

    def test_exposure(self):
        unit = f"{self.root}/usr/lib/systemd/system/status-display.service"
        said = subprocess.run(["systemd-analyze", "security", "--offline=yes", "--no-pager", unit],
                              capture_output=True, text=True)
        found = re.search(r"Overall exposure level for \S+: ([0-9.]+)", said.stdout)
        self.assertTrue(found, said.stdout + said.stderr)
        self.assertLessEqual(float(found[1]), MOST_EXPOSED, said.stdout)

    def test_what_the_daemon_needs_is_left_to_it(self):
        with open(f"{self.root}/usr/lib/systemd/system/status-display.service", encoding="utf-8") as file:
            unit = file.read()
        for setting in ("DeviceAllow=/dev/fb0 rw", "PrivateTmp=no", "RestrictAddressFamilies=AF_UNIX AF_NETLINK",
                        "Restart=always", "StartLimitIntervalSec=0", "BindsTo=dbus.service", "User=status-display"):
            self.assertIn(f"\n{setting}\n", unit)
        # sysfs is read, and tools are run by a shell: these would take both away.
        for setting in ("ProcSubset=pid", "NoExecPaths=", "InaccessiblePaths=/sys"):
            self.assertNotIn(setting, unit)


if __name__ == "__main__":
    unittest.main(verbosity=2)
