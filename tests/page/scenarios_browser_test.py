#!/usr/bin/env python3
"""Scenarios, the gallery and copies in a headless Chromium: chosen, dropped, linked, played by mouse and by keys, and
what the page says and shows then."""

import base64
import json
import os
import subprocess
import tempfile
import unittest
import zlib

from browser import ELEMENT, Driver
from looks_test import EDGE, EDGES, IN_VIEW, SCRIPT, TARGET, TARGETS, TEXT, TEXTS
from own_tree import OwnTree
from simulator import PROGRAM, VIEWS, Simulator, decode_png, golden, load_pbm, wait_for, without_activity_icon

LONG_WAIT = "start\nwait 10m\nsend chan_bt\nwait 1s\n"
SPOILT = "power_fails/down-layout.pbm"


def linked(text):
    """What a link holds for that scenario."""
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    data = packer.compress(text.encode()) + packer.flush()
    return "#scenario=" + base64.urlsafe_b64encode(data).decode().rstrip("=")


class ScenarioPage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tree = OwnTree()
        cls.addClassCleanup(cls.tree.cleanup)
        cls.driver = Driver()
        cls.addClassCleanup(cls.driver.close)
        cls.browser = cls.driver.browser()

    def setUp(self):
        self.simulator = self.tree.simulator()
        self.addCleanup(self.simulator.close)
        self.simulator.speed(0)
        self.open()

    def open(self, fragment=""):
        self.browser.open("about:blank")
        self.browser.open(self.simulator.address + fragment)
        self.browser.wait("document.getElementById('link').textContent === 'Paused'")
        self.browser.wait("document.querySelectorAll('#scenario-choice option').length > 10")

    def folder(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        return folder.name

    def choose(self, name):
        self.browser.script("""
            const choice = document.getElementById('scenario-choice');
            choice.value = arguments[0];
            choice.dispatchEvent(new Event('change', {bubbles: true}));""", f"stored:{name}")
        first = self.tree.read(f"{name}.scenario").split("\n", 1)[0].lstrip("# ")
        self.browser.wait(f"document.querySelector('#scenario-lines .comment')?.textContent === {json.dumps(first)}")

    def take_files(self, *paths):
        field = self.browser.find("#scenario-files")[ELEMENT]
        self.browser.call("POST", f"/element/{field}/value", {"text": "\n".join(paths)})

    def drop(self, **texts):
        """Files let go over the card."""
        self.browser.script("""
            const data = new DataTransfer();
            for (const [name, text] of Object.entries(arguments[0])) {
              data.items.add(new File([text], name.replace('__', '.').replace('_-', '-')));
            }
            const card = document.getElementById('scenarios');
            for (const type of ['dragenter', 'dragover', 'drop']) {
              card.dispatchEvent(new DragEvent(type, {dataTransfer: data, bubbles: true, cancelable: true}));
            }""", texts)

    def reply(self, what):
        self.browser.wait(f"document.getElementById('scenario-reply').textContent.includes({json.dumps(what)})",
                          lambda: f"the reply {what!r}; it is {self.browser.text('#scenario-reply')!r}")

    def where(self, what):
        self.browser.wait(f"document.getElementById('scenario-where').textContent.includes({json.dumps(what)})",
                          lambda: f"the place {what!r}; it is {self.browser.text('#scenario-where')!r}")

    def mark(self, line):
        return self.browser.text(f"li[data-line='{line}'] .mark")

    def assert_shows(self, name):
        for view in VIEWS:
            wanted = without_activity_icon(golden(view, name), view)
            wait_for(lambda: without_activity_icon(self.browser.panel(view), view) == wanted,
                     lambda: f"{name} on the {view}'s canvas")

    def assert_untouched(self):
        """Nothing has been sent or started and no time has passed since the simulator began to stand."""
        self.assertEqual(self.simulator.json("/api/player")["name"], "")
        self.assertEqual([line for line in self.simulator.log() if line.startswith("Got Signal")], [])


class Playing(ScenarioPage):
    def test_a_stored_one_to_its_end(self):
        self.choose("power_fails")
        self.where("46 lines. Nothing happens until you play it.")
        self.assert_untouched()
        self.assertEqual((self.mark(9), self.mark(16)), ("expected", "expected"))
        self.browser.click("#scenario-end")
        self.reply("Played to the end: 6 comparisons as expected.")
        self.where("46 of 46 lines done. Time stands still.")
        self.assertEqual((self.mark(9), self.mark(16), self.mark(15)), ("as expected", "as expected", "picture"))
        self.browser.click("li[data-line='16'] .line")
        self.where("Line 16; ")
        self.assert_shows("power_fails/down")
        self.assertEqual(self.browser.script("return document.querySelector('[aria-current=step]').textContent"),
                         "expect power_fails/down")
        self.assertEqual(self.mark(30), "expected")

    def test_at_the_speed_of_the_page_and_paused_in_a_wait(self):
        self.drop(long__scenario=LONG_WAIT)
        self.where("4 lines.")
        self.browser.click("#speeds label:nth-child(4)")
        self.browser.wait("state.speed === 20")
        self.browser.click("#scenario-play")
        self.where("in the wait of line 2")
        self.assertEqual(self.browser.text("#scenario-play"), "Pause")
        self.browser.click("button[data-word=chan_usb]")
        self.browser.wait("document.getElementById('sent').textContent.includes('is playing; pause it first')")
        self.browser.wait("parseFloat(document.getElementById('time').textContent) > 2")
        self.browser.click("#scenario-play")
        self.where("in the wait of line 2; 1 of 4 lines done. Time stands still.")
        self.assertEqual(self.browser.text("#scenario-play"), "Play")
        stood = self.browser.text("#time")
        self.assertLess(float(stood.split()[0]), 500)
        self.browser.click("#scenario-step")
        self.where("Line 2; ")
        self.browser.wait("document.getElementById('time').textContent === '600.0 s'")
        self.browser.click("#scenario-back")
        self.where("Line 1; ")
        self.browser.wait("document.getElementById('time').textContent === '0.0 s'")

    def test_by_keys_alone(self):
        self.choose("modes")
        self.browser.script("document.getElementById('scenario-end').focus()")
        self.browser.press("Tab")
        self.assertEqual(self.browser.script("return document.activeElement.textContent"), "note nothing said yet")
        self.browser.press(*["ArrowDown"] * 7, "Enter")
        self.where("Line 10; ")
        self.assert_shows("modes/mode_ready")
        self.browser.press("ArrowRight")
        self.assertEqual(self.browser.script("return document.activeElement.textContent"), "as expected")
        self.browser.press("Enter")
        self.browser.wait("document.querySelectorAll('.pictures img').length === 2")
        self.browser.press("Enter", "ArrowLeft", "ArrowUp", "Enter")
        self.where("Line 9; ")
        self.assertEqual(self.browser.script("return document.querySelectorAll('.pictures').length"), 0)
        # The next stop of the Tab key lies behind the lines.
        self.browser.press("Tab")
        self.assertFalse(self.browser.script("return document.activeElement.closest('#scenario-lines') !== null"))

    def test_a_wait_that_is_not_met(self):
        self.drop(own__scenario="start\nsend M4_COMM\n# so it is\nwait mode DOIP\nsend chan_bt\n")
        self.where("4 lines.")
        self.browser.click("#scenario-end")
        self.reply("Line 4 was not met; the run ends there.")
        problem = self.browser.text("li[data-line='4'] .problem")
        self.assertIn('the mode row does not show "DOIP" within 10 s; it shows:', problem)
        self.browser.click("li[data-line='2'] .line")
        self.where("Line 2; ")
        self.browser.wait("document.querySelector('.problem') === null")

    def test_what_is_said_aloud_does_not_chatter(self):
        """One sentence when a run ends, however many lines it has."""
        self.choose("modes")
        self.browser.script("""
            window.said = [];
            for (const place of document.querySelectorAll('#scenarios [role=status], #scenarios [aria-live]')) {
              new MutationObserver(() => said.push(place.textContent)).observe(place, {childList: true, subtree: true});
            }""")
        self.browser.click("#scenario-end")
        self.reply("Played to the end: 12 comparisons as expected.")
        self.assertEqual(self.browser.script("return said.filter((text) => text !== '')"),
                         ["Played to the end: 12 comparisons as expected."])

    def test_others_see_what_is_played(self):
        self.simulator.request("/api/player/open", "voltage")
        self.browser.wait("document.getElementById('scenario-choice').value === 'stored:voltage'")
        self.choose("modes")
        self.simulator.request("/api/player/go", "end")
        self.where("Nothing happens until you play it.")

    def test_what_else_happens_is_told(self):
        self.choose("modes")
        self.browser.click("li[data-line='10'] .line")
        self.where("Line 10; ")
        self.browser.click("button[data-word=chan_bt]")
        self.where("Since then: send chan_bt. The next move plays again from a fresh box.")
        self.browser.click("#scenario-step")
        self.where("Line 12; ")

    def test_film_and_pictures_can_be_saved(self):
        self.choose("power_fails")
        self.browser.click("#scenario-end")
        self.reply("Played to the end")
        self.browser.click("#scenario-film")
        film = self.downloaded("power_fails-film.png")
        self.assertEqual(film, self.simulator.request("/api/player/film.png")[2])
        self.browser.click("li[data-line='15'] .mark")
        self.browser.wait("document.querySelectorAll('li[data-line=\"15\"] img').length === 2")
        self.browser.script("document.querySelector('li[data-line=\"15\"] a').scrollIntoView({block: 'center'})")
        self.browser.click("li[data-line='15'] .strip:nth-child(2) a")
        rows = decode_png(self.downloaded("down-layout.png"))
        self.assertEqual(rows[::4][0][::4], golden("layout", "power_fails/down")[0])

    def downloaded(self, name):
        path = os.path.join(self.browser.downloads, name)
        wait_for(lambda: os.path.exists(path), f"the download of {name}")
        with open(path, "rb") as file:
            return file.read()


class OwnFiles(ScenarioPage):
    def test_a_wrong_line_is_told(self):
        self.drop(mine__scenario="start\nsend chan_bluetooth\n")
        self.reply("mine:2: 'chan_bluetooth' is no display command; ")
        self.assertTrue(self.browser.script("return document.getElementById('scenario-keys').hidden"))
        self.assert_untouched()

    def test_what_is_too_long_and_what_is_none(self):
        self.drop(mine__scenario="#" * 65537)
        self.reply("mine.scenario is longer than 64 KiB.")
        self.drop(mine__pbm="P1 1 1 1")
        self.reply("There is no scenario among them")
        self.assertEqual(self.browser.script("return shown"), None)

    def test_a_picture_that_is_not_there_yet(self):
        with open(self.tree.path("fresh.scenario"), "w", encoding="ascii") as file:
            file.write("# A new one\nstart\nwait 1s\nexpect fresh/first-layout.pbm\n")
        self.addCleanup(os.remove, self.tree.path("fresh.scenario"))
        self.open()
        self.choose("fresh")
        self.browser.click("li[data-line='4'] .mark")
        self.browser.wait("document.querySelector('.pictures').textContent.includes('There is no picture')")
        self.browser.click("#scenario-end")
        self.reply("1 of 1 comparison not as expected")
        self.assertEqual(self.mark(4), "no picture")
        self.browser.script("document.querySelector('.pictures button').scrollIntoView({block: 'center'})")
        self.browser.click(".pictures button")
        self.reply("Line 4: wrote ")
        self.assertEqual(load_pbm(self.tree.path("fresh/first-layout.pbm")), self.browser.panel("layout"))
        self.browser.wait("document.querySelector(\"li[data-line='4'] .mark\").textContent === 'as expected'")

    def test_with_its_pictures_from_a_folder(self):
        folder = self.folder()
        for name, text in (("own.scenario", "start\nsend chan_bt\nwait 601ms\nexpect pictures/bt\n"),
                           ("bt-layout.pbm", self.tree.read("views/view_bluetooth-layout.pbm")),
                           ("bt-device.pbm", self.tree.read("views/view_usb-device.pbm"))):
            with open(os.path.join(folder, name), "w", encoding="ascii") as file:
                file.write(text)
        self.take_files(*(os.path.join(folder, name) for name in sorted(os.listdir(folder))))
        self.where("4 lines.")
        self.browser.wait("document.getElementById('scenario-choice').value === 'own:own'")
        self.browser.click("#scenario-end")
        self.reply("1 of 1 comparison not as expected")
        self.assertRegex(self.mark(4), r"^\d+ pixels differ$")
        captions = self.browser.script(
            "return [...document.querySelectorAll('.strip')].map((s) => s.textContent)")
        self.assertEqual(captions, ["ExpectedShownDifference", "Shown, as expected"])
        # It may not be written anywhere, but taken along.
        links = self.browser.script("return [...document.querySelectorAll('.pictures a')].map((a) => a.download)")
        self.assertEqual(links, ["bt-device.pbm", "bt-layout.pbm"])
        self.browser.script("document.querySelector('.pictures a').scrollIntoView({block: 'center'})")
        self.browser.click(".pictures a")
        path = os.path.join(self.browser.downloads, "bt-device.pbm")
        wait_for(lambda: os.path.exists(path), "the download")
        self.assertEqual(load_pbm(path)[:16], golden("device", "views/view_bluetooth")[:16])

    def test_a_folder_let_go_over_the_card(self):
        folder = os.path.join(self.folder(), "of_mine")
        os.makedirs(os.path.join(folder, "power_fails"))
        for name in ("power_fails.scenario", "power_fails/down-device.pbm", SPOILT):
            with open(os.path.join(folder, name), "w", encoding="ascii") as file:
                file.write(self.tree.read(name))
        self.browser.script("document.getElementById('scenarios').scrollIntoView({block: 'center'})")
        x, y = self.browser.script("""
            const {left, top, width} = document.getElementById('scenarios').getBoundingClientRect();
            return [left + width / 2, top + 10];""")
        for kind in ("dragEnter", "dragOver", "drop"):
            self.browser.devtools("Input.dispatchDragEvent", type=kind, x=x, y=y,
                                  data={"items": [], "files": [folder], "dragOperationsMask": 1})
        self.where("46 lines.")
        self.assertEqual(self.browser.script("return [...shown.pictures.keys()].sort()"),
                         ["power_fails/down-device.pbm", SPOILT])
        self.assert_untouched()
        self.browser.click("li[data-line='16'] .line")
        self.where("Line 16; ")
        self.browser.wait("document.querySelector(\"li[data-line='16'] .mark\").textContent === 'as expected'")

    def test_text_is_text(self):
        self.drop(own__scenario="# <img src=x onerror=document.title='bad'>\nnote <b>bold</b>\nstart\n")
        self.where("2 lines.")
        made = "return document.querySelectorAll('#scenario-lines :is(b, img)').length"
        self.assertEqual(self.browser.script(made), 0)
        self.assertEqual(self.browser.text("#scenario-lines .line"), "note <b>bold</b>")


class Differences(ScenarioPage):
    def setUp(self):
        super().setUp()
        self.right = self.tree.spoil(SPOILT)
        self.addCleanup(self.tree.write, SPOILT, self.right)

    def test_it_is_shown_and_taken_over(self):
        self.choose("power_fails")
        self.browser.click("#scenario-end")
        self.reply("1 of 6 comparisons not as expected")
        self.assertEqual(self.mark(16), "2 pixels differ")
        loaded = "[...document.querySelectorAll('.pictures img')].every((i) => i.complete && i.naturalWidth > 0)"
        self.browser.wait("document.querySelectorAll('.pictures img').length === 4 && " + loaded)
        self.assertIn(f"simulator/scenarios/power_fails/down-device.pbm and {SPOILT}", self.browser.text(".pictures"))
        self.browser.script("document.querySelector('.pictures button').scrollIntoView({block: 'center'})")
        self.browser.click(".pictures button")
        self.reply(f"Line 16: wrote {os.path.realpath(self.tree.path(SPOILT))}.")
        self.browser.wait("document.querySelector(\"li[data-line='16'] .mark\").textContent === 'as expected'")
        self.assertEqual(self.tree.read(SPOILT), self.right)

    def test_it_is_not_written_beside_installed_ones(self):
        installed = OwnTree(installed=True)
        self.addCleanup(installed.cleanup)
        installed.spoil(SPOILT)
        simulator = installed.simulator()
        self.addCleanup(simulator.close)
        self.simulator = simulator
        simulator.speed(0)
        self.open()
        self.choose("power_fails")
        self.browser.click("li[data-line='16'] .line")
        self.browser.wait("document.querySelector('.mark.bad') !== null")
        self.assertIn("Nothing can be written here: the stored scenarios are installed ones",
                      self.browser.text(".pictures"))
        self.assertEqual(self.browser.script("return document.querySelectorAll('.pictures button').length"), 0)
        self.assertEqual(self.browser.script("return document.querySelectorAll('.pictures a').length"), 2)


class Gallery(ScenarioPage):
    def show(self):
        self.browser.click("#gallery-show")
        self.browser.wait("document.querySelectorAll('.thumb').length > 50")

    def test_a_click_brings_the_box_there(self):
        self.show()
        names = self.browser.script("return [...document.querySelectorAll('#gallery h3')].map((h) => h.textContent)")
        self.assertEqual(names[:3], ["Start-up", "Channels", "Modes"])
        self.simulator.speed(5)
        self.browser.script("document.querySelector('[data-state=\"modes:10\"]').scrollIntoView({block: 'center'})")
        self.browser.click("[data-state='modes:10']")
        self.browser.wait("document.getElementById('gallery-reply').textContent.startsWith('“Mode ready”')")
        self.assert_shows("modes/mode_ready")
        self.where("Line 10; ")
        self.where("Since then: time went on.")
        self.assertEqual(self.simulator.state()["speed"], 5)

    def test_by_keys_and_with_the_devices_pictures(self):
        self.show()
        self.browser.click("#gallery-view label:nth-child(2)")
        self.browser.wait("document.querySelector('.thumb img').src.endsWith('-device.pbm')")
        self.browser.script("document.querySelector('[data-state=\"views:5\"]').focus()")
        self.browser.press("Enter")
        self.browser.wait("document.getElementById('gallery-reply').textContent.includes('in a fresh box')")
        self.assertEqual(self.simulator.json("/api/player")["line"], 5)
        images = "[...document.querySelectorAll('.thumb img')].slice(0, 4)"
        self.browser.wait(f"{images}.every((image) => image.complete && image.naturalWidth === 64)")


class Copies(ScenarioPage):
    LINES = ("supply 11.8", "start normal", "send chan_bt", "wait 700ms", "send M4_COMM", "wait 1300ms")

    def setUp(self):
        super().setUp()
        self.simulator.do(*self.LINES)

    def copy(self, form):
        """Presses it; what lies on the clipboard then."""
        self.browser.script("""
            document.getElementById('copy-reply').textContent = '';
            window.onClipboard = null;
            navigator.clipboard.writeText = async (text) => { window.onClipboard = text; };""")
        self.browser.click(f"#copy-forms button[value={form}]")
        self.browser.wait("document.getElementById('copy-reply').textContent.startsWith('Copied as')")
        text = self.browser.script("return window.onClipboard")
        self.assertEqual(self.browser.text("#copied"), text)
        return text

    def test_a_scenario_plays_to_the_same_picture(self):
        folder = self.folder()
        path = os.path.join(folder, "copied.scenario")
        with open(path, "w", encoding="utf-8") as file:
            file.write(self.copy("scenario"))
        subprocess.run([PROGRAM, "play", path, "--out", folder], check=True, capture_output=True, timeout=120)
        for view in VIEWS:
            self.assertEqual(load_pbm(os.path.join(folder, f"here-{view}.pbm")), self.browser.panel(view))

    def test_each_form(self):
        self.assertIn("/api/do\n", self.copy("curl"))
        self.assertIn("export DBUS_SYSTEM_BUS_ADDRESS=", self.copy("dbus-send"))
        self.assertIn("displayctl send M4_COMM\n", self.copy("displayctl"))
        self.browser.click("#copy input[value=last] + span")
        self.browser.click("#copy-desk")
        self.assertEqual(self.copy("displayctl"), "displayctl send M4_COMM\n")

    def test_without_a_clipboard_the_text_is_selected(self):
        for broken in ("navigator.clipboard.writeText = () => Promise.reject(new DOMException('no'));",
                       "Object.defineProperty(navigator, 'clipboard', {value: undefined, configurable: true});"):
            self.browser.script(broken + "document.getElementById('copy-reply').textContent = '';")
            self.browser.click("#copy-forms button[value=scenario]")
            self.browser.wait("document.getElementById('copy-reply').textContent.includes('copy it with Ctrl-C')")
            self.assertEqual(self.browser.script("return getSelection().toString()").strip(),
                             self.browser.text("#copied").strip())
            self.assertIn("send M4_COMM", self.browser.text("#copied"))
            self.browser.script("getSelection().removeAllRanges()")

    def test_a_refusal_is_told(self):
        self.simulator.do("start normal")
        self.browser.click("#copy input[value=last] + span")
        self.browser.click("#copy-forms button[value=curl]")
        self.browser.wait("document.getElementById('copy-reply').textContent.includes('no command has been sent')")

    def test_a_link_shows_and_does_nothing_until_a_click(self):
        link, wanted = self.copy("link"), [self.browser.panel(view) for view in VIEWS]
        self.assertTrue(link.startswith(self.simulator.address + "#scenario="))
        other = Simulator()
        self.addCleanup(other.close)
        other.speed(0)
        self.simulator = other
        self.open(link.split("/")[-1])
        self.where("7 lines. Nothing happens until you play it.")
        self.assertIn("From a link", self.browser.text("#scenario-about"))
        self.browser.wait("document.activeElement === document.body")
        self.assert_untouched()
        self.browser.click("#scenario-end")
        self.reply("Played to the end")
        for view, panel in zip(VIEWS, wanted):
            wait_for(lambda: self.browser.panel(view) == panel, f"the picture of the {view}")

    def test_a_link_takes_nothing_from_who_plays(self):
        self.simulator.request("/api/player/open", "modes")
        self.simulator.request("/api/player/go", "10")
        self.open(linked("start\nsend chan_usb\n"))
        self.where("2 lines. Nothing happens until you play it.")
        self.assertEqual((self.simulator.json("/api/player")["name"], self.simulator.json("/api/player")["line"]),
                         ("modes", 10))

    def test_links_that_hold_no_scenario(self):
        for fragment in ("#scenario=", "#scenario=%3Cb%3E", "#scenario=AAAA", "#scenario=" + "A" * 9000,
                         linked("#" * 5000000)):
            self.open(fragment)
            self.reply("The link holds no scenario that can be read.")
        self.open(linked("start\njump\n"))
        self.reply("from a link:2: 'jump' is no command")
        # In a page that is open, too.
        self.browser.script("location.hash = arguments[0]", linked("start\nsend chan_usb\n"))
        self.where("2 lines. Nothing happens until you play it.")


# A line is told to be one by its text, as a link is.
EDGES_BUT_LINES = EDGES.replace("'button, ", "'button:not(.line), ")
OWN = IN_VIEW.replace("const controls = '", "const controls = '#scenarios button, #scenarios select, #copy button, "
                                            "#gallery-show, ")
SIDEWAYS = SCRIPT + """
const page = document.documentElement;
if (page.scrollWidth > innerWidth) fault('page', page, page.scrollWidth);
const boxes = '#scenarios, #gallery, #copy, #scenario-lines, #gallery-sections, #copied';
for (const box of document.querySelectorAll(boxes)) {
  if (box.scrollWidth > box.clientWidth) fault('sideways', box, box.scrollWidth);
}
return faults;
"""


class Looks(unittest.TestCase):
    """With everything open that can be: as looks_test.py has it for the rest of the page."""

    def test_it_can_be_read_and_hit_and_the_panels_stay(self):
        tree = OwnTree()
        self.addCleanup(tree.cleanup)
        tree.spoil(SPOILT)
        simulator = tree.simulator()
        self.addCleanup(simulator.close)
        simulator.speed(0)
        driver = Driver()
        self.addCleanup(driver.close)
        for width in (390, 1024, 1280, 1920):
            browser = driver.browser(width, 900)
            browser.devtools("Emulation.setDeviceMetricsOverride", width=width, height=900, deviceScaleFactor=1,
                             mobile=False)
            simulator.request("/api/player/open", "power_fails")
            browser.open(simulator.address)
            browser.wait("document.querySelectorAll('#scenario-lines li').length > 10")
            browser.click("#scenario-end")
            browser.wait("document.querySelectorAll('.pictures img').length === 4")
            browser.script("document.querySelector(\"li[data-line='15'] .mark\").click()")
            browser.click("#gallery-show")
            browser.wait("document.querySelectorAll('.thumb').length > 50")
            browser.script("document.querySelector('#copy-forms button').click()")
            browser.wait("!document.getElementById('copied').hidden")
            for scheme in ("light", "dark"):
                browser.color_scheme(scheme)
                for script, limit in ((TEXTS, TEXT), (EDGES_BUT_LINES, EDGE), (TARGETS, TARGET), (SIDEWAYS, 0)):
                    with self.subTest(scheme=scheme, width=width, script=script[len(SCRIPT):][:60]):
                        self.assertEqual(browser.script(script, limit), [])
            with self.subTest(width=width, script="in view"):
                self.assertEqual(browser.script(OWN), [])
            browser.close()


if __name__ == "__main__":
    unittest.main(verbosity=2)
