#!/usr/bin/env python3
"""Prints CHANGELOG.md as Debian's changelog: changelog.py CHANGELOG.md PACKAGE VERSION MAINTAINER.

A section "Unreleased" counts as VERSION's. A section's date is the one behind its version ("## 0.1.0, 2026-03-01"), or
else SOURCE_DATE_EPOCH, which is the commit's."""

import datetime
import email.utils
import os
import re
import sys


def sections(text):
    """Pairs of a heading and its points, each of which is one string."""
    for part in re.split(r"^## ", text, flags=re.M)[1:]:
        heading, _, body = part.partition("\n")
        points = re.split(r"^- ", body, flags=re.M)[1:]
        yield heading.strip(), [" ".join(point.split()) for point in points]


def wrapped(point):
    line, lines = "  *", []
    for word in point.split():
        if len(line) + 1 + len(word) > 78:
            lines.append(line)
            line = "   "
        line += " " + word
    return lines + [line]


def entry(heading, points, package, version, maintainer):
    number, _, day = heading.partition(", ")
    if number == "Unreleased":
        number = version
    if day:
        when = datetime.datetime.fromisoformat(day).replace(tzinfo=datetime.timezone.utc)
    else:
        when = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), datetime.timezone.utc)
    lines = [f"{package} ({number}) stable; urgency=medium", ""]
    for point in points:
        lines += wrapped(point)
    return lines + ["", f" -- {maintainer}  {email.utils.format_datetime(when)}", ""]


def main():
    source, package, version, maintainer = sys.argv[1:]
    with open(source, encoding="utf-8") as file:
        text = file.read()
    for heading, points in sections(text):
        print("\n".join(entry(heading, points, package, version, maintainer)))


if __name__ == "__main__":
    main()
