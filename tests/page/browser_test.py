#!/usr/bin/env python3
"""The simulator's page in a headless Chromium: what a person presses, types and moves, and what the two panels show
then. The daemon's time stands still but for the steps that a test takes, so the pictures are the golden ones."""

import contextlib
import os
import re
import signal
import subprocess
import tempfile
import unittest
import urllib.error
import urllib.request

from browser import Driver
from simulator import (PROGRAM, SOURCE, VIEWS, Simulator, decode_png, golden, load_pbm, shrunk,
                       vocabulary_of_the_daemon, wait_for, without_activity_icon)


def tearDownModule():
    for thing in (BrowserTest.driver, BrowserTest.simulator):
        if thing is not None:
            thing.close()


# Each word alone after a start: the golden picture that it leads to, and after how many milliseconds.
WORDS = {
    "chan_usb": ("views/view_usb", 601), "chan_bt": ("views/view_bluetooth", 601),
    "chan_ap": ("views/view_hotspot", 601), "chan_vpn": ("views/view_vpn", 601),
    "M4_COMM": ("modes/mode_diagnosis", 601), "M4_ready": ("modes/mode_ready", 601),
    "M4_J2534": ("modes/mode_passthru", 601), "M4_none": ("modes/mode_ready", 601),
    "REC_ON": ("modes/mode_rec_waiting", 601), "REC_OFF": ("modes/mode_ready", 601),
    "rj45_pt_enable": ("modes/mode_doip_ethernet", 601), "DoIP_on": ("modes/mode_doip", 601),
    "DoIP_off": ("modes/mode_ready", 601), "rj45_pt_disable": ("modes/mode_ready", 601),
    "p_off": ("modes/mode_power_down", 601), "p_on": ("modes/mode_restarting", 601),
    "Reboot": ("messages/overlay_reboot", 601), "Req_reboot": ("messages/overlay_reboot", 601),
    "Check_Igni": ("messages/overlay_ignition", 601), "USB_update": ("messages/usb_box", 601),
    "USB_done": ("messages/overlay_reboot", 601), "M4_error": ("messages/overlay_m4_error", 601),
    "M4_update": ("firmware/firmware_without_type", 51), "M4_done": ("modes/mode_ready", 601),
}
# These need something before them, or fields beside them; each has a test of its own.
OTHER_WORDS = {"chan_sta", "chan_timeout", "clear_msg", "Error_Code", "cd_update"}


class BrowserTest(unittest.TestCase):
    # One for all: a browser's start costs as much as five tests.
    driver = simulator = browser = None

    @classmethod
    def setUpClass(cls):
        if BrowserTest.driver is None:
            BrowserTest.driver = Driver()
            BrowserTest.simulator = Simulator()
            BrowserTest.browser = BrowserTest.driver.browser()

    def setUp(self):
        self.simulator.speed(0)
        self.simulator.do("start normal bare", "start normal")
        self.open(self.browser)

    def tearDown(self):
        self.assertEqual(self.browser.complaints(), [])

    def open(self, browser):
        browser.open(self.simulator.address)
        browser.wait("document.getElementById('link').textContent === 'Paused'")
        browser.wait(f"document.querySelectorAll('button.word').length === {len(vocabulary_of_the_daemon())}")

    def button(self, word):
        return f"button[data-word={word}]"

    def press_word(self, word, browser=None):
        """Presses it and waits until the page says that it has been sent."""
        browser = browser or self.browser
        browser.script("document.getElementById('sent').textContent = ''")
        browser.click(self.button(word))
        browser.wait(f"document.getElementById('sent').textContent.startsWith('Sent: {word}')", f"{word} to be sent")

    def restart(self):
        self.simulator.do("start normal")

    def assert_shows(self, name, browser=None, part=slice(None)):
        """Both canvases become the golden picture; `part` limits the rows."""
        browser = browser or self.browser
        for view in VIEWS:
            wanted = without_activity_icon(golden(view, name), view)[part]
            wait_for(lambda: without_activity_icon(browser.panel(view), view)[part] == wanted,
                     lambda: f"{name} on the {view}'s canvas; it shows\n" + "\n".join(browser.panel(view)))

    def download(self, selector, name):
        self.browser.click(selector)
        path = os.path.join(self.browser.downloads, name)
        wait_for(lambda: os.path.exists(path) and os.path.getsize(path) > 0, f"the download of {name}")
        with open(path, "rb") as file:
            data = file.read()
        os.remove(path)
        return data

    def copied(self, selector):
        """The text that a click puts on the clipboard."""
        self.browser.allow_clipboard()
        self.browser.script("navigator.clipboard.writeText('nothing yet')")
        self.browser.click(selector)
        self.browser.script("window.copied = null; const look = () => navigator.clipboard.readText().then((text) => "
                            "{ if (text === 'nothing yet') setTimeout(look, 20); else window.copied = text; }); look()")
        return self.browser.wait("window.copied")

    def box(self, command):
        return self.simulator.state()["box"][command]

    def wait_for_box(self, command, word):
        wait_for(lambda: self.box(command) == word, lambda: f"{command} {word}; it is {self.box(command)}")


