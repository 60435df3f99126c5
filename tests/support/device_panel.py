"""The device's panel, 64 x 128 x 1: its raw frame as rows of 0 and 1, and the pictures that the scenarios expect of
it."""

import os
import re

WIDTH, HEIGHT = 64, 128
SIZE = WIDTH * HEIGHT // 8
SCENARIOS = os.path.join(os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))), "simulator",
                         "scenarios")


def rows_of_frame(data):
    if len(data) != SIZE:
        raise AssertionError(f"the frame holds {len(data)} bytes and not {SIZE}")
    bits = "".join(f"{byte:08b}"[::-1] for byte in data)  # the lowest bit is the leftmost pixel
    return [bits[y * WIDTH:(y + 1) * WIDTH] for y in range(HEIGHT)]


def expected(name):
    """The picture that a scenario expects under this name."""
    path = os.path.join(SCENARIOS, f"{name}-device.pbm")
    with open(path, encoding="utf-8") as file:
        words = re.sub("#.*", "", file.read()).split()
    rows = words[3:]
    if words[:3] != ["P1", str(WIDTH), str(HEIGHT)] or [len(row) for row in rows] != [WIDTH] * HEIGHT:
        raise AssertionError(f"{path} is no picture of this panel")
    return rows


def difference(rows, wanted):
    """How many pixels are not the same, and where; '' for none."""
    places = [(x, y) for y in range(HEIGHT) for x in range(WIDTH) if rows[y][x] != wanted[y][x]]
    if not places:
        return ""
    return (f"{len(places)} pixels differ, columns {min(x for x, _ in places)} to {max(x for x, _ in places)}, "
            f"rows {places[0][1]} to {places[-1][1]}")


def converter_reading(volts):
    """What the converter of the supply, of scale 1, reads at that voltage: millivolts behind the input's divider."""
    return f"{max(0.0, (float(volts) - 0.2) * 1000 * 7.29 / 96.39):.9g}"
