#!/usr/bin/env python3
"""Puts faults into the daemon, one at a time, and looks whether a test sees each.

    tests/prove/mutants.py [NAME...] [--only FILE] [--jobs N] [--check]

    NAME         these faults alone
    --only FILE  those of this source file, or of the files below this folder
    --jobs N     so many at a time, each in a tree of its own; by default one for each processor
    --check      only looks whether the list still fits the sources

The faults stand in tests/prove/mutants/*.txt. This tree is left alone: copies of it are changed and built, in
build/mutants. The tests run in the order of what they cost, up to the first that fails: the component tests that
concern the file, all others of that kind, the daemon end to end, the scenarios. What the last run found is tried
first. A failure end to end counts when it comes again.

The last line counts the faults: passed are those that a test saw, and those that are explained in the list as ones
that no test can see; failed are the others, an explained one that a test does see, and one that does not build."""

import argparse
import json
import os
import queue
import re
import select
import shutil
import signal
import subprocess
import sys
import threading
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
LISTS = os.path.join(ROOT, "tests", "prove", "mutants")
WORK = os.path.join(ROOT, "build", "mutants")
ROOMS = ("app", "screen", "probes", "port")
LEFT_OUT = {"build", ".git", "__pycache__"}  # not copied

QUIET_SECONDS = 60  # without a line a test hangs; the longest takes some 6 s on a busy machine
STEP_SECONDS = 600

# Component tests that concern a file. Those that only sound like it are left to the step behind.
CONCERN = {
    "app/dispatch.cpp": "Dispatch*:Vocabulary.*:FirmwareBar.*:Overlays.*",
    "app/listener.cpp": "Listener.*",
    "app/log_text.cpp": "LoggedLength.*:Listener.*",
    "app/vocabulary.def": "Vocabulary.*:Dispatch*",
    "port/display_port.cpp": "DisplayPort.*",
    "port/lv_drivers/display/fbdev.c": "FbdevInit.*:FbdevBits.*:FbdevClip.*:FbdevBlocks.LinesOfBrokenPixels",
    "port/tick.cpp": "Tick*",
    "probes/process_scan.cpp": "ProcessScan.*",
    "probes/readers.cpp": "TextFile.*:Wifi*:Voltage*",
    "probes/voltage.cpp": "Voltage*",
    "probes/wifi.cpp": "Wifi*",
    "screen/activity_icon.cpp": "ActivityIcon.*",
    "screen/connectivity_line.cpp": "ConnectivityLine.*",
    "screen/identity_text.cpp": "Screens.*:ConnectivityLine.*",
    "screen/measurement_area.cpp": "Voltage*:WifiDebug.*:Screens.*",
    "screen/mode_line.cpp": "ModeLine.*",
    "screen/overlays.cpp": "Overlays.*:FirmwareBar.*",
    "screen/production_screen.cpp": "Screens.*:VoltageMeterInProduction.*",
    "screen/status_screen.cpp": "Screens.*",
    "screen/widgets.cpp": "LabelText.*:WholeUtf8.*:Screens.*",
}
# The same of the daemon end to end.
CONCERN_END_TO_END = {
    "app/listener.cpp": "BusSetup.*:LogLines.*:HostileMessages.*",
    "app/main.cpp": "LogLines.*:BusSetup.*:FlagFiles.*:Quiet.*",
    "port/display_port.cpp": "Framebuffer.*",
    "port/lv_conf.h": "Quiet.*:Overlays.*",
    "port/lv_drivers/display/fbdev.c": "Framebuffer.*:HostileTools.*",
    "port/lvgl_assert.cpp": "Quiet.UsbBoxesFillThePool:LogLines.*",
    "probes/readers.h": "FlagFiles.*:ShellCommands.*:Probes.*:Connectivity.*",
}
# The daemon's start is linked into no component test; of settings and paths they would follow a fault, and nearly all
# would have to be built again.
END_TO_END_ONLY = ("app/main.cpp", "port/lv_conf.h", "probes/readers.h")
# These take as long as all others together. The sequences of commands come last; the others test one file each.
SEQUENCES = "EachFirst/Triples*:CommandSequences.*"
SLOW_OF_ONE_FILE = {"port/lv_drivers/display/fbdev.c": "FbdevBlocks.*:Fbdev/*", "screen/widgets.cpp": "WholeUtf8.*"}
SLOW = ":".join([SEQUENCES, *SLOW_OF_ONE_FILE.values()])