class Words(BrowserTest):
    def test_there_is_a_button_for_each(self):
        with open(os.path.join(SOURCE, "app", "vocabulary.def"), encoding="utf-8") as file:
            meanings = dict(re.findall(r'^DISPLAY_COMMAND\("(\w+)".*"([^"]*)"\)', file.read(), re.M))
        buttons = self.browser.script("""
            const buttons = [...document.querySelectorAll('button.word')];
            return Object.fromEntries(buttons.map((button) => [button.textContent, button.title]));""")
        self.assertEqual(buttons, meanings)
        self.assertEqual(set(buttons), set(WORDS) | OTHER_WORDS)
        titles = self.browser.script("return [...document.querySelectorAll('.group h3')].map((h) => h.textContent)")
        self.assertEqual(titles, ["Channels", "Modes", "Overlays", "Firmware"])

    def test_each_button_leads_to_its_picture(self):
        for word, (name, milliseconds) in WORDS.items():
            with self.subTest(word):
                self.restart()
                self.press_word(word)
                self.simulator.do(f"wait {milliseconds}ms")
                self.assert_shows(name)

    def test_station_and_timeout(self):
        row = slice(0, 16)
        self.simulator.do("wifi up", "ssid HomeNet", "signal -60", "wait 2600ms")
        self.assert_shows("views/view_station_signal_3", part=row)
        self.press_word("chan_bt")
        self.simulator.do("wait 100ms")
        self.assert_shows("views/view_bluetooth", part=row)
        self.press_word("chan_sta")
        self.simulator.do("wait 100ms")
        self.assert_shows("views/view_station_signal_3", part=row)
        self.simulator.do("wifi down")
        self.restart()
        self.press_word("chan_bt")
        self.press_word("chan_timeout")
        self.simulator.do("wait 2600ms")
        self.assert_shows("start/icon_row", part=row)

    def test_clear_msg(self):
        for word in ("chan_usb", "Reboot", "clear_msg"):
            self.press_word(word)
            self.simulator.do("wait 601ms")
        self.assert_shows("views/view_usb", part=slice(0, 16))

    def test_error_code_with_its_field(self):
        self.browser.type("form[data-word=Error_Code] input", "A12")
        self.press_word("Error_Code")
        self.simulator.do("wait 601ms")
        self.assert_shows("messages/overlay_error_short")
        self.browser.type("form[data-word=Error_Code] input", "WIFI42")
        self.browser.press("Enter")
        wait_for(lambda: self.simulator.log().count("Got Signal with value Error_Code") == 2 or
                 self.simulator.do("wait 10ms"), "the second code")
        self.simulator.do("wait 601ms")
        self.assert_shows("messages/overlay_wifi_error")

    def test_codes_arrive_as_they_were_typed(self):
        self.simulator.request("/api/record", "start")
        for code in ('a "quoted" one', "back\\slash", "two  blanks", "größer", "#5"):
            self.browser.type("form[data-word=Error_Code] input", code)
            self.press_word("Error_Code")
        self.simulator.request("/api/record", "stop")
        lines = self.simulator.request("/api/scenario")[2].decode().splitlines()
        self.assertEqual([line[len("send Error_Code "):] for line in lines if line.startswith("send Error_Code")],
                         ['"a \\"quoted\\" one"', '"back\\\\slash"', '"two  blanks"', "größer", "#5"])

    def test_cd_update_with_its_fields(self):
        self.browser.type("form[data-word=cd_update] input[name=seconds]", "10")
        self.browser.type("form[data-word=cd_update] input[name=type]", "FT_MAINAPP_J2534")
        self.press_word("cd_update")
        self.simulator.do("wait 51ms")
        self.assert_shows("firmware/firmware_bar_empty")
        self.simulator.do("wait 5300ms")
        self.assert_shows("firmware/firmware_bar_half", part=slice(8, 46))
        self.simulator.do("wait 5000ms")
        self.assert_shows("firmware/firmware_bar_full", part=slice(8, 46))

    def test_the_meaning_is_told(self):
        self.browser.script("arguments[0].focus()", self.browser.find(self.button("chan_vpn")))
        self.assertIn("WireGuard", self.browser.text("#meaning"))

    def test_what_is_sent_claims_no_effect(self):
        for word in ("chan_sta", "chan_timeout", "clear_msg"):  # nothing to do for any of them
            self.press_word(word)
            self.assertEqual(self.browser.text("#sent"), f"Sent: {word}. Taken when time goes on.")
            self.assertFalse(self.browser.script(
                "return document.getElementById('sent').classList.contains('good')"))
        self.browser.click("input[data-command=activity-alt]")
        self.browser.wait("document.getElementById('box-reply').textContent === 'Taken when time goes on.'")
        self.browser.type("#line", "supply 11")
        self.browser.press("Enter")
        self.browser.wait("document.getElementById('line-reply').textContent === "
                          "'Done: supply 11. Taken when time goes on.'")
        self.browser.script("document.querySelector('input[name=speed][value=\"1\"]').click()")
        self.browser.wait("document.getElementById('link').textContent === 'Running'")
        self.press_word("clear_msg")
        self.assertEqual(self.browser.text("#sent"), "Sent: clear_msg.")


class Keys(BrowserTest):
    def test_arrows_walk_through_a_group(self):
        self.browser.script("arguments[0].focus()", self.browser.find(self.button("chan_usb")))
        self.browser.press("ArrowRight", "Enter")
        self.browser.wait("document.activeElement.dataset.word === 'chan_bt'")
        self.browser.wait("document.getElementById('sent').textContent.startsWith('Sent: chan_bt')")
        self.simulator.do("wait 601ms")
        self.assert_shows("views/view_bluetooth")
        self.browser.press("Tab")
        self.browser.wait("document.activeElement.dataset.word === 'M4_COMM'", "one stop of the Tab key a group")

    def test_everything_is_reached_by_the_tab_key(self):
        reached = set()
        self.browser.script("document.activeElement.blur()")
        for _ in range(120):
            self.browser.press("Tab")
            name = self.browser.script("""
                const e = document.activeElement;
                const style = getComputedStyle(e.closest('.segments label') ?? e);
                const named = e.ariaLabel || e.getAttribute('aria-labelledby') || e.labels?.length ||
                              e.textContent.trim();
                if (e !== document.body && !named) throw new Error('no name: ' + e.outerHTML);
                if (e !== document.body && style.outlineStyle === 'none') {
                  throw new Error('no focus to be seen: ' + e.outerHTML);
                }
                return e.id || e.dataset.command || e.dataset.word || e.name || '';""")
            reached.add(name)
        self.assertTrue({"line", "restart", "record", "step", "chan_usb", "M4_COMM", "Error_Code", "cd_update",
                         "supply", "jack", "jack-ready", "wifi", "ssid", "noise", "serial", "bluetooth",
                         "warranty-lock", "hotspot", "activity-alt", "firmware-type", "png-device", "png-layout",
                         "closer-device", "closer-layout", "log", "log-filter", "log-copy", "log-save", "log-clear",
                         "speed", "variant", "bare"} <= reached, reached)

    def test_shortcuts(self):
        self.browser.script("document.activeElement.blur()")
        self.browser.press("/")
        self.browser.wait("document.activeElement.id === 'line'")
        self.browser.press(".", ",", "Escape")
        self.assertEqual(self.browser.script("return document.getElementById('line').value"), ".,")
        self.browser.press(",")
        self.browser.wait("document.getElementById('time').textContent === '0.1 s'")
        self.browser.press(".")
        self.browser.wait("document.getElementById('link').textContent === 'Running'")
        self.browser.press(".")
        self.browser.wait("document.getElementById('link').textContent === 'Paused'")


