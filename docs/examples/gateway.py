#!/usr/bin/env python3
"""The same service in Python. Any D-Bus library will do; here it is the bus's own command-line tool."""

import pathlib
import subprocess
import time


def tell(*arguments):
    subprocess.run(["dbus-send", "--system", "--type=signal", "/zor/signal", "zor.signal.Type.Display", *arguments],
                   check=True)


tell("string:chan_bt")
tell("string:M4_ready")
time.sleep(1)
tell("string:cd_update", "int32:60", "string:GATEWAY")
time.sleep(2)
pathlib.Path("/userdata/configs/no_ap").touch()
tell("string:M4_done")
time.sleep(1)
tell("string:chan_timeout")
