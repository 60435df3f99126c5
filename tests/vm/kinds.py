"""The two machines: what the emulator is told, and which of Debian's packages they are made of."""

import dataclasses
import os

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# An ordinary user's path lacks the folders of depmod and mke2fs, which need no root.
os.environ["PATH"] += ":/usr/sbin:/sbin"
PATIENCE = float(os.environ.get("DESK_PATIENCE", "1"))


@dataclasses.dataclass(frozen=True)
class Kind:
    name: str            # Debian's word for the architecture
    flavour: str         # of the kernel package
    emulator: tuple      # program, machine, processor
    console: str
    bus: str             # how the emulator's virtio devices are attached
    boot_modules: tuple  # what it takes to mount the root
    builds_vfb: bool     # Debian's kernel has none

    def folder(self, *names):
        return os.path.join(SOURCE, "build", "vm", self.name, *names)


KINDS = {
    "amd64": Kind("amd64", "amd64", ("qemu-system-x86_64", "-M", "pc", "-vga", "none"), "ttyS0", "pci",
                  ("virtio_pci", "virtio_blk", "virtio_rng", "ext4"), False),
    "armhf": Kind("armhf", "armmp", ("qemu-system-arm", "-M", "virt", "-cpu", "cortex-a15"), "ttyAMA0", "device",
                  ("virtio_mmio", "virtio_blk", "virtio_rng", "ext4"), True),
}

# Beside a minimal Debian: systemd as its init, the bus, the tools that the display runs, and an access
# point to join.
PACKAGES = ("systemd-sysv", "dbus", "udev", "kmod", "iw", "hostapd")
# What the course of the test loads; vfb is the framebuffer.
MODULES = ("vfb", "mac80211_hwsim", "industrialio")