class Line(BrowserTest):
    def test_a_line_is_done(self):
        self.browser.type("#line", "send chan_ap")
        self.browser.press("Enter")
        self.browser.wait("document.getElementById('line').value === ''")
        self.simulator.do("wait 601ms")
        self.assert_shows("views/view_hotspot")

    def test_a_bad_line_is_explained_and_kept(self):
        self.browser.type("#line", "singal -50")
        self.browser.press("Enter")
        self.browser.wait("document.getElementById('line-reply').classList.contains('bad')")
        self.assertIn("signal", self.browser.text("#line-reply"))
        self.assertEqual(self.browser.script("return document.getElementById('line').value"), "singal -50")
        complaints = self.browser.complaints()  # the browser notes the refusal by itself
        self.assertTrue(all("400" in complaint for complaint in complaints), complaints)

    def test_a_wait_is_shown_and_can_be_given_up(self):
        self.browser.type("#line", "wait 600s")
        self.browser.press("Enter")
        self.browser.wait("document.getElementById('waiting').checkVisibility()")
        self.assertIn("Waiting: wait 600s", self.browser.text("#waiting-line"))
        self.browser.click(self.button("chan_bt"))
        self.browser.wait("document.getElementById('sent').textContent.includes('is still waiting')")
        self.browser.click("#give-up")
        self.browser.wait("!document.getElementById('waiting').checkVisibility()")
        self.browser.wait("document.getElementById('line-reply').textContent.includes('was given up')")
        self.press_word("chan_bt")
        complaints = self.browser.complaints()
        self.assertTrue(all("409" in complaint for complaint in complaints), complaints)

    def test_the_row_of_a_wait_that_failed_can_be_read(self):
        self.simulator.do("send M4_ready", "wait 601ms")
        self.browser.type("#line", "wait mode PASSTHRU")
        self.browser.press("Enter")
        self.browser.wait("document.getElementById('line-reply').classList.contains('bad')")
        row = self.browser.script("""
            const pre = document.querySelector('#line-reply pre');
            const style = getComputedStyle(pre);
            return [pre.textContent, style.whiteSpace, style.fontFamily, style.lineHeight === style.fontSize];""")
        self.assertGreater(len(row[0].splitlines()), 4)
        self.assertTrue({len(line) for line in row[0].splitlines()} - {0})
        self.assertIn("pre", row[1])
        self.assertIn("monospace", row[2])
        self.assertTrue(row[3], "the blocks of two lines touch")
        self.browser.complaints()

    def test_a_line_that_is_too_long_is_told(self):
        for length in (5000, 3000000):
            self.browser.script("document.getElementById('line-reply').textContent = '';"
                                "document.getElementById('line').value = 'note ' + 'x'.repeat(arguments[0])", length)
            self.browser.script("document.getElementById('line-form').requestSubmit()")
            self.browser.wait("document.getElementById('line-reply').textContent.includes('4096 bytes at most')")
            self.assertFalse(self.browser.script("return document.body.classList.contains('lost')"))
        self.browser.complaints()

    def test_lines_can_be_recalled(self):
        for line in ("serial ONE", "serial TWO"):
            self.browser.type("#line", line)
            self.browser.press("Enter")
            self.wait_for_box("serial", line.split()[1])
            self.browser.wait("document.getElementById('line').value === ''")
        self.browser.press("ArrowUp", "ArrowUp", "Enter")
        self.wait_for_box("serial", "ONE")


