#!/usr/bin/env python3
"""The packages in a bare Debian 12 root: installed with what they depend on, upgraded, removed, purged, and the
simulator run from where it lies.

The root is debootstrap's minimal one, kept in build/debian-root.tar; each test begins with a new copy. Namespaces make
a machine of it, in which nothing runs but what a test starts."""

import hashlib
import os
import re
import shutil
import stat
import subprocess
import tempfile
import unittest

import packages

KIND = subprocess.run(["dpkg", "--print-architecture"], capture_output=True, text=True, check=True).stdout.strip()
# As a machine has it, the root is a mount of its own and /proc is whole: a sandbox that an ordinary user makes inside
# needs both. $1 is the root, $2 the packages, then come the words of the command.
ENTER = """set -eu
mount --bind "$1" "$1"
cd "$1"
mount -t proc proc proc
mount --rbind /dev dev
mount -t tmpfs tmpfs run
mkdir -p packages
mount --bind "$2" packages
pivot_root . mnt
shift 2
umount -l /mnt
cd /
exec env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 "$@"
"""
INSIDE = ["unshare", "--mount", "--pid", "--fork", "--kill-child"]
UNIT = "status-display.service"
# What apt, dpkg and the programs that write accounts keep for themselves: logs, caches, and the state before.
OF_OTHERS = ("var/log/", "var/cache/", "var/lib/apt/", "var/lib/dpkg/status", "var/lib/dpkg/available",
             "var/lib/dpkg/triggers/", "var/lib/dpkg/lock", "proc/", "dev/", "run/", "tmp/", "sys/", "packages/",
             "etc/passwd-", "etc/group-", "etc/shadow-", "etc/gshadow-", "etc/.pwd.lock", "etc/subuid-", "etc/subgid-",
             "var/lib/dpkg/info/format")


def why_not():
    if os.geteuid() != 0:
        return "only root can make a Debian root with its owners"
    if not shutil.which("debootstrap"):
        return "debootstrap is not installed; './setup --full' installs it"
    if subprocess.run([*INSIDE, "true"], stderr=subprocess.DEVNULL).returncode:
        return "no namespaces are allowed here"
    return None


def bare_root():
    """The path of the archive, made when it is not there."""
    archive = os.path.join(packages.SOURCE, "build", "debian-root.tar")
    if os.path.exists(archive):
        return archive
    mirror = subprocess.run([os.path.join(packages.SOURCE, "cmake", "debian-archive"), "mirror"], check=True,
                            capture_output=True, text=True).stdout.strip()
    with tempfile.TemporaryDirectory() as folder:
        root = os.path.join(folder, "root")
        subprocess.run(["debootstrap", "--variant=minbase", "bookworm", root, mirror], check=True,
                       stdout=subprocess.DEVNULL)
        shutil.copy("/etc/resolv.conf", os.path.join(root, "etc", "resolv.conf"))
        subprocess.run(["tar", "-C", root, "-cf", archive + ".new", "."], check=True)
    os.rename(archive + ".new", archive)
    return archive


def with_version(package, version, folder):
    """The same package under another version, with a file that the next one has no longer."""
    tree = os.path.join(folder, "tree")
    subprocess.run(["dpkg-deb", "-R", package, tree], check=True)
    control = os.path.join(tree, "DEBIAN", "control")
    with open(control, encoding="utf-8") as file:
        lines = [f"Version: {version}\n" if line.startswith("Version:") else line for line in file]
    with open(control, "w", encoding="utf-8") as file:
        file.writelines(lines)
    with open(os.path.join(tree, "usr", "share", "doc", "status-display", "given-up"), "w", encoding="ascii"):
        pass
    subprocess.run(["dpkg-deb", "--root-owner-group", "-b", tree, folder], check=True, stdout=subprocess.DEVNULL)
    shutil.rmtree(tree)
    return f"status-display_{version}_{KIND}.deb"


