#!/usr/bin/env python3
"""The packages in a machine of their own: Debian's kernel with a framebuffer of 64 x 128 x 1, systemd as its init, the
shipped unit, policy and user in force. What it has to say is a line for each verdict; it leaves them, the console's log
and the pictures in build/vm/ARCHITECTURE.

    tests/vm/vm_test.py amd64|armhf              the test
    tests/vm/vm_test.py amd64|armhf --console    the same machine with a shell, to look around; Ctrl-A X ends it"""

import glob
import os
import re
import shlex
import shutil
import subprocess
import sys
import time

import image
import panel
from kinds import KINDS, PATIENCE, SOURCE
from machine import Hung, Machine, emulator
from demo_in_real_time import play_demo
from device_panel import converter_reading, difference, expected

UNIT = "status-display.service"
MOST_EXPOSED = 1.5  # on systemd's scale from 0 to 10
CONVERTER = "/sys/bus/iio/devices/iio:device0"
VFB = "modprobe vfb vfb_enable=1 mode_option=64x128M-1@60"
JACK = "#!/bin/sh\n[ \"$1\" = vjack ] && cat /userdata/jack\n"
PREPARED = (
    "mkdir -p /rodata /userdata/configs",
    "echo QB418T-000123 >/rodata/serial_number; echo name=QB418T-BT-000123 >/rodata/bluetooth_name; : >/rodata/wlock",
    f"printf %s {shlex.quote(JACK)} >/usr/local/bin/vcicp; chmod +x /usr/local/bin/vcicp; echo 12000 >/userdata/jack",
    # The emulator has no converter; a folder where its driver would show it is one as good for who reads files.
    "modprobe industrialio && mount -t tmpfs none /sys/bus/iio/devices && mkdir '/sys/bus/iio/devices/iio:device0'",
    f"echo 1.0 >{CONVERTER}/in_voltage_scale",
)
ACCESS_POINT = "interface=wlan1\ndriver=nl80211\nssid={}\nhw_mode=g\nchannel=1\n"


class Failed(AssertionError):
    """What was to be seen was not."""


def expect(condition, text):
    if not condition:
        raise Failed(text)


def packages(kind):
    """The files of what is shipped; ./package makes them."""
    found = [path for name in ("status-display", "status-display-tools")
             for path in glob.glob(f"{SOURCE}/build/packages/{name}_*_{kind.name}.deb")]
    if len(found) != 2:
        raise SystemExit(f"there are no packages for {kind.name} in build/packages; './package {kind.name}' makes them")
    return found


def packages_disk(kind):
    folder, disk = kind.folder("packages"), kind.folder("packages.img")
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    for path in [*packages(kind), os.path.join(image.HERE, "station-link")]:
        shutil.copy(path, folder)
    with open(disk, "wb") as file:
        file.truncate(8 << 20)
    subprocess.run(["mke2fs", "-q", "-F", "-t", "ext4", "-O", "^has_journal", "-d", folder, disk], check=True)
    return disk


