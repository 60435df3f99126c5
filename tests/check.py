#!/usr/bin/env python3
"""What can be told without a build, in a second: that every script and every JSON file can be read. Prints a
line for each that can't, and ends with status 1 then."""

import json
import os
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
LEFT_OUT = {".git", "build"}


def files():
    for folder, folders, names in os.walk(ROOT):
        folders[:] = [name for name in folders if name not in LEFT_OUT]
        for name in names:
            path = os.path.join(folder, name)
            if os.path.isfile(path) and not os.path.islink(path):
                yield path


def check_shell(path, _):
    shell = subprocess.run(["sh", "-n", path], stderr=subprocess.PIPE, text=True)
    return shell.stderr.strip() if shell.returncode else None


def check_python(path, text):
    try:
        compile(text, path, "exec")
    except (SyntaxError, ValueError) as problem:
        return str(problem)
    return None


def check_json(_, text):
    try:
        json.loads(text)
    except ValueError as problem:
        return str(problem)
    return None


def check_for(path, begin):
    """The check that fits a file; by its first line where the name has no ending."""
    if path.endswith(".json"):
        return check_json
    if path.endswith(".py") or begin.startswith("#!/usr/bin/env python3"):
        return check_python
    if path.endswith(".sh") or begin.startswith("#!/bin/sh"):
        return check_shell
    return None


def main():
    checked = failed = 0
    for path in sorted(files()):
        with open(path, "rb") as file:
            text = file.read()
        check = check_for(path, text[:40].decode(errors="replace"))
        if check is None:
            continue
        checked += 1
        problem = check(path, text.decode(errors="replace"))
        if problem:
            failed += 1
            print(f"{os.path.relpath(path, ROOT)}: {problem}")
    print(f"{checked} scripts and JSON files, {failed} of them can't be read" if failed else
          f"{checked} scripts and JSON files can be read")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