class NoResult(Exception):
    """What keeps the run from going on, as a sentence."""


# ---- The list

class Mutant:
    def __init__(self, name, file):
        self.name, self.file = name, file
        self.why, self.old, self.new, self.explained = [], [], [], []

    def text(self):
        """The file with the fault in it."""
        with open(os.path.join(ROOT, self.file), encoding="utf-8") as file:
            text = file.read()
        old = "\n".join(self.old)
        if text.count(old) != 1:
            raise NoResult(f"{self.name}: its old text stands {text.count(old)} times in {self.file}, not once")
        return text.replace(old, "\n".join(self.new))


def read_list(path):
    """An entry begins with its name and its file; see tests/prove/mutants/README.md."""
    mutants = []
    with open(path, encoding="utf-8") as file:
        for number, line in enumerate(file.read().splitlines(), 1):
            if not line.strip() or line.startswith("#"):
                continue
            mark, rest = line[:1], line[2:]
            if mark not in " -+=":
                words = line.split()
                if len(words) != 2:
                    raise NoResult(f"{path}:{number}: a name and a file are wanted here")
                mutants.append(Mutant(*words))
                continue
            if not mutants:
                raise NoResult(f"{path}:{number}: this belongs to no fault")
            part = {" ": mutants[-1].why, "-": mutants[-1].old, "+": mutants[-1].new, "=": mutants[-1].explained}[mark]
            part.append(line.strip() if mark == " " else rest)
    return mutants


def read_lists():
    mutants = []
    for entry in sorted(os.listdir(LISTS)):
        if entry.endswith(".txt"):
            mutants += read_list(os.path.join(LISTS, entry))
    return mutants


def problems_of(mutants):
    problems, seen = [], set()
    for mutant in mutants:
        if mutant.name in seen:
            problems.append(f"{mutant.name} stands there twice")
        seen.add(mutant.name)
        if not mutant.why:
            problems.append(f"{mutant.name} does not say why it would matter")
        if not mutant.old or mutant.old == mutant.new:
            problems.append(f"{mutant.name} changes nothing")
            continue
        try:
            mutant.text()
        except (NoResult, OSError) as problem:
            problems.append(str(problem))
    touched = {mutant.file for mutant in mutants}
    for path in sources():
        if path.split("/")[0] in ROOMS and path.endswith((".cpp", ".c", ".def")) and path not in touched:
            if path != "app/display_state.cpp":  # one line, which defines the record
                problems.append(f"{path} has no fault in the list")
    return problems


# ---- The trees

def sources():
    """Every file that is copied, from the root."""
    found = []
    for folder, folders, files in os.walk(ROOT):
        folders[:] = [name for name in folders if name not in LEFT_OUT]
        found += [os.path.relpath(os.path.join(folder, name), ROOT) for name in files]
    return found


def contents(path):
    try:
        with open(path, "rb") as file:
            return file.read()
    except OSError:
        return None