class Course:
    """The steps, one behind the other; each one's first line says what must be."""

    def __init__(self, kind):
        self.kind = kind
        self.machine = None
        self.begin = time.monotonic()
        self.report = open(kind.folder("report"), "w", encoding="utf-8")
        self.failed = self.pictures = 0

    def say(self, text):
        line = f"{time.monotonic() - self.begin:6.1f} s  {text}"
        print(line, flush=True)
        self.report.write(line + "\n")
        self.report.flush()

    def step(self, function):
        what = function.__doc__.splitlines()[0].rstrip(".")
        try:
            said = function()
            self.say(f"ok      {what}" + (f": {said}" if said else ""))
        except AssertionError as problem:
            self.failed += 1
            self.say(f"FAILED  {what}: {problem}")

    # What is asked of the machine.

    def run(self, command, seconds=60):
        """The output of a command that must do well."""
        status, output = self.machine.run(command, seconds)
        expect(status == 0, f"'{command}' ended with status {status}: {output}")
        return output

    def ask(self, command):
        """The output of a command whose status does not matter."""
        return self.machine.run(command)[1].strip()

    def wait(self, question, what, seconds=60):
        """Waits until the question's answer is true, and returns that."""
        end = time.monotonic() + seconds * PATIENCE
        while True:
            answer = question()
            if answer:
                return answer
            expect(time.monotonic() < end, f"no {what} within {seconds * PATIENCE:.0f} s; " + self.ask(
                f"systemctl status --no-pager --lines=5 {UNIT}"))
            time.sleep(0.1)

    def main_process(self, unit=UNIT):
        process = self.property("MainPID", unit)
        expect(process not in ("", "0"), f"{unit} does not run")
        return process

    def property(self, name, unit=UNIT):
        return self.ask(f"systemctl show -P {name} {unit}")

    def is_up(self):
        return self.ask(f"systemctl is-active {UNIT}") == "active"

    def listens(self):
        """The unit is up and the display has its name."""
        return self.is_up() and "true" in self.ask(
            "busctl call org.freedesktop.DBus / org.freedesktop.DBus NameHasOwner s zor.signal.sink")

    def seen(self):
        return panel.rows_of_dump(self.run(panel.DUMP))

    def expect_picture(self, name):
        """Waits until the whole panel is as a scenario expects it; leaves it as a file."""
        wanted = expected(name)
        self.pictures += 1
        path = self.kind.folder(f"{self.pictures:02}-{name.replace('/', '-')}")
        end = time.monotonic() + 40 * PATIENCE
        while True:
            rows = self.seen()
            differs = difference(rows, wanted)
            if not differs or time.monotonic() > end:
                break
        panel.save(rows, path, f"/dev/fb0 of the machine ({self.kind.name}); expected: {name}")
        expect(not differs, f"the panel is not as {name}: {differs}; see {path}.png")

    def send_as(self, user, *words):
        return self.run(f"runuser -u {user} -- displayctl send {shlex.join(words)}")

    def send(self, *words):
        return self.send_as("member", *words)

    # Where it runs.

    def boot(self, disks):
        begin = time.monotonic()
        number = len(glob.glob(self.kind.folder("serial-*.log"))) + 1
        self.machine = Machine(self.kind, disks, self.kind.folder(f"serial-{number}.log"))
        self.machine.log_in(300)
        self.say(f"        booted: a shell on the console after {time.monotonic() - begin:.1f} s; "
                 + self.ask("uname -srm"))

    def power_off(self):
        self.machine.type("systemctl poweroff")
        self.machine.wait_for_end(120, "power-off")
        self.machine.close()

    def install(self):
        """The packages are installed where no framebuffer is yet."""
        self.run("mount -o ro /dev/vdb /mnt")
        begin = time.monotonic()
        self.run("dpkg -i /mnt/*.deb", 300)
        took = time.monotonic() - begin
        self.run("cp /mnt/station-link /usr/local/sbin && umount /mnt")
        expect(self.ask(f"systemctl is-enabled {UNIT}") == "enabled", "the unit is not enabled")
        self.run("usermod -aG status-display-senders member")
        # So long and not a minute and a half is a device waited for, that it may come later.
        self.run("mkdir -p /etc/systemd/system/dev-fb0.device.d && "
                 "printf '[Unit]\\nJobRunningTimeoutSec=5\\n' >/etc/systemd/system/dev-fb0.device.d/test.conf")
        return f"in {took:.1f} s"

    # The steps of the second start.

    def prepare(self):
        """The machine has the files and tools that the display looks at."""
        for line in PREPARED:
            self.run(line)
        self.set_supply("12.4")

    def boot_does_not_wait(self):
        """Without a framebuffer the machine comes up, and systemd gives it up."""
        expect(self.ask("systemctl is-active multi-user.target") == "active", "the start waits for it")
        self.wait(lambda: self.ask("systemctl is-system-running") in ("running", "degraded"), "end of all jobs", 120)
        expect(self.ask("systemctl is-system-running") == "running", self.ask("systemctl --failed --no-legend"))
        expect(self.ask(f"systemctl is-active {UNIT}") == "inactive", "it runs")
        return self.ask("systemd-analyze time | head -n 1")

    def framebuffer_appears(self):
        """The framebuffer comes late, and the unit comes up by itself."""
        self.run(VFB)
        self.wait(self.listens, "unit that is up")
        geometry = self.run("cat /sys/class/graphics/fb0/virtual_size /sys/class/graphics/fb0/bits_per_pixel").split()
        expect(geometry == ["64,128", "1"], f"the framebuffer is {geometry}")
        return self.run("stat -c '%U:%G %a' /dev/fb0")

    def start_picture(self):
        """The panel shows the start picture."""
        self.expect_picture("demo/start")

    def runs_as_its_user(self):
        """The daemon runs as its user, without capabilities, under a filter of system calls."""
        main = self.main_process()
        expect(self.ask(f"stat -c %U /proc/{main}") == "status-display", "it runs as another user")
        status = dict(re.findall(r"(?m)^(\w+):\t(.*)$", self.run(f"cat /proc/{main}/status")))
        for name in ("CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb"):
            expect(int(status[name], 16) == 0, f"{name} is {status[name]}")
        expect(status["NoNewPrivs"] == "1" and status["Seccomp"] == "2", "no filter")
        expect("Groups" in status, "no groups")

    def stranger(self):
        """A stranger's command does not reach the panel."""
        before = self.seen()
        self.send_as("stranger", "chan_bt")
        # The bus works in order: when a member's later command is done, the stranger's has gone where it may. The
        # word is none that the display knows, so it is logged and nothing else.
        self.send("--force", "nothing_that_is_known")
        self.wait(lambda: "nothing_that_is_known" in self.ask(f"journalctl --no-pager -b -u {UNIT} -o cat"),
                  "log line of the member's word")
        expect("value chan_bt" not in self.ask(f"journalctl --no-pager -b -u {UNIT} -o cat"), "it was logged")
        expect(self.seen() == before, "the panel has changed")

    def set_supply(self, volts):
        self.run(f"echo {converter_reading(volts)} >{CONVERTER}/in_voltage0_raw")

    def join_network(self, name):
        """A real access point and a real station, on two radios of the kernel's simulator of them."""
        self.run("modprobe mac80211_hwsim radios=2")
        self.run(f"printf %s {shlex.quote(ACCESS_POINT.format(name))} >/run/access-point")
        self.run("hostapd -B /run/access-point && station-link")
        self.wait(lambda: self.is_linked(name), f"link to {name}")
        # As a supplicant leaves it. Debian's own associates in a way that has the kernel not tell the name.
        self.run("station-link dormant")

    def is_linked(self, name):
        """After another try: the kernel asks the access point three times in less than a second, and a busy emulator
        does not always answer in that time. Asked again before that is over, the kernel forgets the name."""
        self.ask(f"iw dev wlan0 connect -w {name}; sleep 1")
        return self.ask("cat /sys/class/net/wlan0/operstate") == "up"

    def set_jack(self, millivolts):
        self.run(f"echo {millivolts} >/userdata/jack")

    def set_jack_ready(self, _):
        self.run(": >/tmp/.app_rcv_command_ready")

    def demo(self):
        """A member's commands and the box's files lead to the pictures of the demo."""
        first = self.pictures
        play_demo(self)
        return f"{self.pictures - first} pictures"

    def comes_back(self, before):
        """Waits for another process of the daemon's, which knows nothing of the commands before and heeds new ones."""
        self.wait(lambda: self.listens() and self.property("MainPID") != before, "display that is back")
        self.send("chan_bt")
        self.expect_picture("demo/phone")

    def killed(self):
        """The daemon is killed, and comes back."""
        self.set_supply("12.4")
        before = self.main_process()
        self.run(f"kill -KILL {before}")
        self.comes_back(before)
        return f"{self.property('NRestarts')} restart"

    def bus_restarted(self):
        """The bus is restarted: both come back, and commands work."""
        bus, before = self.main_process("dbus.service"), self.main_process()
        self.run("systemctl restart dbus.service")
        expect(self.property("MainPID", "dbus.service") not in ("0", bus), "the bus is not back")
        self.comes_back(before)

    def bus_killed(self):
        """The bus is killed: once somebody asks for it, both come back, and commands work."""
        bus, before = self.main_process("dbus.service"), self.main_process()
        self.run(f"kill -KILL {bus}")
        self.wait(lambda: self.property("MainPID", "dbus.service") != bus, "end of the bus")
        self.run("runuser -u stranger -- busctl list --no-pager --unique --no-legend")
        expect(self.main_process("dbus.service") != bus, "the bus is not back")
        self.comes_back(before)

    def device_goes_and_returns(self):
        """The framebuffer is taken away and returned: the display stops, and is back."""
        before = self.main_process()
        self.run("echo vfb.0 >/sys/bus/platform/drivers/vfb/unbind")
        self.wait(lambda: self.ask(f"systemctl is-active {UNIT}") == "inactive", "unit that has stopped")
        self.run("rmmod vfb")
        expect(self.ask("ls /dev/fb0").startswith("ls: "), "the device is still there")
        self.run(VFB)
        self.comes_back(before)

    def sleeps(self):
        """How often the daemon went to sleep so far."""
        return int(self.run(f"awk '/^voluntary/ {{ print $2 }}' /proc/{self.main_process()}/status"))

    def times_logged(self, word):
        return int(self.ask(f"journalctl --no-pager -b -u {UNIT} -o cat | grep -c 'value {word}$'"))

    def set_jack_tool(self, script):
        # A new file: the one that runs is read to its end.
        self.run(f"printf %s {shlex.quote(script)} >/usr/local/bin/fresh && chmod +x /usr/local/bin/fresh && "
                 "mv /usr/local/bin/fresh /usr/local/bin/vcicp")

    def hung_tool(self):
        """A tool that hangs shows itself as docs/operation.md says, and can be ended or given a limit."""
        self.set_jack_tool("#!/bin/sh\nexec sleep 1000\n")
        self.set_supply("0.2")
        self.set_jack_ready("on")
        self.wait(lambda: "sleep 1000" in self.ask(f"systemctl status --no-pager {UNIT}"), "tool below the daemon")
        before, logged = self.sleeps(), self.times_logged("M4_ready")
        wchan = self.run(f"cat /proc/{self.main_process()}/wchan")
        expect(wchan == "pipe_read", f"the daemon waits in {wchan}")
        self.send("M4_ready")
        self.run("sleep 3")
        expect(self.sleeps() == before and self.is_up(), "the loop runs")
        expect(self.times_logged("M4_ready") == logged, "a command was taken")
        self.set_jack_tool(JACK)
        self.run("kill $(pidof sleep)")
        self.wait(lambda: self.times_logged("M4_ready") > logged, "log line of what was sent meanwhile")
        self.set_jack_tool("#!/bin/sh\nexec timeout --kill-after=1 0.2 sleep 999\n")
        commands = "cat /proc/[0-9]*/cmdline 2>/dev/null | tr '\\0' ' '"
        self.wait(lambda: "sleep 999" in self.ask(commands), "limited tool")
        before = self.sleeps()
        self.wait(lambda: self.sleeps() > before, "loop that runs between two calls of a limited tool")
        self.set_jack_tool(JACK)
        self.set_supply("12.4")

    def exposure(self):
        """It is exposed at most as much as it may be."""
        said = self.run(f"systemd-analyze security --no-pager {UNIT}")
        found = re.search(r"Overall exposure level for \S+: ([0-9.]+)", said)
        expect(found and float(found[1]) <= MOST_EXPOSED, said)
        return found[1]

    def slack(self):
        """The example for fewer wake-ups takes effect where it is copied to."""
        self.run(f"mkdir -p /etc/systemd/system/{UNIT}.d && cp /usr/share/doc/status-display/examples/"
                 f"fewer-wake-ups.conf /etc/systemd/system/{UNIT}.d/ && systemctl daemon-reload && "
                 f"systemctl restart {UNIT}")
        self.wait(self.listens, "unit that is up")
        main = self.main_process()
        expect(self.ask(f"cat /proc/{main}/timerslack_ns") == "4000000", self.ask(f"cat /proc/{main}/timerslack_ns"))
        self.send("chan_bt")
        self.expect_picture("demo/phone")

    def journal(self):
        """The journal tells of nothing that was refused, but the stranger's command."""
        journal = self.run("journalctl --no-pager -b")
        with open(self.kind.folder("journal"), "w", encoding="utf-8") as file:
            file.write(journal + "\n")
        number = self.run("id -u stranger")
        refused = [line for line in journal.splitlines()
                   if re.search("denied|reject|not permitted|audit: type=1326|refused", line, re.I)
                   and not re.search(rf"Rejected send message.*uid={number} ", line)]
        expect(not refused, "\n".join(refused[:10]))
        expect("Got Signal with value chan_bt" in journal, "the display's own lines are missing")

    def course(self, disk):
        installed = self.kind.folder("installed.img")
        subprocess.run(["cp", "--sparse=always", self.kind.folder("root.img"), installed], check=True)
        self.boot([installed + "!", disk])
        self.step(self.install)
        self.power_off()
        self.boot([installed])
        for step in (self.prepare, self.boot_does_not_wait, self.framebuffer_appears, self.start_picture,
                     self.runs_as_its_user, self.stranger, self.demo, self.killed, self.bus_restarted,
                     self.bus_killed, self.device_goes_and_returns, self.hung_tool, self.exposure,
                     self.slack, self.journal):
            self.step(step)
        self.power_off()

    def end(self):
        if self.machine:
            self.machine.close()
        self.report.close()


