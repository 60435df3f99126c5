"""What a machine's framebuffer holds: how it is asked for, and left as files."""

import os
import subprocess
import sys

from kinds import SOURCE

sys.path.insert(0, os.path.join(SOURCE, "tests", "support"))
from device_panel import HEIGHT, SIZE, WIDTH, rows_of_frame  # noqa: E402

DUMP = f"od -An -v -tx1 -w{WIDTH} -N{SIZE} /dev/fb0"


def rows_of_dump(text):
    return rows_of_frame(bytes.fromhex("".join(text.split())))


def save(rows, path, comment):
    """PATH.pbm, and PATH.png four times as large."""
    with open(path + ".pbm", "w", encoding="utf-8") as file:
        file.write(f"P1\n# {comment}\n# 1 is a lit pixel of the panel\n{WIDTH} {HEIGHT}\n" + "\n".join(rows) + "\n")
    displayctl = os.path.join(SOURCE, "build", "release", "tools", "displayctl")
    subprocess.run([displayctl, "view", "--png", path + ".png", "--scale", "4", path + ".pbm"], check=True,
                   stdout=subprocess.DEVNULL)
