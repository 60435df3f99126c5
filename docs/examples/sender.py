#!/usr/bin/python3
"""A service that tells the display what it does, with jeepney (Debian: python3-jeepney)."""

from jeepney import DBusAddress, new_signal
from jeepney.io.blocking import open_dbus_connection

DISPLAY = DBusAddress("/zor/signal", interface="zor.signal.Type")


def tell_display(bus, word, signature="", *arguments):
    bus.send(new_signal(DISPLAY, "Display", "s" + signature, (word, *arguments)))


if __name__ == "__main__":
    with open_dbus_connection(bus="SYSTEM") as bus:
        tell_display(bus, "chan_bt")
        tell_display(bus, "M4_ready")
        tell_display(bus, "cd_update", "is", 120, "GATEWAY")
