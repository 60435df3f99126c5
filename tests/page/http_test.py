#!/usr/bin/env python3
"""The simulator's page without a browser: what is served to whom, what is refused, and what the addresses under /api
and the stream of events do."""

import contextlib
import http.client
import json
import os
import re
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import threading
import time
import unittest
import urllib.error
import urllib.request

from browser import PATIENCE, wait_for
from in_terminal import InTerminal
from simulator import (PROGRAM, SOURCE, VIEWS, Simulator, decode_png, events, golden, load_pbm, shrunk,
                       vocabulary_of_the_daemon, without_activity_icon)


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.simulator = Simulator()
        cls.simulator.speed(0)

    @classmethod
    def tearDownClass(cls):
        cls.simulator.close()

    def setUp(self):
        self.simulator.do("start normal")

    def picture(self, view, scale=1):
        status, headers, data = self.simulator.request(f"/api/picture.png?view={view}&scale={scale}")
        self.assertEqual((status, headers["Content-Type"]), (200, "image/png"))
        return shrunk(decode_png(data), scale)

    def assert_shows(self, name):
        for view in VIEWS:
            shown, wanted = self.picture(view), golden(view, name)
            self.assertEqual(without_activity_icon(shown, view), without_activity_icon(wanted, view), view)

    def raw(self, text):
        """Everything that the server answers to these bytes, up to the end of the connection."""
        with socket.create_connection(("127.0.0.1", self.simulator.port), timeout=20 * PATIENCE) as connection:
            connection.sendall(text.encode())
            answer = b""
            try:
                while chunk := connection.recv(65536):
                    answer += chunk
            except ConnectionResetError:  # it closed without reading all of what it refused
                pass
        return answer.decode(errors="replace")

    def commands_seen(self):
        self.simulator.do("wait 100ms")
        return [line[len("Got Signal with value "):] for line in self.simulator.log() if line.startswith("Got Signal")]


class Served(PageTest):
    def test_only_this_machine_is_listened_to(self):
        with open("/proc/net/tcp", encoding="ascii") as file:
            listening = [line.split()[1] for line in file.readlines()[1:] if line.split()[3] == "0A"]
        ours = [address for address in listening if int(address.split(":")[1], 16) == self.simulator.port]
        loopback = f"{struct.unpack('<I', socket.inet_aton('127.0.0.1'))[0]:08X}"
        self.assertEqual([address.split(":")[0] for address in ours], [loopback])

    def test_the_files(self):
        for path, name, kind in (("/", "index.html", "text/html"), ("/page.js", "page.js", "text/javascript"),
                                 ("/style.css", "style.css", "text/css"),
                                 ("/scenarios.js", "scenarios.js", "text/javascript"),
                                 ("/scenarios.css", "scenarios.css", "text/css")):
            status, headers, data = self.simulator.request(path)
            with open(os.path.join(SOURCE, "simulator", "page", "web", name), "rb") as file:
                self.assertEqual((status, data), (200, file.read()), path)
            self.assertEqual(headers["Content-Type"], kind + "; charset=utf-8")
            self.assertIn("default-src 'self'", headers["Content-Security-Policy"])
            self.assertEqual(headers["X-Frame-Options"], "DENY")
            self.assertEqual(headers["X-Content-Type-Options"], "nosniff")

    def test_nothing_is_kept_or_told_elsewhere(self):
        for path in ("/", "/page.js", "/api/state", "/api/picture.png?view=device", "/nothing"):
            headers = self.simulator.request(path)[1]
            for name, value in (("Cache-Control", "no-store"), ("Referrer-Policy", "no-referrer"),
                                ("Cross-Origin-Resource-Policy", "same-origin")):
                self.assertEqual(headers.get_all(name), [value], f"{path} {name}")

    def test_no_other_file(self):
        for path in ("/../../etc/passwd", "/%2e%2e/%2e%2e/etc/passwd", "/..%2f..%2fetc/passwd",
                     "/page.js/../../etc/passwd", "//etc/passwd", "/etc/passwd", "/index.html", "/web/index.html",
                     "/page.js/", "/page_js",
                     "/style.css%00.png", "/.git/config", "/api/", "/api/../page.cpp"):
            connection = http.client.HTTPConnection("127.0.0.1", self.simulator.port, timeout=20 * PATIENCE)
            connection.request("GET", path)
            self.assertIn(connection.getresponse().status, (400, 404), path)
            connection.close()

    def test_the_words_are_the_daemons(self):
        groups = self.simulator.json("/api/vocabulary")
        served = [(word["word"], " ".join(f"{a['type']}:{a['name']}" for a in word["arguments"]), group["group"],
                   word["meaning"]) for group in groups for word in group["words"]]
        self.assertEqual(sorted(served), sorted(vocabulary_of_the_daemon()))

    def test_the_controls_are_told_and_are_commands(self):
        names = [control["name"] for control in self.simulator.json("/api/controls")]
        self.assertEqual(sorted(names), sorted(self.simulator.state()["box"]))
        commands = [command["name"] for command in self.simulator.json("/api/commands")]
        self.assertEqual([name for name in commands if name in names], names, "in the same order")

    def test_pictures_at_every_scale(self):
        self.simulator.do("send chan_bt", "wait 601ms")
        self.assert_shows("views/view_bluetooth")
        for view in VIEWS:
            for scale in (2, 4, 16):
                self.assertEqual(self.picture(view, scale), self.picture(view))

    def test_both_panels_in_one_picture(self):
        self.simulator.do("send chan_usb", "wait 601ms")
        rows = shrunk(decode_png(self.simulator.request("/api/picture.png?view=both&scale=2")[2]), 2)
        for view in VIEWS:
            first, *further = self.picture(view)
            corners = [(x, y) for y, row in enumerate(rows) for x in range(len(row)) if row.startswith(first, x)]
            self.assertTrue(any(all(rows[y + 1 + i].startswith(row, x) for i, row in enumerate(further))
                                for x, y in corners if y + len(further) < len(rows)), view)

    def test_pictures_that_do_not_exist(self):
        for query in ("", "?view=", "?view=wide", "?view=device&scale=0", "?view=device&scale=17",
                      "?view=device&scale=x", "?view=layout&scale=99999999999"):
            self.assertEqual(self.simulator.request("/api/picture.png" + query)[0], 400, query)


