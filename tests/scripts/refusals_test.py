#!/usr/bin/env python3
"""What can't be done is refused at once and in one sentence, before a package is installed or anything is built."""

import os
import shutil
import subprocess
import tempfile
import unittest

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# Whoever calls one of these has begun to install or to build.
TELLTALES = ("apt-get", "sudo", "cmake", "ninja", "cargo", "ctest")


class Refusals(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        os.chmod(self.folder, 0o755)
        self.calls = os.path.join(self.folder, "calls")
        programs = os.path.join(self.folder, "programs")
        os.mkdir(programs)
        for name in TELLTALES:
            path = os.path.join(programs, name)
            with open(path, "w", encoding="ascii") as file:
                file.write(f"#!/bin/sh\necho {name} >>{self.calls}\nexit 1\n")
            os.chmod(path, 0o755)
        self.environment = dict(os.environ, PATH=programs + ":/usr/bin:/bin")

    def start(self, *words, folder=SOURCE, before=()):
        words = [*before, os.path.join(folder, words[0]), *words[1:]]
        return subprocess.run(words, env=self.environment, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              timeout=60)

    def assert_refused(self, result, *parts):
        self.assertNotEqual(result.returncode, 0, result.args)
        self.assertEqual(len(result.stderr.splitlines()), 1, f"{result.args}: {result.stderr!r}")
        for part in parts:
            self.assertIn(part, result.stderr, result.args)
        self.assertEqual(result.stdout, "", result.args)
        self.assertFalse(os.path.exists(self.calls), f"{result.args} has begun")

    def test_words_of_test(self):
        for words, parts in {("--bogus",): ("'--bogus'",), ("bogus",): ("'bogus'",), ("-R",): ("-R needs",),
                             ("-j", "many"): ("'many'",), ("-R", "a", "--quick"): ("--quick comes first",),
                             ("-R", "a", "--full"): ("--full comes first",),
                             ("--quick", "-x"): ("'-x'",), ("--check", "-R", "a"): ("'-R'",),
                             ("--update-goldens", "now"): ("'now'",)}.items():
            self.assert_refused(self.start("test", *words), *parts, "./test --help")

    def test_words_of_setup(self):
        self.assert_refused(self.start("setup", "bogus"), "'bogus'", "release", "debug", "asan", "armhf", "box")
        self.assert_refused(self.start("setup", "--bogus"), "'--bogus'", "./setup --help")
        self.assert_refused(self.start("setup", "--packages", "more"), "'more'")
        self.assert_refused(self.start("setup", "--full", "more"), "'more'")

    def test_words_of_package(self):
        self.assert_refused(self.start("package", "--bogus"), "'--bogus'", "./package --help")
        self.assert_refused(self.start("package", "i386"), "'i386'", "armhf", "amd64", "./package --help")
        self.assert_refused(self.start("package", "amd64", "armhf"), "'armhf'")

    def test_words_of_run(self):
        for words in (("--bogus",), ("bogus",), ("--demo", "--bogus"), ("play", "--bogus"), ("gallery", "--bogus")):
            self.assert_refused(self.start("run", *words), f"'{words[-1]}'", "./run --help")

    def test_words_that_run_knows_go_on(self):
        with open(os.path.join(SOURCE, "run"), encoding="utf-8") as file:
            described = [line[1:].strip().split("  ")[0] for line in file if line.startswith("#   -")]
        documented = [word.rstrip(",") for words in described for word in words.split() if word.startswith("-")]
        self.assertLessEqual({"--speed", "--braille"}, set(documented))
        for word in documented:
            if word in ("-h", "--help"):
                continue
            result = self.start("run", word)
            self.assertNotIn("there is no option", result.stderr, word)
            self.assertTrue(os.path.exists(self.calls), f"{word}: ./setup is next")
            os.remove(self.calls)

    def test_help(self):
        for name in ("test", "setup", "run", "package"):
            for word in ("--help", "-h"):
                result = self.start(name, word)
                self.assertEqual((result.returncode, result.stderr), (0, ""), name)
                self.assertIn(f"./{name}", result.stdout)
                self.assertNotIn("set -eu", result.stdout)
        self.assertFalse(os.path.exists(self.calls))

    def test_a_checkout_that_can_not_be_written(self):
        checkout = os.path.join(self.folder, "checkout")
        os.mkdir(checkout)
        for name in ("setup", "run", "test", ".clang-format", ".reuse/dep5", "LICENSES/MIT.txt", "CMakePresets.json",
                     "tests/check.py", "tests/run.py", "simulator/live/display_sim_options.cpp"):
            os.makedirs(os.path.dirname(os.path.join(checkout, name)), exist_ok=True)
            shutil.copy(os.path.join(SOURCE, name), os.path.join(checkout, name))
        self.refuse_to_write(checkout)
        os.chmod(checkout, 0o755)
        os.mkdir(os.path.join(checkout, "build"))
        self.refuse_to_write(checkout)

    def refuse_to_write(self, checkout):
        for folder, _, _ in os.walk(checkout):
            os.chmod(folder, 0o555)
            self.addCleanup(os.chmod, folder, 0o755)
        # Root may write everywhere.
        nobody = ("setpriv", "--reuid=65534", "--regid=65534", "--clear-groups") if os.geteuid() == 0 else ()
        for words in (("setup",), ("setup", "release"), ("run",), ("run", "--demo")):
            self.assert_refused(self.start(*words, folder=checkout, before=nobody), checkout, "can't be written to")
        result = self.start("test", folder=checkout, before=nobody)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("can't be written to", result.stderr)
        self.assertFalse(os.path.exists(self.calls))

    def test_a_driver_folder_without_a_driver(self):
        build = os.path.join(self.folder, "build")
        command = ["cmake", "-G", "Ninja", "-S", SOURCE, "-B", build, "-DLV_DRIVERS_DIR=/nope"]
        result = subprocess.run(command, capture_output=True, text=True, timeout=120)
        self.assertNotEqual(result.returncode, 0)
        said = " ".join(result.stderr.split())
        self.assertIn("LV_DRIVERS_DIR=/nope holds no display/fbdev.c", said)
        self.assertEqual(said.count("CMake Error"), 1, said)
        self.assertNotIn("LVGL:", result.stdout)


if __name__ == "__main__":
    unittest.main(verbosity=2)
