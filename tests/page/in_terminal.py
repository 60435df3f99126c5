"""The simulator in a terminal of its own, with its page: what keys do is seen on the page, and the other way round."""

import contextlib
import fcntl
import os
import pty
import re
import struct
import subprocess
import termios
import threading

from browser import wait_for
from simulator import PROGRAM


class InTerminal:
    """The real program; `process`, the page's `address`, and all that it has `shown`. A context ends it."""

    def __init__(self):
        self.terminal, inner = pty.openpty()
        fcntl.ioctl(inner, termios.TIOCSWINSZ, struct.pack("HHHH", 60, 150, 0, 0))
        self.process = subprocess.Popen([PROGRAM, "--port", "0"], stdin=inner, stdout=inner, stderr=inner,
                                        env=dict(os.environ, TERM="xterm-256color", LC_ALL="C.UTF-8"))
        os.close(inner)
        self.shown = bytearray()
        self.reader = threading.Thread(target=self.read)
        self.reader.start()
        self.address = None

    def read(self):
        with contextlib.suppress(OSError):  # it has ended
            while chunk := os.read(self.terminal, 65536):
                self.shown.extend(chunk)

    def press(self, keys):
        os.write(self.terminal, keys)

    def __enter__(self):
        try:
            found = wait_for(lambda: re.search(rb"The page: (http://127\.0\.0\.1:\d+/)", self.shown),
                             "the page's address")
        except AssertionError:
            self.__exit__()
            raise
        self.address = found.group(1).decode()
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        self.reader.join()
        os.close(self.terminal)
