#!/usr/bin/env python3
"""The same sources give the same packages: once more in another folder, under another umask, time zone and locale,
without a compiler cache, and compared byte by byte with what ./package has built here."""

import hashlib
import os
import shutil
import subprocess
import sys
import tarfile
import tempfile
import unittest

import packages


def built_at(package):
    """The time that its files bear, in seconds."""
    with subprocess.Popen(["dpkg-deb", "--fsys-tarfile", package], stdout=subprocess.PIPE) as tar:
        with tarfile.open(fileobj=tar.stdout, mode="r|") as files:
            when = next(iter(files)).mtime
        tar.stdout.read()
    return int(when)


def sums(folder):
    found = {}
    for name in sorted(os.listdir(folder)):
        with open(os.path.join(folder, name), "rb") as file:
            found[name] = hashlib.sha256(file.read()).hexdigest()
    return found


class Reproducible(unittest.TestCase):
    def test_another_folder_gives_the_same_bytes(self):
        folder = tempfile.mkdtemp(prefix="reproducible-")
        self.addCleanup(shutil.rmtree, folder)
        copy = os.path.join(folder, "elsewhere", "and-deeper")
        shutil.copytree(packages.SOURCE, copy, symlinks=True,
                        ignore=lambda path, names: {"build", ".git", "__pycache__"} & set(names))
        # The libraries for the box are fetched, not built.
        os.mkdir(os.path.join(copy, "build"))
        shutil.copytree(os.path.join(packages.SOURCE, "build", "armhf-sysroot"),
                        os.path.join(copy, "build", "armhf-sysroot"), symlinks=True)
        here = packages.FOLDER
        environment = {name: value for name, value in os.environ.items() if not name.startswith("CMAKE_")}
        environment.update(SOURCE_DATE_EPOCH=str(built_at(packages.path_of(*packages.NAMES[0]))), CCACHE_DISABLE="1",
                           TZ="Pacific/Auckland", LC_ALL="C", CFLAGS="", CXXFLAGS="")
        done = subprocess.run(["sh", "-c", "umask 077; exec ./package"], cwd=copy, env=environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.assertEqual(done.returncode, 0, done.stdout[-4000:])
        again = sums(os.path.join(copy, "build", "packages"))
        self.assertEqual(again, sums(here))
        for name, digest in again.items():
            print(f"{digest}  {name}", file=sys.stderr)


if __name__ == "__main__":
    unittest.main(verbosity=2)
