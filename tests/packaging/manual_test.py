#!/usr/bin/env python3
"""The manual pages as they are installed: they render without a warning, and what they list is what there is."""

import glob
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.environ["BUILD"]
VERSION = os.environ["VERSION"]
DISPLAYCTL = f"{BUILD}/tools/displayctl"
DISPLAY_SIM = f"{BUILD}/simulator/display-sim"
PAGES = {"status-display.8": "daemon", "status-display-commands.7": "daemon", "displayctl.1": "tools",
         "display-sim.1": "simulator"}
PRIORITIES = {"INFO": "info", "ERR": "error", "CRIT": "critical"}


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def said_by(*words):
    return subprocess.run(words, stdout=subprocess.PIPE, check=True, text=True).stdout


def sources_of_the_daemon():
    for room in ("app", "screen", "probes", "port"):
        for path in glob.glob(f"{SOURCE}/{room}/**/*.*", recursive=True):
            # Nothing in the daemon calls the process scan.
            if path.endswith((".cpp", ".c", ".h")) and not path.endswith("process_scan.cpp"):
                yield path


def as_documented(text):
    return text.replace("%.*s", "%s").replace("\\n", "").strip()


def section(page, title):
    return re.search(rf"^\.SH {title}\n(.*?)(?=^\.SH )", page, re.M | re.S)[1]