def run_test(kind):
    for name in glob.glob(kind.folder("*.p[bn][mg]")) + glob.glob(kind.folder("serial-*.log")):
        os.remove(name)
    course = Course(kind)
    try:
        course.course(packages_disk(kind))
    except Hung as problem:
        course.failed += 1
        course.say(f"HUNG    {problem}")
    finally:
        course.end()
    course_verdict = f"{course.failed} failed" if course.failed else "all is well"
    print(f"{kind.name}: {course_verdict}; {kind.folder()} holds the console's logs, the journal and the pictures")
    return 1 if course.failed else 0


def run_console(kind):
    disk = kind.folder("installed.img")
    disk = disk if os.path.exists(disk) else kind.folder("root.img")
    print(f"Ctrl-A X ends it, and what was changed is gone then; a framebuffer comes with: {VFB}", flush=True)
    os.execvp(kind.emulator[0], emulator(kind, [disk, packages_disk(kind)], console="mon:stdio"))


def main():
    if len(sys.argv) < 2 or sys.argv[1] not in KINDS or sys.argv[2:] not in ([], ["--console"]):
        raise SystemExit(__doc__)
    kind = KINDS[sys.argv[1]]
    image.ensure(kind)
    return run_console(kind) if sys.argv[2:] else run_test(kind)


if __name__ == "__main__":
    sys.exit(main())
