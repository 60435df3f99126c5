#!/usr/bin/env python3
"""tests/run.py, which ./test counts by: with a list of tests that only claims to be ctest's, and programs that do what
test programs shouldn't do."""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

# Speaks as GoogleTest does. What a test does is its name; `starts` notes each process and the tests that it was given.
PROGRAM = "#!" + sys.executable + r"""
import os, signal, sys, time
here = os.path.dirname(os.path.abspath(__file__))
names = [name for word in sys.argv if word.startswith("--gtest_filter=") for name in word.split("=")[1].split(":")]
with open(os.path.join(here, "starts"), "a") as file:
    file.write(" ".join(names) + "\n")
failed = False
for name in names:
    print("[ RUN      ] " + name, flush=True)
    deed = name.split(".")[1]
    if deed.startswith("Crash"):
        print("last words", flush=True)
        os.kill(os.getpid(), signal.SIGSEGV)
    if deed == "Leaves":
        os._exit(0)
    if deed == "Hangs":
        time.sleep(60)
    if deed == "Slow":
        time.sleep(2.5)
    if deed == "Skips":
        print("no such device here")
        print("[  SKIPPED ] " + name + " (0 ms)")
    elif deed == "Fails":
        failed = True
        print("it is wrong\n[  FAILED  ] " + name + ", where GetParam() = 1 (0 ms)")
    else:
        print("no end of line[       OK ] " + name + " (0 ms)")
    sys.stdout.flush()
if "A.Leaks" in names:
    print("something was left", flush=True)
    sys.exit(23)
if "A.QuietlyLeaks" in names and len(names) > 1:
    sys.exit(23)
sys.exit(1 if failed else 0)
"""

CTEST = """#!/bin/sh
cat "%(folder)s/list.json"
[ ! -e "%(folder)s/complaint" ] || cat "%(folder)s/complaint" >&2
"""