class Box(BrowserTest):
    def set_field(self, command, text):
        selector = f"input[type=text][data-command={command}]"
        self.browser.type(selector, text)
        self.browser.press("Enter")

    def move_slider(self, command, value):
        self.browser.script("""
            const slider = document.querySelector(`.measure[data-command=${arguments[0]}] input[type=range]`);
            slider.value = arguments[1];
            slider.dispatchEvent(new Event('input', {bubbles: true}));""", command, value)

    def test_there_is_a_control_for_each(self):
        """In the order and the groups of the table, each named by its label and showing what the box tells."""
        drawn = self.browser.script("""
            return [...document.querySelectorAll('#controls fieldset [data-command]:not(div)')].map((field) => [
                field.dataset.command, field.closest('fieldset').querySelector('legend').textContent,
                field.ariaLabel ?? field.labels[0].textContent.trim(),
                field.type === 'checkbox' ? field.checked : field.disabled ? 'none' : field.value]);""")
        wanted, box = [], self.simulator.state()["box"]
        for control in self.simulator.json("/api/controls"):
            label, shown = control["label"], box[control["name"]]
            if control["kind"] == "measure":
                label += " in " + control["unit"]
            elif control["kind"] == "switch":
                shown = shown == control["on"]
            elif control["empty"] == shown:
                shown = ""
            wanted.append([control["name"], control["group"], label, shown])
        self.assertEqual(drawn, wanted)
        self.assertEqual(len(set(group for _, group, _, _ in drawn)),
                         self.browser.script("return document.querySelectorAll('#controls fieldset').length"))

    def test_numbers(self):
        for command, word in (("supply", "11.8"), ("jack", "13800")):
            self.set_field(command, word)
            self.wait_for_box(command, word)

    def test_sliders(self):
        self.simulator.do("signal -50")
        self.browser.wait("document.querySelector('input.number[data-command=signal]').value === '-50'")
        for command, word in (("supply", "9.7"), ("jack", "8000"), ("signal", "-71")):
            self.move_slider(command, word)
            self.wait_for_box(command, word)

    def test_a_slider_moved_quickly_ends_where_it_was_left(self):
        for tenth in range(90, 140):
            self.move_slider("supply", str(tenth / 10))
        self.wait_for_box("supply", "13.9")

    def test_none(self):
        for command in ("supply", "jack", "signal"):
            before = self.box(command)
            place = f".measure[data-command={command}] input[type=checkbox]"
            self.browser.click(place)
            self.wait_for_box(command, "-55" if before == "none" else "none")
            self.browser.click(place)
            self.wait_for_box(command, before)

    def test_switches(self):
        for command, words in (("jack-ready", ("on", "off")), ("wifi", ("up", "down")),
                               ("warranty-lock", ("off", "on")), ("hotspot", ("off", "on")),
                               ("activity-alt", ("on", "off"))):
            for word in words:
                self.browser.click(f"input[type=checkbox][data-command={command}]")
                self.wait_for_box(command, word)

    def test_texts(self):
        for command, word, empty in (("ssid", "My Net", ""), ("noise", "-77", ""), ("serial", "QB 1", "none"),
                                     ("bluetooth", 'B"T', "none"), ("firmware-type", "FT_MAINAPP_J2534", "none")):
            self.set_field(command, word)
            self.wait_for_box(command, word)
            self.set_field(command, "")
            self.wait_for_box(command, empty)

    def test_what_others_change_shows(self):
        self.simulator.do("supply 7.5", "wifi up", "ssid Elsewhere", "signal -80", "serial none", "hotspot off")
        self.browser.wait("""['7.5', true, 'Elsewhere', '-80', '', false].join() === [
            document.querySelector('input.number[data-command=supply]').value,
            document.querySelector('input[data-command=wifi]').checked,
            document.querySelector('input[data-command=ssid]').value,
            document.querySelector('input.number[data-command=signal]').value,
            document.querySelector('input[data-command=serial]').value,
            document.querySelector('input[data-command=hotspot]').checked].join()""")

    def test_what_somebody_types_is_left_alone(self):
        """Whatever others do meanwhile, until it has been entered; the next field shows what they did."""
        self.simulator.do("serial BEFORE", "supply 12", "ssid Before")
        self.browser.wait("document.querySelector('input[data-command=serial]').value === 'BEFORE'")
        fields = (("input[type=text][data-command=serial]", "HALF-TY", "serial"),
                  ("input[type=text][data-command=ssid]", "Half a na", "ssid"),
                  ("input.number[data-command=supply]", "13", "supply"))
        for number, (field, typed, command) in enumerate(fields):
            self.browser.type(field, typed)
            self.simulator.do(f"{command} {number}.5", f"noise -{number}0")
            # This change came later, so the page knows of the other one too.
            self.browser.wait(f"document.querySelector('input[data-command=noise]').value === '-{number}0'")
            shown = self.browser.script("return document.querySelector(arguments[0]).value", field)
            self.assertEqual(shown, typed, command)
            self.assertEqual(self.box(command), f"{number}.5")
            self.browser.press("Enter")
            self.wait_for_box(command, typed)

    def look_of(self, command):
        """What its field shows, whether it is marked as wrong, and what is said beside it."""
        return self.browser.script("""
            const field = document.querySelector(`input[type=text][data-command=${arguments[0]}]`);
            const beside = document.getElementById(field.getAttribute('aria-describedby'));
            return [field.value, field.getAttribute('aria-invalid'), beside.textContent];""", command)

    def test_what_is_refused_does_not_stay(self):
        self.simulator.do("supply 24.5", "jack 12000", "signal -55")
        self.browser.wait("document.querySelector('input.number[data-command=supply]').value === '24.5'")
        for command, typed, shown, limits in (
                ("supply", "5000", "24.5", "Supply voltage: 0 to 32 V"), ("supply", "x", "24.5", "Supply voltage: "),
                ("supply", "", "24.5", "Supply voltage: "), ("supply", "-1", "24.5", "Supply voltage: "),
                ("supply", "1.234,5", "24.5", "Supply voltage: "),
                ("jack", "12000,5", "12000", "Jack voltage: 0 to 30000 mV, a whole number")):
            self.set_field(command, typed)
            wait_for(lambda: self.look_of(command)[1] == "true", lambda: f"{command} {typed} to be marked")
            value, _, told = self.look_of(command)
            self.assertEqual(value, shown, f"{command} {typed}")
            self.assertIn(limits, told)
            self.assertEqual(self.box(command), shown)
        self.set_field("supply", "13")
        self.wait_for_box("supply", "13")
        self.assertEqual(self.look_of("supply"), ["13", None, ""])
        self.set_field("jack", "13000")
        self.wait_for_box("jack", "13000")

    def test_a_refusal_of_the_simulator_is_shown_in_the_controls_words(self):
        """As if the two knew different limits."""
        self.simulator.do("signal none", "supply 12")
        self.browser.wait("!document.querySelector('.measure[data-command=signal] input[type=checkbox]').checked")
        self.browser.script("""
            const real = window.fetch;
            window.fetch = (path, options) =>
                real(path, path === '/api/do' ? {...options, body: options.body + ' too many'} : options);""")
        self.browser.click(".measure[data-command=signal] input[type=checkbox]")
        wait_for(lambda: self.look_of("signal")[1] == "true", "the refusal")
        self.assertEqual(self.look_of("signal")[2], "Signal: -100 to -10 dBm, a whole number")
        self.assertFalse(self.browser.script("""
            return document.querySelector('.measure[data-command=signal] input[type=checkbox]').checked"""))
        self.browser.click("input[data-command=activity-alt]")
        self.browser.wait("document.querySelector('input[data-command=activity-alt]').ariaInvalid === 'true'")
        self.assertFalse(self.browser.script(
            "return document.querySelector('input[data-command=activity-alt]').checked"))
        self.set_field("ssid", "Somewhere")
        wait_for(lambda: self.look_of("ssid")[1] == "true", "the refusal")
        self.assertEqual(self.look_of("ssid")[0], self.box("ssid"))
        complaints = self.browser.complaints()
        self.assertTrue(all("400" in complaint for complaint in complaints), complaints)

    def test_empty_absent_and_unreadable_look_different(self):
        for command, path in (("serial", "rodata/serial_number"), ("bluetooth", "rodata/bluetooth_name"),
                              ("firmware-type", "tmp/fw_type_running")):
            path, looks = self.simulator.box(path), []
            with contextlib.suppress(FileNotFoundError):
                os.remove(path)
            # An empty file, none, what is no file; each time something else is the sign that the page knows.
            for number, change in enumerate((lambda: open(path, "w", encoding="ascii").close(),
                                             lambda: os.remove(path), lambda: os.mkfifo(path))):
                change()
                self.simulator.do(f"noise {command}-{number}")
                self.browser.wait("document.querySelector('input[data-command=noise]').value === "
                                  f"'{command}-{number}'")
                shown = self.browser.script(
                    "return document.querySelector('input[data-command=' + arguments[0] + ']').placeholder", command)
                looks.append((shown, *self.look_of(command)))
            self.assertEqual([look[0] for look in looks], ["empty file", "no file", "can’t be read"], command)
            self.assertEqual([look[2] for look in looks], [None, None, "true"], command)
            self.assertIn("can’t be read", looks[2][3])
            self.simulator.do(f"{command} BACK")
            self.browser.wait(f"document.querySelector('input[data-command={command}]').value === 'BACK'")
            self.assertEqual(self.look_of(command), ["BACK", None, ""])

    def test_a_comma_is_a_decimal_sign(self):
        self.set_field("supply", "11,8")
        self.wait_for_box("supply", "11.8")
        self.assertEqual(self.look_of("supply"), ["11.8", None, ""])

    def test_a_station_appears(self):
        self.browser.click("input[data-command=wifi]")
        self.set_field("ssid", "HomeNet")
        self.browser.click(".measure[data-command=signal] input[type=checkbox]")
        self.wait_for_box("signal", "-55")
        self.set_field("signal", "-60")
        self.wait_for_box("signal", "-60")
        self.simulator.do("wait 2600ms")
        self.assert_shows("views/view_station_signal_3", part=slice(0, 16))