class Manual(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.root = tempfile.mkdtemp()
        cls.addClassCleanup(shutil.rmtree, cls.root)
        for component in set(PAGES.values()):
            subprocess.run(["cmake", "--install", BUILD, "--component", component, "--prefix", f"{cls.root}/usr"],
                           check=True, stdout=subprocess.DEVNULL)

    def path(self, name):
        return f"{self.root}/usr/share/man/man{name[-1]}/{name}"

    def shown(self, name):
        """As text, each paragraph a line."""
        self.needs("mandoc")
        text = said_by("mandoc", "-T", "ascii", "-O", "width=1000", self.path(name))
        return re.sub(".\b", "", text)

    def needs(self, program):
        if not shutil.which(program):
            self.skipTest(f"{program} is not installed; './setup --packages' installs it")

    def test_mandoc_has_nothing_to_say(self):
        self.needs("mandoc")
        for name in PAGES:
            said = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", self.path(name)], stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, text=True)
            self.assertEqual((said.returncode, said.stdout), (0, ""))

    def test_groff_has_nothing_to_say(self):
        self.needs("groff")
        for name in PAGES:
            for device in ("ascii", "utf8"):
                said = subprocess.run(["groff", "-ww", "-man", f"-T{device}", "-K", "utf8", "-z", self.path(name)],
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
                self.assertEqual((said.returncode, said.stdout), (0, ""), name)

    def test_version_and_date(self):
        heading = re.search("^## (.*)$", read(f"{SOURCE}/CHANGELOG.md"), re.M)[1]
        for name in PAGES:
            page = read(self.path(name))
            found = re.search(r'^\.TH \S+ [178] "(\d{4}-\d\d-\d\d)" "status-display ([^"]*)"', page, re.M)
            self.assertTrue(found, name)
            self.assertEqual(found[2], VERSION)
            if heading != "Unreleased":
                self.assertEqual(heading, f"{VERSION}, {found[1]}")
            self.assertNotIn("@", page, "something was not put in")
        self.assertEqual(said_by(DISPLAYCTL, "--version"), f"displayctl {VERSION}\n")

    def test_each_word(self):
        page = self.shown("status-display-commands.7")
        for word in json.loads(said_by(DISPLAYCTL, "words", "--json")):
            head = " ".join([word["word"], *(argument["name"].upper() for argument in word["arguments"])])
            found = re.search(rf"^ +{head}(?: +|\n +)(\S.*)", page, re.M)
            self.assertTrue(found, head)
            meaning = word["meaning"]
            self.assertEqual(found[1].lower(), (meaning if meaning.endswith(".") else meaning + ".").lower())
            for argument in word["arguments"]:
                kind = {"s": "string", "i": "32-bit integer"}[argument["type"]]
                self.assertIn(f"{argument['name'].upper()} is a {kind}.", page)

    def test_each_option(self):
        for name, program, commands in (("displayctl.1", DISPLAYCTL, ("send", "words", "view")),
                                        ("display-sim.1", DISPLAY_SIM, ("play", "exec", "gallery"))):
            options = re.search(r"^OPTIONS\n(.*?)^[A-Z]", self.shown(name), re.M | re.S)[1]
            common, *further = re.split(r"^ {3}(\w+)\n", options, flags=re.M)
            of_command = {"": "", **dict(zip(further[::2], further[1::2]))}
            self.assertEqual(set(of_command), {"", *commands})
            for command, text in of_command.items():
                help_text = said_by(program, *command.split(), "--help")
                told = set(re.findall(r"(?<![\w-])--?[a-z][a-z-]*", help_text)) - {"-c"}  # of an example's 'head -c'
                for option in told:
                    entry = rf"(?m)^ {{7}}(?=-).*(?<![\w-]){option}(?![\w-])"
                    self.assertRegex(common + text, entry, f"{name} {command}")

    def test_each_line_of_a_scenario(self):
        page = self.shown("display-sim.1")
        for name in set(re.findall(r"^\| `(\S+)` \|", read(f"{SOURCE}/docs/scenarios.md"), re.M)):
            self.assertRegex(page, rf"(?m)^ +{name}\b")

    def test_each_log_line(self):
        logged, calls = {}, 0
        for path in sources_of_the_daemon():
            text = read(path)
            calls += len(re.findall(r"(?<!open)\bv?syslog\(", text))
            for priority, line in re.findall(r'\bsyslog\(LOG_(\w+), "((?:[^"\\]|\\.)*)"', text):
                logged[as_documented(line)] = PRIORITIES[priority]
        self.assertEqual(len(logged), calls, "a call of another form, or a line that is logged twice")
        page = section(read(f"{SOURCE}/docs/manual/status-display.8"), "LOG")
        self.assertEqual(dict(re.findall(r"^\.TP\n(.*)\n(\w+)[.,]", page, re.M)), logged)

    def test_each_line_on_the_standard_streams(self):
        written = set()
        for path in sources_of_the_daemon():
            text = read(path)
            written |= set(re.findall(r'\b(?:say|puts|printf)\("((?:[^"\\]|\\.)*)"', text))
            written |= {line + ": %s" for line in re.findall(r'\bperror\("((?:[^"\\]|\\.)*)"', text)}
            # None of another form.
            self.assertEqual(re.findall(r'\b(?:perror|printf)\((?!")|\bstd::c(?:out|err)|\bfprintf\(', text), [], path)
        page = section(read(f"{SOURCE}/docs/manual/status-display.8"), "STANDARD OUTPUT")
        self.assertEqual(set(re.findall(r"^\.T[PQ]\n(.*)\n", page, re.M)), {as_documented(line) for line in written})

    def test_each_file_and_tool(self):
        page = self.shown("status-display.8")
        known = dict(re.findall(r'^constexpr char (\w+)\[\] = "(.*)";', read(f"{SOURCE}/probes/readers.h"), re.M))
        self.assertGreater(len(known), 12)
        for name, path in known.items():
            if name.endswith("_COMMAND"):
                tool = path.split("|")[0] if path.startswith(("/", "wl")) else "iw"
                self.assertRegex(page, rf"(?m)^ +{tool}(?: |\n)")
            else:
                # A second file of a folder is named alone.
                self.assertTrue(path in page or f", {os.path.basename(path)}\n" in page, path)

    def test_each_file_that_is_installed(self):
        page = self.shown("status-display.8") + self.shown("displayctl.1")
        for folder, _, names in os.walk(f"{self.root}/usr"):
            for name in names:
                path = os.path.join(folder, name)[len(self.root):]
                if not re.match("/usr/(bin|share/man|libexec|share/status-display-simulator)/", path):
                    self.assertIn(path, page)


class Making(unittest.TestCase):
    def setUp(self):
        self.tree = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.tree)
        os.makedirs(f"{self.tree}/docs/manual")
        shutil.copy(f"{SOURCE}/docs/manual/make_page.py", f"{self.tree}/docs/manual")
        self.write("CHANGELOG.md", "# Changelog\n\n## 1.2.3, 2026-03-01\n\n- Something.\n")

    def write(self, name, text):
        with open(f"{self.tree}/{name}", "w", encoding="utf-8") as file:
            file.write(text)

    def make(self, text, version="1.2.3", *program, **environment):
        self.write("page.7", text)
        return subprocess.run(
            [sys.executable, "-B", f"{self.tree}/docs/manual/make_page.py", f"{self.tree}/page.7", f"{self.tree}/made",
             version, *program], capture_output=True, text=True, env={**os.environ, **environment})

    def made(self, text, *words, **environment):
        done = self.make(text, *words, **environment)
        self.assertEqual(done.returncode, 0, done.stderr)
        return read(f"{self.tree}/made")

    def test_the_date_is_the_changelogs(self):
        self.assertEqual(self.made("@version@ @date@\n"), "1.2.3 2026-03-01\n")
        refused = self.make("@date@\n", "1.2.4")
        self.assertIn("begins with '1.2.3, 2026-03-01', and the version is 1.2.4", refused.stderr)

    def test_what_is_not_released_is_dated_from_outside(self):
        self.write("CHANGELOG.md", "## Unreleased\n\n## 1.2.3, 2026-03-01\n")
        self.assertEqual(self.made("@version@ @date@\n", "1.2.4", SOURCE_DATE_EPOCH="86400"), "1.2.4 1970-01-02\n")

    def test_what_can_not_be_put_in(self):
        for text, why in (('.\\" @jokes@\n', "'jokes', which is nothing that can be put in"),
                          ('.\\" @options@\n', "none is given"), ('.\\" @files@\n', "has no table")):
            self.write("README.md", "")
            done = self.make(text)
            self.assertEqual(done.returncode, 1)
            self.assertIn(why, done.stderr)
        self.assertFalse(os.path.exists(f"{self.tree}/made"))

    def test_letters_of_troff_are_printed(self):
        os.mkdir(f"{self.tree}/app")
        self.write("app/vocabulary.def", 'DISPLAY_COMMAND("word", (f<&A::b, 0>), "", "mode", ".5 of A\\B - \'C\'")\n')
        self.assertIn("\n\\&.5 of A\\eB \\- \\(aqC\\(aq.\n", self.made('.\\" @words@\n'))
        self.write("app/vocabulary.def", 'DISPLAY_COMMAND("one_word", f,\n    "", "mode", "b")\n')
        self.assertIn("another form", self.make('.\\" @words@\n').stderr)


if __name__ == "__main__":
    unittest.main(verbosity=2)
