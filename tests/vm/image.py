#!/usr/bin/env python3
"""Makes what a machine is booted from, in build/vm/ARCHITECTURE: kernel, initrd, root.img. It is Debian's kernel, a
first program that mounts the root, and a minimal Debian with systemd. What is there already stays while it is made of
the same.

    tests/vm/image.py [amd64] [armhf]"""

import gzip
import hashlib
import os
import re
import shutil
import stat
import subprocess
import sys
import time

from kinds import KINDS, MODULES, PACKAGES, SOURCE
from machine import Machine

HERE = os.path.dirname(os.path.abspath(__file__))
ARCHIVE = os.path.join(SOURCE, "cmake", "debian-archive")
BEGIN = time.monotonic()


def say(text):
    print(f"{time.monotonic() - BEGIN:6.1f} s  {text}", flush=True)


def call(words, log):
    with open(log, "ab") as file:
        done = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=file, stderr=subprocess.STDOUT)
    if done.returncode:
        with open(log, "rb") as file:
            sys.stderr.buffer.write(b"\n".join(file.read().splitlines()[-30:]) + b"\n")
        raise SystemExit(f"{words[0]} ended with status {done.returncode}; all that it said is in {log}")


def made_of(kind):
    """What tells one image from another."""
    said = repr((kind, PACKAGES, MODULES)).encode()
    for name in ("make-root", "initrd-init", "image.py"):
        with open(os.path.join(HERE, name), "rb") as file:
            said += file.read()
    return hashlib.sha256(said).hexdigest()