class Starts(BrowserTest):
    def restart_as(self, variant):
        self.browser.script("document.querySelector(`input[name=variant][value=${arguments[0]}]`).click()", variant)
        self.browser.click("#restart")
        self.browser.wait("document.getElementById('start-reply').textContent === 'Started.'")

    def test_production_screen(self):
        self.restart_as("production")
        self.simulator.do("wait 600ms")
        self.assert_shows("start/production")

    def test_debug_panel(self):
        self.simulator.do("ssid HomeNet", "signal -55", "noise -92")
        self.restart_as("debug")
        self.simulator.do("wait 2600ms")
        self.assert_shows("start/wifi_debug")
        self.assertEqual(self.simulator.state()["variant"], "debug")
        self.browser.wait("document.querySelector('input[name=variant]:checked').value === 'debug'")

    def test_a_choice_does_not_look_applied(self):
        chosen = "document.querySelector('#start-form').classList.contains('pending')"
        self.assertEqual(self.browser.text("#start-state"), "Runs as Normal.")
        self.assertFalse(self.browser.script("return " + chosen))
        for choose in ("const b = document.querySelector('input[name=variant][value=production]'); b.click()",
                       "document.querySelector('input[name=bare]').click()"):
            self.browser.script(choose)
            self.browser.wait(chosen)
            self.assertIn("Runs as Normal.", self.browser.text("#start-state"))
            self.assertIn("after Restart", self.browser.text("#start-state"))
        self.browser.click("#restart")
        self.browser.wait("document.getElementById('start-state').textContent === "
                          "'Runs as Production in an empty box.'")
        self.assertFalse(self.browser.script("return " + chosen))

    def test_empty_box(self):
        self.browser.click("input[name=bare]")
        self.browser.click("#restart")
        wait_for(lambda: self.simulator.state()["bare"], "the empty box")
        self.browser.wait("document.querySelector('input[data-command=serial]').value === ''")
        self.browser.wait("!document.querySelector('input[data-command=warranty-lock]').checked")

    def log_lines(self):
        return self.browser.script("return [...document.querySelectorAll('#log li:not([hidden]) .text')]"
                                   ".map((e) => e.textContent)")

    def test_the_log_survives_a_restart(self):
        """What led to a restart is what somebody looks for; a page opened later has it too."""
        self.browser.click("#log-clear")
        self.simulator.do("send Error_Code BEFORE-IT", "wait 100ms")
        self.browser.wait("document.getElementById('log').textContent.includes('Error_Code')")
        self.restart_as("production")
        self.browser.wait("document.querySelector('#log li:last-child').textContent.includes('Match rule sent')")
        for _ in range(2):
            lines = self.log_lines()
            before, started = lines.index("Got Signal with value Error_Code"), lines.index("Started: production")
            self.assertLess(before, started)
            self.assertIn("Match rule sent", lines[started:])
            self.open(self.browser)
            self.browser.wait("document.querySelector('#log li:last-child').textContent.includes('Match rule sent')")

    def test_the_log_is_filtered_copied_and_saved(self):
        self.browser.click("#log-clear")
        self.simulator.do("send chan_bt", "send M4_ready", "wait 100ms")
        self.browser.wait("document.getElementById('log').textContent.includes('M4_ready')")
        everything = self.log_lines()
        self.browser.type("#log-filter", "CHAN_b")
        self.browser.wait("document.querySelectorAll('#log li:not([hidden])').length === 1")
        self.assertEqual(self.log_lines(), ["Got Signal with value chan_bt"])
        # What comes while it is filtered is filtered too.
        self.simulator.do("send chan_bt", "send M4_ready", "wait 100ms")
        self.browser.wait("document.querySelectorAll('#log li:not([hidden])').length === 2")
        copied = self.copied("#log-copy")
        self.assertEqual([line.split("\t")[1] for line in copied.splitlines()], ["Got Signal with value chan_bt"] * 2)
        self.assertEqual(self.browser.text("#log-reply"), "Copied 2 lines.")
        self.assertEqual(self.download("#log-save", "status-display.log").decode(), copied)
        self.browser.type("#log-filter", "")
        self.browser.wait("document.querySelectorAll('#log li[hidden]').length === 0")
        self.assertEqual(self.log_lines()[:len(everything)], everything)

    def test_errors_stand_out_in_the_log(self):
        self.simulator.do("send cd_update 60 <b>MAIN</b>", "wait 100ms")
        self.browser.wait("[...document.querySelectorAll('#log .error')].some((e) => "
                          "e.textContent.includes('time to 100/100 is: 60'))")
        self.browser.wait("document.getElementById('log').textContent.includes('fw type is: <b>MAIN</b>')")

    def test_the_log_has_an_end(self):
        """A display that runs for days must not fill the browser; what it shows is the newest."""
        for number in range(400):  # three lines each
            self.simulator.do(f"send cd_update {1000 + number} TYPE-{number}")
        self.simulator.do("wait 500ms")
        self.browser.wait("document.getElementById('log').textContent.includes('fw type is: TYPE-399')")
        lines = self.browser.script("return [...document.querySelectorAll('#log .text')].map((e) => e.textContent)")
        self.assertLessEqual(len(lines), 1000)
        self.assertGreaterEqual(len(lines), 400)
        self.assertEqual(lines[-1], "fw type is: TYPE-399")
        others = [line for line in lines if line != "Got Signal with value cd_update"]
        self.assertEqual(len(set(lines)), len(others) + 1)