class Refused(PageTest):
    def test_foreign_names(self):
        port = self.simulator.port
        for name in ("example.org", f"example.org:{port}", "127.0.0.1", "localhost", f"127.0.0.1:{port + 1}",
                     f"127.0.0.2:{port}", f"127.0.0.1.example.org:{port}", f"localhost.:{port}", f"[::1]:{port}", ""):
            for path in ("/", "/api/state", "/events", "/nothing"):
                self.assertEqual(self.simulator.request(path, Host=name)[0], 403, f"{name} {path}")
            self.assertEqual(self.simulator.request("/api/do", "send chan_bt", Host=name)[0], 403, name)
        self.assertEqual(self.commands_seen(), [])

    def test_own_names(self):
        for name in ("127.0.0.1", "localhost"):
            self.assertEqual(self.simulator.request("/", Host=f"{name}:{self.simulator.port}")[0], 200, name)

    def test_no_name_and_two_names(self):
        own = f"Host: 127.0.0.1:{self.simulator.port}\r\n"
        for head in ("", own + "Host: example.org\r\n", "Host: example.org\r\n" + own):
            self.assertIn(" 403 ", self.raw(f"GET / HTTP/1.1\r\n{head}\r\n").splitlines()[0], head)

    def test_posts_of_foreign_pages(self):
        for origin in ("http://example.org", "null", f"https://127.0.0.1:{self.simulator.port}", "http://127.0.0.1",
                       f"http://127.0.0.1:{self.simulator.port + 1}", f"http://example.org:{self.simulator.port}"):
            for path, body in (("/api/do", "send chan_bt"), ("/api/speed", "5"), ("/api/record", "start")):
                self.assertEqual(self.simulator.request(path, body, Origin=origin)[0], 403, f"{origin} {path}")
        self.assertEqual(self.commands_seen(), [])
        self.assertEqual(self.simulator.state()["speed"], 0)
        self.assertFalse(self.simulator.state()["recording"]["running"])

    def test_posts_of_the_own_page_and_of_no_page(self):
        for headers in ({"Origin": f"http://127.0.0.1:{self.simulator.port}"},
                        {"Origin": f"http://localhost:{self.simulator.port}"}, {}):
            self.assertEqual(self.simulator.request("/api/do", "send chan_bt", **headers)[0], 200, headers)
        self.assertEqual(self.commands_seen(), ["chan_bt"] * 3)

    def refused_then(self, head, body):
        """What the server answers to a request's head, and what it then answers to its body, sent when the first
        answer has come: a server that goes on listening would take the body for a request."""
        with socket.create_connection(("127.0.0.1", self.simulator.port), timeout=20 * PATIENCE) as connection:
            connection.sendall(head.encode())
            with connection.makefile("rb") as answers:
                first = answers.readline().decode()
                length = 0
                while (line := answers.readline().strip().lower()) != b"":
                    if line.startswith(b"content-length:"):
                        length = int(line.split(b":")[1])
                answers.read(length)
                try:
                    connection.sendall(body.encode())
                    return first, answers.read().decode(errors="replace")
                except (BrokenPipeError, ConnectionResetError):  # it has closed, as it should
                    return first, ""

    def test_the_body_of_a_refused_request_is_no_request(self):
        own = f"Host: 127.0.0.1:{self.simulator.port}\r\n"
        hidden = f"POST /api/do HTTP/1.1\r\n{own}Content-Length: 12\r\n\r\nsend chan_bt"
        foreign, length = own + "Origin: http://example.org\r\n", f"Content-Length: {len(hidden)}\r\n"
        refused = (("POST /api/do", foreign + length, "403"), ("POST /api/do", "Host: example.org\r\n" + length, "403"),
                   ("GET /", "Host: example.org\r\n" + length, "403"), ("PUT /api/do", own + length, "405"),
                   ("POST /api/do", own + "Content-Length: 5000\r\n", "413"), ("POST /api/do", own, "411"))
        for request, head, status in refused:
            head = f"{request} HTTP/1.1\r\n{head}Connection: keep-alive\r\n\r\n"
            with self.subTest(head):
                answer = self.raw(head + hidden)
                self.assertIn(f" {status} ", answer.splitlines()[0])
                self.assertEqual(answer.count("HTTP/1.1 "), 1, answer)
                first, further = self.refused_then(head, hidden)
                self.assertIn(f" {status} ", first)
                self.assertEqual(further, "")
        self.assertEqual(self.commands_seen(), [])

    def test_two_origins(self):
        """A browser sends one; who sends two wants one of them to be looked at and the other to count."""
        own, foreign = f"Origin: http://127.0.0.1:{self.simulator.port}\r\n", "Origin: http://example.org\r\n"
        for origins in (own + foreign, foreign + own, own + own, own + "origin: null\r\n"):
            head = f"Host: 127.0.0.1:{self.simulator.port}\r\n{origins}Content-Length: 12\r\n"
            answer = self.raw(f"POST /api/do HTTP/1.1\r\n{head}\r\nsend chan_bt")
            self.assertIn(" 403 ", answer.splitlines()[0], origins)
        self.assertEqual(self.commands_seen(), [])

    def test_two_lengths(self):
        """Where a body ends must not be a matter of who reads it."""
        chunks = "c\r\nsend chan_bt\r\n0\r\n\r\n"
        length, chunked = "Content-Length: 12\r\n", "Transfer-Encoding: chunked\r\n"
        for lengths, body in ((length + chunked, chunks), (chunked + length, chunks),
                              (length + chunked, "send chan_bt"), (chunked, chunks), (length + length, "send chan_bt"),
                              (length + "Transfer-Encoding: identity\r\n", "send chan_bt"),
                              (length + "Content-Length: 0\r\n", "send chan_bt")):
            answer = self.raw(f"POST /api/do HTTP/1.1\r\nHost: 127.0.0.1:{self.simulator.port}\r\n{lengths}\r\n{body}")
            self.assertIn(" 411 ", answer.splitlines()[0], lengths)
        self.assertEqual(self.commands_seen(), [])

    def test_long_bodies(self):
        own = f"Host: 127.0.0.1:{self.simulator.port}\r\n"
        answer = self.raw(f"POST /api/do HTTP/1.1\r\n{own}Content-Length: 2000000000\r\n\r\nsend chan_bt")
        self.assertIn(" 413 ", answer.splitlines()[0])
        chunks = "1001\r\n" + "#" * 0x1001 + "\r\n0\r\n\r\n"
        answer = self.raw(f"POST /api/do HTTP/1.1\r\n{own}Transfer-Encoding: chunked\r\n\r\n{chunks}")
        self.assertIn(" 411 ", answer.splitlines()[0])
        answer = self.raw(f"POST /nothing HTTP/1.1\r\n{own}\r\n" + "#" * 1000)
        self.assertIn(" 411 ", answer.splitlines()[0])
        self.assertEqual(self.simulator.request("/api/do", "#" * 4096)[0], 200)
        self.assertEqual(self.simulator.request("/api/do", "#" * 4097)[0], 413)
        self.assertEqual(self.commands_seen(), [])

    def test_a_body_that_is_too_long_is_told(self):
        status, headers, data = self.simulator.request("/api/do", "#" * 5000)
        self.assertEqual((status, headers["Content-Type"]), (413, "application/json"))
        self.assertIn("4096 bytes at most", json.loads(data)["error"])

    def test_many_slow_connections_stop_nobody(self):
        """Some say nothing, some half of what they want; a browser that comes then is answered at once."""
        slow = [socket.create_connection(("127.0.0.1", self.simulator.port)) for _ in range(60)]
        for connection in slow[::2]:
            connection.sendall(b"GET / HTTP/1.1\r\nHost: 127.0.0.1")
        begin = time.monotonic()
        for _ in range(5):
            self.assertEqual(self.simulator.request("/api/state")[0], 200)
        self.assertLess(time.monotonic() - begin, 1.5 * PATIENCE)
        for connection in slow:  # and in the end they are let go
            connection.settimeout(20 * PATIENCE)
            with contextlib.suppress(ConnectionResetError):
                while connection.recv(1000):
                    pass
            connection.close()

    def test_other_methods(self):
        for method in ("GET", "PUT", "PATCH", "DELETE", "OPTIONS"):
            connection = http.client.HTTPConnection("127.0.0.1", self.simulator.port, timeout=20 * PATIENCE)
            connection.request(method, "/api/do", "send chan_bt")
            self.assertIn(connection.getresponse().status, (404, 405), method)
            connection.close()
        self.assertEqual(self.commands_seen(), [])