class Tree:
    """A copy of the sources with a build of its own."""

    def __init__(self, number):
        self.folder = os.path.join(WORK, str(number))
        self.build = os.path.join(self.folder, "build", "release")
        self.process, self.ended = None, False

    def path(self, file):
        return os.path.join(self.folder, file)

    def copy(self):
        """Writes only what differs, so that only that is built again."""
        wanted = sources()
        for file in wanted:
            if contents(self.path(file)) != contents(os.path.join(ROOT, file)):
                os.makedirs(os.path.dirname(self.path(file)), exist_ok=True)
                shutil.copy(os.path.join(ROOT, file), self.path(file))
        known = set(wanted)
        for folder, folders, files in os.walk(self.folder):
            folders[:] = [name for name in folders if name not in LEFT_OUT]
            for name in files:
                if os.path.relpath(os.path.join(folder, name), self.folder) not in known:
                    os.remove(os.path.join(folder, name))

    def run(self, words, take=lambda line: None):
        """Hands each line to take(); the status, or None when it was silent for too long."""
        if self.ended:
            raise NoResult("ended")
        self.process = subprocess.Popen(words, cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT, start_new_session=True)
        pending, end = b"", time.monotonic() + STEP_SECONDS
        while True:
            quiet = min(QUIET_SECONDS, end - time.monotonic())
            if not select.select([self.process.stdout], [], [], max(0, quiet))[0]:
                self.stop()
                return None
            data = os.read(self.process.stdout.fileno(), 65536)
            if not data:
                break
            *lines, pending = (pending + data).split(b"\n")
            for line in lines:
                take(line.decode(errors="replace"))
        self.process.stdout.close()
        status = self.process.wait()
        self.process = None
        return status

    def stop(self):
        process = self.process
        if process is not None and process.poll() is None:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except (ProcessLookupError, PermissionError):
                pass
            process.wait()

    def make(self, *targets):
        """What the compiler says against it, or ""."""
        said = []
        words = ["cmake", "--build", self.build, "-j", "1" if os.path.exists(self.path(".ready")) else "2"]
        status = self.run([*words, "--target", *targets], said.append)
        if status == 0:
            return ""
        telling = [line for line in said if re.search(r"\berror: |undefined reference", line)]
        return (telling or said or ["the build hangs"])[0]

    def prepare(self):
        self.copy()
        if not os.path.exists(os.path.join(self.build, "build.ninja")):
            said = []
            if self.run(["cmake", "--preset", "release"], said.append) != 0:
                raise NoResult("\n".join(said[-20:]))
        problem = self.make("component_tests", "end_to_end_tests", "simulator_tests", "display-sim", "displayctl",
                            "desk-exec", "status-display", "status-display-layout")
        if problem:
            raise NoResult(f"the sources as they are do not build: {problem}")

    def put(self, file, text):
        with open(self.path(file), "w", encoding="utf-8") as place:
            place.write(text)

    def take_out(self, file):
        shutil.copyfile(os.path.join(ROOT, file), self.path(file))


# ---- The tests

RESULT = re.compile(r"\[ +(RUN|OK|FAILED|SKIPPED) +\] ([^\s,]+)")


class Step:
    """Some of a test program's tests."""

    def __init__(self, kind, tests):
        self.kind, self.tests = kind, tests

    def words(self, tree):
        program = {"component": "component_tests", "end to end": "end_to_end_tests",
                   "scenarios": "simulator/simulator_tests"}[self.kind]
        words = [os.path.join(tree.build, "tests", program), f"--gtest_filter={self.tests}", "--gtest_fail_fast"]
        if self.kind == "component":
            words = [os.path.join(tree.build, "simulator", "desk-exec"), "--bare", *words]
        return words

    def without(self, test):
        return Step(self.kind, self.tests + (":" if "-" in self.tests else ":-") + test)

    def first_failure(self, tree):
        """The name of the test that fails first, or None."""
        now, failed = None, None

        def take(line):
            nonlocal now, failed
            found = RESULT.search(line)
            if found and found.group(1) == "RUN":
                now = found.group(2)
            elif found and found.group(1) == "FAILED" and failed is None:
                failed = found.group(2)
            elif found:
                now = None

        status = tree.run(self.words(tree), take)
        if status == 0:
            return None
        return failed or now or f"the end of the {self.kind} tests"


