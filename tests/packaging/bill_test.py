#!/usr/bin/env python3
"""The bills of materials name every package that the shipped files are linked with, and no other.

usage: bill_test.py BUILD_FOLDER
"""
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest

COMPONENT = "libexec/nvmepcissd/"
SHIPPED = {
    "nvmepcissd": (["bin/nvmepcissd-tool", COMPONENT + "nvmepcissd", COMPONENT + "drive_library/libnvme.so"],
                   {"CLI11", "nlohmann_json"}),
    "nvmepcissd-simulator": ([COMPONENT + "libnvme.so", COMPONENT + "librbkl.so.0", COMPONENT + "support/libkvrpm.so"],
                             {"nlohmann_json"}),
}
PREFIX = None


def output(*words):
    return subprocess.run(words, capture_output=True, check=False, text=True).stdout


def owner(library, file):
    """The package of a shared library as the loader finds it for `file`; the library itself where there is none."""
    found = re.search(rf"^\s*{re.escape(library)} => (/\S+)", output("ldd", file), re.MULTILINE)
    path = os.path.realpath(found[1]) if found else library
    for name in (path, path.removeprefix("/usr")):
        package = output("dpkg-query", "-S", name).split(":")[0]
        if package:
            return package
    return library


class Bill(unittest.TestCase):
    def check(self, package):
        files, headers = SHIPPED[package]
        expected = set(headers)
        for file in (os.path.join(PREFIX, name) for name in files):
            for library in re.findall(r"Shared library: \[(.*)\]", output("readelf", "-dW", file)):
                expected.add(owner(library, file))
        with open(f"{PREFIX}/share/doc/{package}/{package}.spdx.json", encoding="utf-8") as file:
            bill = json.load(file)
        self.assertEqual(bill["spdxVersion"], "SPDX-2.3")
        self.assertEqual(bill["dataLicense"], "CC0-1.0")
        self.assertEqual(bill["SPDXID"], "SPDXRef-DOCUMENT")
        self.assertRegex(bill["documentNamespace"], r"^https://[a-z./]+/" + package + r"-[0-9.]+-[0-9a-f-]{36}$")
        self.assertRegex(bill["creationInfo"]["created"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
        entries = {entry["SPDXID"]: entry for entry in bill["packages"]}
        self.assertEqual(len(entries), len(bill["packages"]))
        linked = {entries[relation["relatedSpdxElement"]]["name"] for relation in bill["relationships"]
                  if relation["relationshipType"] in ("DYNAMIC_LINK", "STATIC_LINK")
                  and relation["spdxElementId"] == f"SPDXRef-{package}"}
        self.assertEqual(linked, expected)
        self.assertEqual({entry["name"] for entry in bill["packages"]}, expected | {package})
        for entry in bill["packages"]:
            for key in ("versionInfo", "downloadLocation", "licenseConcluded", "licenseDeclared", "copyrightText"):
                self.assertTrue(entry[key], entry)
            if entry["name"] in expected - headers and not entry["name"].startswith("librbkl.so"):
                version = output("dpkg-query", "-W", "-f", "${Version}", entry["name"])
                self.assertEqual(entry["versionInfo"], version)

    def test_component(self):
        self.check("nvmepcissd")

    def test_simulator(self):
        self.check("nvmepcissd-simulator")


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as PREFIX:
        subprocess.run(["cmake", "--install", sys.argv[1], "--prefix", PREFIX], check=True, stdout=subprocess.DEVNULL)
        unittest.main(argv=sys.argv[:1], verbosity=2)
