"""A source tree of the test's own, as far as the page sees one: the scenarios with their pictures, which a test may
change, and the built programs at their places."""

import os
import shutil

from own_folder import OwnFolder
from simulator import BUILD, SOURCE, Simulator


class OwnTree:
    def __init__(self, installed=False):
        self.folder = OwnFolder("page-tree-")
        top = self.folder.name
        self.scenarios = os.path.join(top, "share/status-display-simulator/scenarios" if installed
                                      else "simulator/scenarios")
        shutil.copytree(os.path.join(SOURCE, "simulator", "scenarios"), self.scenarios)
        shutil.copy(os.path.join(SOURCE, "CMakeLists.txt"), top)
        build = os.path.join(top, "build")
        os.makedirs(os.path.join(build, "simulator"))
        # It looks for the rest from the folder on in which it lies itself.
        self.program = os.path.join(build, "simulator", "display-sim")
        for name in ("simulator/display-sim", "simulator/libdesk_shim.so", "status-display", "status-display-layout"):
            shutil.copy(os.path.join(BUILD, name), os.path.join(build, name))

    def simulator(self):
        return Simulator(program=self.program)

    def path(self, name):
        return os.path.join(self.scenarios, name)

    def read(self, name):
        with open(self.path(name), encoding="ascii") as file:
            return file.read()

    def write(self, name, text):
        with open(self.path(name), "w", encoding="ascii") as file:
            file.write(text)

    def spoil(self, name):
        """Lights the first pixels of a picture's last row that are dark, two of them; the text before."""
        before = self.read(name)
        lines = before.rstrip("\n").split("\n")
        lines[-1] = lines[-1].replace("00", "11", 1)
        self.write(name, "\n".join(lines) + "\n")
        return before

    def cleanup(self):
        self.folder.cleanup()
