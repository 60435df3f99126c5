#!/usr/bin/env python3
"""The bill of materials beside each package: whole as SPDX 2.3 asks, and true of the package it lies beside."""

import hashlib
import json
import os
import re
import subprocess
import tempfile
import unittest

import packages

LICENSES = {"MIT", "LGPL-2.1-or-later", "GPL-3.0-or-later", "GCC-exception-3.1", "AFL-2.1", "GPL-2.0-or-later", "Zlib"}
OWNERS = {"libc.so": "libc6", "libm.so": "libc6", "ld-linux": "libc6", "libdbus": "libdbus-1-3",
          "libgcc_s": "libgcc-s1", "libstdc++": "libstdc++6", "libz.so": "zlib1g", "libcpp-http": "libcpp-httplib0.11"}


class Bills(unittest.TestCase):
    def setUp(self):
        self.bills = []
        for name, kind in packages.NAMES:
            package = packages.path_of(name, kind)
            with open(package[:-len(".deb")] + ".spdx.json", encoding="utf-8") as file:
                self.bills.append((name, package, json.load(file)))

    def test_the_document(self):
        for _, package, bill in self.bills:
            self.assertEqual(bill["spdxVersion"], "SPDX-2.3")
            self.assertEqual(bill["dataLicense"], "CC0-1.0")
            self.assertEqual(bill["SPDXID"], "SPDXRef-DOCUMENT")
            self.assertEqual(bill["name"], os.path.basename(package))
            self.assertRegex(bill["documentNamespace"], r"^[a-z]+:[^#\s]+$")
            self.assertRegex(bill["creationInfo"]["created"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
            for creator in bill["creationInfo"]["creators"]:
                self.assertRegex(creator, "^(Person|Organization|Tool): .")
        namespaces = [bill["documentNamespace"] for _, _, bill in self.bills]
        self.assertEqual(len(set(namespaces)), len(namespaces))

    def test_the_components(self):
        for _, _, bill in self.bills:
            names = [one["SPDXID"] for one in bill["packages"]]
            self.assertEqual(len(set(names)), len(names))
            for one in bill["packages"]:
                self.assertRegex(one["SPDXID"], r"^SPDXRef-[A-Za-z0-9.-]+$")
                for field in ("name", "versionInfo", "downloadLocation", "copyrightText"):
                    self.assertTrue(one[field], f"{one['name']}: {field}")
                self.assertIs(one["filesAnalyzed"], False)
                for field in ("licenseConcluded", "licenseDeclared"):
                    words = set(re.split(" (?:OR|AND|WITH) ", one[field]))
                    self.assertEqual(words - LICENSES, set(), one["name"])
                for reference in one.get("externalRefs", []):
                    self.assertEqual((reference["referenceCategory"], reference["referenceType"]),
                                     ("PACKAGE-MANAGER", "purl"))
                    self.assertRegex(reference["referenceLocator"], r"^pkg:[a-z]+/[^\s+]+@[^\s+]+$")

    def test_the_relationships(self):
        for _, _, bill in self.bills:
            known = {"SPDXRef-DOCUMENT"} | {one["SPDXID"] for one in bill["packages"]}
            related = {bill["SPDXID"]}
            for one in bill["relationships"]:
                self.assertIn(one["spdxElementId"], known)
                self.assertIn(one["relatedSpdxElement"], known)
                self.assertIn(one["relationshipType"], ("DESCRIBES", "STATIC_LINK", "DYNAMIC_LINK", "CONTAINS"))
                related.add(one["relatedSpdxElement"])
            self.assertEqual(related, known)

    def test_it_is_of_this_package(self):
        for name, package, bill in self.bills:
            described = [one["relatedSpdxElement"] for one in bill["relationships"]
                         if one["relationshipType"] == "DESCRIBES"]
            own = next(one for one in bill["packages"] if one["SPDXID"] == described[0])
            with open(package, "rb") as file:
                digest = hashlib.sha256(file.read()).hexdigest()
            self.assertEqual(own["checksums"], [{"algorithm": "SHA256", "checksumValue": digest}])
            self.assertEqual((own["name"], own["versionInfo"]), (name, packages.project_version()))

    def test_what_it_is_made_of(self):
        for name, package, bill in self.bills:
            named = {one["name"]: one for one in bill["packages"]}
            with tempfile.TemporaryDirectory() as root:
                subprocess.run(["dpkg-deb", "-x", package, root], check=True)
                programs = [os.path.join(folder, file) for folder, _, files in os.walk(root) for file in files
                            if "/bin" in folder or "/libexec" in folder]
                said = subprocess.run(["readelf", "-d", *programs], capture_output=True, text=True, check=True).stdout
            loaded = {owner for library in re.findall(r"\(NEEDED\) .*\[(.*)\]", said)
                      for start, owner in OWNERS.items() if library.startswith(start)}
            self.assertLessEqual({"libc6", "libdbus-1-3"}, loaded)
            self.assertEqual(loaded - named.keys(), set())
            if name == "status-display-tools":
                self.assertIn("libstdc++", named)
                continue
            with open(os.path.join(packages.SOURCE, "third_party", "lvgl", "source.sha256"), encoding="ascii") as file:
                self.assertIn(file.read().strip(), named["lvgl"]["sourceInfo"])
            self.assertIn("font_16.txt", named["status-display-art"]["comment"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
