"""The simulator as the tests of the page run it: the real program, its page and nothing else, on a free port. And the
forms in which pictures come: plain PBM and one-bit PNG."""

import json
import os
import re
import subprocess
import sys
import time
import urllib.error
import urllib.request

from browser import PATIENCE, wait_for

BUILD = os.environ.get("PAGE_TEST_BUILD", "")
SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.append(os.path.join(SOURCE, "tests", "support"))
from decode_png import decode_png  # noqa: E402  (found by the line above)

PROGRAM = os.path.join(BUILD, "simulator", "display-sim")
VIEWS = ("device", "layout")


class Simulator:
    def __init__(self, *options, usual_port=False, program=PROGRAM):
        if "--port" not in options and not usual_port:
            options = (*options, "--port", "0")
        self.process = subprocess.Popen([program, "--page", *options], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        text=True)
        line = self.process.stdout.readline()
        found = re.fullmatch(r"The page: (http://127\.0\.0\.1:(\d+)/)(?: \(port (\d+) is taken\))?\n", line)
        if not found:
            self.process.kill()
            raise AssertionError(f"no address but {line!r}: {self.process.communicate()[1]}")
        self.address = found.group(1)
        self.port = int(found.group(2))
        self.taken = found.group(3)  # the port that it would have had

    def close(self):
        """Ends it as a service manager would; its exit status."""
        self.process.terminate()
        status = self.process.wait(timeout=20 * PATIENCE)
        self.process.stdout.close()
        self.process.stderr.close()
        return status

    def request(self, path, body=None, **headers):
        """Status, headers and bytes of the answer."""
        data = None if body is None else body.encode()
        named = {name.replace("_", "-"): value for name, value in headers.items()}
        request = urllib.request.Request(self.address + path.lstrip("/"), data, named)
        try:
            with urllib.request.urlopen(request, timeout=60 * PATIENCE) as response:
                return response.status, response.headers, response.read()
        except urllib.error.HTTPError as problem:
            return problem.code, problem.headers, problem.read()

    def json(self, path):
        return json.loads(self.request(path)[2])

    def do(self, *lines):
        """Carries out scenario lines; all must be done well."""
        for line in lines:
            reply = json.loads(self.request("/api/do", line)[2])
            assert reply["ok"], f"{line}: {reply['error']}"

    def speed(self, speed):
        assert self.request("/api/speed", str(speed))[0] == 200

    def state(self):
        return self.json("/api/state")

    def box(self, path):
        """A path of the box, on the host."""
        return os.path.join(self.state()["folder"], path)

    def newest_event(self, name):
        """The data of the newest event of that name, from a stream of our own."""
        newest = None
        with urllib.request.urlopen(self.address + "events", timeout=60 * PATIENCE) as stream:
            for event, data in events(stream):
                if event == name:
                    newest = data
                if event == "caught-up":
                    return newest
        raise AssertionError("the stream of events has ended")

    def log(self):
        """What the device's daemon has logged since its start, from a stream of our own."""
        lines = []
        with urllib.request.urlopen(self.address + "events", timeout=60 * PATIENCE) as stream:
            for event, data in events(stream):
                if event == "log" and "started" in data:
                    lines.clear()
                if event == "log" and data["view"] == "device":
                    lines.append(data["text"])
                if event == "caught-up":
                    return lines
        raise AssertionError("the stream of events has ended")


def events(stream):
    """(name, data) of each Server-Sent Event. A stream shows that it lives for ever, so who waits for an event that
    does not come gets an AssertionError after some seconds."""
    name, end = None, time.monotonic() + 30 * PATIENCE
    for line in stream:
        if time.monotonic() > end:
            raise AssertionError(f"the awaited event has not come within {30 * PATIENCE:.0f} s")
        line = line.decode().rstrip("\n")
        if line.startswith("event: "):
            name = line[7:]
        elif line.startswith("data: "):
            yield name, json.loads(line[6:])


def load_pbm(path):
    """Rows of '0' and '1'."""
    with open(path, encoding="ascii") as file:
        text = re.sub(r"#.*", "", file.read()).split()
    assert text[0] == "P1", path
    width, height = int(text[1]), int(text[2])
    pixels = "".join(text[3:])
    assert len(pixels) == width * height, path
    return [pixels[y * width:(y + 1) * width] for y in range(height)]


def vocabulary_of_the_daemon():
    with open(os.path.join(SOURCE, "app", "vocabulary.def"), encoding="utf-8") as file:
        text = file.read()
    return re.findall(r'^DISPLAY_COMMAND\("(\w+)", (?:\w+|\(.*?\)), "([^"]*)", "(\w+)", "([^"]*)"\)', text, re.M)


def golden(view, name):
    return load_pbm(os.path.join(SOURCE, "simulator", "scenarios", f"{name}-{view}.pbm"))


def shrunk(rows, scale):
    """The picture behind a magnified one; its squares must be of one colour."""
    for y, row in enumerate(rows):
        assert row == "".join(row[x] * scale for x in range(0, len(row), scale)), f"row {y}"
        assert row == rows[y // scale * scale], f"row {y}"
    return [row[::scale] for row in rows[::scale]]


def without_activity_icon(rows, view):
    """The corner of the layout in which an icon moves all the time is left out."""
    if view == "device":
        return rows
    return [row[:111] + "0" * 12 + row[123:] if y >= 50 else row for y, row in enumerate(rows)]


__all__ = ["Simulator", "decode_png", "events", "golden", "load_pbm", "shrunk", "vocabulary_of_the_daemon", "wait_for",
           "without_activity_icon"]