# A line, and what the state tells of the box afterwards.
BOX_LINES = [
    ("supply 11.8", "supply", "11.8"), ("supply none", "supply", "none"), ("supply 12.4", "supply", "12.4"),
    ("supply 0.2", "supply", "0.2"), ("jack 13800", "jack", "13800"), ("jack none", "jack", "none"),
    ("jack-ready on", "jack-ready", "on"), ("jack-ready off", "jack-ready", "off"),
    ("wifi up", "wifi", "up"), ("wifi down", "wifi", "down"), ('ssid "My \\"Net\\""', "ssid", 'My "Net"'),
    ('ssid ""', "ssid", ""), ("signal -61", "signal", "-61"), ("signal none", "signal", "none"),
    ("noise -88", "noise", "-88"), ("serial QB-1", "serial", "QB-1"), ("serial none", "serial", "none"),
    ("bluetooth Name-1", "bluetooth", "Name-1"), ("bluetooth A=B=C", "bluetooth", "C"),
    ("bluetooth none", "bluetooth", "none"),
    ("warranty-lock off", "warranty-lock", "off"), ("warranty-lock on", "warranty-lock", "on"),
    ("hotspot off", "hotspot", "off"), ("hotspot on", "hotspot", "on"),
    ("activity-alt on", "activity-alt", "on"), ("activity-alt off", "activity-alt", "off"),
    ("firmware-type FT_MAINAPP_J2534", "firmware-type", "FT_MAINAPP_J2534"),
    ("firmware-type none", "firmware-type", "none"),
]