class Maker:
    def __init__(self, kind):
        self.kind = kind
        self.work = kind.folder("work")
        self.log = kind.folder("image.log")
        shutil.rmtree(kind.folder(), ignore_errors=True)
        os.makedirs(self.work)
        self.version = self.tree = None

    def path(self, *names):
        return os.path.join(self.work, *names)

    def fetch(self, architecture, *packages):
        """Unpacked, into the one tree."""
        call([ARCHIVE, architecture, self.path("packages"), *packages], self.log)
        for name in os.listdir(self.path("packages")):
            if name.endswith(".deb"):
                package = self.path("packages", name)
                call(["dpkg-deb", "-x", package, self.path("unpacked")], self.log)
                os.remove(package)

    def fetch_kernel(self):
        meta = f"linux-image-{self.kind.flavour}"
        call([ARCHIVE, self.kind.name, self.path("meta"), meta], self.log)
        package = next(name for name in os.listdir(self.path("meta")) if name.endswith(".deb"))
        depends = subprocess.run(["dpkg-deb", "-f", self.path("meta", package), "Depends"], check=True, text=True,
                                 stdout=subprocess.PIPE).stdout
        self.version = re.search(r"linux-image-(\S+)", depends)[1]
        say(f"{self.kind.name}: fetching kernel {self.version}")
        self.fetch(self.kind.name, f"linux-image-{self.version}", "busybox-static")
        shutil.copy(self.path("unpacked", "boot", f"vmlinuz-{self.version}"), self.kind.folder("kernel"))
        self.tree = self.path("unpacked", "lib", "modules", self.version)

    def build_vfb(self):
        """The driver of the kernel's own source, for a kernel that is built without it."""
        say(f"{self.kind.name}: building vfb, for which the kernel's source is fetched")
        self.fetch(self.kind.name, f"linux-headers-{self.version}",
                   f"linux-headers-{self.version.rsplit('-', 1)[0]}-common")
        self.fetch("amd64", "linux-kbuild-6.1", "linux-source-6.1")
        source = self.path("unpacked", "usr", "src", "linux-source-6.1.tar.xz")
        folder = self.path("vfb")
        os.makedirs(folder)
        call(["tar", "-xJf", source, "-C", folder, "--strip-components=4", "--occurrence=1",
              "linux-source-6.1/drivers/video/fbdev/vfb.c"], self.log)
        with open(os.path.join(folder, "Makefile"), "w", encoding="ascii") as file:
            file.write("obj-m := vfb.o\n")
        headers = self.path("unpacked", "usr", "src", f"linux-headers-{self.version}")
        makefile = os.path.join(headers, "Makefile")
        with open(makefile, encoding="utf-8") as file:
            text = file.read()
        with open(makefile, "w", encoding="utf-8") as file:
            # It names the place where the package would be installed.
            file.write(re.sub(r"(?m)/usr/src/", self.path("unpacked", "usr", "src") + "/", text))
        call(["make", "-C", headers, f"M={folder}", "ARCH=arm", "CROSS_COMPILE=arm-linux-gnueabihf-", "modules"],
             self.log)
        shutil.copy(os.path.join(folder, "vfb.ko"), os.path.join(self.tree, "kernel"))

    def closure(self, names):
        """The modules' files with those that they need, in the order in which they are loaded."""
        needs = {}
        with open(os.path.join(self.tree, "modules.dep"), encoding="ascii") as file:
            for line in file:
                module, wanted = line.split(":")
                needs[module] = wanted.split()
        by_name = {os.path.basename(path)[:-3].replace("-", "_"): path for path in needs}
        order = []
        for name in names:
            if name not in by_name:
                continue  # built into this kernel
            for path in [*reversed(needs[by_name[name]]), by_name[name]]:
                if path not in order:
                    order.append(path)
        return order

    def keep_modules(self):
        """Leaves a folder with the modules that are used, as depmod wants it."""
        subprocess.run(["depmod", "-b", self.path("unpacked"), self.version], check=True)
        boot = self.closure((*self.kind.boot_modules, "crc32c_generic"))
        kept = self.path("kept", "lib", "modules", self.version)
        for path in [*self.closure(MODULES), "modules.builtin", "modules.builtin.modinfo", "modules.order"]:
            os.makedirs(os.path.dirname(os.path.join(kept, path)), exist_ok=True)
            shutil.copy(os.path.join(self.tree, path), os.path.join(kept, path))
        subprocess.run(["depmod", "-b", self.path("kept"), self.version], check=True)
        return boot, kept

    def make_initrd(self, boot):
        names = [os.path.basename(path)[:-3] for path in boot]
        files = {"init": (0o755, os.path.join(HERE, "initrd-init")),
                 "bin/busybox": (0o755, self.path("unpacked", "bin", "busybox"))}
        for name, path in zip(names, boot):
            files[f"modules/{name}.ko"] = (0o644, os.path.join(self.tree, path))
        content = {name: (stat.S_IFDIR | 0o755, b"") for name in ("bin", "dev", "proc", "root", "modules")}
        for name, (mode, path) in files.items():
            with open(path, "rb") as file:
                content[name] = (stat.S_IFREG | mode, file.read())
        content["modules/order"] = (stat.S_IFREG | 0o644, "".join(f"{name}\n" for name in names).encode())
        with gzip.open(self.kind.folder("initrd"), "wb", 1) as file:
            for number, (name, (mode, data)) in enumerate([*content.items(), ("TRAILER!!!", (0, b""))]):
                file.write(cpio_entry(number, name, mode, data))

    def make_root(self, modules):
        say(f"{self.kind.name}: fetching and unpacking a minimal Debian")
        mirror = subprocess.run([ARCHIVE, "mirror"], check=True, text=True, stdout=subprocess.PIPE).stdout.strip()
        image = self.kind.folder("root.fresh")
        call(["fakeroot", os.path.join(HERE, "make-root"), self.kind.name, mirror, ",".join(PACKAGES), modules, image],
             self.log)
        say(f"{self.kind.name}: configuring it, in the machine")
        machine = Machine(self.kind, [image + "!"], self.kind.folder("second-stage.log"), "vm.init=/second-stage")
        try:
            machine.wait_for("the root is made\n", 2400, "the second stage")
            machine.wait_for_end(60, "its end")
        finally:
            machine.close()
        os.rename(image, self.kind.folder("root.img"))


def cpio_entry(number, name, mode, data):
    """The "new ASCII" form that the kernel unpacks."""
    words = (number, mode, 0, 0, 1, 0, len(data), 0, 0, 0, 0, len(name) + 1, 0)
    entry = b"070701" + b"".join(b"%08x" % word for word in words) + name.encode() + b"\0"
    entry += bytes(-len(entry) % 4) + data
    return entry + bytes(-len(entry) % 4)


def ensure(kind):
    """Makes the image unless it is there."""
    stamp = kind.folder("made-of")
    try:
        with open(stamp, encoding="ascii") as file:
            if file.read() == made_of(kind):
                return
    except OSError:
        pass
    maker = Maker(kind)
    maker.fetch_kernel()
    if kind.builds_vfb:
        maker.build_vfb()
    boot, modules = maker.keep_modules()
    maker.make_initrd(boot)
    maker.make_root(modules)
    shutil.rmtree(maker.work)
    with open(stamp, "w", encoding="ascii") as file:
        file.write(made_of(kind))
    say(f"{kind.name}: the image is made")


def main():
    for name in sys.argv[1:] or KINDS:
        ensure(KINDS[name])


if __name__ == "__main__":
    main()
