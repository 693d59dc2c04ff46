#!/usr/bin/env python3
"""Broken component folders: what `nvmepcissd-tool check` says of each, and what a run really makes of it.

Every kind of finding has at least one folder here, so that no consequence is a mere claim. Arguments: repository,
build folder, folder with the unit tests' drive libraries."""

import concurrent.futures
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from package_cases import CASES, OWN_LIBRARY, late_line
from package_folder import Folder

ROOT, BUILD = (Path(argument) for argument in sys.argv[1:3])
TOOL = BUILD / "nvmepcissd-tool"
# What a sound folder has, too: its libraries are the simulator's, and tests may run as anybody, anywhere.
ALWAYS = {"simulator-part", "owner", "parent-writable"}

# Kinds that depend on the user or the machine. Other tests below cover them.
WITHOUT_CASE = {
    "folder-unreadable", "subfolder-unreadable", "descriptor-unreadable", "payload-unreadable", "script-unreadable",
    "library-unreadable", "owner", "parent-writable", "simulator-part"}


def kinds_of_code():
    return dict(re.findall(r'\{"([a-z-]+)", Severity::k(\w+)\}', (ROOT / "tool/check/Finding.h").read_text()))


def check(folder, *arguments):
    run = subprocess.run([TOOL, "check", "--json", *arguments, folder.path], capture_output=True, check=False)
    return run.returncode, json.loads(run.stdout)["findings"]


class PackageCheck(unittest.TestCase):
    def observe(self, case):
        _, change, ids, outcome = case
        with tempfile.TemporaryDirectory() as scratch:
            folder = Folder(BUILD, scratch)
            change(folder)
            status, findings = check(folder)
            self.assertEqual(sorted({finding["id"] for finding in findings} - ALWAYS), sorted(ids), findings)
            self.assertEqual(status, 1 if findings else 0)
            outcome(self, folder)

    def test_every_folder_is_found_broken_and_runs_as_told(self):
        with concurrent.futures.ThreadPoolExecutor(2 * os.cpu_count()) as pool:
            for case, future in [(case, pool.submit(self.observe, case)) for case in CASES]:
                with self.subTest(case[0]):
                    future.result()

    def test_every_kind_has_a_folder(self):
        shown = {kind for _, _, ids, _ in CASES for kind in ids}
        self.assertEqual(set(kinds_of_code()) - shown, WITHOUT_CASE)

    def test_the_table_of_the_documentation_is_that_of_the_code(self):
        table = re.findall(r"^([a-z-]+) +(error|warning|note) ", (ROOT / "docs/package-check.md").read_text(), re.MULTILINE)
        self.assertEqual(dict(table), {kind: severity.lower() for kind, severity in kinds_of_code().items()})
        self.assertEqual(len(table), len(kinds_of_code()))

    def test_what_cannot_be_read_is_told(self):
        """As a user whom permissions bind."""
        cases = [(".", 0o000, ["folder-unreadable"]), ("payload", 0o000, ["payload-unreadable", "subfolder-unreadable"]),
                 ("payload/firmware.bin", 0o000, ["payload-unreadable"]), ("package.xml", 0o000, ["descriptor-unreadable"]),
                 ("libnvme.so", 0o000, ["library-unreadable"]), ("fwkitinstall.sh", 0o100, ["script-unreadable"])]
        as_user = ["unshare", "--user", "--map-user=1000"] if os.geteuid() == 0 else []
        for name, bits, ids in cases:
            with self.subTest(name), tempfile.TemporaryDirectory() as scratch:
                folder = Folder(BUILD, scratch)
                os.chmod(scratch, 0o777)
                (folder.path / name).chmod(bits)
                run = subprocess.run([*as_user, TOOL, "check", "--json", folder.path], capture_output=True, check=False)
                found = {finding["id"] for finding in json.loads(run.stdout)["findings"]}
                self.assertEqual((run.returncode, sorted(found - ALWAYS)), (1, ids))
                if name != ".":
                    self.assertLessEqual({"owner", "parent-writable"}, found)
                (folder.path / name).chmod(0o755)

    def test_lines_beyond_65535_are_right(self):
        with tempfile.TemporaryDirectory() as scratch:
            folder = Folder(BUILD, scratch)
            late_line(folder)
            lines = {finding["line"] for finding in check(folder)[1] if finding["id"] == "display-empty"}
            self.assertEqual(lines, {70003})

    def test_what_is_ignored_or_less_severe_is_not_shown(self):
        with tempfile.TemporaryDirectory() as scratch:
            folder = Folder(BUILD, scratch)
            folder.write("enabledebug.txt", "")
            ignored = [word for kind in ALWAYS for word in ("--ignore", kind)]
            self.assertEqual(check(folder, *ignored, "--severity", "error"), (0, []))
            status, findings = check(folder, *ignored, "--severity", "warning")
            self.assertEqual((status, [finding["id"] for finding in findings]), (1, ["marker-file"]))
            self.assertEqual(list(findings[0]),
                             ["id", "severity", "file", "line", "problem", "consequence", "remedy"])
            self.assertEqual(check(folder, *ignored, "--ignore", "marker-file"), (0, []))
            unknown = subprocess.run([TOOL, "check", "--ignore", "no-such-id", folder.path], capture_output=True, check=False)
            self.assertEqual(unknown.returncode, 2)

    def test_what_init_lays_out_is_found_to_be_filled_in_and_nothing_else(self):
        with tempfile.TemporaryDirectory() as scratch:
            folder = Folder(BUILD, scratch, "other")
            folder.path = Path(scratch) / "new"
            self.assertEqual(subprocess.run([TOOL, "init", folder.path], capture_output=True, check=False).returncode, 0)
            found = {finding["id"] for finding in check(folder)[1]} - ALWAYS
            self.assertEqual(found - {"rollback-missing"}, {"to-fill-in", "payload-none", "library-missing"})
            folder.copy(BUILD / "librbkl.so.0", "librbkl.so.0")
            folder.copy(OWN_LIBRARY, "libnvme.so")
            folder.write("package.xml", (folder.path / "package.xml").read_text().replace("FILL-IN", "a54"))
            folder.write("payload/firmware.bin", b"\0\1\2\3")
            self.assertEqual({finding["id"] for finding in check(folder)[1]} - ALWAYS, set())
            again = subprocess.run([TOOL, "init", folder.path], capture_output=True, check=False)
            self.assertEqual(again.returncode, 1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