class Lines(PageTest):
    def error(self, line, status=400):
        answer = self.simulator.request("/api/do", line)
        self.assertEqual(answer[0], status, line)
        reply = json.loads(answer[2])
        self.assertFalse(reply["ok"])
        return reply["error"]

    def test_a_word_reaches_both_daemons(self):
        self.simulator.do("send chan_usb", "wait 601ms")
        self.assert_shows("views/view_usb")

    def test_words_with_arguments(self):
        self.simulator.do("send Error_Code A12", "wait 601ms")
        self.assert_shows("messages/overlay_error_short")

    def test_errors_help(self):
        self.assertIn("chan_bt", self.error("send chan_b"))
        self.assertIn("signal", self.error("singal -50"))
        self.error("supply lots")
        self.error("cd_update")
        self.error("send cd_update many MAIN_FW")
        self.assertEqual(self.commands_seen(), [])

    def test_nothing_to_do(self):
        self.simulator.do("", "   ", "# a comment")

    def test_one_line_at_a_time(self):
        for line in ("send chan_bt\nsend chan_usb", "send chan_bt\r", "note a\0b"):
            self.error(line)
        self.assertEqual(self.commands_seen(), [])

    def test_what_only_a_file_can_have(self):
        self.error("expect a-device.pbm")
        self.error("wait 11h")
        self.error("wait 601s")

    def test_a_wait_that_fails_is_told(self):
        self.assertIn("PASSTHRU", self.error("wait mode PASSTHRU", 409))
        self.simulator.do("send M4_J2534", "wait mode PASSTHRU")

    def test_the_box_follows_and_is_told(self):
        for line, part, told in BOX_LINES:
            self.simulator.do(line)
            self.assertEqual(self.simulator.state()["box"][part], told, line)

    def test_files_changed_by_hand_are_told(self):
        flag = self.simulator.box("tmp/bada")
        with open(flag, "w", encoding="ascii"):
            self.assertEqual(self.simulator.state()["box"]["activity-alt"], "on")
        os.remove(flag)
        self.assertEqual(self.simulator.state()["box"]["activity-alt"], "off")

    def test_odd_files_in_the_box(self):
        """They stop neither the page nor the daemons, and are an error of their control alone."""
        serial = self.simulator.box("rodata/serial_number")
        self.addCleanup(self.simulator.do, "serial QB418T-000123")
        os.remove(serial)
        os.mkfifo(serial)
        self.assertIsNone(self.simulator.state()["box"]["serial"])
        os.remove(serial)
        os.mkdir(serial)
        self.assertIsNone(self.simulator.state()["box"]["serial"])
        self.assertIn("serial_number", self.error("serial QB-2", 409))
        self.assertEqual(self.simulator.state()["trouble"], "")
        os.rmdir(serial)
        with open(serial, "wb") as file:
            file.truncate(300 << 20)
        self.assertLess(len(self.simulator.state()["box"]["serial"]), 20000)
        with open(f"/proc/{self.simulator.process.pid}/status", encoding="ascii") as file:
            peak_kb = int(re.search(r"VmHWM:\s*(\d+)", file.read()).group(1))
        self.assertLess(peak_kb, 200 << 10)

    def test_start_up_variants(self):
        for line, variant, bare, name in (("start production", "production", False, "production"),
                                          ("start debug", "debug", False, None),
                                          ("start normal bare", "normal", True, None),
                                          ("start", "normal", False, None)):
            self.simulator.do(line, "wait 600ms")
            state = self.simulator.state()
            self.assertEqual((state["variant"], state["bare"]), (variant, bare))
            if name == "production":
                self.assert_shows("start/production")

    def test_speed(self):
        def now():
            with urllib.request.urlopen(self.simulator.address + "events") as stream:
                return next(data for event, data in events(stream) if event == "time")
        before = now()
        self.assertEqual(now(), before, "paused time stands still")
        self.simulator.do("wait 2s")
        self.assertEqual(now(), before + 20)
        self.simulator.speed(20)
        wait_for(lambda: now() > before + 50, "time to run")
        self.simulator.speed(0)
        for bad in ("-1", "101", "fast", "", "nan", "1 2"):
            self.assertNotEqual(self.simulator.request("/api/speed", bad)[0], 200, bad)

    def test_a_wait_holds_nobody_up_without_a_word(self):
        """It is told, others are refused with its name, what only looks is answered, and it can be given up."""
        self.assertEqual(self.simulator.request("/api/give-up", "")[0], 409, "nothing waits")
        answers = []
        line = "wait 600s"
        waiting = threading.Thread(target=lambda: answers.append(self.simulator.request("/api/do", line)))
        waiting.start()
        wait_for(lambda: self.simulator.state()["waiting"] == line, "the wait to be told")
        for path, body in (("/api/do", "send chan_bt"), ("/api/do", "supply 11"), ("/api/record", "start")):
            status, _, data = self.simulator.request(path, body)
            self.assertEqual(status, 409)
            self.assertIn(f"'{line}' is still waiting", json.loads(data)["error"])
        self.assertTrue(self.picture("device"))
        self.assertEqual(answers, [])
        self.assertEqual(self.simulator.request("/api/give-up", "")[0], 200)
        waiting.join(20 * PATIENCE)
        self.assertEqual(answers[0][0], 409)
        self.assertIn("given up", json.loads(answers[0][2])["error"])
        self.assertEqual(self.simulator.state()["waiting"], "")
        self.assertEqual(self.simulator.state()["trouble"], "")
        self.simulator.do("send chan_bt", "wait 601ms")

    def test_long_waits_leave_the_page_alive(self):
        self.simulator.do("wait 120s", "send M4_ready", "wait mode READY")


