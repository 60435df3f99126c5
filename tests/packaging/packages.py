"""The packages that ./package has left in build/packages, for the tests of them."""

import glob
import os
import re
import subprocess
import sys

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FOLDER = os.environ.get("PACKAGES", os.path.join(SOURCE, "build", "packages"))
NAMES = (("status-display", "armhf"), ("status-display-tools", "armhf"), ("status-display", "amd64"),
         ("status-display-tools", "amd64"), ("status-display-simulator", "amd64"))
SKIPPED = 77  # tests/run.py tells the last line of such a test as its reason


def project_version():
    """Its only home is the project's first lines."""
    with open(os.path.join(SOURCE, "CMakeLists.txt"), encoding="utf-8") as file:
        return re.search(r"^project\(status-display VERSION ([0-9.]+) ", file.read(), re.M)[1]


def path_of(name, kind):
    found = glob.glob(os.path.join(FOLDER, f"{name}_*_{kind}.deb"))
    if len(found) != 1:
        sys.exit(f"there is no single {name}_*_{kind}.deb in {FOLDER}; ./package makes it")
    return found[0]


def field(package, name):
    return subprocess.run(["dpkg-deb", "-f", package, name], capture_output=True, text=True, check=True).stdout.strip()


def skip(reason):
    print(reason)
    sys.exit(SKIPPED)
