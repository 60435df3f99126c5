#!/usr/bin/env python3
"""Runs the tests of one or more builds, many of them in one process, and counts every single one.

    tests/run.py BUILD_FOLDER... [--full] [-R REGEX] [-E REGEX] [-L LABEL] [-LE LABEL] [-j N]

ctest is the list of tests: it knows their names, commands, labels and time limits, and selects by the options above.
Those labelled "full" take minutes or need packages that ./package has built; they are run with --full alone.
What it would start one by one, a process, a sandbox and a test each, goes in batches here. A test that ends its
process or hangs is a failure of its own: those behind it run in a process of theirs. Of those that pass nothing
is printed; BUILD_FOLDER/tests.json holds what became of each and how long it took. The last line counts them."""

import argparse
import asyncio
import contextlib
import json
import os
import re
import signal
import subprocess
import sys
import time

BATCH = 12  # as many as keep all processors busy to the end, and yet share what a process costs
FILTER = "--gtest_filter="
SINGLE = re.compile(re.escape(FILTER) + "[^*?:-]+")
EVENT = re.compile(r"\[ +(RUN|OK|SKIPPED|FAILED) +\] ([^\s,]+)")
PASSED, FAILED, SKIPPED = "passed", "failed", "skipped"


class NoResult(Exception):
    """What keeps all tests from running, as a sentence."""


class Test:
    def __init__(self, build, entry):
        properties = {one["name"]: one["value"] for one in entry.get("properties", [])}
        self.build = build
        self.name = entry["name"]
        # Where a program is missing, ctest gives no command; the test fails then.
        words = entry.get("command", ["(the program of " + entry["name"] + ")"])
        # Only what names a single test goes with others.
        self.filters = [word[len(FILTER):] for word in words if SINGLE.fullmatch(word)]
        self.command = [word for word in words if not (self.filters and word.startswith(FILTER))]
        self.folder = properties.get("WORKING_DIRECTORY")
        self.environment = properties.get("ENVIRONMENT", [])
        self.limit = float(properties.get("TIMEOUT", 600))
        self.alone = bool(properties.get("RUN_SERIAL"))
        self.only_in_full = "full" in properties.get("LABELS", [])
        self.skip_status = properties.get("SKIP_RETURN_CODE")
        self.state = None
        self.seconds = 0.0
        self.output = ""

    def kin(self):
        """Tests with the same can share a process."""
        return json.dumps([self.command, self.folder, self.environment, self.limit, self.alone])

    def end(self, state, seconds, output):
        self.state, self.seconds, self.output = state, seconds, output


class Running:
    """One process, its output as it comes, and an end to it after `limit` seconds without a word of progress."""

    def __init__(self, tests, words):
        self.tests, self.words = tests, words
        self.process = None
        self.pending = ""

    async def lines(self, take):
        """Hands each line to take(), which is true when it was progress; the exit status, or None after the limit."""
        first = self.tests[0]
        environment = dict(os.environ, **dict(pair.split("=", 1) for pair in first.environment))
        # A pipe of our own: with asyncio's the process counts as running until its last child has closed it.
        read_end, write_end = os.pipe()
        try:
            self.process = await asyncio.create_subprocess_exec(
                *self.words, stdin=subprocess.DEVNULL, stdout=write_end, stderr=subprocess.STDOUT,
                cwd=first.folder, env=environment, start_new_session=True)
        except OSError as problem:
            os.close(read_end)
            take(f"{self.words[0]} can't be started: {problem.strerror}\n")
            return 127
        finally:
            os.close(write_end)
        loop = asyncio.get_running_loop()
        end = loop.time() + first.limit
        output = asyncio.StreamReader()
        written = os.fdopen(read_end, "rb", 0)
        pipe, _ = await loop.connect_read_pipe(lambda: asyncio.StreamReaderProtocol(output), written)
        reading = asyncio.ensure_future(output.read(65536))
        dying = asyncio.ensure_future(self.process.wait())
        try:
            while True:
                wanted = {reading} if dying.done() else {reading, dying}
                # Children that outlive it may keep the pipe open; they have had their say.
                patience = 1.0 if dying.done() else max(0.0, end - loop.time())
                done, _ = await asyncio.wait(wanted, timeout=patience, return_when=asyncio.FIRST_COMPLETED)
                if not done:
                    break
                if reading in done:
                    data = reading.result()
                    if not data:
                        break
                    if self.feed(data.decode(errors="replace"), take):
                        end = loop.time() + first.limit
                    reading = asyncio.ensure_future(output.read(65536))
            if not dying.done():
                await asyncio.wait({dying}, timeout=max(0.0, end - loop.time()))
            if self.pending:
                take(self.pending)
            return dying.result() if dying.done() else None
        finally:
            reading.cancel()
            pipe.close()
            self.kill()
            await dying

    def feed(self, text, take):
        progress = False
        *lines, self.pending = (self.pending + text).split("\n")
        for line in lines:
            progress = take(line + "\n") or progress
        return progress

    def kill(self):
        try:
            os.killpg(self.process.pid, signal.SIGKILL)
        except (ProcessLookupError, PermissionError):
            pass