class Streams(PageTest):
    def stream(self):
        stream = urllib.request.urlopen(self.simulator.address + "events", timeout=20 * PATIENCE)
        self.addCleanup(stream.close)
        return stream

    def test_a_newcomer_gets_everything(self):
        self.simulator.do("send chan_bt", "wait 601ms")
        stream, got = self.stream(), {}
        self.assertEqual(stream.headers["Content-Type"], "text/event-stream")
        for name, data in events(stream):
            got.setdefault(name, []).append(data)
            if name == "log" and data["text"] == "Got Signal with value chan_bt":
                break
        self.assertTrue({"picture-device", "picture-layout", "state", "time", "log"} <= set(got))
        for view in VIEWS:
            picture = got[f"picture-{view}"][0]
            bits = bin(int("1" + picture["rows"], 16))[3:]
            width = picture["width"]
            rows = [bits[y * width:(y + 1) * width] for y in range(picture["height"])]
            self.assertEqual(rows, self.picture(view))

    def test_both_daemons_logs_are_told(self):
        self.simulator.do("send DoIP_on", "wait 601ms")
        views = set()
        for name, data in events(self.stream()):
            if name == "log" and data["text"] == "Got Signal with value DoIP_on":
                views.add(data["view"])
            if name == "caught-up":
                break
        self.assertEqual(views, set(VIEWS))

    def test_changes_come_by_themselves(self):
        stream = events(self.stream())
        self.simulator.do("send REC_ON", "wait 601ms", "serial QB-NEW")
        awaited = {"log": lambda data: data["text"] == "Got Signal with value REC_ON",
                   "state": lambda data: data["box"]["serial"] == "QB-NEW"}
        for name, data in stream:
            if name in awaited and awaited[name](data):
                del awaited[name]
            if not awaited:
                break
        self.assertEqual(awaited, {})

    def comments(self, number):
        """The moments at which the first so many signs of life came. It gives up after some seconds, whether nothing
        comes or too much."""
        end = time.monotonic() + 20 * PATIENCE
        seen = []
        for line in self.stream():
            if line.startswith(b":"):
                seen.append(time.monotonic())
            if len(seen) == number:
                return seen
            self.assertLess(time.monotonic(), end, f"{len(seen)} of {number} signs of life")
        raise AssertionError("the stream has ended")

    def test_a_quiet_stream_shows_that_it_lives(self):
        """A page notices by it that the simulator has gone, and the simulator that a page has."""
        first, _, third = self.comments(3)
        self.assertGreater(third - first, 1, "and it does so now and then")

    def test_many_streams_and_still_answers(self):
        streams = []
        try:
            while len(streams) < 40:
                streams.append(urllib.request.urlopen(self.simulator.address + "events", timeout=20 * PATIENCE))
        except urllib.error.HTTPError as problem:
            self.assertEqual(problem.code, 503)
        self.assertGreaterEqual(len(streams), 16)
        self.assertLess(len(streams), 40)
        self.simulator.do("send chan_bt", "wait 601ms")
        self.assert_shows("views/view_bluetooth")
        for stream in streams:
            stream.close()

        def has_room():
            try:
                urllib.request.urlopen(self.simulator.address + "events", timeout=20 * PATIENCE).close()
                return True
            except urllib.error.HTTPError:
                return False
        wait_for(has_room, "the closed streams to be noticed")


