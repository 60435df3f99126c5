SUMMARY = "Status display of a vehicle-diagnostics interface"
DESCRIPTION = "A daemon that owns a one-bit panel of 64 x 128 pixels and shows on it what the box does."
SECTION = "base"
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=f000e1b66d98dddbaf542b58fb4fe13e"

# Our sources are the tree that this layer lies in.
inherit externalsrc
EXTERNALSRC ?= "${@os.path.realpath(os.path.join(d.getVar('THISDIR'), '..', '..', '..', '..'))}"
EXTERNALSRC_BUILD = "${WORKDIR}/build"

# LVGL 6.1's are either an unpacked tree, LVGL_DIR, and then nothing is fetched; or LVGL_URI says where they come from,
# as in "git://.../lvgl.git;protocol=https;branch=...;name=lvgl;destsuffix=lvgl" with SRCREV_lvgl.
LVGL_URI ?= ""
LVGL_DIR ?= "${WORKDIR}/lvgl"
SRC_URI = "${LVGL_URI}"

# The version's home is the project's first lines.
def project_version(d):
    import re
    path = os.path.join(d.getVar("EXTERNALSRC"), "CMakeLists.txt")
    bb.parse.mark_dependency(d, path)
    with open(path) as file:
        return re.search(r"^project\(status-display VERSION ([0-9.]+) ", file.read(), re.M)[1]

PV = "${@project_version(d)}"

DEPENDS = "dbus"
# Fonts and pictures are made by a Python script.
inherit cmake pkgconfig python3native systemd useradd
EXTRA_OECMAKE = "-DSTATUS_DISPLAY_DESK=OFF -DLVGL_DIR=${LVGL_DIR}"

# CMake installs the unit below /usr; a distribution whose /lib is no link has it elsewhere.
do_install:append() {
    if [ "${systemd_system_unitdir}" != "${prefix}/lib/systemd/system" ]; then
        install -d ${D}${systemd_system_unitdir}
        mv ${D}${prefix}/lib/systemd/system/status-display.service ${D}${systemd_system_unitdir}/
        rmdir -p --ignore-fail-on-non-empty ${D}${prefix}/lib/systemd/system
    fi
}

SYSTEMD_SERVICE:${PN} = "status-display.service"

# As in sysusers.d; made with the image, because its /etc may be read only.
USERADD_PACKAGES = "${PN}"
GROUPADD_PARAM:${PN} = "--system status-display; --system status-display-senders"
USERADD_PARAM:${PN} = "--system --gid status-display --no-create-home --home-dir /nonexistent --shell /sbin/nologin status-display"

PACKAGES =+ "${PN}-tools"
FILES:${PN}-tools = "${bindir}/displayctl ${datadir}/bash-completion"
FILES:${PN} += "${systemd_system_unitdir} ${prefix}/lib/sysusers.d ${prefix}/lib/udev ${datadir}/dbus-1"
RDEPENDS:${PN} = "dbus"
RRECOMMENDS:${PN} = "iw udev"
