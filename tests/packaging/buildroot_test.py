#!/usr/bin/env python3
"""Buildroot's external tree, without Buildroot, which Debian does not carry.

make reads external.mk and the package's file, and the few macros of buildroot.mk stand for Buildroot's own: qstrip, and
a cmake-package that copies the sources, configures, builds and installs with the package's variables, as its manual
describes that. That shows that the file is whole and that its options build what belongs on the box, by the cross
compiler and without a network. It does not show that Buildroot's own make files and a toolchain of theirs agree."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest

import packages
import recipes

TREE = os.path.join(packages.SOURCE, "packaging", "buildroot")
MAKEFILE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "buildroot.mk")


class Buildroot(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)

    def make(self, *words, before=(), lvgl=None):
        lvgl = recipes.lvgl_tree() if lvgl is None else lvgl
        return subprocess.run(
            [*before, "make", "--no-print-directory", "--warn-undefined-variables", "-f", MAKEFILE,
             f"BR2_EXTERNAL_STATUS_DISPLAY_PATH={TREE}", f"BR2_PACKAGE_STATUS_DISPLAY_LVGL_DIR=\"{lvgl}\"",
             f"OUT={self.folder}/out", f"TOOLCHAIN={recipes.TOOLCHAIN}", f"SYSROOT={recipes.SYSROOT}", *words],
            env=recipes.environment(), stdin=subprocess.DEVNULL, capture_output=True, text=True, cwd=self.folder)

    def value(self, name):
        """Of one of the package's variables."""
        done = self.make("show-" + name)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout.strip()

    def test_the_variables(self):
        self.assertEqual(self.value("PACKAGES"), "status-display")
        self.assertEqual(self.value("STATUS_DISPLAY_VERSION"), packages.project_version())
        self.assertEqual(self.value("STATUS_DISPLAY_SITE_METHOD"), "local")
        self.assertEqual(self.value("STATUS_DISPLAY_SITE"), packages.SOURCE)
        self.assertIn("dbus", self.value("STATUS_DISPLAY_DEPENDENCIES").split())
        self.assertTrue(os.path.exists(os.path.join(packages.SOURCE, self.value("STATUS_DISPLAY_LICENSE_FILES"))))

    def test_the_choice_in_the_menu(self):
        sys.path.append("/usr/lib/python3/dist-packages")  # Debian's module, whichever Python runs this
        import kconfiglib
        with open(os.path.join(self.folder, "Config.in"), "w", encoding="ascii") as file:
            for name in ("BR2_INSTALL_LIBSTDCPP", "BR2_TOOLCHAIN_HAS_THREADS", "BR2_USE_MMU", "BR2_PACKAGE_DBUS"):
                file.write(f"config {name}\n\tbool \"{name}\"\n")
            file.write(f'source "{TREE}/Config.in"\n')
        os.environ["BR2_EXTERNAL_STATUS_DISPLAY_PATH"] = TREE
        menu = kconfiglib.Kconfig(os.path.join(self.folder, "Config.in"), warn_to_stderr=False)
        self.assertEqual(menu.warnings, [])
        ours = menu.syms["BR2_PACKAGE_STATUS_DISPLAY"]
        ours.set_value("y")
        self.assertEqual(ours.str_value, "n")  # without a C++ compiler
        for name in ("BR2_INSTALL_LIBSTDCPP", "BR2_TOOLCHAIN_HAS_THREADS", "BR2_USE_MMU"):
            menu.syms[name].set_value("y")
        self.assertEqual((ours.str_value, menu.syms["BR2_PACKAGE_DBUS"].str_value), ("y", "y"))
        folder = menu.syms["BR2_PACKAGE_STATUS_DISPLAY_LVGL_DIR"]
        folder.set_value("/lvgl")
        self.assertEqual(folder.str_value, "/lvgl")

    def test_the_licence_is_the_hashed_one(self):
        with open(os.path.join(TREE, "package", "status-display", "status-display.hash"), encoding="ascii") as file:
            lines = [line.split() for line in file if not line.startswith("#")]
        for kind, digest, name in lines:
            said = subprocess.run([kind + "sum", os.path.join(packages.SOURCE, name)], capture_output=True, text=True)
            self.assertEqual(said.stdout.split()[0], digest, name)

    def test_its_users_are_those_of_the_unit(self):
        lines = [line.split(None, 8) for line in self.make("users").stdout.splitlines() if line.strip()]
        for line in lines:
            self.assertEqual(len(line), 9, line)
        self.assertEqual([(line[0], line[2]) for line in lines],
                         [("status-display", "status-display"), ("-", "status-display-senders")])

    def test_without_lvgl_it_says_what_is_missing(self):
        done = self.make("show-PACKAGES", lvgl="")
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("BR2_PACKAGE_STATUS_DISPLAY_LVGL_DIR", done.stderr)

    def test_builds_what_belongs_on_the_box(self):
        done = self.make("status-display", before=recipes.without_network())
        self.assertEqual(done.returncode, 0, done.stdout[-3000:] + done.stderr[-3000:])
        target = os.path.join(self.folder, "out", "target")
        self.assertEqual(recipes.installed(target), recipes.expected())
        about = subprocess.run(["readelf", "-h", os.path.join(target, "usr/bin/status-display")], capture_output=True,
                               text=True, check=True).stdout
        self.assertIn("ARM", about)


if __name__ == "__main__":
    unittest.main(verbosity=2)
