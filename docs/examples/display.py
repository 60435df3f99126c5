#!/usr/bin/env python3
"""The simulated display for your own tests; copy it. `display.py ADDRESS LINE...` carries out scenario lines."""

import json
import sys
import urllib.request


class Display:
    def __init__(self, address):
        self.address = address.rstrip("/")

    def ask(self, path, body=None):
        with urllib.request.urlopen(self.address + path, body.encode() if body is not None else None) as answer:
            return answer.read()

    def do(self, *lines):
        """Scenario lines; an HTTPError tells of one that can't be, or a wait that was not met."""
        for line in lines:
            self.ask("/api/do", line)

    def picture(self, view="device", scale=1):
        """PNG bytes."""
        return self.ask(f"/api/picture.png?view={view}&scale={scale}")

    def texts(self, view="device"):
        """What can be read there, from the top to the bottom."""
        return json.loads(self.ask("/api/texts"))[view]

    def state(self):
        return json.loads(self.ask("/api/state"))


if __name__ == "__main__":
    Display(sys.argv[1]).do(*sys.argv[2:])