class Machine(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.archive = bare_root()

    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.root = os.path.join(self.folder, "root")
        os.chmod(self.folder, 0o755)
        os.mkdir(self.root)
        subprocess.run(["tar", "-C", self.root, "-xpf", self.archive], check=True)
        self.packages = os.path.join(self.folder, "packages")
        os.mkdir(self.packages)
        for name, kind in packages.NAMES:
            if kind == KIND:
                shutil.copy(packages.path_of(name, kind), self.packages)

    def run_in(self, *words, check=True, before=()):
        """A command as root, or by `before` as somebody else; what it says."""
        done = subprocess.run(
            [*INSIDE, "sh", "-c", ENTER, "sh", self.root, self.packages, *before, *words],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=400)
        if check:
            self.assertEqual(done.returncode, 0, done.stdout)
        return done.stdout

    def install(self, file, *options):
        return self.run_in("apt-get", "install", "--yes", "--no-install-recommends", *options, f"/packages/{file}")

    def file_of(self, name):
        return os.path.basename(packages.path_of(name, KIND))

    def satisfy(self, name):
        """Installs what the package depends on, and nothing else."""
        self.run_in("apt-get", "update")
        depends = packages.field(packages.path_of(name, KIND), "Depends")
        self.run_in("apt-get", "satisfy", "--yes", "--no-install-recommends", depends)

    def exists(self, path):
        return os.path.lexists(os.path.join(self.root, path))

    def everything(self):
        """Each file with its kind, mode, owner and content."""
        found = {}
        for folder, folders, names in os.walk(self.root):
            for name in folders + names:
                path = os.path.join(folder, name)
                inside = os.path.relpath(path, self.root)
                if (inside + "/").startswith(OF_OTHERS) or inside.startswith(OF_OTHERS):
                    continue
                about = os.lstat(path)
                content = ""
                if stat.S_ISLNK(about.st_mode):
                    content = os.readlink(path)
                elif stat.S_ISREG(about.st_mode):
                    with open(path, "rb") as file:
                        content = hashlib.sha256(file.read()).hexdigest()
                found[inside] = (oct(about.st_mode), about.st_uid, about.st_gid, content)
        return found

    def assert_same(self, before, after):
        differing = {path: (before.get(path), after.get(path)) for path in before.keys() | after.keys()
                     if before.get(path) != after.get(path)}
        self.assertEqual(differing, {})

    def enabled(self):
        """Whether what is to bring the unit with it has a link to it; either all of that or nothing."""
        with open(os.path.join(packages.SOURCE, "packaging", "systemd", UNIT), encoding="utf-8") as file:
            wanted = " ".join(re.findall(r"^WantedBy=(.*)", file.read(), re.M)).split()
        self.assertTrue(wanted)
        links = [self.exists(f"etc/systemd/system/{one}.wants/{UNIT}") for one in wanted]
        self.assertIn(links, ([True] * len(links), [False] * len(links)))
        return links[0]

    def assert_installed(self, version):
        said = self.run_in("dpkg-query", "-W", "-f", "${db:Status-Status} ${Version}", "status-display")
        self.assertEqual(said, f"installed {version}")


class Daemon(Machine):
    def test_installed_upgraded_removed_and_purged(self):
        self.satisfy("status-display")
        before = self.everything()
        version = packages.project_version()
        older = with_version(packages.path_of("status-display", KIND), "0.0.1~before", self.packages)

        self.install(older)
        self.assert_installed("0.0.1~before")
        self.assertTrue(self.exists("usr/share/doc/status-display/given-up"))
        self.assertTrue(self.enabled(), "the unit is not enabled")
        user = self.run_in("getent", "passwd", "status-display").split(":")
        self.assertEqual(user[5:], ["/nonexistent", "/usr/sbin/nologin\n"])
        self.run_in("getent", "group", "status-display-senders")
        self.assertNotIn("not found", self.run_in("ldd", "/usr/bin/status-display"))
        self.assertEqual(self.run_in("dpkg", "--verify", "status-display"), "")

        self.install(self.file_of("status-display"))
        self.assert_installed(version)
        self.assertFalse(self.exists("usr/share/doc/status-display/given-up"))
        self.assertTrue(self.enabled(), "the unit is no longer enabled")
        self.assertEqual(self.run_in("getent", "passwd", "status-display").split(":"), user)

        self.run_in("dpkg", "--remove", "status-display")
        left = {path for path in self.everything().keys() - before.keys() if "status-display" in path}
        allowed = {path for path in left if path.startswith(("var/lib/dpkg/info/status-display.", "etc/systemd/",
                                                             "var/lib/systemd/deb-systemd-helper"))}
        self.assertEqual(left - allowed, set())
        self.assertFalse(self.exists("usr/bin/status-display"))

        self.install(self.file_of("status-display"))
        self.assertTrue(self.enabled(), "the unit is not enabled again")
        self.assertFalse(self.exists(f"etc/systemd/system/{UNIT}"), "the unit is masked")

        self.run_in("dpkg", "--purge", "status-display")
        self.assert_same(before, self.everything())

    def test_what_the_administrator_decides_stays(self):
        self.satisfy("status-display")
        older = with_version(packages.path_of("status-display", KIND), "0.0.1~before", self.packages)
        self.install(older)
        self.run_in("systemctl", "disable", UNIT)
        self.install(self.file_of("status-display"))
        self.assertFalse(self.enabled(), "the upgrade has enabled the unit")
        self.run_in("systemctl", "enable", UNIT)
        self.run_in("dpkg", "--install", "--force-confold", "/packages/" + self.file_of("status-display"))
        self.assertTrue(self.enabled())

    def test_the_bus_takes_the_policy(self):
        self.satisfy("status-display")
        self.install(self.file_of("status-display"))
        said = self.run_in("timeout", "2", "dbus-daemon", "--system", "--nofork", "--nopidfile", check=False)
        for complaint in ("status-display", "Unknown", "nvalid"):
            self.assertNotIn(complaint, said)


class Tools(Machine):
    def test_installed_and_purged(self):
        self.satisfy("status-display-tools")
        before = self.everything()
        self.install(self.file_of("status-display-tools"))
        self.assertEqual(self.run_in("displayctl", "--version"), f"displayctl {packages.project_version()}\n")
        self.assertIn("chan_bt", self.run_in("displayctl", "words"))
        self.run_in("dpkg", "--purge", "status-display-tools")
        self.assert_same(before, self.everything())


class Simulator(Machine):
    def test_the_demo_and_a_scenario(self):
        self.satisfy("status-display-simulator")
        self.run_in("useradd", "--uid", "1000", "somebody")
        before = self.everything()
        self.install(self.file_of("status-display-simulator"))
        somebody = ("setpriv", "--reuid=1000", "--regid=1000", "--clear-groups")
        for before_it in (somebody, ()):
            said = self.run_in("display-sim", "--demo", before=before_it)
            self.assertIn("12. ", said)
        scenario = "/usr/share/status-display-simulator/scenarios/power_fails.scenario"
        self.run_in("display-sim", "play", scenario, "--out", "/tmp/played", before=somebody)
        self.run_in("dpkg", "--purge", "status-display-simulator")
        self.assert_same(before, self.everything())


if __name__ == "__main__":
    reason = why_not()
    if reason:
        packages.skip(reason)
    unittest.main(verbosity=2)
