#!/usr/bin/env python3
"""The bus policy that is shipped, on a bus that reads this very file: who may send to the display, and who may have its
name. Users and groups are made up by libnss_wrapper; to be several of them takes root."""

import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.environ["BUILD"]
PATIENCE = float(os.environ.get("DESK_PATIENCE", "1"))
DISPLAY, MEMBER, STRANGER = 7001, 7002, 7003
GROUP = 7009


def wait_for(condition, what):
    end = time.monotonic() + 30 * PATIENCE
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"no {what}")
        time.sleep(0.02)


def wrapper_library():
    found = subprocess.run(["dpkg", "-L", "libnss-wrapper"], capture_output=True, text=True).stdout
    return next((line for line in found.splitlines() if line.endswith("libnss_wrapper.so")), None)


def bus_configuration(folder):
    # The head of Debian's own, then the file under test.
    return f"""<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path={folder}/bus/system</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <deny own="*"/>
    <deny send_type="method_call"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
    <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus"/>
  </policy>
  <include>{SOURCE}/packaging/dbus/zor.signal.sink.conf</include>
</busconfig>
"""


@unittest.skipUnless(os.geteuid() == 0, "only root can be several users")
class Policy(unittest.TestCase):
    def setUp(self):
        library = wrapper_library()
        self.assertTrue(library, "libnss-wrapper is missing; './setup --packages' installs it")
        self.folder = tempfile.mkdtemp()
        os.chmod(self.folder, 0o755)
        self.addCleanup(shutil.rmtree, self.folder, True)
        os.mkdir(f"{self.folder}/bus", 0o755)
        os.mkdir(f"{self.folder}/desk")
        os.chown(f"{self.folder}/desk", DISPLAY, DISPLAY)
        self.write("passwd", "root:x:0:0::/:/bin/sh\n" + "".join(
            f"{name}:x:{number}:{number}::/:/bin/sh\n" for name, number in
            (("status-display", DISPLAY), ("member", MEMBER), ("stranger", STRANGER))))
        self.write("group", f"root:x:0:\nstatus-display:x:{DISPLAY}:\nmember:x:{MEMBER}:\nstranger:x:{STRANGER}:\n"
                            f"status-display-senders:x:{GROUP}:member\n")
        self.write("bus.conf", bus_configuration(self.folder))
        # Where everybody may read them.
        for name in ("status-display", "simulator/desk-exec", "simulator/libdesk_shim.so"):
            os.makedirs(os.path.dirname(f"{self.folder}/build/{name}"), exist_ok=True)
            shutil.copy(f"{BUILD}/{name}", f"{self.folder}/build/{name}")
        environment = {**os.environ, "LD_PRELOAD": library, "NSS_WRAPPER_PASSWD": f"{self.folder}/passwd",
                       "NSS_WRAPPER_GROUP": f"{self.folder}/group"}
        self.bus = self.start(["dbus-daemon", "--nofork", "--nopidfile", f"--config-file={self.folder}/bus.conf"],
                              env=environment)
        wait_for(lambda: os.path.exists(f"{self.folder}/bus/system"), "bus")

    def write(self, name, text):
        with open(f"{self.folder}/{name}", "w", encoding="utf-8") as file:
            file.write(text)

    def start(self, words, **more):
        process = subprocess.Popen(words, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
                                   start_new_session=True, **more)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.wait)
        self.addCleanup(lambda: process.poll() is None and os.killpg(process.pid, signal.SIGKILL))
        return process

    @staticmethod
    def as_user(number, *words, groups=()):
        keep = f"--groups={','.join(map(str, groups))}" if groups else "--clear-groups"
        return ["setpriv", f"--reuid={number}", f"--regid={number}", keep, *words]

    def say(self, number, *words, groups=()):
        tool = ["dbus-send", f"--bus=unix:path={self.folder}/bus/system", *words]
        return subprocess.run(self.as_user(number, *tool, groups=groups), capture_output=True, text=True,
                              timeout=60 * PATIENCE)

    def send(self, number, word, groups=()):
        signal_words = "--type=signal", "/zor/signal", "zor.signal.Type.Display", f"string:{word}"
        sent = self.say(number, *signal_words, groups=groups)
        self.assertEqual((sent.returncode, sent.stderr), (0, ""), "no sender learns what becomes of it")

    def ask_for_name(self, number):
        return self.say(number, "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
                        "org.freedesktop.DBus.RequestName", "string:zor.signal.sink", "uint32:4")

    def owner(self):
        reply = self.say(0, "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
                         "org.freedesktop.DBus.GetNameOwner", "string:zor.signal.sink")
        return re.findall('"(:[^"]*)"', reply.stdout)

    def start_display(self):
        environment = {**os.environ, "TMPDIR": f"{self.folder}/desk"}
        display = self.start(self.as_user(
            DISPLAY, f"{self.folder}/build/simulator/desk-exec", "--panel", "64x128x1",
            "--bind", f"{self.folder}/bus:/bus", "--setenv", "DBUS_SYSTEM_BUS_ADDRESS=unix:path=/bus/system",
            "--", f"{self.folder}/build/status-display"), env=environment, cwd="/")
        wait_for(lambda: self.owner() or display.poll() is not None, "display that owns its name")
        self.assertIsNone(display.poll(), display.poll() is not None and display.stderr.read())

    def top_row(self):
        """The panel's first rows, as bytes."""
        for folder, _, names in os.walk(f"{self.folder}/desk"):
            if folder.endswith("/dev") and "fb0" in names:
                with open(f"{folder}/fb0", "rb") as file:
                    return file.read(14 * 8)
        return b""

    def test_who_may_send(self):
        with open(f"{SOURCE}/simulator/scenarios/views/view_bluetooth-device.pbm", encoding="ascii") as file:
            rows = "".join(re.sub("#.*", "", file.read()).split()[3:])[:14 * 64]
        bluetooth = bytes(int(rows[i:i + 8][::-1], 2) for i in range(0, len(rows), 8))
        self.start_display()
        before = self.top_row()
        self.send(STRANGER, "chan_bt")
        # The bus works in order: when a later question is answered, the signal has gone where it may.
        self.assertEqual(self.ask_for_name(STRANGER).returncode, 1)
        time.sleep(0.5)  # longer than the display takes for what reaches it
        self.assertEqual(self.top_row(), before, "a stranger's signal reached the panel")
        self.send(DISPLAY, "chan_bt")
        time.sleep(0.5)
        self.assertEqual(self.top_row(), before, "nor need the display's own user send")
        self.send(MEMBER, "chan_bt", groups=(GROUP,))
        wait_for(lambda: self.top_row() == bluetooth, "panel that shows what a member sent")
        self.send(0, "chan_usb")
        wait_for(lambda: self.top_row() not in (before, bluetooth), "panel that shows what root sent")

    def test_who_may_have_the_name(self):
        for number in (STRANGER, MEMBER, 0):
            refused = self.ask_for_name(number)
            self.assertEqual(refused.returncode, 1)
            self.assertIn("AccessDenied", refused.stderr)
        self.assertEqual(self.owner(), [])
        self.start_display()
        self.assertEqual(len(self.owner()), 1)

    def test_the_bus_finds_nothing_to_say_about_it(self):
        self.say(0, "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
                 "org.freedesktop.DBus.GetId")
        os.killpg(self.bus.pid, signal.SIGTERM)
        said = self.bus.communicate(timeout=60 * PATIENCE)[1].splitlines()
        self.assertEqual([line for line in said if "Failed to set fd limit" not in line], [])


class Interface(unittest.TestCase):
    def test_is_made_from_the_vocabulary(self):
        words = subprocess.run([f"{BUILD}/tools/displayctl", "words", "--json"], capture_output=True, check=True).stdout
        made = subprocess.run([sys.executable, f"{SOURCE}/packaging/dbus/interface.py"], input=words,
                              capture_output=True, check=True).stdout.decode()
        with open(f"{SOURCE}/packaging/dbus/zor.signal.Type.xml", encoding="utf-8") as file:
            self.assertEqual(file.read(), made, "renew it; interface.py says how")


if __name__ == "__main__":
    unittest.main(verbosity=2)