class Run(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        self.build = self.make_build("build")
        self.write("program", PROGRAM, 0o755)
        os.mkdir(os.path.join(self.folder, "bin"))
        self.write("bin/ctest", CTEST % {"folder": self.folder}, 0o755)

    def make_build(self, name):
        build = os.path.join(self.folder, name)
        os.mkdir(build)
        with open(os.path.join(build, "CTestTestfile.cmake"), "w", encoding="ascii"):
            pass
        return build

    def write(self, name, text, mode=0o644):
        with open(os.path.join(self.folder, name), "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(os.path.join(self.folder, name), mode)

    def case(self, name, **properties):
        words = [os.path.join(self.folder, "program"), "--gtest_filter=" + name]
        return self.command(name, words, **properties)

    def command(self, name, words, **properties):
        return {"name": name, "command": words,
                "properties": [{"name": key, "value": value} for key, value in properties.items()]}

    def start(self, tests, *words):
        """Status and lines."""
        if tests is not None:
            self.write("list.json", json.dumps({"tests": tests}))
        environment = dict(os.environ, PATH=os.path.join(self.folder, "bin") + ":" + os.environ["PATH"])
        done = subprocess.run([sys.executable, "-B", os.path.join(SOURCE, "tests", "run.py"), self.build, *words],
                              env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=100)
        self.assertNotIn("Traceback", done.stdout)
        return done.returncode, done.stdout.splitlines()

    def starts(self):
        with open(os.path.join(self.folder, "starts"), encoding="ascii") as file:
            return [line.split() for line in file]

    def states(self):
        with open(os.path.join(self.build, "tests.json"), encoding="ascii") as file:
            return {name: result["state"] for name, result in json.load(file).items()}

    def test_many_in_one_process(self):
        status, lines = self.start([self.case(f"A.Good{number}") for number in range(10)])
        self.assertEqual((status, lines[-1]), (0, "10 passed, 0 failed"))
        self.assertEqual(len(self.starts()), 1)

    def test_a_failure(self):
        status, lines = self.start([self.case("A.Good"), self.case("A.Fails"), self.case("A.Better")])
        self.assertEqual((status, lines[-1]), (1, "2 passed, 1 failed"))
        self.assertIn("    it is wrong", lines)
        self.assertNotIn("    no end of line", lines)

    def test_a_crash_hides_nothing(self):
        names = ["A.Good", "A.Crashes", "A.Fails", "A.CrashesToo", "A.Better"]
        status, lines = self.start([self.case(name) for name in names])
        self.assertEqual((status, lines[-1]), (1, "2 passed, 3 failed"))
        self.assertEqual(self.states(), {"A.Good": "passed", "A.Crashes": "failed", "A.Fails": "failed",
                                         "A.CrashesToo": "failed", "A.Better": "passed"})
        self.assertEqual(lines.count("    ended by signal 11"), 2)
        self.assertEqual(lines.count("    last words"), 2)

    def test_leaving_with_success_is_a_failure(self):
        status, lines = self.start([self.case("A.Good"), self.case("A.Leaves"), self.case("A.Better")])
        self.assertEqual((status, lines[-1]), (1, "2 passed, 1 failed"))

    def test_a_hang_ends_at_the_limit(self):
        names = ["A.Good", "A.Hangs", "A.Better"]
        status, lines = self.start([self.case(name, TIMEOUT=5.0) for name in names])
        self.assertEqual((status, lines[-1]), (1, "2 passed, 1 failed"))
        self.assertIn("    no progress for 5 s: ended", lines)

    # Together they take longer than the limit. It leaves room for a busy machine.
    def test_the_limit_is_for_each(self):
        names = ["A.Slow", "B.Slow", "C.Slow", "D.Slow"]
        status, lines = self.start([self.case(name, TIMEOUT=8.0) for name in names])
        self.assertEqual((status, lines[-1]), (0, "4 passed, 0 failed"))

    def test_a_bad_end_behind_the_last_test(self):
        status, lines = self.start([self.case("A.Good"), self.case("A.Leaks"), self.case("A.Better")])
        self.assertEqual((status, lines[-1]), (1, "2 passed, 1 failed"))
        self.assertEqual(self.states()["A.Leaks"], "failed")
        self.assertIn("    ended with status 23", lines)

    def test_a_bad_end_of_which_nobody_is_guilty_alone(self):
        status, lines = self.start([self.case("A.Good"), self.case("A.QuietlyLeaks")])
        self.assertEqual((status, lines[-1]), (1, "1 passed, 1 failed"))

    def test_skipped_ones_say_why(self):
        status, lines = self.start([self.case("A.Good"), self.case("A.Skips"), self.case("B.Skips")])
        self.assertEqual((status, lines[-1]), (0, "1 passed, 0 failed, 2 skipped"))
        self.assertIn("build: 2 skipped: no such device here", lines)

    def test_whole_programs(self):
        status, lines = self.start([
            self.command("good", ["true"]), self.command("bad", ["sh", "-c", "echo oops; exit 3"]),
            self.command("skip", ["sh", "-c", "echo not today; exit 77"], SKIP_RETURN_CODE=77),
            self.command("slow", ["sleep", "60"], TIMEOUT=5.0), self.command("gone", ["/no/such/program"]),
            self.command("surroundings", ["sh", "-c", 'test "$SOME:$PWD" = thing:/'], ENVIRONMENT=["SOME=thing"],
                         WORKING_DIRECTORY="/"),
            {"name": "not_built", "properties": []}])
        self.assertEqual((status, lines[-1]), (1, "2 passed, 4 failed, 1 skipped"))
        self.assertIn("    oops", lines)
        self.assertIn("    ended with status 3", lines)
        self.assertIn("    no progress for 5 s: ended", lines)
        self.assertEqual([name for name, state in self.states().items() if state == "failed"],
                         ["bad", "slow", "gone", "not_built"])

    def test_children_that_stay_do_not_hold_it_up(self):
        begin = time.monotonic()
        status, lines = self.start([self.command("parent", ["sh", "-c", "sleep 90 & exit 0"])])
        self.assertEqual((status, lines[-1]), (0, "1 passed, 0 failed"))
        self.assertLess(time.monotonic() - begin, 60)

    def test_different_surroundings_do_not_share_a_process(self):
        self.start([self.case("A.Good"), self.case("A.Better", ENVIRONMENT=["X=1"]), self.case("A.Best")])
        self.assertEqual(sorted(self.starts()), [["A.Better"], ["A.Good", "A.Best"]])

    def test_no_list_is_a_sentence(self):
        self.write("list.json", "")
        self.write("complaint", "reading tests\nCMake Error at some.cmake:70: it can't be\n  more of it\n")
        status, lines = self.start(None)
        self.assertEqual((status, lines[-1]), (1, "0 passed, 0 failed"))
        log = os.path.join(self.build, "tests.log")
        self.assertIn("build: no test was run: ctest can't list them (CMake Error at some.cmake:70: it can't be); all "
                      "that it says is in " + log, lines)
        with open(log, encoding="utf-8") as file:
            self.assertIn("more of it", file.read())

    def test_a_missing_build_does_not_keep_the_others(self):
        status, lines = self.start([self.case("A.Good")], os.path.join(self.folder, "missing"))
        self.assertEqual((status, lines[-1]), (1, "1 passed, 0 failed"))
        self.assertTrue(any(line.startswith("missing: no test was run: ") for line in lines), lines)

    def test_no_tests_at_all(self):
        self.assertEqual(self.start([])[0], 1)
        status, lines = self.start([], "-R", "Nothing")
        self.assertEqual((status, lines[-2:]),
                         (1, ["no test is chosen by -R Nothing; --full has more", "0 passed, 0 failed"]))
        lines = self.start([], "--full", "-R", "Nothing")[1]
        self.assertEqual(lines[-2], "no test is chosen by -R Nothing")

    def test_those_that_take_long_are_asked_for(self):
        tests = [self.case("A.Good", LABELS=["packaging"]), self.case("A.Long", LABELS=["packaging", "full"])]
        self.assertEqual(self.start(tests)[1][-1], "1 passed, 0 failed")
        self.assertEqual(self.states(), {"A.Good": "passed"})
        self.assertEqual(self.start(tests, "--full")[1][-1], "2 passed, 0 failed")


if __name__ == "__main__":
    unittest.main(verbosity=2)
