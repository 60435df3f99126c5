#!/usr/bin/env python3
"""Scenarios, the gallery and copies over plain HTTP: a run ends where `display-sim play` does, whichever way it takes,
and nothing that a page names is looked for anywhere but among the stored scenarios."""

import glob
import json
import os
import re
import signal
import subprocess
import tempfile
import time
import unittest
import urllib.parse
import urllib.request

from browser import PATIENCE, wait_for
from in_terminal import InTerminal
from own_tree import OwnTree
from simulator import (BUILD, PROGRAM, SOURCE, VIEWS, Simulator, decode_png, golden, load_pbm, shrunk,
                       without_activity_icon)

LONG_WAIT = "start\nwait 10m\nsend chan_bt\nwait 1s\n"


def own_folder(case):
    folder = tempfile.TemporaryDirectory()
    case.addCleanup(folder.cleanup)
    return folder.name


class ScenarioTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tree = OwnTree()
        cls.addClassCleanup(cls.tree.cleanup)
        cls.simulator = cls.tree.simulator()
        cls.addClassCleanup(cls.simulator.close)

    def setUp(self):
        self.simulator.speed(0)

    def tearDown(self):
        self.simulator.request("/api/player/pause", "")

    def post(self, path, body="", status=200):
        answer = self.simulator.request(path, body, Content_Type="text/plain")
        self.assertEqual(answer[0], status, f"{path} {body[:80]}: {answer[2][:300]}")
        return json.loads(answer[2])

    def refused(self, path, body="", status=409):
        return self.post(path, body, status)["error"]

    def open(self, name):
        self.post("/api/player/open", name)

    def load(self, text, name="own"):
        self.post(f"/api/player/load?name={name}", text)

    def go(self, place, then=""):
        return self.post("/api/player/go" + (f"?then={then}" if then else ""), str(place))

    def player(self):
        return self.simulator.json("/api/player")

    def panels(self):
        return [decode_png(self.simulator.request(f"/api/picture.png?view={view}")[2]) for view in VIEWS]

    def now(self):
        """Tenths of a second since the start, as the stream tells."""
        return self.simulator.newest_event("time")

    def rest(self):
        return wait_for(lambda: (p := self.player())["mode"] == "rest" and p, "the player to come to rest", 60)

    def line_picture(self, line, view, show, status=200):
        answer = self.simulator.request(f"/api/player/picture.png?line={line}&view={view}&show={show}&scale=3")
        self.assertEqual(answer[0], status, answer[2][:200])
        return shrunk(decode_png(answer[2]), 3) if status == 200 else None