class Recording(PageTest):
    def record(self, what):
        self.assertEqual(self.simulator.request("/api/record", what)[0], 200)

    def play(self, folder):
        path = os.path.join(folder, "recorded.scenario")
        with open(path, "wb") as file:
            file.write(self.simulator.request("/api/scenario")[2])
        played = subprocess.run([PROGRAM, "play", path, "--out", folder], capture_output=True, text=True, check=False)
        self.assertEqual(played.returncode, 0, played.stdout + played.stderr)

    def assert_plays_back(self, pictures):
        with tempfile.TemporaryDirectory() as folder:
            self.play(folder)
            for name, both in pictures.items():
                for view in VIEWS:
                    self.assertEqual(load_pbm(os.path.join(folder, f"{name}-{view}.pbm")), both[view], f"{name} {view}")

    def take(self, pictures, name):
        self.simulator.do(f"picture {name}")
        pictures[name] = {view: self.picture(view) for view in VIEWS}

    def test_nothing_recorded(self):
        other = Simulator()
        self.addCleanup(other.close)
        self.assertEqual(other.request("/api/scenario")[0], 404)

    def test_a_running_display_plays_back_to_the_pixel(self):
        """Live time, a box that is not as delivered, and the activity icon in whatever phase it was."""
        pictures = {}
        self.simulator.do("supply 11.2", "serial QB-RECORDED", "hotspot off")
        self.record("start")
        self.simulator.speed(5)
        for number, line in enumerate(("send chan_bt", "send REC_ON", "supply 13.9", "send Error_Code \"E 12\"",
                                       "send clear_msg", "send cd_update 4 MAIN_FW", "send p_off")):
            self.simulator.do(line, f"wait {123 + 57 * number}ms")
            self.simulator.speed(0)
            self.take(pictures, f"after-{number}")
            self.simulator.speed(5)
        self.record("stop")
        self.simulator.speed(0)
        self.assertGreater(len({str(both) for both in pictures.values()}), 4)
        self.simulator.do("supply 12.4", "serial QB418T-000123", "hotspot on")
        self.assert_plays_back(pictures)

    def test_start_up_variants_play_back(self):
        pictures = {}
        for start in ("start production", "start normal bare"):
            self.simulator.do(start, "wait 300ms")
            self.record("start")
            self.simulator.do("wait 700ms")
            self.take(pictures, "begin")
            self.simulator.do("start debug", "noise -77", "wait 1200ms")
            self.take(pictures, "restarted")
            self.record("stop")
            self.assert_plays_back(pictures)

    def send_from_outside(self, *arguments):
        bus = self.simulator.state()["bus"]
        subprocess.run(["dbus-send", "--bus=" + bus, "--type=signal", "/zor/signal", "zor.signal.Type.Display",
                        *arguments], check=True)

    def test_what_came_from_outside_is_recorded(self):
        """Another program on the bus, and a file changed by hand; also while a line waits."""
        def text():
            return self.simulator.request("/api/scenario")[2].decode()
        self.record("start")
        self.simulator.do("wait 100ms")
        self.send_from_outside("string:Error_Code", "string:A 12")
        wait_for(lambda: '\nsend Error_Code "A 12"\n' in text(), text)
        with open(self.simulator.box("rodata/serial_number"), "w", encoding="ascii") as file:
            file.write("BY-HAND\n")
        wait_for(lambda: "\nserial BY-HAND\n" in text(), text)
        self.send_from_outside("string:no_such_word")
        wait_for(lambda: re.search("^# .*no_such_word$", text(), re.M), text)
        self.simulator.do("send chan_bt", "serial OWN", "wait 601ms")
        waiting = threading.Thread(target=lambda: self.simulator.request("/api/do", "wait 300s"))
        waiting.start()
        wait_for(lambda: self.simulator.state()["waiting"], "the wait")
        self.send_from_outside("string:M4_COMM")
        wait_for(lambda: "\nsend M4_COMM\n" in text(), text)
        self.simulator.request("/api/give-up", "")
        waiting.join()
        self.simulator.do("wait 601ms")
        pictures = {}
        self.take(pictures, "end")
        self.record("stop")
        for line in ('send Error_Code "A 12"', "send chan_bt", "send M4_COMM", "serial BY-HAND", "serial OWN"):
            self.assertEqual(text().count(f"\n{line}\n"), 1, text())
        for view in VIEWS:
            pictures["end"][view] = without_activity_icon(pictures["end"][view], view)
        with tempfile.TemporaryDirectory() as folder:
            self.play(folder)
            for view in VIEWS:
                played = without_activity_icon(load_pbm(os.path.join(folder, f"end-{view}.pbm")), view)
                self.assertEqual(played, pictures["end"][view], view)
        self.simulator.do("serial QB418T-000123")

    def test_a_key_in_the_terminal_is_recorded(self):
        with InTerminal() as simulator:
            urllib.request.urlopen(simulator.address + "api/record", b"start").close()
            simulator.press(b"b")

            def text():
                with urllib.request.urlopen(simulator.address + "api/scenario") as answer:
                    return answer.read().decode()
            wait_for(lambda: "\nsend chan_bt\n" in text(), text)
            self.assertEqual(text().count("chan_bt"), 1)

    def test_a_crash_is_recorded_as_a_comment(self):
        simulator = Simulator()
        self.addCleanup(simulator.close)
        self.assertEqual(simulator.request("/api/record", "start")[0], 200)
        os.kill(next(pid for pid, comm in descendants(simulator.process.pid) if comm == "status-display"),
                signal.SIGABRT)
        wait_for(lambda: simulator.state()["trouble"], "the trouble to be told")
        simulator.do("start normal")
        self.assertEqual(simulator.request("/api/record", "stop")[0], 200)
        self.assertIn("\n# The device's daemon was killed by SIGABRT.\n",
                      simulator.request("/api/scenario")[2].decode())

    def test_what_fails_is_not_recorded(self):
        self.record("start")
        self.simulator.request("/api/do", "send nonsense")
        self.simulator.do("send chan_bt")
        self.record("stop")
        self.simulator.do("send chan_usb")
        text = self.simulator.request("/api/scenario")[2].decode()
        self.assertIn("\nsend chan_bt\n", text)
        self.assertNotIn("nonsense", text)
        self.assertNotIn("chan_usb", text)

    def test_a_picture_is_taken_once_under_one_name(self):
        """The recording could not be played otherwise."""
        self.record("start")
        self.simulator.do("picture a", "picture b")
        status, _, data = self.simulator.request("/api/do", 'picture   "a"')
        self.assertEqual(status, 400)
        self.assertIn("takes a picture 'a' already", json.loads(data)["error"])
        self.record("stop")
        text = self.simulator.request("/api/scenario")[2].decode()
        self.assertEqual(re.findall("^picture.*$", text, re.M), ["picture a", "picture b"])

    def test_what_only_a_recording_keeps_is_refused_without_one(self):
        for line in ("note What happens", "note", "picture a"):
            status, _, data = self.simulator.request("/api/do", line)
            self.assertEqual(status, 409, line)
            self.assertIn("nothing is being recorded", json.loads(data)["error"])
        self.assertEqual(self.simulator.state()["trouble"], "", "and the display runs on")
        self.record("start")
        self.simulator.do("note What happens", "picture a")
        self.record("stop")

    def test_other_requests(self):
        self.assertEqual(self.simulator.request("/api/record", "pause")[0], 400)


