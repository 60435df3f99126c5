#!/usr/bin/env python3
"""The temporary folders of the page's tests: those of the dead are removed, all others stay."""

import os
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

PAGE = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "page")
sys.path.insert(0, PAGE)

from own_folder import OwnFolder  # noqa: E402

OWNER = """
import sys, time
sys.path.insert(0, sys.argv[1])
from own_folder import OwnFolder
print(OwnFolder("page-test-", sys.argv[2]).name, flush=True)
time.sleep(60)
"""


class Folders(unittest.TestCase):
    def setUp(self):
        self.place = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.place, ignore_errors=True)

    def make(self, *path):
        os.makedirs(os.path.join(self.place, *path[:-1]), exist_ok=True)
        with open(os.path.join(self.place, *path), "w", encoding="ascii"):
            pass
        return os.path.join(self.place, path[0])

    def sweep(self):
        OwnFolder("page-test-", self.place).cleanup()

    def test_it_goes_with_its_owner(self):
        folder = OwnFolder("page-test-", self.place)
        self.make(os.path.basename(folder.name), "profile", "file")
        folder.cleanup()
        self.assertEqual(os.listdir(self.place), [])

    def test_of_a_killed_and_of_a_living_owner(self):
        owners = []
        for _ in range(2):
            owner = subprocess.Popen([sys.executable, "-B", "-c", OWNER, PAGE, self.place], stdout=subprocess.PIPE,
                                     text=True)
            self.addCleanup(owner.stdout.close)
            self.addCleanup(owner.wait)
            self.addCleanup(owner.kill)
            owners.append((owner, owner.stdout.readline().strip()))
        (dead, left), (_, kept) = owners
        dead.send_signal(signal.SIGKILL)
        dead.wait()
        self.make(os.path.basename(left), "profile", "file")
        self.assertTrue(os.path.isdir(left))
        self.sweep()
        self.assertFalse(os.path.exists(left))
        self.assertTrue(os.path.isdir(kept))

    def test_other_folders_and_links(self):
        target = self.make("target", ".lock")
        self.make("target", "file")
        kept = [self.make("page-test-short", ".lock"), self.make("page-test-toolong12", ".lock"),
                self.make("other-abcdefgh", ".lock"), self.make("page-test-nolock_1", "file")]
        os.symlink(target, os.path.join(self.place, "page-test-linked_1"))
        lock_linked = self.make("page-test-locklink", "file")
        os.symlink(os.path.join(target, ".lock"), os.path.join(lock_linked, ".lock"))
        dead = self.make("page-test-deadone1", ".lock")
        os.symlink(target, os.path.join(dead, "link"))
        self.sweep()
        for path in (*kept, lock_linked, os.path.join(target, "file"), os.path.join(self.place, "page-test-linked_1")):
            self.assertTrue(os.path.exists(path), path)
        self.assertFalse(os.path.exists(dead))

    @unittest.skipUnless(os.geteuid() == 0, "only root can make a folder of another user")
    def test_of_another_user(self):
        other = self.make("page-test-others_1", ".lock")
        os.chown(other, 65534, 65534)
        self.sweep()
        self.assertTrue(os.path.exists(other))


if __name__ == "__main__":
    unittest.main(verbosity=2)
