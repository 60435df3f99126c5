#!/usr/bin/env python3
"""What cmake/package.cmake hardens with is what Debian's dpkg-buildflags does with all its hardening."""

import os
import re
import subprocess
import unittest

import packages


class Hardening(unittest.TestCase):
    def test_the_flags_are_debians(self):
        with open(os.path.join(packages.SOURCE, "cmake", "package.cmake"), encoding="utf-8") as file:
            ours = set(re.sub(r"(?m)^#.*", "", file.read()).replace("(", " ").replace(")", " ").split())
        ours = {re.sub("^_FORTIFY", "-D_FORTIFY", word) for word in ours}
        said = subprocess.run(["dpkg-buildflags", "--export=cmdline"], capture_output=True, text=True, check=True, env={
            "PATH": os.environ["PATH"], "DEB_BUILD_MAINT_OPTIONS": "hardening=+all reproducible=+all"}).stdout
        flags = dict(re.findall(r'(\w+)="([^"]*)"', said))
        for name in ("CFLAGS", "CXXFLAGS", "CPPFLAGS", "LDFLAGS"):
            for flag in flags[name].split():
                # The optimisation is a release's own; the map has our paths.
                if flag in ("-g", "-O2") or flag.startswith(("-ffile-prefix-map", "-fdebug-prefix-map")):
                    continue
                self.assertIn(flag, ours, name)


if __name__ == "__main__":
    unittest.main(verbosity=2)
