"""What a unit's confinement comes to without systemd: words for bubblewrap, and programs that filter system calls.

Every setting of [Service] is either carried out here, or stands in BEYOND with the reason why it can't be; a setting
that is neither is refused, so that nobody takes a test for proof of what it never tried."""

import ctypes
import errno
import functools
import os
import re
import resource
import subprocess

# What closes a device policy leaves these.
PSEUDO_DEVICES = ("null", "zero", "full", "random", "urandom", "tty")
BEYOND = {
    "ExecStart": "the test starts the program", "Restart": "the service manager's",
    "RestartSec": "the service manager's", "TimeoutStopSec": "the service manager's", "User": "the caller becomes it",
    "Group": "the caller becomes it",
    "TasksMax": "a control group's", "MemoryMax": "a control group's", "IPAddressDeny": "a control group's",
    "OOMScoreAdjust": "takes nothing away", "AmbientCapabilities": "there are none",
    "ProtectKernelTunables": "everything is read only", "ProtectControlGroups": "everything is read only",
    "ProtectKernelModules": "takes a capability", "ProtectKernelLogs": "takes a capability",
    "ProtectClock": "takes a capability", "ProtectHostname": "takes a capability",
    "RestrictSUIDSGID": "there is nothing writable", "RemoveIPC": "when it ends", "KeyringMode": "takes nothing away",
    "SystemCallErrorNumber": "see SystemCallFilter", "SystemCallArchitectures": "any filter of libseccomp's is native",
}
CARRIED_OUT = {"DevicePolicy", "DeviceAllow", "CapabilityBoundingSet", "NoNewPrivileges", "ProtectSystem",
               "ProtectHome", "PrivateTmp", "ReadOnlyPaths", "TemporaryFileSystem", "RestrictNamespaces",
               "RestrictRealtime", "LockPersonality", "MemoryDenyWriteExecute", "RestrictAddressFamilies",
               "SystemCallFilter", "LimitNOFILE", "UMask"}

ALLOW, KILL = 0x7fff0000, 0x80000000
NOT_EQUAL, EQUAL, GREATER, MASKED_EQUAL = 1, 4, 6, 7
FAMILIES = {"AF_UNIX": 1, "AF_INET": 2, "AF_INET6": 10, "AF_NETLINK": 16, "AF_PACKET": 17}
CLONE_NAMESPACES = (0x00000080, 0x00020000, 0x02000000, 0x04000000, 0x08000000, 0x10000000, 0x20000000, 0x40000000)
PROT_WRITE, PROT_EXEC, SHM_EXEC = 2, 4, 0o100000


def error(number):
    return 0x00050000 | number


class Comparison(ctypes.Structure):
    _fields_ = [("argument", ctypes.c_uint), ("how", ctypes.c_int), ("one", ctypes.c_uint64), ("two", ctypes.c_uint64)]


class Filter:
    """A program for the kernel, made by libseccomp."""

    library = None

    def __init__(self, otherwise):
        if Filter.library is None:
            Filter.library = ctypes.CDLL("libseccomp.so.2")
            Filter.library.seccomp_init.restype = ctypes.c_void_p
        self.context = ctypes.c_void_p(self.library.seccomp_init(ctypes.c_uint32(otherwise)))

    def rule(self, action, name, *comparisons):
        number = self.library.seccomp_syscall_resolve_name(name.encode())
        if number < 0:
            return  # not on this machine
        array = (Comparison * len(comparisons))(*(Comparison(*one) for one in comparisons))
        self.library.seccomp_rule_add_array(self.context, ctypes.c_uint32(action), number, len(comparisons), array)

    def write(self, path):
        with open(path, "wb") as file:
            if self.library.seccomp_export_bpf(self.context, file.fileno()):
                raise OSError(f"libseccomp can't write {path}")
        self.library.seccomp_release(self.context)


def read_service(text):
    """The settings of [Service], each with its values; an empty one takes back those before it."""
    settings, section = {}, None
    for line in text.splitlines():
        if line.startswith("["):
            section = line
        elif section == "[Service]" and re.match(r"\w+=", line):
            name, value = line.split("=", 1)
            settings.setdefault(name, [])
            if value:
                settings[name].append(value)
            else:
                settings[name] = []
    return settings


def is_on(settings, name):
    return settings.get(name, ["no"])[-1] in ("yes", "true", "on", "1")


@functools.lru_cache(maxsize=None)
def calls_of(group):
    """The system calls of a group such as @mount, and of the groups in it."""
    said = subprocess.run(["systemd-analyze", "syscall-filter", "--no-pager", group], stdout=subprocess.PIPE, text=True,
                          check=True).stdout
    found = set()
    for word in re.findall(r"(?m)^    ([@\w-]+)$", said):
        found |= calls_of(word) if word.startswith("@") else {word}
    return found


def filtered_calls(lines):
    """Are they the allowed ones, and which; the first line tells, and each later one adds or takes away."""
    allowed = not lines[0].startswith("~")
    chosen = calls_of("@default") if allowed else set()
    for line in lines:
        words = line.lstrip("~").split()
        calls = set().union(*(calls_of(word) if word.startswith("@") else {word} for word in words))
        chosen = chosen | calls if line.startswith("~") != allowed else chosen - calls
    return allowed, chosen