class Time(BrowserTest):
    def test_pause_step_and_speed(self):
        before = self.browser.text("#time")
        self.browser.click("#step")
        self.browser.wait(f"document.getElementById('time').textContent !== '{before}'")
        self.browser.script("document.querySelector('input[name=speed][value=\"20\"]').click()")
        self.browser.wait("parseFloat(document.getElementById('time').textContent) > 4")
        self.assertTrue(self.browser.script("return document.getElementById('step').disabled"))
        self.browser.script("document.querySelector('input[name=speed][value=\"0\"]').click()")
        self.browser.wait("document.getElementById('link').textContent === 'Paused'")
        self.assertEqual(self.simulator.state()["speed"], 0)

    def test_it_runs_live(self):
        self.browser.script("document.querySelector('input[name=speed][value=\"1\"]').click()")
        self.press_word("M4_ready")
        self.assert_shows("modes/mode_ready", part=slice(50, 66))


# Read from a copy, for reading would change how the browser keeps the page's own.
IMAGE_OF = """
const imageOf = (canvas, {width, height} = canvas) => {
  const copy = Object.assign(document.createElement('canvas'), {width, height});
  const context = copy.getContext('2d', {willReadFrequently: true});
  context.drawImage(canvas, 0, 0);
  return context.getImageData(0, 0, width, height);
};
"""


class Closer(BrowserTest):
    """A panel looked at closely."""

    def setUp(self):
        super().setUp()
        self.simulator.do("send chan_usb", "wait 601ms")
        self.assert_shows("views/view_usb")

    def enlarged(self, scale):
        """The dialog's canvas as rows of '0' and '1', from the middle of each pixel, where no line of the grid is."""
        return self.browser.script(IMAGE_OF + """
            const {data, width, height} = imageOf(document.getElementById('closer-canvas'));
            const scale = arguments[0], middle = scale >> 1, rows = [];
            for (let y = middle; y < height; y += scale) {
              let row = '';
              for (let x = middle; x < width; x += scale) row += data[(y * width + x) * 4] > 100 ? '1' : '0';
              rows.push(row);
            }
            return rows;""", scale)

    def zoom(self):
        return int(self.browser.text("#closer-zoom").rstrip("×"))

    def test_it_shows_the_panel_and_follows_it(self):
        for view in VIEWS:
            self.browser.click(f"#closer-{view}")
            self.assertGreaterEqual(self.zoom(), 4)
            self.assertEqual(self.enlarged(self.zoom()), golden(view, "views/view_usb"))
            self.browser.press("Escape")
            self.browser.wait("!document.getElementById('closer').open")
            self.browser.wait(f"document.activeElement.id === 'closer-{view}'")
        self.browser.click("#panel-layout")
        self.simulator.do("send chan_bt", "wait 601ms")
        wait_for(lambda: self.enlarged(self.zoom())[:16] == golden("layout", "views/view_bluetooth")[:16],
                 "the enlarged panel to follow")
        self.browser.wait("document.querySelector('#closer-texts li')?.textContent === 'BLUETOOTH'")
        self.browser.click("#closer-close")

    def test_zoom_and_grid(self):
        self.browser.click("#closer-layout")
        fits = self.zoom()
        self.browser.click("#closer-in")
        self.assertEqual(self.zoom(), fits + 1)
        self.assertEqual(self.browser.script("return document.getElementById('closer-canvas').width"), 128 * (fits + 1))
        between = IMAGE_OF + """
            const {data, width} = imageOf(document.getElementById('closer-canvas'));
            const scale = arguments[0];
            const pixel = ((2 * scale + 3) * width + 3 * scale) * 4;
            return [...data].slice(pixel, pixel + 3);"""
        dark = [5, 8, 12]
        self.assertNotEqual(self.browser.script(between, fits + 1), dark)
        self.browser.click("#closer-grid")
        self.assertEqual(self.browser.script(between, fits + 1), dark)
        self.browser.click("#closer-grid")
        for size in range(fits, 0, -1):
            self.browser.click("#closer-out")
            self.assertEqual(self.zoom(), size)
        self.assertTrue(self.browser.script("return document.getElementById('closer-out').disabled"))
        self.assertEqual(self.enlarged(1), golden("layout", "views/view_usb"))
        self.browser.click("#closer-close")

    def test_coordinates(self):
        rows = golden("layout", "views/view_usb")
        y = next(y for y, row in enumerate(rows) if "1" in row)
        x = rows[y].index("1")
        point = """const canvas = document.querySelector(arguments[0]), box = canvas.getBoundingClientRect();
                   const {clientWidth: wide, clientHeight: high} = canvas;
                   canvas.dispatchEvent(new PointerEvent('pointermove', {bubbles: true,
                     clientX: box.left + (arguments[1] + 0.5) * wide / 128,
                     clientY: box.top + (arguments[2] + 0.5) * high / 66}));"""
        self.browser.script(point, "#panel-layout", x, y)
        self.assertEqual(self.browser.text("#at-layout"), f"x {x}, y {y}")
        self.browser.script("document.getElementById('panel-layout').dispatchEvent(new PointerEvent('pointerleave'))")
        self.assertEqual(self.browser.text("#at-layout"), "128 × 66")
        self.browser.click("#closer-layout")
        self.browser.script(point, "#closer-canvas", x, y)
        self.assertEqual(self.browser.text("#closer-at"), f"x {x}, y {y}: lit")
        self.browser.script(point, "#closer-canvas", 127, 65)
        self.assertEqual(self.browser.text("#closer-at"), "x 127, y 65: dark")
        # The keys begin in the corner and stay within.
        self.browser.script("document.getElementById('closer-canvas').focus()")
        self.browser.press("ArrowUp", "ArrowUp", *["ArrowRight"] * (x + 1), *["ArrowLeft"] * 1)
        self.assertEqual(self.browser.text("#closer-said"), f"x {x}, y 0: dark")
        self.browser.click("#closer-close")

    def test_saved_and_copied(self):
        self.browser.click("#closer-layout")
        for scale in (1, 16):
            self.browser.script("const s = document.getElementById('closer-scale'); s.value = arguments[0];"
                                "s.dispatchEvent(new Event('change'))", str(scale))
            saved = decode_png(self.download("#closer-save", "layout.png"))
            self.assertEqual(len(saved), 66 * scale)
            self.assertEqual(shrunk(saved, scale), golden("layout", "views/view_usb"))
        self.browser.allow_clipboard()
        self.browser.click("#closer-copy")
        self.browser.wait("document.getElementById('closer-reply').textContent === 'Copied, 2048 × 1056 pixels.'")
        self.browser.script("navigator.clipboard.read().then(async ([item]) => { const picture = await "
                            "createImageBitmap(await item.getType('image/png')); "
                            "window.pasted = [picture.width, picture.height]; })")
        self.assertEqual(self.browser.wait("window.pasted"), [2048, 1056])
        self.browser.click("#closer-close")

    def test_texts_are_read_out_when_asked_for(self):
        """A list beside each panel describes it, and no live region: the voltage alone would talk all the time."""
        wanted = ["USB", "12.4v", "Max. 12.4", "Min. 12.4", "AUTOCHECK..."]
        look = """const panel = document.getElementById('panel-layout');
                  const list = document.getElementById(panel.getAttribute('aria-describedby'));
                  return [[...list.children].map((e) => e.textContent),
                          !!list.closest('[aria-live], [role=status]')];"""
        wait_for(lambda: self.browser.script(look) == [wanted, False], lambda: self.browser.script(look))
        self.assertEqual(self.simulator.json("/api/texts"), {"layout": wanted, "device": ["U", "12.4", "AUTOC"]})
        # Nothing that changes by itself several times a second is announced.
        self.browser.script("""window.spoken = [];
            const live = '[aria-live=polite], [aria-live=assertive], [role=status], [role=alert], output';
            for (const region of document.querySelectorAll(live)) {
              new MutationObserver(() => { window.spoken.push(`${region.id}: ${region.textContent}`); }).observe(region, {childList: true, subtree: true,
                                                                                 characterData: true});
            }""")
        before = float(self.browser.text("#time").split()[0])
        self.simulator.speed(1)
        self.browser.wait(f"parseFloat(document.getElementById('time').textContent) > {before} + 2")
        self.assertEqual(self.browser.script("return window.spoken"), ["link: Running"])