def component_steps(mutant):
    """In the order of what they cost."""
    if mutant.file in END_TO_END_ONLY:
        return []
    wanted = [CONCERN.get(mutant.file), f"-{SLOW}", SLOW_OF_ONE_FILE.get(mutant.file), SEQUENCES]
    return [Step("component", tests) for tests in wanted if tests]


def daemon_steps(mutant):
    first = CONCERN_END_TO_END.get(mutant.file)
    steps = [Step("end to end", first)] if first else []
    return steps + [Step("end to end", "*"), Step("scenarios", "*EachScenario.PlaysAsExpected*")]


def confirmed(step, tree):
    """The first failure; one of a whole daemon has to come again, for the machine may have been busy."""
    test = step.first_failure(tree)
    if test is None or step.kind == "component" or Step(step.kind, test).first_failure(tree) is not None:
        return test
    return step.without(test).first_failure(tree)


def killer_of(steps, tree):
    """The step's kind and the test that sees the fault that is in the tree; None when none does."""
    built = set()
    for step in steps:
        targets = ("component_tests",) if step.kind == "component" else ("status-display", "status-display-layout")
        if targets not in built:
            problem = tree.make(*targets)
            if problem:
                raise NoResult(f"does not build: {problem}")
            built.add(targets)
        test = confirmed(step, tree)
        if test is not None:
            return step.kind, test
    return None


# ---- The run

class Run:
    def __init__(self, mutants, jobs):
        self.waiting = queue.Queue()
        for mutant in sorted(mutants, key=lambda one: bool(one.explained)):  # those take all tests
            self.waiting.put(mutant)
        self.total, self.done = len(mutants), []
        self.trees = [Tree(number) for number in range(1, jobs + 1)]
        self.lock, self.ending, self.begin = threading.Lock(), False, 0.0
        self.problem, self.survivors = None, set()
        self.known_path = os.path.join(WORK, "killers.json")
        try:
            with open(self.known_path, encoding="utf-8") as file:
                self.known = json.load(file)
        except (OSError, ValueError):
            self.known = {}

    def prepare(self):
        for tree in self.trees:
            print(f"building {os.path.relpath(tree.folder, ROOT)}", flush=True)
            tree.prepare()
        print("without a fault all tests have to pass", flush=True)
        none = Mutant("none", "none")
        for step in component_steps(none) + daemon_steps(none):
            test = confirmed(step, self.trees[0])
            if test is not None:
                again = " ".join(Step(step.kind, test).words(self.trees[0]))
                raise NoResult(f"{test} fails without any fault: {again}")

    def judge(self, mutant, tree):
        """Whether it counts as passed, and what became of it; None when the slow tests have to say."""
        known = self.known.get(mutant.name)
        steps = daemon_steps(mutant) if mutant.name in self.survivors else component_steps(mutant)
        try:
            found = killer_of(([Step(*known)] if known else []) + steps, tree)
        except NoResult as problem:
            return False, str(problem)
        if found is None and mutant.name not in self.survivors:
            return None
        if found is None:
            return bool(mutant.explained), "SURVIVED" + (", as explained" if mutant.explained else "")
        with self.lock:
            self.known[mutant.name] = found
        if mutant.explained:
            return False, f"killed by {found[1]}, though the list explains why it can't be"
        return True, f"killed by {found[1]}"

    def work(self, tree):
        """What survives the component tests goes to the end of the queue: those of a whole daemon take longer."""
        while not self.ending:
            try:
                mutant = self.waiting.get_nowait()
            except queue.Empty:
                return
            begin = time.monotonic()
            tree.put(mutant.file, mutant.text())
            result = self.judge(mutant, tree)
            tree.take_out(mutant.file)
            if self.ending:
                return
            if result is None:
                self.survivors.add(mutant.name)
                self.waiting.put(mutant)
            else:
                self.tell(mutant, result, time.monotonic() - begin)

    def guarded_work(self, tree):
        try:
            self.work(tree)
        except Exception as problem:  # pylint: disable=broad-except
            self.problem, self.ending = problem, True

    def tell(self, mutant, result, seconds):
        with self.lock:
            self.done.append((mutant, *result))
            count = len(self.done)
            left = (time.monotonic() - self.begin) / count * (self.total - count)
            print(f"{count} of {self.total}, {left / 60:.0f} min left: {mutant.name}: {result[1]} ({seconds:.0f} s)",
                  flush=True)
            with open(self.known_path, "w", encoding="utf-8") as file:
                json.dump(self.known, file, indent=0)

    def go(self):
        os.makedirs(WORK, exist_ok=True)
        try:
            self.prepare()
            # A compiler's cache that was interrupted between reading a source and compiling it keeps the sound object
            # under the fault's name; then the fault survives for ever.
            os.environ["CCACHE_DISABLE"] = "1"
            self.begin = time.monotonic()
            workers = [threading.Thread(target=self.guarded_work, args=(tree,)) for tree in self.trees]
            for worker in workers:
                worker.start()
            for worker in workers:
                worker.join()
        finally:
            # Ctrl-C too: what runs ends, and the copies are put right when the next run begins.
            self.ending = True
            for tree in self.trees:
                tree.ended = True
                tree.stop()
        if self.problem:
            raise self.problem
        return self.summary()

    def summary(self):
        killed = sum(1 for _, _, text in self.done if text.startswith("killed by"))
        explained = [mutant for mutant, good, _ in self.done if good and mutant.explained]
        failed = [(mutant, text) for mutant, good, text in self.done if not good]
        print(f"\n{killed} of {self.total} faults are seen by a test")
        for mutant in explained:
            print(f"  survives, explained: {mutant.name} ({mutant.file}): {' '.join(mutant.explained)}")
        for mutant, text in failed:
            print(f"  FAILED: {mutant.name} ({mutant.file}): {text}: {' '.join(mutant.why)}")
        print(f"{self.total - len(failed)} passed, {len(failed)} failed")
        return 1 if failed else 0


