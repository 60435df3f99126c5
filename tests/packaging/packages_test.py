#!/usr/bin/env python3
"""What is in the packages: every file with its mode, the version, the dependencies, and how the programs were built.

NAME.files beside this is the list; `packages_test.py --update` writes it anew from what ./package has built. Of the
simulator's scenarios it names the folder alone: what lies in that of the sources is what must be in the package."""

import gzip
import os
import re
import shutil
import stat
import subprocess
import sys
import tempfile
import unittest

import packages

HERE = os.path.dirname(os.path.abspath(__file__))
SCENARIOS = "usr/share/status-display-simulator/scenarios"
MACHINES = {"amd64": "Advanced Micro Devices X86-64", "armhf": "ARM"}


def unpacked(package, root):
    subprocess.run(["dpkg-deb", "-x", package, root], check=True)


def listing(root):
    """A line for each file: mode, path, and where a link leads."""
    lines = []
    for folder, folders, names in os.walk(root):
        for name in folders + names:
            path = os.path.join(folder, name)
            inside = os.path.relpath(path, root)
            if inside.startswith(SCENARIOS + "/"):
                continue
            about = os.lstat(path)
            link = " -> " + os.readlink(path) if stat.S_ISLNK(about.st_mode) else ""
            lines.append(f"{stat.filemode(about.st_mode)} {inside}{link}")
    return sorted(lines, key=lambda line: line.split()[1])