def descendants(pid):
    found = []
    for name in os.listdir("/proc"):
        try:
            with open(f"/proc/{name}/stat", encoding="ascii", errors="replace") as file:
                comm, rest = re.fullmatch(r"\d+ \((.*)\) (.*)\n?", file.read(), re.S).groups()
        except (OSError, AttributeError):
            continue
        if int(rest.split()[1]) == pid:
            found += [(int(name), comm)] + descendants(int(name))
    return found


def alive(pid):
    """Whether it runs; one that has ended may wait for ever to be asked about, where nobody does."""
    try:
        with open(f"/proc/{pid}/stat", encoding="ascii", errors="replace") as file:
            return file.read().rpartition(")")[2].split()[0] != "Z"
    except OSError:
        return False


class Life(unittest.TestCase):
    def test_the_end(self):
        """With open streams it ends at once, with status 0, and leaves nothing behind."""
        simulator = Simulator()
        folder = simulator.state()["folder"]
        stream = urllib.request.urlopen(simulator.address + "events", timeout=20 * PATIENCE)
        children = [pid for pid, _ in descendants(simulator.process.pid)]
        self.assertTrue(children)
        begin = time.monotonic()
        self.assertEqual(simulator.close(), 0)
        self.assertLess(time.monotonic() - begin, 5 * PATIENCE)
        stream.close()
        self.assertFalse(os.path.exists(folder))
        self.assertEqual([pid for pid in children if os.path.exists(f"/proc/{pid}")], [])

    def test_a_sudden_end(self):
        """Killed, it can put nothing away, but no process stays."""
        simulator = Simulator()
        folder = simulator.state()["folder"]
        self.addCleanup(shutil.rmtree, folder, ignore_errors=True)
        children = [pid for pid, _ in descendants(simulator.process.pid)]
        self.assertTrue(children)
        simulator.process.kill()
        simulator.close()
        wait_for(lambda: not any(alive(pid) for pid in children), "the children's end")

    def test_the_end_during_a_long_wait(self):
        simulator = Simulator()
        connection = http.client.HTTPConnection("127.0.0.1", simulator.port)
        connection.request("POST", "/api/do", "wait 600s")
        begin = time.monotonic()
        self.assertEqual(simulator.close(), 0)
        self.assertLess(time.monotonic() - begin, 5 * PATIENCE)
        connection.close()

    def test_a_daemon_that_ends_is_told_and_started_again(self):
        simulator = Simulator()
        self.addCleanup(simulator.close)
        daemon = next(pid for pid, comm in descendants(simulator.process.pid) if comm == "status-display")
        os.kill(daemon, signal.SIGKILL)
        simulator.speed(0)  # it is seen all the same
        trouble = wait_for(lambda: simulator.state()["trouble"], "the trouble to be told").splitlines()
        self.assertEqual(trouble[:2], ["The device's daemon was killed by SIGKILL.", "Its last log lines:"])
        self.assertIn("Match rule sent", trouble)
        self.assertLess(len(trouble), 12)
        self.assertEqual(simulator.request("/api/do", "send chan_bt")[0], 409)
        simulator.do("start normal")
        self.assertEqual(simulator.state()["trouble"], "")
        simulator.do("send M4_ready", "wait mode READY")

    def test_the_layouts_daemon_is_named_too(self):
        simulator = Simulator()
        self.addCleanup(simulator.close)
        daemon = next(pid for pid, comm in descendants(simulator.process.pid) if comm == "status-display-")
        os.kill(daemon, signal.SIGABRT)
        trouble = wait_for(lambda: simulator.state()["trouble"], "the trouble to be told")
        self.assertEqual(trouble.splitlines()[0], "The layout's daemon was killed by SIGABRT.")

    def test_a_killed_bus_is_told_and_started_again(self):
        simulator = Simulator()
        self.addCleanup(simulator.close)
        simulator.do("serial QB-KEPT")
        for _ in range(2):
            bus = next(pid for pid, comm in descendants(simulator.process.pid) if comm == "dbus-daemon")
            os.kill(bus, signal.SIGKILL)
            trouble = wait_for(lambda: simulator.state()["trouble"], "the trouble to be told")
            self.assertTrue(trouble.startswith("The bus was killed by SIGKILL"), trouble)
            self.assertEqual(simulator.request("/api/do", "send chan_bt")[0], 409)
            simulator.do("start normal")
            self.assertEqual(simulator.state()["trouble"], "")
            simulator.do("send M4_ready", "wait mode READY")
        self.assertEqual(simulator.state()["box"]["serial"], "QB-KEPT")

    def run_it(self, *options):
        return subprocess.run([PROGRAM, *options], capture_output=True, text=True, check=False, timeout=60 * PATIENCE)

    def test_a_port_that_is_taken(self):
        simulator = Simulator()
        self.addCleanup(simulator.close)
        other = self.run_it("--page", "--port", str(simulator.port))
        self.assertEqual(other.returncode, 1)
        self.assertIn("--port", other.stderr)

    def test_a_port_of_ones_choice(self):
        with socket.socket() as place:
            place.bind(("127.0.0.1", 0))
            port = place.getsockname()[1]
        simulator = Simulator("--port", str(port))
        self.addCleanup(simulator.close)
        self.assertEqual(simulator.port, port)

    def test_the_usual_port(self):
        """The same from run to run; another one is taken and told where somebody has it."""
        first = Simulator(usual_port=True)
        self.addCleanup(first.close)
        self.assertEqual(8790 if first.taken is None else int(first.taken), 8790)
        self.assertEqual(first.port == 8790, first.taken is None)
        second = Simulator(usual_port=True)
        self.addCleanup(second.close)
        self.assertEqual(second.taken, "8790")
        self.assertNotIn(second.port, (8790, first.port))
        self.assertTrue(second.state()["folder"])

    def test_bad_options(self):
        for options in (("--port",), ("--port", "x"), ("--port", "65536"), ("--speed", "-1"), ("--speed", "fast"),
                        ("--target", "z80"), ("--page", "--no-page"), ("--nonsense",)):
            self.assertEqual(self.run_it(*options).returncode, 2, options)


if __name__ == "__main__":
    unittest.main(verbosity=2)
