#!/usr/bin/env python3
"""The version has one home, the project's first lines in CMakeLists.txt; what tells it elsewhere tells the same."""

import os
import re
import subprocess
import unittest

import packages

BUILD = os.environ["BUILD"]


def number(version):
    return [int(part) for part in version.split(".")]


class Version(unittest.TestCase):
    def setUp(self):
        self.version = packages.project_version()

    def test_the_changelog(self):
        with open(os.path.join(packages.SOURCE, "CHANGELOG.md"), encoding="utf-8") as file:
            headings = re.findall(r"^## (.*)", file.read(), re.M)
        # What is not released is this version's; the one before is lower.
        released = headings[1:] if headings[0] == "Unreleased" else headings
        for heading in released:
            self.assertRegex(heading, r"^[0-9]+\.[0-9]+\.[0-9]+, [0-9]{4}-[0-9]{2}-[0-9]{2}$")
        if headings[0] != "Unreleased":
            self.assertEqual(headings[0].split(",")[0], self.version)
        elif released:
            self.assertLess(number(released[0].split(",")[0]), number(self.version))

    def test_displayctl(self):
        said = subprocess.run([os.path.join(BUILD, "tools", "displayctl"), "--version"], capture_output=True, text=True)
        self.assertEqual(said.stdout, f"displayctl {self.version}\n")

    def test_nobody_else_keeps_it(self):
        pattern = re.compile(r"status-display[ _-]?v?" + re.escape(self.version))
        for folder, folders, names in os.walk(packages.SOURCE):
            folders[:] = [name for name in folders if name not in ("build", ".git")]
            for name in names:
                path = os.path.join(folder, name)
                with open(path, encoding="utf-8", errors="replace") as file:
                    self.assertIsNone(pattern.search(file.read()), path)


if __name__ == "__main__":
    unittest.main(verbosity=2)