class Saving(BrowserTest):
    def test_pictures(self):
        self.simulator.do("send chan_usb", "wait 601ms")
        self.assert_shows("views/view_usb")
        for view in VIEWS:
            saved = shrunk(decode_png(self.download(f"#png-{view}", f"{view}.png")), 4)
            self.assertEqual(saved, self.browser.panel(view))

    def test_a_picture_without_a_recording_is_saved(self):
        self.simulator.do("send chan_usb", "wait 601ms")
        self.assert_shows("views/view_usb")
        wanted = self.simulator.request("/api/picture.png?view=both&scale=4")[2]
        self.browser.type("#picture-form input", "the-channel")
        self.assertEqual(self.download("#picture-form button", "the-channel.png"), wanted)
        self.assertIn("the-channel.png", self.browser.text("#record-reply"))
        for number in (1, 2):  # never twice the same name
            self.assertEqual(self.download("#picture-form button", f"picture-{number}.png"), wanted)

    def test_a_note_needs_a_recording(self):
        look = """const {input, button} = Object.fromEntries([...document.querySelectorAll('#note-form > *')].map(
                      (part) => [part.localName, part]));
                  return [input.disabled, button.disabled,
                          document.getElementById('note-reason').checkVisibility()];"""
        self.assertEqual(self.browser.script(look), [True, True, True])
        self.assertIn("needs a recording", self.browser.text("#note-reason"))
        self.browser.click("#record")
        self.browser.wait("document.getElementById('record').textContent === 'Stop'")
        self.assertEqual(self.browser.script(look), [False, False, False])
        self.browser.click("#record")
        self.browser.wait("document.getElementById('record').textContent === 'Record'")
        self.assertEqual(self.browser.script(look), [True, True, True])

    def test_a_recording_plays_back_to_the_same_pictures(self):
        self.browser.click("#record")
        self.browser.wait("document.getElementById('record').textContent === 'Stop'")
        self.browser.type("#note-form input", "The channel, then a message")
        self.browser.press("Enter")
        self.browser.wait("document.getElementById('scenario').textContent.includes('note The channel')")
        seen = {}
        for number, words in enumerate((["chan_vpn", "REC_ON"], ["M4_COMM", "Check_Igni"], ["clear_msg", "p_off"]), 1):
            self.browser.script("document.querySelector('input[name=speed][value=\"5\"]').click()")
            self.browser.wait("document.getElementById('link').textContent === 'Running'")
            for word in words:
                self.press_word(word)
            before = float(self.browser.text("#time").split()[0])
            self.browser.wait(f"parseFloat(document.getElementById('time').textContent) > {before + 1}")
            self.browser.script("document.querySelector('input[name=speed][value=\"0\"]').click()")
            self.browser.wait("document.getElementById('link').textContent === 'Paused'")
            self.browser.type("#picture-form input", f"step-{number}")
            self.browser.press("Enter")
            self.browser.wait(f"document.getElementById('scenario').textContent.includes('picture step-{number}')")
            seen[f"step-{number}"] = {view: self.browser.panel(view) for view in VIEWS}
        self.browser.click("#record")
        self.browser.wait("document.getElementById('record').textContent === 'Record'")
        self.assertEqual(len({str(both) for both in seen.values()}), 3)
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "recorded.scenario")
            with open(path, "wb") as file:
                file.write(self.download("#download", "recorded.scenario"))
            played = subprocess.run([PROGRAM, "play", path, "--out", folder], capture_output=True, text=True,
                                    check=False)
            self.assertEqual(played.returncode, 0, played.stdout + played.stderr)
            for name, both in seen.items():
                for view in VIEWS:
                    self.assertEqual(load_pbm(os.path.join(folder, f"{name}-{view}.pbm")), both[view], f"{name} {view}")

    def test_pictures_get_names_of_their_own(self):
        self.browser.click("#record")
        self.browser.wait("document.getElementById('record').textContent === 'Stop'")
        for number in (1, 2):
            self.browser.click("#picture-form button")
            line = f"picture picture-{number}\\n"
            self.browser.wait(f"document.getElementById('scenario').textContent.includes('{line}')")
        self.open(self.browser)  # the page comes back and knows nothing of what it did before
        self.browser.wait("document.getElementById('scenario').textContent.includes('picture picture-2')")
        self.browser.wait("document.querySelector('#picture-form input').placeholder === 'picture-3'")
        self.browser.click("#picture-form button")
        self.browser.wait("document.getElementById('scenario').textContent.includes('picture picture-3\\n')")
        self.browser.click("#record")
        self.browser.wait("document.getElementById('record').textContent === 'Record'")