def how_it_ended(status, limit):
    if status is None:
        return f"no progress for {limit:.0f} s: ended"
    return f"ended by signal {-status}" if status < 0 else f"ended with status {status}"


class Batch:
    """Tests that go into one process; a test without a filter of GoogleTest's has one for itself."""

    def __init__(self, tests):
        self.tests = tests

    async def run(self, report):
        first = self.tests[0]
        if not first.filters:
            return await self.run_single(first, report)
        left = list(self.tests)
        while left:
            left = await self.run_some(left, report)
        return None

    async def run_single(self, test, report):
        output, begin = [], time.monotonic()
        status = await Running([test], test.command).lines(output.append)
        seconds = time.monotonic() - begin
        if status == 0:
            test.end(PASSED, seconds, "")
        elif status is not None and status == test.skip_status:
            test.end(SKIPPED, seconds, "".join(output))
        else:
            test.end(FAILED, seconds, "".join(output) + how_it_ended(status, test.limit) + "\n")
        report(test)

    async def run_some(self, tests, report):
        """Runs them in one process; those that still have to run afterwards."""
        first = tests[0]
        waiting = {name: test for test in tests for name in test.filters}
        done, now, output, begin = [], None, [], time.monotonic()

        def take(line):
            nonlocal now, output, begin
            found = EVENT.search(line)
            if not found or found.group(2) not in waiting:
                output.append(line)
                return False
            event, test = found.group(1), waiting[found.group(2)]
            if event == "RUN":
                now, output, begin = test, [], time.monotonic()
                return True
            if test is not now:
                return False
            # What a test prints without a line's end stands before its result.
            output.append(line[:found.start()])
            state = {"OK": PASSED, "SKIPPED": SKIPPED, "FAILED": FAILED}[event]
            test.end(state, time.monotonic() - begin, "" if state == PASSED else "".join(output))
            done.append(test)
            now, output = None, []
            return True

        filters = FILTER + ":".join(name for test in tests for name in test.filters)
        status = await Running(tests, first.command + [filters]).lines(take)
        if now is not None:
            now.end(FAILED, time.monotonic() - begin, "".join(output) + how_it_ended(status, first.limit) + "\n")
            done.append(now)
        left = [test for test in tests if test not in done]
        ended_well = status == 0 or (status == 1 and any(test.state == FAILED for test in done))
        if now is None and (left or not ended_well):
            # It ended between two tests or behind the last: whose fault that is shows when each is alone.
            if len(tests) > 1:
                return await self.run_each(tests, "".join(output), status, report)
            text = "".join(output) + how_it_ended(status, first.limit) + "\n"
            first.end(FAILED, time.monotonic() - begin, text)
            done, left = [first], []
        for test in done:
            report(test)
        return left

    async def run_each(self, tests, text, status, report):
        for test in tests:
            await self.run_some([test], lambda _: None)
        if all(test.state != FAILED for test in tests):
            last = tests[-1]
            last.end(FAILED, last.seconds, f"{text}together {len(tests)} tests " + how_it_ended(status, last.limit) +
                     "; each of them passes alone\n")
        for test in tests:
            report(test)
        return []


class Progress:
    """One line that grows in place on a terminal, and a line for every tenth of the tests elsewhere."""

    def __init__(self, total):
        self.total = total
        self.count = self.failed = 0
        self.terminal = sys.stdout.isatty()

    def report(self, test):
        self.count += 1
        if test.state == FAILED:
            self.failed += 1
            print(f"{self.start()}FAILED: {test.build.name}: {test.name} ({test.seconds:.1f} s)")
            print("    " + test.output.rstrip("\n").replace("\n", "\n    "))
        text = f"{self.count} of {self.total} tests, {self.failed} failed"
        if self.terminal:
            print(f"{self.start()}{text}", end="" if self.count < self.total else "\n", flush=True)
        elif self.count * 10 // self.total > (self.count - 1) * 10 // self.total:
            print(text, flush=True)

    def start(self):
        return "\r\033[K" if self.terminal else ""