class Stored(ScenarioTest):
    def names(self):
        return sorted(os.path.basename(path)[:-len(".scenario")]
                      for path in glob.glob(os.path.join(SOURCE, "simulator", "scenarios", "*.scenario")))

    def test_all_are_listed(self):
        listed = self.simulator.json("/api/scenarios")
        self.assertEqual([scenario["name"] for scenario in listed["scenarios"]], self.names())
        self.assertEqual(listed["readOnly"], "")
        modes = next(scenario for scenario in listed["scenarios"] if scenario["name"] == "modes")
        self.assertEqual((modes["title"], modes["introduction"]), ("Modes", "The bottom row says what the box does."))

    def test_each_line_is_told(self):
        read = self.simulator.json("/api/scenarios/power_fails")
        text = self.tree.read("power_fails.scenario")
        self.assertEqual(read["text"], text)
        wanted = [(number, line.split()[0]) for number, line in enumerate(text.split("\n"), 1)
                  if line and not line.startswith("#")]
        self.assertEqual([(line["number"], line["command"]) for line in read["lines"]], wanted)
        files = [file["file"] for line in read["lines"] if line["number"] in (9, 16) for file in line["files"]]
        self.assertEqual(files, ["power_fails/before-layout.pbm", "power_fails/down-device.pbm",
                                 "power_fails/down-layout.pbm"])

    def test_each_plays_to_its_end_without_a_difference(self):
        for name in self.names():
            with self.subTest(name):
                self.open(name)
                reached = self.go("end")
                self.assertEqual((reached["done"], reached["problem"]), (reached["lines"], ""))
                expects = [line["number"] for line in self.simulator.json(f"/api/scenarios/{name}")["lines"]
                           if line["command"] == "expect"]
                compared = {mark["line"]: mark["different"] for mark in reached["marks"] if "different" in mark}
                self.assertEqual(compared, dict.fromkeys(expects, 0))
                self.assertGreater(len(expects), 0)

    def test_the_film_is_that_of_the_player(self):
        """Frame by frame and moment by moment, at the speed of the page, in steps and as fast as it goes."""
        folder = own_folder(self)
        subprocess.run([PROGRAM, "play", self.tree.path("power_fails.scenario"), "--out", folder], check=True,
                       capture_output=True, timeout=60 * PATIENCE)
        with open(os.path.join(folder, "power_fails-film.png"), "rb") as file:
            wanted = file.read()

        def film():
            return self.simulator.request("/api/player/film.png")[2]
        self.open("power_fails")
        self.assertEqual(self.simulator.request("/api/player/film.png")[0], 404)
        self.go("end")
        self.assertEqual(film(), wanted)
        self.simulator.speed(20)
        self.post("/api/player/play")
        self.assertEqual(self.rest()["next"], 0)
        self.assertEqual(film(), wanted)
        self.go(0)
        for _ in range(self.player()["lines"]):
            self.post("/api/player/step")
        self.assertEqual(film(), wanted)


