#!/usr/bin/env python3
"""tidy.py BUILD: clang-tidy (.clang-tidy) over our own sources, with the compiler's words of a build; prints each
mistake and ends with status 1 then. Takes about a minute."""

import concurrent.futures
import json
import os
import shutil
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
ROOMS = ("app", "screen", "probes", "port", "panel", "client", "tools", "simulator")


def sources(build):
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        known = {os.path.relpath(entry["file"], ROOT) for entry in json.load(file)}
    return sorted(path for path in known if path.startswith(ROOMS) and path.endswith(".cpp"))


def main():
    build = sys.argv[1]
    if not shutil.which("clang-tidy"):
        print("skipped: clang-tidy is not installed; './setup --packages' installs it")
        return 0

    def look_at(path):
        return path, subprocess.run(["clang-tidy", "-p", build, "--quiet", path], cwd=ROOT, stdout=subprocess.PIPE,
                                    stderr=subprocess.DEVNULL, text=True)

    files, failed = sources(build), 0
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        for path, said in pool.map(look_at, files):
            if said.returncode:
                failed += 1
                print(f"{path}:\n{said.stdout}")
    print(f"{len(files)} files looked at by clang-tidy, {failed} with a mistake")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
