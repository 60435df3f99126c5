#!/usr/bin/env python3
"""Makes a manual page of its source: make_page.py SOURCE PAGE VERSION [PROGRAM].

The source is the page itself, in troff with the macros of man(7). What has its home elsewhere is put in here, at a
line '.\\" @NAME@' of its own: the words of the vocabulary, the files that README.md lists, the lines of
docs/scenarios.md, the measured slacks of docs/wake-ups.md, and the options that PROGRAM's own help tells. The date is
that of VERSION in CHANGELOG.md. What is not released yet is dated by SOURCE_DATE_EPOCH, or is of today."""

import datetime
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
WORD = re.compile(r'DISPLAY_COMMAND\("(\w+)", (?:\w+|\(.*?\)), "([^"]*)", "(\w+)", "([^"]*)"\)$')
TYPES = {"s": "string", "i": "32-bit integer"}


class Mistake(Exception):
    """What keeps the page from being made, as a sentence."""


def read(name):
    with open(os.path.join(ROOT, name), encoding="utf-8") as file:
        return file.read()


# ---- troff ----

def plain(text):
    """Letters that mean something to troff, so that they are printed as they are."""
    return text.replace("\\", "\\e").replace("-", "\\-").replace("'", "\\(aq").replace("`", "\\(ga")


def line(text):
    """An input line; a dot at its beginning would make it a request."""
    return ("\\&" if text.startswith(".") else "") + text + "\n"


def from_markdown(text):
    return "".join("\\fB" + plain(part) + "\\fR" if index % 2 else plain(part)
                   for index, part in enumerate(text.split("`")))


def entry(head, text):
    return ".TP\n" + line(head) + line(text)


def sentence(text):
    first = text[0].upper() if re.match("[a-z]+(?![a-z_/])", text) else text[0]
    return first + text[1:] + ("" if text.endswith(".") else ".")


def option_head(head):
    """An option and its value: words in capitals are what the user writes something else for."""
    return re.sub(r"[^\s,|]+", lambda word: ("\\fI" if word[0].isupper() else "\\fB") + plain(word[0]) + "\\fR", head)


# ---- The parts ----

def vocabulary():
    """Word, arguments, group and meaning of each."""
    words = []
    for text in read("app/vocabulary.def").splitlines():
        if not text.startswith("DISPLAY_COMMAND("):
            continue
        found = WORD.match(text)
        if not found:
            raise Mistake(f"app/vocabulary.def has a line of another form: {text}")
        words.append(found.groups())
    return words


def words():
    known = vocabulary()
    text = ""
    for group in dict.fromkeys(word[2] for word in known):
        text += f".SS {group.capitalize()}\n"
        for word, arguments, its_group, meaning in known:
            if its_group != group:
                continue
            head, tail = "\\fB" + plain(word) + "\\fR", ""
            for argument in arguments.split():
                kind, name = argument.split(":")
                head += f" \\fI{name.upper()}\\fR"
                tail += f".br\n.I {name.upper()}\nis a {TYPES[kind]}.\n"
            text += entry(head, sentence(plain(meaning))) + tail
    return text


def table(name, head):
    """The cells of a Markdown table's rows."""
    lines = read(name).splitlines()
    if head not in lines:
        raise Mistake(f"{name} has no table '{head}'")
    for text in lines[lines.index(head) + 2:]:
        if not text.startswith("|"):
            return
        yield [cell.strip().replace("\\|", "|") for cell in re.split(r"(?<!\\)\|", text)[1:-1]]


def files():
    text = ""
    for paths, how, meaning in table("README.md", "| file | how | meaning |"):
        head = re.sub("`([^`]*)`", lambda path: "\\fI" + plain(path[1]) + "\\fR", paths)
        text += entry(head, sentence(from_markdown(how)) + " " + sentence(from_markdown(meaning)))
    return text


def timer_slacks():
    head = "| timer slack | idle CPU | wake-ups a second | signal to pixel, median | 95 % | signals drained a second |"
    text = ""
    for slack, cpu, woken, median, late, drained in table("docs/wake-ups.md", head):
        text += entry("\\fB" + plain(slack.replace("µ", "u")) + "\\fR",
                      f"{cpu} of a CPU, {woken} wake\\-ups a second; {median} from a signal to the pixel "
                      f"(95 %: {late}), {drained} signals drained a second.")
    return text


def scenario_lines():
    text = ""
    for command, takes, does in table("docs/scenarios.md", "| command | takes | does |"):
        text += entry(from_markdown(command) + " " + plain(takes.strip("`")), sentence(from_markdown(does)))
    return text


def options(program, command):
    """The entries of a help text: "  --out DIR   where it goes", and what hangs below that."""
    if not program:
        raise Mistake("this page tells the options of a program, and none is given")
    said = subprocess.run([program, *command, "--help"], capture_output=True, text=True)
    if said.returncode:
        raise Mistake(f"{program} --help ends with status {said.returncode}: {said.stderr}")
    entries = []
    for text in said.stdout.splitlines():
        begun = re.match(r" {2}(\S.*?) {2,}(\S.*)$", text)
        if begun:
            entries.append([begun[1], begun[2]])
        elif entries and re.match(" {8,}", text):
            entries[-1][1] += " " + text.strip()
    if not entries:
        raise Mistake(f"{program} tells of no option of {' '.join(command)}")
    return "".join(entry(option_head(head), sentence(plain(text))) for head, text in entries)


def date_of(version):
    heading = next((text[3:] for text in read("CHANGELOG.md").splitlines() if text.startswith("## ")), "")
    number, _, date = heading.partition(", ")
    if number == "Unreleased":
        seconds = os.environ.get("SOURCE_DATE_EPOCH")
        today = datetime.datetime.now(datetime.timezone.utc)
        return str((datetime.datetime.fromtimestamp(int(seconds), datetime.timezone.utc) if seconds else today).date())
    if number != version:
        raise Mistake(f"CHANGELOG.md begins with '{heading}', and the version is {version}")
    return str(datetime.date.fromisoformat(date))


# ---- The page ----

def made(source, version, program):
    parts = {"words": words, "files": files, "scenario lines": scenario_lines,
             "timer slacks": timer_slacks,
             "options": lambda: options(program, []), "options of play": lambda: options(program, ["play"]),
             "options of exec": lambda: options(program, ["exec"]),
             "options of gallery": lambda: options(program, ["gallery"])}

    def part(found):
        if found[1] not in parts:
            raise Mistake(f"{source} asks for '{found[1]}', which is nothing that can be put in")
        return parts[found[1]]()
    with open(source, encoding="utf-8") as file:
        text = file.read()
    text = re.sub(r'^\.\\" @([^@]*)@\n', part, text, flags=re.M)
    return text.replace("@version@", version).replace("@date@", date_of(version))


def main():
    if len(sys.argv) not in (4, 5):
        sys.exit(__doc__)
    source, page, version = sys.argv[1:4]
    try:
        text = made(source, version, sys.argv[4] if len(sys.argv) == 5 else None)
    except (Mistake, OSError, ValueError) as problem:
        sys.exit(f"make_page.py: {problem}")
    # Replaced in one step: it may belong to another user, who installed it, and several may be installing.
    fresh = f"{page}.{os.getpid()}"
    with open(fresh, "w", encoding="utf-8") as file:
        file.write(text)
    os.replace(fresh, page)


if __name__ == "__main__":
    main()