def tool(name, *words):
    return subprocess.run([name, *words], capture_output=True, text=True, check=True,
                          env=dict(os.environ, LC_ALL="C")).stdout


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.version = packages.project_version()
        cls.folder = tempfile.mkdtemp()
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.all = []
        for name, kind in packages.NAMES:
            package, root = packages.path_of(name, kind), os.path.join(cls.folder, f"{name}_{kind}")
            unpacked(package, root)
            cls.all.append((name, kind, package, root))

    def programs(self, root):
        for folder in ("usr/bin", "usr/libexec/status-display-simulator"):
            if os.path.isdir(os.path.join(root, folder)):
                for name in sorted(os.listdir(os.path.join(root, folder))):
                    yield os.path.join(root, folder, name)

    def test_exactly_these_files(self):
        for name, _, package, root in self.all:
            with open(os.path.join(HERE, name + ".files"), encoding="utf-8") as file:
                self.assertEqual(listing(root), file.read().splitlines(), package)

    def test_all_scenarios_and_their_pictures(self):
        root = self.all[-1][3]
        compared = subprocess.run(["diff", "-r", os.path.join(packages.SOURCE, "simulator", "scenarios"),
                                   os.path.join(root, SCENARIOS)], capture_output=True, text=True)
        self.assertEqual(compared.stdout, "")
        for folder, _, names in os.walk(os.path.join(root, SCENARIOS)):
            self.assertEqual(os.stat(folder).st_mode & 0o777, 0o755)
            self.assertEqual({os.stat(os.path.join(folder, name)).st_mode & 0o777 for name in names} - {0o644}, set())

    def test_all_belongs_to_root(self):
        for _, _, package, _ in self.all:
            owners = {line.split()[1] for line in tool("dpkg-deb", "-c", package).splitlines()}
            self.assertEqual(owners, {"root/root"})

    def test_control(self):
        for name, kind, package, _ in self.all:
            self.assertEqual(packages.field(package, "Package"), name)
            self.assertEqual(packages.field(package, "Architecture"), kind)
            self.assertEqual(packages.field(package, "Version"), self.version)
            with tempfile.TemporaryDirectory() as folder:
                subprocess.run(["dpkg-deb", "-e", package, folder], check=True)
                expected = {"control", "md5sums"}
                if name == "status-display":
                    expected |= {"postinst", "prerm", "postrm"}
                self.assertEqual(set(os.listdir(folder)), expected)
                for script in expected - {"control", "md5sums"}:
                    self.assertEqual(os.stat(os.path.join(folder, script)).st_mode & 0o777, 0o755)

    def test_the_libraries_come_by_dependencies(self):
        owners = {"libc.so.6": "libc6", "libm.so.6": "libc6", "libdbus-1.so.3": "libdbus-1-3",
                  "ld-linux-armhf.so.3": "libc6", "ld-linux-x86-64.so.2": "libc6", "libgcc_s.so.1": "libgcc-s1",
                  "libstdc++.so.6": "libstdc++6", "libz.so.1": "zlib1g", "libcpp-httplib.so.0.11": "libcpp-httplib0.11"}
        for _, _, package, root in self.all:
            depends = {word.split()[0] for word in re.split("[,|] *", packages.field(package, "Depends"))}
            for program in self.programs(root):
                for library in re.findall(r"\(NEEDED\) .*\[(.*)\]", tool("readelf", "-d", program)):
                    self.assertIn(owners[library], depends, program)

    def test_programs_are_hardened(self):
        for _, kind, _, root in self.all:
            for program in self.programs(root):
                about = tool("readelf", "-hldW", "--dyn-syms", program)
                self.assertIn(f"Machine:                           {MACHINES[kind]}\n", about, program)
                self.assertRegex(about, r"Type: +DYN ", program)
                if not program.endswith(".so"):
                    self.assertRegex(about, r"FLAGS_1\).*\bPIE\b", program)
                    self.assertRegex(about, r"__[a-z]+_chk@", program + " is not fortified")
                self.assertIn("GNU_RELRO", about, program)
                self.assertRegex(about, r"\(FLAGS(_1)?\).*NOW", program)
                self.assertRegex(about, r"GNU_STACK .* RW ", program)
                self.assertIn("__stack_chk_fail", about, program)

    def test_programs_name_no_folder_of_this_machine(self):
        places = (packages.SOURCE.encode(), os.path.expanduser("~").encode() + b"/")
        for _, _, _, root in self.all:
            for program in self.programs(root):
                with open(program, "rb") as file:
                    content = file.read()
                for place in places:
                    self.assertFalse(place in content, f"{program} names {place}")
                self.assertNotIn(".symtab", tool("readelf", "-SW", program))

    def test_the_changelog(self):
        for name, _, _, root in self.all:
            path = os.path.join(root, "usr/share/doc", name, "changelog.gz")
            with gzip.open(path, "rt", encoding="utf-8") as file:
                self.assertTrue(file.readline().startswith(f"{name} ({self.version}) "))
            said = subprocess.run(["dpkg-parsechangelog", "-l", "-"], input=gzip.open(path).read(),
                                  capture_output=True)
            self.assertEqual((said.returncode, said.stderr), (0, b""))

    def test_the_manual_pages(self):
        for _, _, _, root in self.all:
            for folder, _, names in os.walk(os.path.join(root, "usr/share/man")):
                for name in names:
                    with gzip.open(os.path.join(folder, name), "rt", encoding="utf-8") as file:
                        title = next(line for line in file if line.startswith((".TH ", ".Dd ", ".Os ")))
                    self.assertIn(f"status-display {self.version}", title, name)

    def test_times_do_not_tell_when_it_was_built(self):
        for _, _, package, _ in self.all:
            times = {tuple(line.split()[3:5]) for line in tool("dpkg-deb", "-c", package).splitlines()}
            self.assertEqual(len(times), 1, times)


def update():
    for name, kind in packages.NAMES:
        with tempfile.TemporaryDirectory() as root:
            unpacked(packages.path_of(name, kind), root)
            with open(os.path.join(HERE, name + ".files"), "w", encoding="utf-8") as file:
                file.write("\n".join(listing(root)) + "\n")


if __name__ == "__main__":
    if sys.argv[1:] == ["--update"]:
        update()
        sys.exit()
    unittest.main(verbosity=2)
