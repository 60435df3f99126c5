#!/usr/bin/env python3
"""The daemon under as much of its unit's confinement as goes without systemd (confinement.py), read from the unit that
is shipped: its commands, files, tools and log all work, and what it has no business with does not. Units that are too
strict are told."""

import os
import pwd
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

from confinement import Confinement

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(SOURCE, "tests", "support"))
from demo_in_real_time import play_demo  # noqa: E402
from device_panel import SIZE, converter_reading, difference, expected, rows_of_frame  # noqa: E402

BUILD = os.environ["BUILD"]
PATIENCE = float(os.environ.get("DESK_PATIENCE", "1"))
# For root somebody else whom the bus finds in the list of users.
USER = pwd.getpwnam("daemon").pw_uid if os.geteuid() == 0 else os.geteuid()
CONVERTER = "sys/bus/iio/devices/iio:device0"
FOLDERS = {"rodata": "/rodata", "userdata": "/userdata", "tmp": "/tmp", "sys": "/sys", "tools": "/usr/local/bin",
           "bus": "/run/bus", "build": "/run/build"}
BUS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path={folder}/bus/system</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
  </policy>
</busconfig>
"""
# The real one is asked first, so that what it needs of the kernel is needed here. It finds no station.
IW = """#!/bin/sh
case $(/usr/sbin/iw "$@" 2>&1) in
    *"No such device"* | *"nl80211 not found"* | Interface* | *onnected*) ;;
    *) exit 1 ;;
esac
case $2 in
    info) printf '\\tssid %s\\n' "$(cat /userdata/network)" ;;
    *) printf '\\tsignal: -48 dBm\\n' ;;
esac
"""
VCICP = "#!/bin/sh\n[ \"$1\" = vjack ] && cat /userdata/jack\n"
FORBIDDEN = """
import ctypes, errno, mmap, os, socket
def refused(what):
    try:
        what()
    except OSError as problem:
        return errno.errorcode[problem.errno]
    return "allowed"
def call(name, *arguments):
    if ctypes.CDLL(None, use_errno=True)[name](*arguments) < 0:
        raise OSError(ctypes.get_errno(), name)
print("internet", refused(lambda: socket.socket(socket.AF_INET)))
print("packets", refused(lambda: socket.socket(socket.AF_PACKET, socket.SOCK_RAW)))
print("netlink", refused(lambda: socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, 16)))
print("code", refused(lambda: mmap.mmap(-1, 4096, prot=mmap.PROT_READ | mmap.PROT_WRITE | mmap.PROT_EXEC)))
print("namespace", refused(lambda: call("unshare", 0x10000000)))
print("mount", refused(lambda: call("mount", b"none", b"/mnt", b"tmpfs", 0, None)))
for path in ("/tmp/x", "/rodata/x", "/userdata/x", "/var/x", "/usr/x", "/x"):
    print(path, refused(lambda: open(path, "w")))
