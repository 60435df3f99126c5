"""A machine under the emulator, and its serial console: commands go in, their output and status come back."""

import contextlib
import os
import re
import select
import subprocess
import time

from kinds import PATIENCE

LAST_LINES = 25
# What the kernel says on the same console, at the beginning of a line or behind a command's words.
KERNEL = re.compile(r"\[ *\d+\.\d{6}\] .*")


class Hung(Exception):
    """The console did not say what it was to say in time."""


def emulator(kind, disks, words="", console="stdio"):
    """The command line; `disks` are images, of which the first is the root. What the machine writes to one is gone with
    it, unless the name ends in '!'."""
    command = [*kind.emulator, "-accel", "tcg", "-smp", "1", "-m", "512", "-nodefaults", "-nographic", "-no-reboot",
               "-kernel", kind.folder("kernel"), "-initrd", kind.folder("initrd"),
               # No console is drawn into the panel: it would lie on a second framebuffer.
               "-append",
               f"console={kind.console} fbcon=map:1 net.ifnames=0 systemd.getty_auto=no panic=-1 {words}",
               "-serial", console, "-device", f"virtio-rng-{kind.bus}"]
    # Of devices that need no PCI the last one becomes the first disk.
    for number, disk in enumerate(disks if kind.bus == "pci" else disks[::-1]):
        snapshot = "off" if disk.endswith("!") else "on"
        command += ["-drive", f"if=none,id=disk{number},format=raw,cache=unsafe,snapshot={snapshot},"
                    f"file={disk.rstrip('!')}",
                    "-device", f"virtio-blk-{kind.bus},drive=disk{number}"]
    return command


class Machine:
    def __init__(self, kind, disks, log, words=""):
        self.kind = kind
        self.log = open(log, "wb")
        self.said = ""      # since the last command
        self.count = 0
        self.process = subprocess.Popen(emulator(kind, disks, words), stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT)

    def close(self):
        with contextlib.suppress(ProcessLookupError):
            self.process.kill()
        self.process.wait()
        self.process.stdin.close()
        self.process.stdout.close()
        self.log.close()

    def read_more(self, until):
        """False when the machine has ended."""
        ready, _, _ = select.select([self.process.stdout], [], [], max(0.0, until - time.monotonic()))
        if not ready:
            return True
        data = os.read(self.process.stdout.fileno(), 65536)
        self.log.write(data)
        self.log.flush()
        self.said += data.decode(errors="replace").replace("\r", "")
        return bool(data)

    def last_lines(self):
        return "\n".join("    " + line for line in self.said.splitlines()[-LAST_LINES:])

    def wait_for(self, pattern, seconds, what):
        """The match; what was said before it is gone then."""
        end = time.monotonic() + seconds * PATIENCE
        while True:
            found = re.search(pattern, self.said)
            if found:
                return found
            if time.monotonic() > end:
                raise Hung(f"{what}: not within {seconds * PATIENCE:.0f} s; the console's last lines:\n"
                           f"{self.last_lines()}")
            if not self.read_more(min(end, time.monotonic() + 1)):
                raise Hung(f"{what}: the machine ended; the console's last lines:\n{self.last_lines()}")

    def type(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def log_in(self, seconds):
        self.wait_for("the console is ready\n", seconds, "start of the machine")
        self.said = ""
        # From now on the console says nothing that was not asked for.
        self.type("stty -echo -onlcr; dmesg --console-off; exec env TERM=dumb PS1= PS2= sh")
        self.run("true")

    def run(self, command, seconds=60):
        """Status and output of a command line of the shell there."""
        self.count += 1
        mark = f"@{self.count}@"
        self.said = ""
        # Not to be found in an echo of the command itself.
        self.type(f"{{ {command}\n}} 2>&1; printf '\\n%s%s %d\\n' '@{self.count}' '@' $?")
        found = self.wait_for(re.escape("\n" + mark) + r" (\d+)\n", seconds, command.splitlines()[0])
        output = KERNEL.sub("", self.said[:found.start()]).strip("\n")
        return int(found[1]), output

    def wait_for_end(self, seconds, what):
        end = time.monotonic() + seconds * PATIENCE
        while self.read_more(min(end, time.monotonic() + 1)):
            if time.monotonic() > end:
                raise Hung(f"{what}: not within {seconds * PATIENCE:.0f} s; the console's last lines:\n"
                           f"{self.last_lines()}")
        self.process.wait()