def chosen(mutants, names, only):
    unknown = set(names) - {mutant.name for mutant in mutants}
    if unknown:
        raise NoResult(f"the list has no fault named {' '.join(sorted(unknown))}")
    below = only.rstrip("/") if only else None
    left = [mutant for mutant in mutants if (not names or mutant.name in names) and
            (below is None or mutant.file == below or mutant.file.startswith(below + "/"))]
    if not left:
        raise NoResult(f"the list has no fault of {only}")
    return left


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("names", nargs="*", metavar="NAME")
    parser.add_argument("--only", metavar="FILE")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1)
    parser.add_argument("--check", action="store_true")
    options = parser.parse_args()
    if shutil.which("ccache"):
        for language in ("C", "CXX"):
            os.environ.setdefault(f"CMAKE_{language}_COMPILER_LAUNCHER", "ccache")
        os.environ.setdefault("CCACHE_SLOPPINESS", "pch_defines,time_macros")
    for number in (signal.SIGINT, signal.SIGTERM):  # the first is ignored in a shell's background
        signal.signal(number, signal.default_int_handler)
    try:
        mutants = read_lists()
        problems = problems_of(mutants)
        if problems:
            print("\n".join(problems))
            print(f"{len(mutants)} faults in the list; it does not fit the sources any more")
            return 1
        if options.check:
            print(f"{len(mutants)} faults in the list, and it fits the sources")
            return 0
        mutants = chosen(mutants, options.names, options.only)
        return Run(mutants, max(1, min(options.jobs, len(mutants)))).go()
    except NoResult as problem:
        print(problem, file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        print("\nended; the sources are as they were", file=sys.stderr)
        return 130


if __name__ == "__main__":
    sys.exit(main())
