#!/usr/bin/env python3
"""What can be told without a build, in seconds. Each check hunts one kind of mistake and says which; a mistake is
printed with its place, and the exit status is 1 then. A check whose tool is missing says so and is skipped;
'./setup --packages' installs the tools."""

import json
import os
import re
import shutil
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
LEFT_OUT = {".git", "build"}

# What the sources of a room may include of our own, besides their own room. Nothing else, so no arrow runs back up.
RECORD = "app/display_state.h"
NAMES = {"app/signal_names.h", "app/vocabulary.def"}
MAY_INCLUDE = {
    "port": {"src"},  # LVGL's own
    "probes": {RECORD},
    "screen": {RECORD, "probes"},
    "app": {"port", "probes", "screen"},
    "panel": set(),
    "client": NAMES,
    "tools": NAMES | {"client", "panel"},
    "simulator/desk": {"client", "panel", "probes/readers.h"},
    "simulator/scenario": {"app/signal_names.h", "client", "panel", "probes/readers.h", "screen/art.h",
                           "simulator/desk"},
    "simulator/page": {"client", "panel", "probes/readers.h", "simulator/desk", "simulator/scenario"},
    "simulator/live": NAMES | {"client", "panel", "simulator/desk", "simulator/scenario", "simulator/page"},
}


def all_files():
    for folder, folders, names in os.walk(ROOT):
        folders[:] = [name for name in folders if name not in LEFT_OUT]
        for name in names:
            path = os.path.join(folder, name)
            if os.path.isfile(path) and not os.path.islink(path):
                yield os.path.relpath(path, ROOT)


def first_bytes(path):
    with open(os.path.join(ROOT, path), "rb") as file:
        return file.read(40)


def of_kind(files, ending, interpreter):
    return [path for path in files if path.endswith(ending) or
            ("." not in os.path.basename(path) and first_bytes(path).startswith(interpreter)) or
            (path == ".ci/run" and interpreter == b"#!/bin/sh")]


def unreadable_json(files):
    for path in files:
        try:
            with open(os.path.join(ROOT, path), encoding="utf-8") as file:
                json.load(file)
        except ValueError as problem:
            yield f"{path}: {problem}"


def unreadable_scripts(files):
    for path in files:
        with open(os.path.join(ROOT, path), "rb") as file:
            text = file.read()
        if path.endswith(".py") or b"python3" in text[:40]:
            try:
                compile(text, path, "exec")
            except (SyntaxError, ValueError) as problem:
                yield f"{path}: {problem}"
        else:
            shell = subprocess.run(["sh", "-n", os.path.join(ROOT, path)], stderr=subprocess.PIPE, text=True)
            if shell.returncode:
                yield f"{path}: {shell.stderr.strip()}"


def room_of(path):
    return next((room for room in MAY_INCLUDE if path.startswith(room + "/")), None)


def arrows_upwards(files):
    for path in files:
        room = room_of(path)
        if room is None:
            continue
        with open(os.path.join(ROOT, path), encoding="utf-8") as file:
            for number, line in enumerate(file, 1):
                included = re.match(r'#include "([^"]+/[^"]+)"', line)
                if not included:
                    continue
                allowed = MAY_INCLUDE[room] | {room}
                if not any(included[1] == name or included[1].startswith(name + "/") for name in allowed):
                    yield f"{path}:{number}: {room}/ may not include {included[1]}"


def said_by(*command):
    """A check that a program makes of files given behind its words; what it says is the mistake."""
    def mistakes(files):
        said = subprocess.run([*command, *files], cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if said.returncode:
            yield said.stdout.strip()
    mistakes.program = command[0]
    return mistakes


def unlicensed(_):
    said = subprocess.run(["reuse", "lint"], cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if said.returncode:
        yield said.stdout.strip()


unlicensed.program = "reuse"


def why_skipped(program):
    if not shutil.which(program):
        option = "--full" if program == "reuse" else "--packages"
        return f"{program} is not installed; './setup {option}' installs it"
    if program == "clang-format":
        version = subprocess.run([program, "--version"], stdout=subprocess.PIPE, text=True).stdout.strip()
        if " 14." not in version:  # each one lays out some lines in its own way
            return f"the sources are laid out by clang-format 14 (Debian 12), and this is {version}"
    return None


def main():
    files = sorted(all_files())
    sources = [path for path in files if path.endswith((".cpp", ".h", ".c"))]
    shell = of_kind(files, ".sh", b"#!/bin/sh")
    python = of_kind(files, ".py", b"#!/usr/bin/env python3")
    checks = (
        ("JSON files that can't be read", unreadable_json, [path for path in files if path.endswith(".json")]),
        ("scripts that can't be read", unreadable_scripts, shell + python),
        ("includes from a room above", arrows_upwards, sources),
        ("words that a shell splits, and other traps of its", said_by("shellcheck"), shell),
        ("names that Python does not know, or nobody uses", said_by("flake8", "--max-line-length", "120"), python),
        ("C++ in another dialect ('clang-format -i FILE' mends it)",
         said_by("clang-format", "--dry-run", "--Werror", "--ferror-limit=3"), sources),
        ("files without a licence, or with one that is not in LICENSES", unlicensed, files),
    )
    failed = 0
    for hunts, check, checked in checks:
        program = getattr(check, "program", None)
        skipped = program and why_skipped(program)
        if skipped:
            print(f"skipped: {hunts}: {skipped}")
            continue
        mistakes = list(check(checked))
        print(f"{len(checked)} files: {hunts}: {'none' if not mistakes else ''}")
        for mistake in mistakes:
            print(f"    {mistake}")
        failed += bool(mistakes)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