class Build:
    def __init__(self, folder, selection, full):
        self.folder = os.path.abspath(folder)
        self.name = os.path.basename(self.folder)
        self.results = os.path.join(self.folder, "tests.json")
        self.known = self.read_known()
        self.tests, self.problem = [], None
        try:
            self.tests = [test for test in self.listed(selection) if full or not test.only_in_full]
            if not self.tests and not selection:
                raise NoResult("there are none in this build")
        except NoResult as problem:
            self.problem = str(problem)
            print(f"{self.name}: no test is run: {self.problem}", flush=True)

    def read_known(self):
        """How long each took last time. What became of them then must not pass for a result of this time."""
        try:
            with open(self.results, encoding="utf-8") as file:
                known = {name: float(result["seconds"]) for name, result in json.load(file).items()}
        except (OSError, ValueError, KeyError, TypeError, AttributeError):
            known = {}
        with contextlib.suppress(OSError):
            os.remove(self.results)
        return known

    def listed(self, selection):
        """The tests that ctest would run."""
        if not os.path.exists(os.path.join(self.folder, "CTestTestfile.cmake")):
            raise NoResult(f"{self.folder} is no build with tests; ./setup makes one")
        command = ["ctest", "--test-dir", self.folder, "--show-only=json-v1", *selection]
        ctest = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                               text=True)
        try:
            return [Test(self, entry) for entry in json.loads(ctest.stdout)["tests"]]
        except (ValueError, KeyError):
            said = (ctest.stderr + ctest.stdout).strip()
        log = os.path.join(self.folder, "tests.log")
        with open(log, "w", encoding="utf-8") as file:
            file.write(said + "\n")
        lines = [line.strip() for line in said.splitlines()]
        telling = [line for line in lines if re.search(r"\b(error|fatal|fail|can't|cannot|refuse|no such)", line, re.I)]
        cause = (telling or lines or ["it says nothing"])[0]
        raise NoResult(f"ctest can't list them ({cause}); all that it says is in {log}")

    def cost(self, test):
        # Whole programs such as the browser's tests take long even where nothing is known.
        return self.known.get(test.name, 0.2 if test.filters else 60.0)

    def close(self):
        """Writes the results and tells them; passed, failed and skipped."""
        if self.problem:
            print(f"{self.name}: no test was run: {self.problem}")
            return 0, 0, 0
        with open(self.results, "w", encoding="utf-8") as file:
            json.dump({test.name: {"state": test.state, "seconds": round(test.seconds, 3)} for test in self.tests},
                      file, indent=0)
        reasons = {}
        for test in self.tests:
            if test.state == SKIPPED:
                lines = [line.strip() for line in test.output.splitlines() if line.strip()]
                reasons.setdefault(lines[-1] if lines else "it does not say why", []).append(test.name)
        for reason, names in reasons.items():
            print(f"{self.name}: {len(names)} skipped: {reason}")
        states = [test.state for test in self.tests]
        counts = tuple(states.count(state) for state in (PASSED, FAILED, SKIPPED))
        print(f"{self.name}: {in_words(counts)}")
        return counts


def in_words(counts):
    passed, failed, skipped = counts
    return f"{passed} passed, {failed} failed" + (f", {skipped} skipped" if skipped else "")


def batches(tests):
    """Longest first, so that no processor waits for a late one."""
    groups = {}
    for test in tests:
        groups.setdefault(test.kin(), []).append(test)
    cut = []
    for group in groups.values():
        step = len(group) if group[0].alone else BATCH if group[0].filters else 1
        cut += [Batch(group[i:i + step]) for i in range(0, len(group), step)]
    return sorted(cut, key=lambda batch: -sum(test.build.cost(test) for test in batch.tests))


async def run_all(work, jobs, report):
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        asyncio.get_running_loop().add_signal_handler(number, asyncio.current_task().cancel)
    free = asyncio.Semaphore(jobs)

    async def one(batch):
        async with free:
            await batch.run(report)

    await asyncio.gather(*(one(batch) for batch in work if not batch.tests[0].alone))
    for batch in work:
        if batch.tests[0].alone:
            await batch.run(report)


def main():
    parser = argparse.ArgumentParser(description="Runs the tests of one or more builds.", allow_abbrev=False)
    parser.add_argument("folders", nargs="+", metavar="BUILD_FOLDER")
    for option in ("-R", "-E", "-L", "-LE"):
        parser.add_argument(option, action="append", default=[])
    parser.add_argument("--full", action="store_true")
    parser.add_argument("-j", type=int, default=len(os.sched_getaffinity(0)))
    chosen = parser.parse_args()
    selection = [word for option in ("R", "E", "L", "LE") for value in getattr(chosen, option)
                 for word in ("-" + option, value)]
    builds = [Build(folder, selection, chosen.full) for folder in chosen.folders]
    tests = [test for build in builds for test in build.tests]
    try:
        asyncio.run(run_all(batches(tests), max(1, chosen.j), Progress(len(tests)).report))
    except (asyncio.CancelledError, KeyboardInterrupt):
        print("\ninterrupted: there is no count")
        return 130
    counts = tuple(sum(column) for column in zip(*(build.close() for build in builds)))
    if selection and not tests:
        print("no test is chosen by " + " ".join(selection) + ("" if chosen.full else "; --full has more"))
    print(in_words(counts))
    return 1 if counts[1] or not counts[0] or any(build.problem for build in builds) else 0


if __name__ == "__main__":
    sys.exit(main())
