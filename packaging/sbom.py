#!/usr/bin/env python3
"""Prints the bill of materials of a package as SPDX 2.3: sbom.py BUILD_FOLDER PACKAGE.deb

It names what the package's programs were made of: what is linked into them, and, as Debian packages with the versions
they were built with, the libraries that they load. BUILD_FOLDER/packaging/materials.json says what the build used."""

import datetime
import hashlib
import json
import os
import re
import subprocess
import sys
import tempfile
import urllib.parse
import uuid

OURS = "The status-display authors"
GCC = "GPL-3.0-or-later WITH GCC-exception-3.1"
# By the name that a program loads it under: Debian's package, and its licence.
LIBRARIES = {
    "libc.so.6": ("libc6", "LGPL-2.1-or-later"),
    "libm.so.6": ("libc6", "LGPL-2.1-or-later"),
    "ld-linux-armhf.so.3": ("libc6", "LGPL-2.1-or-later"),
    "ld-linux-x86-64.so.2": ("libc6", "LGPL-2.1-or-later"),
    "libgcc_s.so.1": ("libgcc-s1", GCC),
    "libstdc++.so.6": ("libstdc++6", GCC),
    "libdbus-1.so.3": ("libdbus-1-3", "AFL-2.1 OR GPL-2.0-or-later"),
    "libz.so.1": ("zlib1g", "Zlib"),
    "libcpp-httplib.so.0.11": ("libcpp-httplib0.11", "MIT"),
}
DAEMONS = ("status-display", "status-display-layout")


def said_by(*words):
    return subprocess.run(words, capture_output=True, text=True, check=True).stdout


def digest_of(files, folder):
    """One SHA-256 over names and contents; for LVGL the same as third_party/lvgl/source.sha256."""
    listing = ""
    for name in files:
        with open(os.path.join(folder, name), "rb") as file:
            listing += f"{hashlib.sha256(file.read()).hexdigest()}  {name}\n"
    return hashlib.sha256(listing.encode()).hexdigest()


def lvgl_files(folder):
    found = [os.path.relpath(os.path.join(path, name), folder)
             for path, _, names in os.walk(os.path.join(folder, "src")) for name in names]
    return sorted(path for path in found if path.endswith((".c", ".h"))) + ["lvgl.h"]


def component(name, version, licence, holder, **more):
    """Where a licence may be chosen, the first is."""
    return {"SPDXID": "SPDXRef-" + re.sub("[^A-Za-z0-9.-]", "-", name), "name": name, "versionInfo": version,
            "downloadLocation": "NOASSERTION", "filesAnalyzed": False, "licenseConcluded": licence.split(" OR ")[0],
            "licenseDeclared": licence, "copyrightText": holder, **more}


def purl(locator):
    return [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl", "referenceLocator": locator}]


def of_debian(name, version, architecture, licence):
    place = f"{name}@{version}"
    locator = f"pkg:deb/debian/{urllib.parse.quote(place, safe='@~:')}?arch={architecture}"
    return component(name, version, licence, "NOASSERTION", externalRefs=purl(locator), supplier="Organization: Debian")


def lvgl(folder):
    with open(os.path.join(folder, "library.json"), encoding="utf-8") as file:
        version = json.load(file)["version"].lstrip("v")
    return component(
        "lvgl", version, "MIT", "2016 Gábor Kiss-Vámosi; lv_printf: 2014-2019 Marco Paland",
        externalRefs=purl(f"pkg:generic/lvgl@{version}"),
        sourceInfo="SHA-256 over its source files, as in third_party/lvgl/source.sha256: "
                   f"{digest_of(lvgl_files(folder), folder)}")


def art(folder, version):
    sheets = sorted(name for name in os.listdir(folder) if name.endswith(".txt"))
    return component("status-display-art", version, "MIT", f"2026 {OURS}",
                     comment="Fonts and pictures, drawn for this project: " + ", ".join(sheets),
                     sourceInfo=f"SHA-256 over these sheets: {digest_of(sheets, folder)}")


def debian_version(name, materials):
    """Of a package as the build found it; for the box it lies in the private sysroot."""
    if materials["sysroot"]:
        with open(os.path.join(materials["sysroot"], ".packages", name, "DEBIAN", "control"), encoding="utf-8") as file:
            return re.search("^Version: (.*)", file.read(), re.M)[1]
    return said_by("dpkg-query", "-W", "-f", "${Version}\n", name).splitlines()[0]


def programs_in(root):
    for folder, _, names in os.walk(root):
        for name in names:
            path = os.path.join(folder, name)
            if not os.path.islink(path):
                with open(path, "rb") as file:
                    if file.read(4) == b"\x7fELF":
                        yield path


def materials_of(root, materials, version, architecture):
    """Pairs of a relationship and a component."""
    programs = {os.path.basename(path): path for path in programs_in(root)}
    if programs.keys() & {*DAEMONS, "display-sim"}:
        yield "STATIC_LINK", lvgl(materials["lvgl"])
        yield "CONTAINS", art(materials["art"], version)
    if "displayctl" in programs:
        yield "STATIC_LINK", component("libstdc++", materials["compiler"], GCC, "Free Software Foundation, Inc.",
                                       comment="With libgcc, of the compiler.")
    if "display-sim" in programs:
        json_version = debian_version("nlohmann-json3-dev", materials)
        yield "STATIC_LINK", of_debian("nlohmann-json3-dev", json_version, "all", "MIT")
    loaded = {name for path in programs.values()
              for name in re.findall(r"\(NEEDED\) .*\[(.*)\]", said_by("readelf", "-d", path))}
    for name, licence in sorted({LIBRARIES[name] for name in loaded}):
        yield "DYNAMIC_LINK", of_debian(name, debian_version(name, materials), architecture, licence)


def bill(build, package):
    with open(os.path.join(build, "packaging", "materials.json"), encoding="utf-8") as file:
        materials = json.load(file)
    with open(package, "rb") as file:
        digest = hashlib.sha256(file.read()).hexdigest()
    name, version, architecture = (said_by("dpkg-deb", "-f", package, field).strip()
                                   for field in ("Package", "Version", "Architecture"))
    with tempfile.TemporaryDirectory() as root:
        subprocess.run(["dpkg-deb", "-x", package, root], check=True)
        made_of = list(materials_of(root, materials, version, architecture))
    own = component(name, version, "MIT", f"2026 {OURS}", packageFileName=os.path.basename(package),
                    supplier=f"Organization: {OURS}", primaryPackagePurpose="APPLICATION",
                    checksums=[{"algorithm": "SHA256", "checksumValue": digest}],
                    externalRefs=purl(f"pkg:generic/{name}@{version}?arch={architecture}"))
    when = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), datetime.timezone.utc)
    return {
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
        "name": os.path.basename(package),
        "documentNamespace": f"urn:uuid:{uuid.uuid5(uuid.NAMESPACE_OID, digest)}",
        "creationInfo": {"created": when.strftime("%Y-%m-%dT%H:%M:%SZ"),
                         "creators": [f"Organization: {OURS}", "Tool: status-display-sbom"]},
        "packages": [own] + [one for _, one in made_of],
        "relationships": [{"spdxElementId": "SPDXRef-DOCUMENT", "relationshipType": "DESCRIBES",
                           "relatedSpdxElement": own["SPDXID"]}] +
                         [{"spdxElementId": own["SPDXID"], "relationshipType": kind,
                           "relatedSpdxElement": one["SPDXID"]} for kind, one in made_of],
    }


def main():
    build, package = sys.argv[1:]
    print(json.dumps(bill(build, package), indent=1, ensure_ascii=False))


if __name__ == "__main__":
    main()
