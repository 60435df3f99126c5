#!/usr/bin/env python3
"""docs/integration.md as somebody follows it: each line is typed, each example built and run, each trap stepped into.
What comes of it is read from the panel. The display's time stands, and only moves where a test says so."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest

from simulator import BUILD, SOURCE, Simulator, wait_for

EXAMPLES = os.path.join(SOURCE, "docs", "examples")


def manual():
    with open(os.path.join(SOURCE, "docs", "integration.md"), encoding="utf-8") as file:
        return file.read()


def lines_that_begin_with(*programs):
    return re.findall(rf"^    ((?:{'|'.join(programs)}) .*)$", manual(), re.M)


class OnTheDesk(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.simulator = Simulator()
        cls.addClassCleanup(cls.simulator.close)
        cls.simulator.speed(0)
        # Debian's Python before any other: its packages are what the examples need.
        cls.environment = {**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": cls.simulator.state()["bus"],
                           "PATH": f"{BUILD}/tools:/usr/bin:/bin:" + os.environ["PATH"]}

    def setUp(self):
        self.begin("serial QB418T-000123", "warranty-lock on", "firmware-type none", "wifi down", "supply 12.4")
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def begin(self, *lines):
        self.simulator.do(*lines, "start", "wait 100ms")

    def type(self, line):
        return subprocess.run(["sh", "-c", line], cwd=self.folder, env=self.environment, capture_output=True, text=True,
                              timeout=120)

    def typed(self, line):
        result = self.type(line)
        self.assertEqual(result.returncode, 0, f"{line}: {result.stderr}")
        self.assertEqual(result.stdout, "", line)

    def emit(self, *arguments):
        """With busctl, which takes every type: word, then signature and values."""
        self.typed("busctl --system emit /zor/signal zor.signal.Type Display " + " ".join(arguments))

    def texts(self):
        return self.simulator.json("/api/texts")["layout"]

    def wait_for(self, condition, what):
        def met():
            self.simulator.do("wait 100ms")
            return condition()
        wait_for(met, what)

    def wait_for_log(self, text):
        self.wait_for(lambda: text in self.simulator.log(), text)

    def taken(self):
        return sum(line.startswith("Got Signal") for line in self.simulator.log())

    def row(self, *lines):
        """The first text after these lines."""
        self.simulator.do(*lines)
        return self.texts()[0]

    def mode(self, *lines):
        """The mode once it has been drawn."""
        self.simulator.do(*lines, "wait 600ms")
        return self.texts()[-1]


class Lines(OnTheDesk):
    def test_each_line_for_the_shell(self):
        lines = lines_that_begin_with("displayctl", "dbus-send", "busctl")
        self.assertEqual(len(lines), 6)
        for line in lines:
            self.begin()
            self.typed(line)
            self.wait_for(lambda: self.texts()[0] == "BLUETOOTH" or self.texts() == ["FW UPGRADE...", "GATEWAY"], line)
            self.assertEqual("chan_bt" in line, "BLUETOOTH" in self.texts(), line)


class Examples(OnTheDesk):
    def setUp(self):
        super().setUp()
        for name in os.listdir(EXAMPLES):
            if name.startswith("sender"):
                self.assertIn(f"(examples/{name})", manual())
                shutil.copy(os.path.join(EXAMPLES, name), self.folder)

    def needs(self, what, line):
        if self.type(line).returncode:
            self.skipTest(f"{what} is not installed; './setup --packages' installs it")

    def line_with(self, part):
        return next(line for line in lines_that_begin_with("cc", "python3") if part in line)

    def check(self, program):
        self.typed(program)
        self.wait_for(lambda: self.texts() == ["FW UPGRADE...", "GATEWAY"], "overlay")
        self.assertEqual(self.mode("send clear_msg"), "READY")
        self.assertEqual(self.row(), "BLUETOOTH")

    def check_in_c(self, name):
        self.typed(self.line_with(name).replace("cc ", "cc -Wall -Wextra -Wpedantic -Werror ", 1))
        self.check("./sender")

    def test_libdbus(self):
        self.check_in_c("sender_libdbus.c")

    def test_sdbus(self):
        self.needs("libsystemd-dev", "pkg-config --exists libsystemd")
        self.check_in_c("sender_sdbus.c")

    def test_python(self):
        self.needs("python3-jeepney", "python3 -c 'import jeepney'")
        self.check(self.line_with("sender.py"))

    def test_the_display_comes_and_goes(self):
        self.needs("python3-jeepney", "python3 -c 'import jeepney'")
        service = subprocess.Popen(["sh", "-c", "exec " + self.line_with("sender_again.py")], cwd=self.folder,
                                   env=self.environment)
        self.addCleanup(service.wait)
        self.addCleanup(service.kill)
        self.wait_for(lambda: self.texts()[0] == "BLUETOOTH", "channel")
        for _ in range(2):
            self.begin()
            self.assertNotIn("BLUETOOTH", self.texts(), "it remembers nothing")
            self.wait_for(lambda: self.texts()[0] == "BLUETOOTH", "channel after the restart")

    def test_without_a_bus(self):
        self.typed(self.line_with("sender_libdbus.c"))
        result = self.type("DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nowhere ./sender")
        self.assertEqual(result.returncode, 1)
        self.assertIn("no system bus: ", result.stderr)


class Traps(OnTheDesk):
    def test_nothing_is_answered(self):
        before = self.texts()
        self.emit("s", "hello")
        self.wait_for_log("Got Signal with value hello")
        self.assertEqual(self.texts(), before)

    def test_a_display_that_starts_anew_remembers_nothing(self):
        self.simulator.do("send chan_bt", "send M4_ready", "wait 1s")
        self.assertEqual((self.texts()[0], self.texts()[-1]), ("BLUETOOTH", "READY"))
        self.begin()
        self.assertNotIn("BLUETOOTH", self.texts())
        self.assertEqual(self.texts()[-1], "AUTOCHECK...")

    def test_the_beginning_of_a_word_is_enough(self):
        for word, text in (("chan_bt_connected", "BLUETOOTH"), ("DoIP_only", "DOIP")):
            self.emit("s", word)
            self.wait_for(lambda wanted=text: wanted in self.texts(), word)
        self.emit("s", "Chan_usb")
        self.wait_for_log("Got Signal with value Chan_usb")
        self.assertEqual(self.texts()[0], "BLUETOOTH")

    def test_a_wrong_type_counts_as_missing(self):
        for signature in ("sss", "sus"):
            self.begin("supply 12.4")
            self.simulator.do("wait 1s")
            self.assertEqual(self.row(), "12.4v")
            self.emit(signature, "cd_update", "120", "GATEWAY")
            self.wait_for_log("Got Signal with value cd_update")
            self.simulator.do("supply 13.7", "wait 2s")
            self.assertIn("12.4v", self.texts(), "the meter is paused")
            self.assertNotIn("FW UPGRADE...", self.texts())
            self.simulator.do("send Reboot", "send clear_msg", "wait 1s")
            self.assertIn("13.7v", self.texts())
        before = self.texts()
        self.emit("si", "Error_Code", "5")
        self.wait_for_log("not alone my friend... Error_Code")
        self.assertEqual(self.texts(), before)

    def test_a_burst_is_taken_one_by_one(self):
        for word in ("DoIP_on", "M4_J2534", "M4_COMM", "chan_usb", "chan_ap"):
            self.emit("s", word)
        # The bus works in order: when it answers, it has passed them on.
        asked = self.type("busctl --system call org.freedesktop.DBus / org.freedesktop.DBus GetId")
        self.assertEqual(asked.returncode, 0, asked.stderr)
        self.assertEqual(self.taken(), 0, "time stands")
        self.simulator.do("wait 3ms")
        self.assertIn(self.taken(), (2, 3, 4), "one a millisecond")
        self.assertEqual(self.mode(), "DIAGNOSIS", "only the last mode is seen")
        self.assertEqual(self.row(), "HOTSPOT")

    def test_no_warranty_hides_every_mode(self):
        self.begin("warranty-lock off")
        self.assertEqual(self.mode(), "NO WARRANTY")
        for word in ("M4_ready", "M4_COMM", "DoIP_on", "M4_J2534", "REC_ON", "rj45_pt_enable", "p_on", "p_off"):
            self.assertEqual(self.mode("send " + word), "NO WARRANTY", word)
        self.assertEqual(self.row("wait 2s"), "SN: QB418T-000123", "what else p_off does")

    def test_the_warranty_comes_and_goes_with_a_command(self):
        self.assertEqual(self.mode("send DoIP_on"), "DOIP")
        self.assertEqual(self.mode("warranty-lock off"), "DOIP")
        self.assertEqual(self.mode("send clear_msg"), "NO WARRANTY")
        self.assertEqual(self.mode("warranty-lock on", "send clear_msg"), "NO WARRANTY", "what was shown is forgotten")
        self.assertEqual(self.mode("send M4_ready"), "READY")
        self.assertEqual(self.mode("warranty-lock off", "send clear_msg", "wait 600ms", "send DoIP_on"), "NO WARRANTY")
        self.assertEqual(self.mode("warranty-lock on"), "NO WARRANTY")
        self.assertEqual(self.mode("send clear_msg"), "DOIP", "what was sent meanwhile")

    def test_passthru_without_warranty(self):
        self.begin("warranty-lock off", "firmware-type FT_MAINAPP_J2534")
        self.assertEqual(self.mode(), "PASSTHRU")
        self.assertEqual(self.mode("send M4_ready"), "PASSTHRU")
        self.begin("firmware-type none")
        self.assertEqual(self.mode(), "NO WARRANTY")
        self.assertEqual(self.mode("firmware-type FT_MAINAPP_J2534"), "NO WARRANTY", "it came too late")

    def words_listed(self, begin, end):
        part = manual()[manual().index(begin):]
        return re.findall("`([^`]*)`", part[len(begin):part.index(end)])

    def test_words_that_respect_a_power_down_and_words_that_end_it(self):
        respecting = self.words_listed("these change nothing:", ". And `M4_done`")
        ending = self.words_listed("These end it:", ". So don't")
        self.assertEqual((len(respecting), len(ending)), (6, 5))
        for word in [*respecting, "M4_done"]:
            self.assertEqual(self.mode("send p_off", "wait 600ms", "send " + word), "POWER DOWN", word)
        for word in ending:
            self.simulator.do("send p_off", "wait 600ms")
            self.assertNotEqual(self.mode("send " + word), "POWER DOWN", word)

    def test_done_is_ready_when_no_mode_is_set(self):
        self.assertEqual(self.mode("send DoIP_on", "wait 600ms", "send M4_done"), "DOIP")
        self.assertEqual(self.mode("send DoIP_on", "send M4_done"), "DOIP")
        self.begin()
        self.assertEqual(self.mode("send M4_done"), "READY")

    def test_a_channel_takes_turns_with_the_serial_number(self):
        for word, text in (("chan_usb", "USB"), ("chan_vpn", "WireGuard VPN"), ("chan_bt", "BLUETOOTH"),
                           ("chan_ap", "HOTSPOT")):
            self.begin()
            self.simulator.do("send chan_timeout", "send p_off", "wait 3s")
            self.assertEqual(self.row(), "SN: QB418T-000123")
            self.assertEqual(self.row("send " + word, "wait 50ms"), text)
            seen = [self.row("wait 2s") for _ in range(4)]
            self.assertEqual(seen, ["SN: QB418T-000123", text] * 2)

    def test_a_cleared_wifi_error_sets_the_station_beside_a_channel(self):
        self.begin("wifi up", "ssid HomeNet", "signal -50")
        self.simulator.do("send Error_Code WIFI", "send chan_usb", "wait 1s")
        self.assertEqual(self.row("send Error_Code CWIFI", "wait 50ms"), "HomeNet")
        self.assertEqual(self.row("wait 2s"), "USB")
        self.assertEqual(self.row("wait 4s"), "USB")

    def test_there_is_one_row_for_all(self):
        self.assertEqual(self.row("send chan_usb", "wait 50ms"), "USB")
        self.assertEqual(self.row("send chan_bt", "wait 50ms"), "BLUETOOTH")
        self.assertNotIn(self.row("send chan_timeout", "wait 2s"), ("USB", "BLUETOOTH"))

    def test_overlays(self):
        self.simulator.do("send M4_ready", "send Error_Code A1", "send Check_Igni", "wait 600ms")
        self.assertNotIn("READY", self.texts())
        self.assertEqual(self.mode("send DoIP_on", "send clear_msg"), "DOIP", "the error's went with the other's")
        self.simulator.do("send Error_Code A1", "send USB_done", "send clear_msg", "wait 1s")
        self.assertNotIn("DOIP", self.texts(), "the error stays below")
        self.simulator.do("send clear_msg", "wait 600ms")
        self.assertNotIn("DOIP", self.texts(), "for good")


if __name__ == "__main__":
    unittest.main(verbosity=2)