print("/dev/fb0", refused(lambda: open("/dev/fb0", "r+b")))
print("files", refused(lambda: [os.open("/", os.O_RDONLY) for _ in range(64)]))
"""


class TooLate(AssertionError):
    pass


class Desk:
    """A bus, a log, files and tools around the confined daemon."""

    def __init__(self, case, unit):
        self.missing = None  # the picture that nobody expects to come
        self.folder = folder = tempfile.mkdtemp()
        case.addCleanup(shutil.rmtree, folder, True)
        os.chmod(folder, 0o755)
        for name in FOLDERS:
            os.makedirs(f"{folder}/{name}")
        for path in (CONVERTER, "sys/class/net/wlan0", "userdata/configs"):
            os.makedirs(f"{folder}/{path}")
        self.write("rodata/serial_number", "QB418T-000123\n")
        self.write("rodata/bluetooth_name", "name=QB418T-BT-000123\n")
        self.write("rodata/wlock", "")
        self.write(f"{CONVERTER}/in_voltage_scale", "1.0\n")
        self.set_supply("12.4")
        self.set_jack("12000")
        for name, script in (("iw", IW), ("vcicp", VCICP)):
            self.write(f"tools/{name}", script)
            os.chmod(f"{folder}/tools/{name}", 0o755)
        for name in ("status-display", "simulator/libdesk_shim.so"):
            shutil.copy(f"{BUILD}/{name}", f"{folder}/build")
        with open(f"{folder}/fb0", "wb") as file:
            file.truncate(SIZE)
        os.chown(f"{folder}/fb0", USER, -1)
        self.log = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        case.addCleanup(self.log.close)
        self.log.bind(f"{folder}/log")
        os.chmod(f"{folder}/log", 0o666)
        self.log.setblocking(False)
        self.logged = ""
        self.write("bus.conf", BUS.format(folder=folder))
        bus = subprocess.Popen(["dbus-daemon", "--nofork", "--nopidfile", f"--config-file={folder}/bus.conf"],
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        case.addCleanup(bus.wait)
        case.addCleanup(bus.kill)
        self.wait(lambda: os.path.exists(f"{folder}/bus/system"), "bus")
        folders = {f"{folder}/{host}": guest for host, guest in FOLDERS.items()}
        self.confinement = Confinement(unit, USER, {**folders, f"{folder}/log": "/dev/log"}, f"{folder}/fb0", folder)

    def write(self, name, text):
        with open(f"{self.folder}/{name}", "w", encoding="utf-8") as file:
            file.write(text)

    def wait(self, condition, what, seconds=30):
        end = time.monotonic() + seconds * PATIENCE
        while not condition():
            if time.monotonic() > end:
                raise TooLate(f"no {what}; the log: {self.read_log()[-500:]}")
            time.sleep(0.05)

    def read_log(self):
        while True:
            try:
                self.logged += self.log.recv(65536).decode(errors="replace") + "\n"
            except BlockingIOError:
                return self.logged

    def start(self, case):
        environment = {"PATH": "/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin", "DESK_PANEL": "64x128x1",
                       "LD_PRELOAD": "/run/build/libdesk_shim.so",
                       "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/run/bus/system"}
        display = self.confinement.start(["/run/build/status-display"], environment, stdout=subprocess.DEVNULL,
                                         stderr=subprocess.PIPE)
        case.addCleanup(display.stderr.close)
        case.addCleanup(display.wait)
        case.addCleanup(display.send_signal, signal.SIGKILL)
        self.wait(lambda: display.poll() is not None or self.owned(), "display that owns its name")
        if display.poll() is not None:
            raise AssertionError(f"the display ended with {display.returncode}: {display.stderr.read().decode()}")

    def say(self, *words):
        return subprocess.run(["dbus-send", f"--bus=unix:path={self.folder}/bus/system", *words], text=True,
                              capture_output=True, timeout=60 * PATIENCE)

    def owned(self):
        return "true" in self.say("--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
                                  "org.freedesktop.DBus.NameHasOwner", "string:zor.signal.sink").stdout

    # What the demo's lines ask for.

    def send(self, *words):
        arguments = [f"int32:{word}" if word.isdigit() else f"string:{word}" for word in words]
        self.say("--type=signal", "/zor/signal", "zor.signal.Type.Display", *arguments)
        self.wait(lambda: f"Got Signal with value {words[0]}" in self.read_log(), f"log line of {words[0]}")

    def set_supply(self, volts):
        self.write(f"{CONVERTER}/in_voltage0_raw", converter_reading(volts) + "\n")

    def set_jack(self, millivolts):
        self.write("userdata/jack", f"{millivolts}\n")

    def set_jack_ready(self, _):
        self.write("tmp/.app_rcv_command_ready", "")

    def join_network(self, name):
        self.write("userdata/network", f"{name}\n")
        self.write("sys/class/net/wlan0/link_mode", "1\n")
        self.write("sys/class/net/wlan0/operstate", "up\n")

    def expect_picture(self, name):
        wanted = expected(name)

        def differs():
            with open(f"{self.folder}/fb0", "rb") as file:
                return difference(rows_of_frame(file.read()), wanted)

        try:
            self.wait(lambda: not differs(), f"picture {name}", 4 if name == self.missing else 30)
        except TooLate as problem:
            raise TooLate(f"{problem}; {differs()}") from None


@unittest.skipUnless(subprocess.run(["bwrap", "--unshare-user", "--ro-bind", "/", "/", "true"],
                                    capture_output=True).returncode == 0, "no namespaces are allowed here")
class ConfinedDaemon(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with open(f"{SOURCE}/packaging/systemd/status-display.service", encoding="utf-8") as file:
            cls.unit = file.read()

    def test_all_that_it_looks_at_and_runs_works(self):
        desk = Desk(self, self.unit)
        desk.start(self)
        # The bus, the converter, the jack's tool, iw through a pipe of the shell's, the link's files, a flag file in
        # /tmp, the serial number, the log.
        play_demo(desk)

    def test_what_it_has_no_business_with(self):
        process = Desk(self, self.unit).confinement.start(["/usr/bin/python3", "-c", FORBIDDEN], {}, text=True,
                                                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        said = process.communicate(timeout=60 * PATIENCE)[0]
        self.assertEqual(dict(line.split() for line in said.splitlines()), {
            "internet": "EAFNOSUPPORT", "packets": "EAFNOSUPPORT", "netlink": "allowed", "code": "EPERM",
            "namespace": "EPERM", "mount": "EPERM", "/tmp/x": "EROFS", "/rodata/x": "EROFS", "/userdata/x": "EROFS",
            "/var/x": "EROFS", "/usr/x": "EROFS", "/x": "EROFS", "/dev/fb0": "allowed", "files": "EMFILE"})

    def assert_too_strict(self, picture, *settings):
        """With these settings on top the demo does not come to that picture."""
        unit = re.sub(r"(?m)^\[Install\]", "\n".join(settings) + "\n\n[Install]", self.unit)
        self.assertNotEqual(unit, self.unit)
        desk = Desk(self, unit)
        desk.missing = picture
        desk.start(self)
        with self.assertRaisesRegex(AssertionError, f"no picture {picture}"):
            play_demo(desk)

    def test_a_private_tmp_hides_the_flag_files(self):
        self.assert_too_strict("demo/jack", "PrivateTmp=yes")

    def test_a_filter_without_what_a_shell_needs(self):
        self.assert_too_strict("demo/network", "SystemCallFilter=~pipe pipe2")

    def test_no_netlink_for_iw(self):
        self.assert_too_strict("demo/network", "RestrictAddressFamilies=",
                               "RestrictAddressFamilies=AF_UNIX")

    def test_no_framebuffer(self):
        self.assert_too_strict("demo/start", "DeviceAllow=")

    def test_the_identity_files_hidden(self):
        self.assert_too_strict("demo/start", "TemporaryFileSystem=/rodata:ro")

    def test_a_setting_that_nobody_has_thought_of(self):
        with self.assertRaisesRegex(ValueError, "PrivateUsers="):
            self.assert_too_strict("", "PrivateUsers=yes")


if __name__ == "__main__":
    unittest.main(verbosity=2)
