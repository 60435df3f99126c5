"""Plays simulator/scenarios/demo.scenario where time can't be driven: each picture is waited for instead."""

import os
import shlex

from device_panel import SCENARIOS

# What is done at a scenario's line, by methods of the same name of who plays it.
DEEDS = {"send": "send", "supply": "set_supply", "jack": "set_jack", "jack-ready": "set_jack_ready",
         "expect": "expect_picture"}
# A signal is any that shows four bars.
PASSED_OVER = ("note", "start", "wait", "signal")
# It lasts a second, and is a minute away.
FLEETING = "demo/half"


def play_demo(player):
    network = None
    with open(os.path.join(SCENARIOS, "demo.scenario"), encoding="utf-8") as file:
        lines = [shlex.split(line, comments=True) for line in file if not line.startswith(("note", "#"))]
    for word, *rest in filter(None, lines):
        if word == "ssid":
            network = rest[0]
        elif word == "wifi":
            player.join_network(network)
        elif word in DEEDS:
            if rest[0] != FLEETING:
                getattr(player, DEEDS[word])(*rest)
        elif word not in PASSED_OVER:
            raise AssertionError(f"the demo has a line that is not known here: {word} {rest}")