class Moves(ScenarioTest):
    def test_steps_and_back_show_the_same_pictures(self):
        self.open("recording")
        self.go(0)
        shown = [(0, self.panels())]
        for _ in range(12):
            shown.append((self.post("/api/player/step")["line"], self.panels()))
        for line, panels in reversed(shown[:-1]):
            self.assertEqual(self.post("/api/player/back")["line"], line)
            self.assertEqual(self.panels(), panels, f"line {line}")
        self.assertGreater(len({str(panels) for _, panels in shown}), 4)
        for line, panels in shown[::5]:
            self.go(line)
            self.assertEqual(self.panels(), panels, f"line {line}")

    def test_a_run_stands_still_and_says_where(self):
        self.open("power_fails")
        self.simulator.speed(5)
        reached = self.go(16)
        self.assertEqual((reached["line"], reached["next"], reached["mode"]), (16, 19, "rest"))
        self.assertEqual(self.simulator.state()["speed"], 0)
        for view, panel in zip(VIEWS, self.panels()):
            self.assertEqual(panel, golden(view, "power_fails/down"))

    def test_lines_that_are_none(self):
        self.open("power_fails")
        for place in ("1", "10", "9999", "-1", "", "x", "16x", "99999999999999999999"):
            self.assertIn("line", self.refused("/api/player/go", place, 400), place)

    def test_nothing_happens_before_it_is_played(self):
        self.simulator.do("start normal", "send chan_usb", "wait 600ms")
        before = self.panels()
        self.open("modes")
        self.load(LONG_WAIT)
        self.post("/api/scenarios", LONG_WAIT)
        self.simulator.json("/api/scenarios/modes")
        self.assertEqual(self.panels(), before)
        self.assertEqual(self.simulator.log()[-1], "Got Signal with value chan_usb")

    def test_every_run_has_a_fresh_box(self):
        self.simulator.do("start debug", "supply 7.7", "warranty-lock off")
        with open(self.simulator.box("tmp/bada"), "w", encoding="ascii"):
            pass
        folder, bus = self.simulator.state()["folder"], self.simulator.state()["bus"]
        self.open("modes")
        self.assertTrue(all(mark.get("different", 0) == 0 for mark in self.go("end")["marks"]))
        # The fresh box is no change that somebody made to it.
        self.simulator.do("supply 7.7", "hotspot off")
        self.load("send chan_bt\nwait 2s\n")
        self.assertEqual(self.go("end")["disturbed"], "")
        self.assertNotIn("supply", self.simulator.request("/api/copy?as=scenario")[2].decode())
        self.open("modes")
        # Whoever works with the box or the bus meanwhile still does.
        self.go(5)
        state = self.simulator.state()
        self.assertEqual((state["folder"], state["bus"], state["box"]["supply"]), (folder, bus, "12.4"))

    def test_a_pause_in_the_middle_of_a_long_wait(self):
        self.load(LONG_WAIT)
        self.simulator.speed(10)
        self.post("/api/player/play")
        wait_for(lambda: self.now() > 10, "a second of it")
        self.assertEqual((self.player()["mode"], self.player()["waits"], self.player()["next"]), ("play", True, 2))
        self.post("/api/player/pause")
        stood = self.now()
        panels = self.panels()
        time.sleep(0.3)  # nothing must happen
        self.assertEqual((self.now(), self.panels(), self.player()["mode"]), (stood, panels, "rest"))
        self.assertLess(stood, 3000)
        # It goes on where it stood, and what is left is one step.
        self.simulator.speed(10)
        self.post("/api/player/play")
        self.post("/api/player/pause")
        self.assertEqual(self.post("/api/player/step")["line"], 2)
        self.assertEqual(self.now(), 6000)
        # In the middle of one, back is its beginning.
        self.go(1)
        self.simulator.speed(10)
        self.post("/api/player/play")
        wait_for(lambda: self.player()["waits"] and self.now() > 3, "some of the wait")
        self.post("/api/player/pause")
        self.assertEqual(self.post("/api/player/back")["line"], 1)
        self.assertEqual(self.now(), 0)

    def test_playing_keeps_the_pace(self):
        self.load("start\nwait 2s\nsend chan_bt\n")
        self.simulator.speed(1)
        begin = time.monotonic()
        self.post("/api/player/play")
        self.rest()
        self.assertGreater(time.monotonic() - begin, 1.9)
        self.assertEqual(self.now(), 20)
        self.assertEqual(self.simulator.state()["speed"], 0)

    def test_others_are_refused_while_it_plays(self):
        self.load(LONG_WAIT)
        self.simulator.speed(1)
        self.post("/api/player/play")
        for path, body in (("/api/do", "send chan_usb"), ("/api/do", "wait 1s"), ("/api/do", "supply 9"),
                           ("/api/record", "start"), ("/api/player/open", "modes"), ("/api/player/load", LONG_WAIT)):
            self.assertIn("playing; pause it first", self.refused(path, body), path)
        self.simulator.speed(0)
        self.assertIn("playing; pause it first", self.refused("/api/do", "send chan_usb"))
        self.post("/api/player/pause")
        self.post("/api/do", "send chan_usb")

    def test_it_is_refused_while_others_are_at_it(self):
        self.open("modes")
        self.post("/api/record", "start")
        for path in ("play", "step", "back"):
            self.assertIn("recording is running", self.refused(f"/api/player/{path}"))
        self.assertIn("recording is running", self.refused("/api/player/go", "end"))
        self.post("/api/record", "stop")
        self.assertEqual(self.go("end")["problem"], "")

    def test_what_else_happens_is_told_and_the_next_move_begins_anew(self):
        self.open("power_fails")
        wanted = self.go(16)["line"], self.panels()
        doings = (lambda: self.simulator.do("send chan_usb"), lambda: self.simulator.do("wait 100ms"),
                  lambda: self.simulator.do("start production"), lambda: self.send_from_elsewhere("chan_usb"),
                  lambda: os.remove(self.simulator.box("rodata/wlock")), lambda: self.simulator.speed(1))
        for number, doing in enumerate(doings):
            with self.subTest(number):
                self.assertEqual(self.go(16)["disturbed"], "")
                doing()
                wait_for(lambda: self.player()["disturbed"], "the player to notice")
                self.simulator.speed(0)
                self.post("/api/player/step")
                self.assertEqual((self.post("/api/player/back")["line"], self.panels()), wanted)

    def send_from_elsewhere(self, word):
        environment = {**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": self.simulator.state()["bus"]}
        subprocess.run(["dbus-send", "--system", "--type=signal", "/zor/signal", "zor.signal.Type.Display",
                        "string:" + word], env=environment, check=True, timeout=20 * PATIENCE)

    def test_a_wait_that_is_not_met_is_told_at_its_line(self):
        self.load("start\nsend M4_COMM\n\nwait mode DOIP\nsend chan_bt\n")
        problem = self.refused("/api/player/go", "end")
        self.assertIn('line 4: the mode row does not show "DOIP" within 10 s', problem)
        player = self.player()
        self.assertEqual((player["line"], player["next"], player["mode"]), (2, 4, "rest"))
        self.assertIn('"DOIP" within 10 s', player["problem"])
        self.assertEqual(self.go(2)["problem"], "")

    def test_a_daemon_that_ends_is_told_at_its_line(self):
        self.load(LONG_WAIT)
        self.simulator.speed(1)
        self.post("/api/player/play")
        wait_for(lambda: self.player()["waits"], "the wait")
        for pid in children_named(self.simulator.process.pid, "status-display"):
            os.kill(pid, signal.SIGKILL)
        self.assertIn("daemon", self.rest()["problem"])
        self.assertEqual(self.player()["next"], 2)
        wait_for(lambda: "was killed" in self.simulator.state()["trouble"] or self.simulator.state()["trouble"],
                 "the page to tell")
        self.assertEqual(self.go(1)["problem"], "")
        self.assertEqual(self.simulator.state()["trouble"], "")

    def test_two_pages_see_the_same(self):
        self.load("start\nwait 1s\nsend chan_bt\n", "together")
        self.go(2)
        told = self.simulator.newest_event("player")
        self.assertEqual(told, self.player())
        self.assertEqual(told["name"], "together")


def children_named(parent, name):
    """Process ids of that program below `parent`."""
    parents, names = {}, {}
    for folder in glob.glob("/proc/[0-9]*"):
        try:
            with open(folder + "/stat", encoding="utf-8", errors="replace") as file:
                pid, command, rest = re.fullmatch(r"(\d+) \((.*)\) (.*)", file.read().strip(), re.S).groups()
        except (OSError, AttributeError):
            continue
        parents[int(pid)], names[int(pid)] = int(rest.split()[1]), command

    def below(pid):
        while pid in parents:
            pid = parents[pid]
            if pid == parent:
                return True
        return False
    return [pid for pid, command in names.items() if command == name[:15] and below(pid)]


class InTheTerminal(unittest.TestCase):
    def test_keys_leave_a_scenario_alone_while_it_plays(self):
        with InTerminal() as simulator:
            def post(path, body):
                urllib.request.urlopen(simulator.address + "api/player/" + path, body.encode()).close()

            def player():
                with urllib.request.urlopen(simulator.address + "api/player") as answer:
                    return json.load(answer)
            post("load", LONG_WAIT)
            post("play", "")
            wait_for(lambda: player()["waits"], "the wait")
            simulator.press(b"u;")
            wait_for(lambda: b"A scenario is playing; pause it on the page first." in simulator.shown, "the refusal")
            self.assertEqual((player()["mode"], player()["disturbed"]), ("play", ""))
            post("pause", "")
            simulator.press(b"u")
            wait_for(lambda: player()["disturbed"] == "chan_usb was sent", "the key's command")
            # Before the first line nothing has been started, and a step is no harm.
            post("go", "0")
            simulator.press(b";")
            wait_for(lambda: b"Stepped 1000 ms" in simulator.shown, "the step")
            self.assertIsNone(simulator.process.poll())
            self.assertEqual(player()["problem"], "")


class Brought(ScenarioTest):
    def test_a_wrong_line_is_told(self):
        for text, number in (("start\nsend chan_bluetooth\n", 2), ("jump\n", 1), ("start\n\n# x\nwait ages\n", 4)):
            for path in ("/api/scenarios?name=mine", "/api/player/load?name=mine"):
                self.assertRegex(self.refused(path, text, 400), rf"^mine:{number}: ")

    def test_what_is_too_much_or_no_scenario(self):
        for path in ("/api/scenarios", "/api/player/load"):
            self.assertIn("65536 bytes", self.refused(path, "#" * 65537, 413))
            self.assertIn("no line", self.refused(path, "#" * 65536, 400))
            self.assertIn("2000 lines", self.refused(path, "start\n" * 2001, 400))
            self.assertIn("no text", self.refused(path, "start\n\0\n", 400))
            self.refused(path, "", 400)
            self.post(path, "wait 1s\n" * 2000)
        self.assertIn("4096 bytes", self.refused("/api/player/go", "1" * 4097, 413))

    def test_a_name_is_for_people_alone(self):
        self.load("start\n", urllib.parse.quote("../../etc/passwd\n" + "x" * 100))
        self.assertEqual(self.player()["name"], ("../../etc/passwd?" + "x" * 100)[:80])

    def test_names_from_a_page_are_no_paths(self):
        secret = self.tree.path("../secret.scenario")
        with open(secret, "w", encoding="ascii") as file:
            file.write("start\n")
        with open(self.tree.path("../secret-layout.pbm"), "w", encoding="ascii") as file:
            file.write("P1\n1 1\n1\n")
        for name in ("../secret", "..%2fsecret", "%2e%2e/secret", secret[:-len(".scenario")], "modes.scenario",
                     "./modes", "modes/../modes", "", "modes\0", "nothing"):
            quoted = urllib.parse.quote(name, safe="%/.")
            self.assertEqual(self.simulator.request("/api/scenarios/" + quoted)[0], 404, name)
            self.assertIn("no scenario", self.refused("/api/player/open", name))
        for file in ("../secret-layout.pbm", "modes/../../secret-layout.pbm", "/etc/passwd", "modes.scenario", "",
                     "./modes/mode_ready-layout.pbm", self.tree.path("modes/mode_ready-layout.pbm")):
            self.assertEqual(self.simulator.request("/api/expected.png?file=" + urllib.parse.quote(file))[0], 404, file)
        self.load("start\nexpect ../secret-layout.pbm\nexpect ../../../../etc/passwd-layout.pbm\n")
        for mark in self.go("end")["marks"]:
            self.assertIn("there is no picture", mark["problem"])

    def test_pictures_come_along(self):
        self.load("start\nsend chan_bt\nwait 601ms\nexpect mine/it-layout.pbm\n")
        self.assertIn("there is no picture mine/it-layout.pbm", self.go("end")["marks"][0]["problem"])
        picture = self.tree.read("views/view_bluetooth-layout.pbm")
        self.post("/api/player/expected?file=mine/it-layout.pbm", picture)
        self.go(1)
        self.assertEqual(self.go("end")["marks"], [{"line": 4, "different": 0}])
        self.assertIn("no line", self.refused("/api/player/expected?file=mine/other-layout.pbm", picture, 400))
        wrong = self.refused("/api/player/expected?file=mine/it-layout.pbm", "P1 2 2 1", 400)
        self.assertIn("mine/it-layout.pbm: ", wrong)
        self.refused("/api/player/expected?file=mine/it-layout.pbm", picture * 8, 413)
        self.open("views")
        self.refused("/api/player/expected?file=views/view_bluetooth-layout.pbm", picture, 400)

    def test_pictures_of_the_store_may_be_expected(self):
        self.load("start\nsend chan_bt\nwait 601ms\nexpect views/view_bluetooth\n")
        for view, panel in zip(VIEWS, (self.go("end"), self.panels())[1]):
            wanted = golden(view, "views/view_bluetooth")
            self.assertEqual(without_activity_icon(panel, view), without_activity_icon(wanted, view))
        self.assertIn("different", self.player()["marks"][0])


class Differences(ScenarioTest):
    FILE = "power_fails/down-layout.pbm"

    def setUp(self):
        super().setUp()
        self.right = self.tree.spoil(self.FILE)
        self.addCleanup(self.tree.write, self.FILE, self.right)
        self.open("power_fails")

    def test_a_difference_is_shown_at_its_line(self):
        reached = self.go("end")
        different = {mark["line"]: mark["different"] for mark in reached["marks"] if mark.get("different")}
        self.assertEqual(different, {16: 2})
        self.assertEqual(reached["done"], reached["lines"], "a wrong picture stops nothing")
        spoilt, right = load_pbm(self.tree.path(self.FILE)), golden("layout", "power_fails/down")
        self.assertEqual(self.line_picture(16, "layout", "actual"), right)
        self.assertEqual(self.line_picture(16, "layout", "expected"), spoilt)
        differs = ["".join("1" if a != b else "0" for a, b in zip(*rows)) for rows in zip(spoilt, right)]
        self.assertEqual(self.line_picture(16, "layout", "difference"), differs)
        self.assertEqual(self.line_picture(16, "device", "actual"), golden("device", "power_fails/down"))
        self.line_picture(17, "layout", "actual", 404)
        self.line_picture(16, "wide", "actual", 404)
        self.line_picture(16, "layout", "nothing", 400)

    def test_expect_this_writes_it(self):
        self.assertIn("play to it first", self.refused("/api/player/expect", "16"))
        self.go("end")
        written = self.post("/api/player/expect", "16")["written"]
        self.assertEqual(written, [os.path.realpath(self.tree.path(self.FILE))])
        self.assertEqual(self.tree.read(self.FILE), self.right, "its comment is kept")
        self.assertEqual([mark for mark in self.player()["marks"] if mark.get("different")], [])
        self.assertEqual(self.post("/api/player/expect", "16")["written"], [])
        self.go(0)
        self.assertEqual([mark for mark in self.go("end")["marks"] if mark.get("different")], [])

    def test_a_missing_one_is_written_with_the_note(self):
        os.remove(self.tree.path(self.FILE))
        self.go("end")
        self.assertIn("there is no picture " + self.FILE,
                      next(mark for mark in self.player()["marks"] if mark["line"] == 16)["problem"])
        self.line_picture(16, "layout", "expected", 404)
        self.post("/api/player/expect", "16")
        self.assertEqual(load_pbm(self.tree.path(self.FILE)), golden("layout", "power_fails/down"))
        self.assertIn("# Power goes down: the serial number, no voltage\n", self.tree.read(self.FILE))

    def test_what_is_not_written_can_be_downloaded(self):
        self.go("end")
        data = self.simulator.request("/api/player/picture.pbm?line=16&view=layout")[2].decode()
        self.assertEqual(data, self.right)

    def test_only_the_source_tree_is_written(self):
        self.load(self.tree.read("power_fails.scenario"), "power_fails")
        self.go("end")
        self.assertIn("no stored scenario", self.refused("/api/player/expect", "16"))
        installed = OwnTree(installed=True)
        self.addCleanup(installed.cleanup)
        right = installed.spoil(self.FILE)
        spoilt = installed.read(self.FILE)
        self.assertNotEqual(right, spoilt)
        simulator = installed.simulator()
        self.addCleanup(simulator.close)
        self.assertIn("installed", simulator.json("/api/scenarios")["readOnly"])
        for path, body in (("open", "power_fails"), ("go", "end")):
            self.assertEqual(simulator.request("/api/player/" + path, body)[0], 200)
        status, _, data = simulator.request("/api/player/expect", "16")
        self.assertEqual(status, 409)
        self.assertIn("nothing was written", json.loads(data)["error"])
        self.assertEqual(installed.read(self.FILE), spoilt)

    def test_lines_that_expect_nothing(self):
        self.go("end")
        for line in ("15", "14", "0", "999", "", "x"):
            self.assertIn("compared nothing", self.refused("/api/player/expect", line))


class Gallery(ScenarioTest):
    def test_every_picture_that_is_expected_is_there(self):
        sections = self.simulator.json("/api/gallery")
        self.assertEqual([section["name"] for section in sections][:3], ["start", "views", "modes"])
        shown = 0
        for section in sections:
            lines = {line["number"]: line for line in self.simulator.json("/api/scenarios/" + section["name"])["lines"]}
            for row in section["rows"]:
                files = {file["view"]: file["file"] for file in lines[row["line"]]["files"]}
                self.assertEqual(set(files), set(row["views"]))
                self.assertTrue(row["name"])
                shown += len(files)
        self.assertGreater(shown, 100)
        ready = next(row for row in sections[2]["rows"] if row["name"] == "Mode ready")
        self.assertEqual(ready["eye"], "READY centred at the bottom between the two icons")
        rows = decode_png(self.simulator.request("/api/expected.png?file=modes/mode_ready-layout.pbm&scale=2")[2])
        self.assertEqual(shrunk(rows, 2), golden("layout", "modes/mode_ready"))

    def test_time_goes_on_behind_the_state(self):
        self.open("modes")
        for speed, moves in ((5, True), (0, False)):
            self.simulator.speed(speed)
            reached = self.go(10, then="go-on")
            self.assertEqual(reached["line"], 10)
            self.assertEqual(self.simulator.state()["speed"], speed)
            if moves:
                wait_for(lambda: self.player()["disturbed"] == "time went on", "the time to go on")
                wait_for(lambda: self.now() > 12, "a second of it")
        for view, panel in zip(VIEWS, self.panels()):
            self.assertEqual(panel, golden(view, "modes/mode_ready"))

    def test_a_speed_that_a_person_chose_comes_back(self):
        self.open("modes")
        self.simulator.speed(5)
        self.go(10)
        self.assertEqual(self.simulator.state()["speed"], 0)
        self.go(16, then="go-on")
        self.assertEqual(self.simulator.state()["speed"], 5)


class Copies(ScenarioTest):
    LINES = ["start debug", "supply 11.8", 'ssid "a\'b c"', "wifi up", "send chan_sta", "wait 2300ms", "send REC_ON",
             "wait mode REC ...", 'send Error_Code "it\'s -5"', "wait 150ms", "send cd_update 120 MAIN_FW",
             "wait 700ms"]

    def setUp(self):
        super().setUp()
        self.simulator.do("start normal bare", "start normal", "hotspot off", *self.LINES)

    def copy(self, form, what="all", more=""):
        status, headers, data = self.simulator.request(f"/api/copy?as={form}&what={what}{more}")
        self.assertEqual((status, headers["Content-Type"]), (200, "text/plain; charset=utf-8"))
        return data.decode()

    def other(self):
        simulator = Simulator()
        self.addCleanup(simulator.close)
        simulator.speed(0)
        return simulator

    def test_a_scenario_plays_to_the_same_picture(self):
        folder = own_folder(self)
        path = os.path.join(folder, "copied.scenario")
        text = self.copy("scenario")
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        subprocess.run([PROGRAM, "play", path, "--out", folder], check=True, capture_output=True, timeout=60 * PATIENCE)
        for view, panel in zip(VIEWS, self.panels()):
            self.assertEqual(load_pbm(os.path.join(folder, f"here-{view}.pbm")), panel)
        before = self.panels()
        self.load(text)
        self.go("end")
        self.assertEqual(self.panels(), before)

    def test_of_a_scenario_that_was_played(self):
        self.open("power_fails")
        self.go(16)
        wanted = self.panels()
        text = self.copy("scenario")
        self.assertNotIn("expect", text)
        self.load(text)
        self.go("end")
        self.assertEqual(self.panels(), wanted)

    def test_in_the_middle_of_a_wait(self):
        self.load(LONG_WAIT)
        self.simulator.speed(20)
        self.post("/api/player/play")
        wait_for(lambda: self.now() > 20, "two seconds")
        self.post("/api/player/pause")
        wanted, text = self.panels(), self.copy("scenario")
        self.load(text)
        self.go("end")
        self.assertEqual(self.panels(), wanted)

    def test_curl_leads_another_page_there(self):
        simulator = self.other()
        simulator.do("warranty-lock off", "supply 24", "send Reboot", "wait 2s")
        text = self.copy("curl")
        first, *rest = text.splitlines()
        self.assertEqual(first, "PAGE=" + self.simulator.address.rstrip("/"))
        subprocess.run(["sh", "-e", "-c", "\n".join([f"PAGE={simulator.address.rstrip('/')}", *rest])], check=True,
                       capture_output=True, timeout=60 * PATIENCE)
        shown = [decode_png(simulator.request(f"/api/picture.png?view={view}")[2]) for view in VIEWS]
        self.assertEqual(shown, self.panels())

    def test_words_for_a_shell(self):
        wanted = [line for line in self.simulator.log() if line.startswith("Got Signal")]
        self.assertEqual(len(wanted), 4)
        for form in ("dbus-send", "displayctl"):
            with self.subTest(form):
                simulator = self.other()
                first, *rest = self.copy(form).splitlines()
                self.assertIn(self.simulator.state()["bus"], first)
                self.assertTrue(first.startswith("export DBUS_SYSTEM_BUS_ADDRESS="), first)
                self.assertEqual(self.copy(form, more="&for=box").splitlines(), rest)
                first = first.replace(self.simulator.state()["bus"], simulator.state()["bus"])
                first = first.replace(":$PATH", f":{BUILD}/tools:$PATH")
                begin = time.monotonic()
                subprocess.run(["sh", "-e", "-c", "\n".join([first, *rest])], check=True, capture_output=True,
                               timeout=60 * PATIENCE)
                self.assertGreater(time.monotonic() - begin, 2.4, "the pauses are there")
                simulator.do("wait 1s")
                self.assertEqual([line for line in simulator.log() if line.startswith("Got Signal")], wanted)
                self.assertIn("# supply 11.8", rest)

    def test_the_last_word_alone(self):
        self.assertEqual(self.copy("scenario", "last"), "send cd_update 120 MAIN_FW\n")
        self.assertEqual(self.copy("dbus-send", "last", "&for=box"),
                         "dbus-send --system --type=signal /zor/signal zor.signal.Type.Display string:cd_update "
                         "int32:120 string:MAIN_FW\n")
        self.assertEqual(self.copy("displayctl", "last", "&for=box"), "displayctl send cd_update 120 MAIN_FW\n")
        self.assertIn("curl -sf --data 'send cd_update 120 MAIN_FW' $PAGE/api/do\n", self.copy("curl", "last"))
        self.simulator.do("send cd_update", 'send Error_Code "-x"')
        self.assertEqual(self.copy("displayctl", "last", "&for=box"), "displayctl send -- Error_Code -x\n")
        self.assertIn("displayctl send --force cd_update\n", self.copy("displayctl"))
        self.simulator.do("start normal")
        self.assertIn("no command", json.loads(self.simulator.request("/api/copy?as=curl&what=last")[2])["error"])

    def test_what_others_did_is_copied_too(self):
        with open(self.simulator.box("rodata/serial_number"), "w", encoding="ascii") as file:
            file.write("BY-HAND\n")
        wait_for(lambda: "\nserial BY-HAND\n" in self.copy("scenario"), "the changed file")

    def test_it_is_bounded(self):
        for number in range(2010):
            self.simulator.do(f"supply {10 + number % 2}")
        status, _, data = self.simulator.request("/api/copy?as=scenario")
        self.assertEqual(status, 409)
        self.assertIn("more than 2000", json.loads(data)["error"])
        self.simulator.do("start normal")
        self.assertIn("\nstart normal\n", self.copy("scenario"))

    def test_forms_that_do_not_exist(self):
        for query in ("", "?as=", "?as=perl", "?as=curl&what=first"):
            self.assertEqual(self.simulator.request("/api/copy" + query)[0], 400, query)


if __name__ == "__main__":
    unittest.main(verbosity=2)
