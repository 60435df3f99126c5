#!/usr/bin/python3
"""A service whose channel is shown again after the display was restarted."""

import time

from jeepney import MatchRule, message_bus
from jeepney.io.blocking import Proxy, open_dbus_connection

from sender import tell_display

with open_dbus_connection(bus="SYSTEM") as bus:
    rule = MatchRule(type="signal", sender="org.freedesktop.DBus", interface="org.freedesktop.DBus",
                     member="NameOwnerChanged", path="/org/freedesktop/DBus")
    rule.add_arg_condition(0, "zor.signal.sink")
    Proxy(message_bus, bus).AddMatch(rule)
    with bus.filter(rule) as changes:
        tell_display(bus, "chan_bt")
        while True:
            _, _, new_owner = bus.recv_until_filtered(changes).body
            if new_owner:
                time.sleep(0.5)  # the display takes its name first, and listens then
                tell_display(bus, "chan_bt")