class Several(BrowserTest):
    def test_two_browsers_see_the_same(self):
        other = self.driver.browser(1000, 900)
        self.addCleanup(other.close)
        self.open(other)
        self.press_word("chan_usb")
        self.simulator.do("wait 601ms")
        for browser in (self.browser, other):
            self.assert_shows("views/view_usb", browser)
        self.press_word("chan_ap", other)
        self.simulator.do("wait 100ms")
        for browser in (self.browser, other):
            self.assert_shows("views/view_hotspot", browser, slice(0, 16))
            browser.wait("document.getElementById('log').textContent.includes('chan_ap')")
        other.script("const box = document.querySelector('input[data-command=hotspot]'); box.click()")
        self.browser.wait("!document.querySelector('input[data-command=hotspot]').checked")

    def test_the_end_and_the_return(self):
        simulator = Simulator()
        self.browser.open(simulator.address)
        self.browser.wait("document.getElementById('link').textContent === 'Running'")
        simulator.close()
        self.browser.wait("document.getElementById('link').textContent === 'Not connected'")
        returned = Simulator("--port", str(simulator.port))
        self.addCleanup(returned.close)
        self.browser.wait("document.getElementById('link').textContent === 'Running'", "the page to come back")
        self.browser.open("about:blank")
        self.browser.complaints()  # of the lost connection, of which the browser tells by itself

    def lost(self):
        return self.browser.script("""
            return [!document.getElementById('lost').hidden,
                    [...document.querySelector('main').children].every((e) => e.inert),
                    document.querySelector('.running').inert, getComputedStyle(document.querySelector('main')).opacity];
            """)

    def test_lost_contact_is_seen(self):
        simulator = Simulator()
        self.browser.open(simulator.address)
        self.browser.wait("document.getElementById('link').textContent === 'Running'")
        self.assertEqual(self.lost(), [False, False, False, "1"])
        simulator.close()
        self.browser.wait("document.body.classList.contains('lost')")
        self.assertEqual(self.lost()[:3], [True, True, True])
        self.assertLess(float(self.lost()[3]), 0.6)
        self.assertIn("does not answer", self.browser.text("#lost"))
        returned = Simulator("--port", str(simulator.port))
        self.addCleanup(returned.close)
        self.browser.wait("!document.body.classList.contains('lost')", "the page to come back")
        self.assertEqual(self.lost(), [False, False, False, "1"])
        returned.process.send_signal(signal.SIGSTOP)
        self.addCleanup(returned.process.send_signal, signal.SIGCONT)
        self.browser.wait("document.body.classList.contains('lost')", "the silence to be noticed")
        returned.process.send_signal(signal.SIGCONT)
        self.browser.wait("!document.body.classList.contains('lost')", "the page to come back")
        self.browser.open("about:blank")
        self.browser.complaints()

    def test_too_many_pages_are_told_and_wait_for_their_turn(self):
        simulator = Simulator()
        self.addCleanup(simulator.close)
        streams = []
        with contextlib.suppress(urllib.error.HTTPError):
            while len(streams) < 40:
                streams.append(urllib.request.urlopen(simulator.address + "events"))
        self.browser.open(simulator.address)
        self.browser.wait("document.getElementById('lost').textContent.includes('Too many pages')")
        self.assertEqual(self.lost()[:3], [True, True, True])
        for stream in streams:
            stream.close()
        self.browser.wait("!document.body.classList.contains('lost')", "a place to be free")
        self.browser.open("about:blank")
        self.browser.complaints()

    def test_a_vocabulary_that_could_not_be_fetched_is_told(self):
        self.browser.devtools("Network.enable")
        self.browser.devtools("Network.setBlockedURLs", urls=["*/api/vocabulary"])
        self.addCleanup(self.browser.devtools, "Network.setBlockedURLs", urls=[])
        self.browser.open(self.simulator.address)
        self.browser.wait("document.getElementById('lost').textContent.includes('could not be fetched')")
        self.assertEqual(self.lost()[:3], [True, True, True])
        self.browser.devtools("Network.setBlockedURLs", urls=[])
        self.browser.wait("document.querySelectorAll('button.word').length > 0")
        self.browser.wait("document.getElementById('link').textContent === 'Paused'")
        self.assertEqual(self.lost()[:3], [False, False, False])
        self.browser.complaints()


class Looks(BrowserTest):
    def test_pixels_are_whole_squares(self):
        for width in (420, 900, 1440, 1900):
            self.browser.call("POST", "/window/rect", {"width": width, "height": 1000})
            for view in VIEWS:
                scale = self.browser.script("""
                    const canvas = document.getElementById('panel-' + arguments[0]);
                    const {width, height} = canvas.getBoundingClientRect();
                    if (getComputedStyle(canvas).imageRendering !== 'pixelated') throw new Error('not crisp');
                    return [width / canvas.width, height / canvas.height];""", view)
                self.assertEqual(scale[0], scale[1])
                self.assertEqual(scale[0], int(scale[0]))
            wider = self.browser.script("return document.documentElement.scrollWidth - innerWidth")
            self.assertLessEqual(wider, 0, f"{width} wide: it must not scroll sideways")
        self.browser.call("POST", "/window/rect", {"width": 1440, "height": 1100})

    def test_text_is_readable_in_light_and_dark(self):
        for scheme in ("light", "dark"):
            self.browser.color_scheme(scheme)
            poor = self.browser.script("""
                const channel = (v) => (v /= 255) <= 0.03928 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4;
                const light = ([r, g, b]) => 0.2126 * channel(r) + 0.7152 * channel(g) + 0.0722 * channel(b);
                const parts = (colour) => colour.match(/[\\d.]+/g).map(Number);
                const ground = (e) => {
                  for (; e; e = e.parentElement) {
                    const colour = parts(getComputedStyle(e).backgroundColor);
                    if (colour.length < 4 || colour[3] > 0.99) return colour;
                  }
                  return [255, 255, 255];
                };
                const poor = [];
                for (const e of document.querySelectorAll('body *')) {
                  const own = [...e.childNodes].some((n) => n.nodeType === 3 && n.textContent.trim());
                  if (!own || e.disabled || !e.checkVisibility()) continue;
                  const pair = [light(parts(getComputedStyle(e).color)), light(ground(e))].sort((a, b) => b - a);
                  const contrast = (pair[0] + 0.05) / (pair[1] + 0.05);
                  if (contrast < 4.5) poor.push(`${e.outerHTML.slice(0, 80)}: ${contrast.toFixed(2)}`);
                }
                return poor;""")
            self.assertEqual(poor, [], scheme)
        self.browser.devtools("Emulation.setEmulatedMedia", features=[])


if __name__ == "__main__":
    unittest.main(verbosity=2)
