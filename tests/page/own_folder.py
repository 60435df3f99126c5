"""A temporary folder that goes with its owner. Who is killed leaves it behind, and the next to make one removes it: a
lock on a file in it, which ends with the process that holds it, tells the living from the dead. The desk's own folders
follow the same rules (simulator/desk/temporary_folder.h)."""

import contextlib
import fcntl
import os
import re
import shutil
import stat
import tempfile

LOCK = ".lock"


def take_lock(folder, flags):
    """The descriptor that holds it; None when somebody else does, or removes the folder at this moment."""
    try:
        lock = os.open(os.path.join(folder, LOCK), os.O_RDWR | os.O_CLOEXEC | os.O_NOFOLLOW | flags, 0o600)
    except OSError:
        return None
    with contextlib.suppress(OSError):
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        if os.fstat(lock).st_nlink > 0:
            return lock
    os.close(lock)
    return None


def sweep(place, prefix):
    """Removes the folders of that prefix, of this user alone, in which nobody lives any more."""
    for name in os.listdir(place):
        path = os.path.join(place, name)
        if not re.fullmatch(re.escape(prefix) + r"[a-z0-9_]{8}", name):
            continue
        with contextlib.suppress(OSError):
            known = os.lstat(path)
            if not stat.S_ISDIR(known.st_mode) or known.st_uid != os.geteuid():
                continue
            lock = take_lock(path, 0)
            if lock is not None:
                shutil.rmtree(path, ignore_errors=True)
                os.close(lock)


class OwnFolder:
    def __init__(self, prefix, place=None):
        place = place or tempfile.gettempdir()
        sweep(place, prefix)
        self.lock = None
        while self.lock is None:
            self.name = tempfile.mkdtemp(prefix=prefix, dir=place)
            self.lock = take_lock(self.name, os.O_CREAT | os.O_EXCL)

    def cleanup(self):
        shutil.rmtree(self.name, ignore_errors=True)
        os.close(self.lock)
