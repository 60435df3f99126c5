"""What the tests of the recipes share: the sources without their build, LVGL's tree, the compiler, a cut network."""

import json
import os
import shutil
import subprocess

import packages

SYSROOT = os.path.join(packages.SOURCE, "build", "armhf-sysroot")
TOOLCHAIN = os.path.join(packages.SOURCE, "cmake", "armhf.cmake")


def lvgl_tree():
    """The one that the packages were built with."""
    path = os.path.join(packages.SOURCE, "build", "package-armhf", "packaging", "materials.json")
    with open(path, encoding="utf-8") as file:
        return json.load(file)["lvgl"]


def without_network():
    """Words to put before a command, and the environment in which cargo has nothing either."""
    for words in (["unshare", "--net"], ["unshare", "--net", "--map-root-user"]):
        if subprocess.run([*words, "true"], stderr=subprocess.DEVNULL).returncode == 0:
            return words
    print("the network can't be cut off here; only cargo's store is")
    return []


def environment():
    return dict({name: value for name, value in os.environ.items() if not name.startswith("CMAKE_")},
                CARGO_HOME="/nonexistent", CARGO_NET_OFFLINE="true", SOURCE_DATE_EPOCH="0")


def copy_of_the_sources(folder):
    copy = os.path.join(folder, "sources")
    shutil.copytree(packages.SOURCE, copy, symlinks=True,
                    ignore=lambda path, names: {"build", ".git", "__pycache__"} & set(names))
    return copy


def installed(root):
    """Files below it, without the leading slash."""
    return sorted(os.path.relpath(os.path.join(folder, name), root)
                  for folder, _, names in os.walk(root) for name in names)


def expected():
    """What the Debian packages of the box hold, without what only Debian asks for."""
    found = []
    here = os.path.dirname(os.path.abspath(__file__))
    for name in ("status-display", "status-display-tools"):
        with open(os.path.join(here, name + ".files"), encoding="utf-8") as file:
            for line in file:
                mode, path = line.split()
                debian = "/lintian/" in path or path.endswith(("/copyright", "/changelog.gz"))
                if mode[0] != "d" and not debian:
                    found.append(path[:-len(".gz")] if "/man/" in path else path)
    return sorted(found)