def filters(settings):
    """The programs; where several speak of a call, the kernel takes the strictest."""
    lines = settings.get("SystemCallFilter")
    if lines:
        number = settings.get("SystemCallErrorNumber")
        refused = error(getattr(errno, number[-1])) if number else KILL
        allowed, calls = filtered_calls(lines)
        one = Filter(refused if allowed else ALLOW)
        for call in sorted(calls):
            one.rule(ALLOW if allowed else refused, call)
        yield one
    families = " ".join(settings.get("RestrictAddressFamilies", ())).split()
    if families:
        one = Filter(ALLOW)
        known = [FAMILIES[name] for name in families]
        for family in range(max(known) + 1):
            if family not in known:
                one.rule(error(errno.EAFNOSUPPORT), "socket", (0, EQUAL, family, 0))
        one.rule(error(errno.EAFNOSUPPORT), "socket", (0, GREATER, max(known), 0))
        yield one
    one = Filter(ALLOW)
    if is_on(settings, "MemoryDenyWriteExecute"):
        both = PROT_WRITE | PROT_EXEC
        one.rule(error(errno.EPERM), "mmap", (2, MASKED_EQUAL, both, both))
        for call in ("mprotect", "pkey_mprotect"):
            one.rule(error(errno.EPERM), call, (2, MASKED_EQUAL, PROT_EXEC, PROT_EXEC))
        one.rule(error(errno.EPERM), "shmat", (2, MASKED_EQUAL, SHM_EXEC, SHM_EXEC))
    if is_on(settings, "RestrictNamespaces"):
        for call in ("unshare", "setns"):
            one.rule(error(errno.EPERM), call)
        one.rule(error(errno.ENOSYS), "clone3")
        for flag in CLONE_NAMESPACES:
            one.rule(error(errno.EPERM), "clone", (0, MASKED_EQUAL, flag, flag))
    if is_on(settings, "LockPersonality"):
        one.rule(error(errno.EPERM), "personality", (0, NOT_EQUAL, 0, 0))
    if is_on(settings, "RestrictRealtime"):
        for policy in (1, 2, 6):
            one.rule(error(errno.EPERM), "sched_setscheduler", (1, EQUAL, policy, 0))
    yield one


def system_words():
    """A system that can be read: /usr, and at the root what belongs to it."""
    words = ["--ro-bind", "/usr", "/usr"]
    for name in ("bin", "sbin", "lib", "lib32", "lib64", "libx32"):
        if os.path.islink(f"/{name}"):
            words += ["--symlink", os.readlink(f"/{name}"), f"/{name}"]
        elif os.path.isdir(f"/{name}"):
            words += ["--ro-bind", f"/{name}", f"/{name}"]
    for path in ("/etc/ld.so.cache", "/etc/alternatives", "/etc/nsswitch.conf"):
        if os.path.exists(path):
            words += ["--ro-bind", path, path]
    return words


def device_words(settings, framebuffer):
    words = ["--tmpfs", "/dev"]
    for name in PSEUDO_DEVICES:
        words += ["--dev-bind", f"/dev/{name}", f"/dev/{name}"]
    allowed = dict(line.split() for line in settings.get("DeviceAllow", ()))
    if settings.get("DevicePolicy", ["auto"])[-1] == "closed" and "/dev/fb0" not in allowed:
        return words
    return words + ["--bind" if "w" in allowed.get("/dev/fb0", "rw") else "--ro-bind", framebuffer, "/dev/fb0"]


class Confinement:
    """`user` is who to become: the caller, or for root anybody. `folders` are what lies where in the file system,
    `framebuffer` is a file; programs for the kernel go to `work`."""

    def __init__(self, unit, user, folders, framebuffer, work):
        self.settings = settings = read_service(unit)
        for name in settings:
            if name not in CARRIED_OUT and name not in BEYOND:
                raise ValueError(f"nobody has said here what {name}= comes to")
        read_only = "/" in settings.get("ReadOnlyPaths", ()) or settings.get("ProtectSystem", [""])[-1] == "strict"
        self.words = ["bwrap", "--die-with-parent", "--unshare-pid", "--unshare-user", "--uid", str(user),
                      *system_words(), "--proc", "/proc", *device_words(settings, framebuffer)]
        if os.getuid() == 0:
            self.words[:0] = ["setpriv", f"--reuid={user}", f"--regid={user}", "--clear-groups"]
        for host, guest in folders.items():
            self.words += ["--ro-bind" if read_only else "--bind", host, guest]
        if is_on(settings, "PrivateTmp"):
            self.words += ["--tmpfs", "/tmp"]
        hidden = ["/home:ro", "/root:ro"] if is_on(settings, "ProtectHome") else []
        for place in [*hidden, *" ".join(settings.get("TemporaryFileSystem", ())).split()]:
            path, _, mode = place.partition(":")
            self.words += ["--tmpfs", path, *(["--remount-ro", path] if mode == "ro" else [])]
        if read_only:
            self.words += ["--remount-ro", "/dev", "--remount-ro", "/"]
        if settings.get("CapabilityBoundingSet") == []:
            self.words += ["--cap-drop", "ALL"]
        self.programs = []
        for number, one in enumerate(filters(settings)):
            self.programs.append(os.path.join(work, f"filter-{number}"))
            one.write(self.programs[-1])

    def limit(self):
        """Carried out by who is about to become bubblewrap."""
        if "LimitNOFILE" in self.settings:
            number = int(self.settings["LimitNOFILE"][-1])
            resource.setrlimit(resource.RLIMIT_NOFILE, (number, number))
        if "UMask" in self.settings:
            os.umask(int(self.settings["UMask"][-1], 8))

    def start(self, command, environment, **more):
        """A process that runs the command so confined."""
        files = [os.open(path, os.O_RDONLY) for path in self.programs]
        words = [*self.words, "--clearenv"]
        for name, value in environment.items():
            words += ["--setenv", name, value]
        for file in files:
            words += ["--add-seccomp-fd", str(file)]
        try:
            return subprocess.Popen([*words, "--", *command], preexec_fn=self.limit, pass_fds=files,
                                    stdin=subprocess.DEVNULL, **more)
        finally:
            for file in files:
                os.close(file)
