#!/usr/bin/env python3
"""Broken component folders: what `nvmepcissd-tool check` says of each, and what a run really makes of it.

Every kind of finding has at least one folder here, so that no consequence is a mere claim. Arguments: repository,
build folder, folder with the unit tests' drive libraries."""

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
from pathlib import Path

from package_folder import DISPLAY, DRIVE, IDS, OTHER_IDS, PCI_INFO, Folder, descriptor

ROOT, BUILD, LIBRARIES = (Path(argument) for argument in sys.argv[1:4])
TOOL = BUILD / "nvmepcissd-tool"
OWN_LIBRARY = BUILD / "drive_library/libnvme.so"
# What a sound folder has, too: its libraries are the simulator's, and tests may run as anybody, anywhere.
ALWAYS = {"simulator-part", "owner", "parent-writable"}


# What a run may come to. Each of them asserts it.

def nothing_works(test, folder):
    status, document = folder.run("-i")
    test.assertEqual((status, "<Device" in document), (0, False))
    test.assertEqual(folder.run("-u")[0], 1)


def is_not_started(test, folder):
    test.assertIn(folder.run("-i")[0], (126, 127))


def is_ended_by_signal(test, folder):
    test.assertLess(folder.run("-i")[0], 0)


def hangs(test, folder):
    test.assertIsNone(folder.run("-i")[0])


def flashes_nothing_and_says_success(test, folder):
    test.assertEqual(folder.flashed(), [])
    status, document = folder.run("-u")
    test.assertEqual(status, 0)
    test.assertIn('result="true"', document.replace(" ", ""))


def flashes_it_as_it_is(test, folder):
    test.assertEqual(len(folder.flashed()), 1)


def is_shown_as(name):
    return lambda test, folder: test.assertEqual(folder.display(), name)


def works(test, folder):
    test.assertEqual(folder.display(), "One")
    test.assertEqual(len(folder.flashed()), 1)


def breaks_the_document(test, folder):
    _, document = folder.run("-i")
    with test.assertRaises(ElementTree.ParseError):
        ElementTree.fromstring(document)


def never_installs(test, folder):
    _, document = folder.run("-i", loader_path=folder.loader_path())
    test.assertIn('display="One"', document.replace(" = ", "="))
    test.assertEqual(folder.recorded("install"), [])


def installs(test, folder):
    test.assertEqual(folder.display(), "One")
    test.assertIn("install", folder.recorded("install"))


def writes_the_log(test, folder):
    folder.run("-i")
    test.assertTrue((folder.path / "baseutils.log").exists())


def is_not_run(_test, _folder):
    """No run can show it: what was not checked is unknown, or a person has to see it."""


NOBODY, NOBODY_GROUP = 65534, 65534


def unprivileged():
    os.setgroups([NOBODY_GROUP])
    os.setgid(NOBODY_GROUP)
    os.setuid(NOBODY)


def someone_else_decides(test, folder):
    """A user without privileges replaces the install script, and the next run runs it."""
    if os.geteuid() != 0:
        return
    script = folder.path / "fwkitinstall.sh"
    os.chmod(folder.scratch, 0o755)
    subprocess.run(["/bin/sh", "-c", f"echo 'echo mine >>\"$FWKIT_LOG\"' >'{script}'"], check=True,
                   preexec_fn=unprivileged)
    folder.run("-i")
    test.assertIn("mine", folder.recorded("install"))




def package(content):
    return lambda folder: folder.write("package.xml", content)


def device(content, attributes='componentID="1"'):
    return package(descriptor(content, attributes))


def with_drive(ids, content):
    """A drive with other ids, and a descriptor."""
    def change(folder):
        folder.drives = [dict(DRIVE, **ids)]
        folder.write("package.xml", descriptor(content))
    return change


def script(content):
    return lambda folder: folder.script(content)


def library(built):
    return lambda folder: folder.copy(LIBRARIES / built, "libnvme.so")


def libraries(built, *more):
    def change(folder):
        folder.copy(LIBRARIES / built, "libnvme.so")
        for source in more:
            folder.copy(LIBRARIES / source, Path(source).name)
    return change


def in_folder(path):
    """The same component in a folder with another name."""
    def change(folder):
        target = folder.scratch / path
        target.parent.mkdir(parents=True, exist_ok=True)
        folder.path.rename(target)
        folder.path = target
    return change


def payload(content, name="firmware.bin"):
    def change(folder):
        folder.remove("payload/firmware.bin")
        folder.write(f"payload/{name}", content)
    return change


def mode(name, bits):
    return lambda folder: (folder.path / name).chmod(bits)


def replaced_by_folder(name):
    return lambda folder: folder.replace(name).mkdir(mode=0o755)


def replaced_by_pipe(name):
    return lambda folder: os.mkfifo(folder.replace(name), 0o644)


def replaced_by_link(name, target):
    return lambda folder: folder.replace(name).symlink_to(target)


def removed(name):
    return lambda folder: folder.remove(name)


def written(name, content, bits=0o644):
    return lambda folder: folder.write(name, content, bits)


def patched(name, place, value):
    return lambda folder: folder.patch(name, place, value)


def cut(name, share):
    return lambda folder: folder.cut(name, share)


def own_library(change):
    def both(folder):
        folder.copy(OWN_LIBRARY, "libnvme.so")
        change(folder)
    return both


def renamed(name, other):
    return lambda folder: (folder.path / name).rename(folder.path / other)


def writable_by_nobody(folder):
    (folder.path / "fwkitinstall.sh").chmod(0o775)
    if os.geteuid() == 0:
        os.chown(folder.path / "fwkitinstall.sh", 0, NOBODY_GROUP)


def with_system_library(folder):
    """The system's own zlib, which is harmless."""
    listing = subprocess.run(["ldconfig", "-p"], capture_output=True, text=True, check=True,
                             env={"PATH": "/sbin:/usr/sbin:/bin"}).stdout
    folder.copy(re.search(r"libz\.so\.1 .*=> (\S+)", listing)[1], "libz.so.1")


def many_entries(folder):
    for number in range(10001):
        (folder.path / "payload" / str(number)).touch(mode=0o644)


def late_line(folder):
    folder.write("package.xml", descriptor("\n" * 70000 + PCI_INFO + "<Display/>"))


MACHINE, AARCH64 = 18, b"\xb7\0"
NO_NAME = is_shown_as("")

# name, what breaks it, the findings, what a run makes of it
CASES = [
    ("sound", lambda folder: None, [], works),
    # the descriptor
    ("no descriptor", removed("package.xml"), ["descriptor-missing"], NO_NAME),
    ("descriptor folder", replaced_by_folder("package.xml"), ["descriptor-not-file"], NO_NAME),
    ("descriptor pipe", replaced_by_pipe("package.xml"), ["descriptor-not-file"], hangs),
    ("malformed", package("<SoftwareComponent>"), ["descriptor-malformed"], NO_NAME),
    ("empty descriptor", package(""), ["descriptor-malformed"], NO_NAME),
    ("no device", package("<SoftwareComponent/>"), ["descriptor-no-device"], NO_NAME),
    ("no component id", device(PCI_INFO + DISPLAY, ""), ["device-no-component-id"], works),
    ("no PCIInfo", device(DISPLAY), ["device-no-pciinfo"], NO_NAME),
    ("namespace", package(descriptor(PCI_INFO + DISPLAY).replace("<SoftwareComponent", '<SoftwareComponent xmlns="a"')),
     ["device-misplaced"], NO_NAME),
    ("misplaced PCIInfo", device(f"<Ids>{PCI_INFO}</Ids>{DISPLAY}"), ["device-no-pciinfo", "pciinfo-misplaced"], NO_NAME),
    ("inherited id", with_drive({"deviceId": "a801"}, f"<PCIInfo {OTHER_IDS}/>{DISPLAY}</Device><Device componentID='2'>"
     + PCI_INFO.replace('subVendorID="f1a0"', "") + "<Display>Two</Display>"), ["pciinfo-id-inherited"], is_shown_as("Two")),
    ("missing id", device(PCI_INFO.replace('subVendorID="f1a0"', "") + DISPLAY), ["pciinfo-id-missing"], NO_NAME),
    ("0x", device(PCI_INFO.replace('"a801"', '"0xa801"') + DISPLAY), ["pciinfo-id-unmatchable"], NO_NAME),
    ("long id", device(PCI_INFO.replace('"a801"', '"0a801"') + DISPLAY), ["pciinfo-id-unmatchable"], NO_NAME),
    ("empty id", device(PCI_INFO.replace('"a801"', '""') + DISPLAY), ["pciinfo-id-unmatchable"], NO_NAME),
    ("short id", with_drive({"deviceId": "a54"}, PCI_INFO.replace('"a801"', '"a54"') + DISPLAY), ["pciinfo-id-short"], NO_NAME),
    ("leading zero", with_drive({"deviceId": "a54"}, PCI_INFO.replace('"a801"', '"0a54"') + DISPLAY), ["pciinfo-id-short"], NO_NAME),
    ("twice", device(PCI_INFO + DISPLAY + PCI_INFO + "<Display>Two</Display>"), ["pciinfo-repeated"], is_shown_as("Two")),
    ("no Display", device(PCI_INFO), ["display-missing"], NO_NAME),
    ("Display first", device(DISPLAY + PCI_INFO), ["display-before-pciinfo"], NO_NAME),
    ("empty Display", device(PCI_INFO + "<Display/>"), ["display-empty"], NO_NAME),
    ("blank Display", device(PCI_INFO + "<Display>  </Display>"), ["display-blank"], is_shown_as("  ")),
    ("unused Display", device(PCI_INFO + DISPLAY + "<Display>Two</Display>"), ["display-unused"], works),
    ("comment", device(PCI_INFO + "<Display><!--c-->One</Display>"), ["display-not-plain"], is_shown_as("c")),
    ("line breaks", device(PCI_INFO + "<Display> One</Display>"), ["display-layout"], is_shown_as(" One")),
    ("reserved", device(PCI_INFO + "<Display>A &amp; B</Display>"), ["display-reserved"], breaks_the_document),
    ("direction", device(PCI_INFO + "<Display>O\u202ene</Display>"), ["name-invisible"], is_shown_as("O\u202ene")),
    ("width", device(PCI_INFO + "<Display>O\u200bne</Display>"), ["name-invisible"], is_shown_as("O\u200bne")),
    ("long name", device(PCI_INFO + f"<Display>{'n' * 200}</Display>"), ["name-too-long"], is_shown_as("n" * 200)),
    ("to fill in", device(PCI_INFO.replace("a801", "FILL-IN") + DISPLAY), ["to-fill-in"], NO_NAME),
    ("late line", late_line, ["display-empty"], NO_NAME),
    # the payload
    ("no payload folder", removed("payload"), ["payload-missing"], flashes_nothing_and_says_success),
    ("payload no folder", lambda folder: (folder.remove("payload"), folder.write("payload", "x")),
     ["payload-not-folder"], flashes_nothing_and_says_success),
    ("no payload", removed("payload/firmware.bin"), ["payload-none"], flashes_nothing_and_says_success),
    ("two payloads", written("payload/.hidden", "x"), ["payload-several"], flashes_nothing_and_says_success),
    ("payload folder in it", replaced_by_folder("payload/firmware.bin"), ["payload-not-file"], flashes_it_as_it_is),
    ("empty payload", payload(b""), ["payload-empty"], flashes_it_as_it_is),
    ("ZIP", payload(b"PK\3\4\0\0\0\0"), ["payload-archive"], flashes_it_as_it_is),
    ("gzip", payload(b"\x1f\x8b\x08\0\0\0\0\0"), ["payload-archive"], flashes_it_as_it_is),
    ("tar", payload(b"\0" * 257 + b"ustar\0"), ["payload-archive"], flashes_it_as_it_is),
    ("web page", payload("<!DOCTYPE html>\n<html>404</html>"), ["payload-web-page"], flashes_it_as_it_is),
    ("text", payload("Release notes\n"), ["payload-text"], flashes_it_as_it_is),
    ("odd size", own_library(payload(b"\0\1\2\3\4")), ["payload-size"], is_not_run),
    ("short id with our own library", own_library(device(PCI_INFO.replace("a801", "a54") + DISPLAY)), [], is_not_run),
    ("long payload name", payload(b"\0\1\2\3", "n" * 250), ["name-too-long"], flashes_it_as_it_is),
    ("payload name", payload(b"\0\1\2\3", "firm\u202eware.bin"), ["name-invisible"], flashes_it_as_it_is),
    # the executable and the rollback library
    ("no executable", removed("nvmepcissd"), ["executable-missing"], is_not_started),
    ("executable folder", replaced_by_folder("nvmepcissd"), ["executable-not-file"], is_not_started),
    ("executable mode", mode("nvmepcissd", 0o644), ["executable-mode"], is_not_started),
    ("executable text", written("nvmepcissd", "text", 0o755), ["executable-not-elf"], is_not_started),
    ("executable foreign", patched("nvmepcissd", MACHINE, AARCH64), ["executable-foreign", "library-foreign"], is_not_started),
    ("executable cut off", cut("nvmepcissd", 0.3), ["executable-damaged"], is_ended_by_signal),
    ("executable link", lambda folder: (folder.path / "nvmepcissd").rename(folder.scratch / "elsewhere")
     and replaced_by_link("nvmepcissd", "../elsewhere")(folder), ["executable-link", "link-leads-out"], is_not_started),
    ("no rollback library", removed("librbkl.so.0"), ["rollback-missing"], is_not_started),
    ("rollback name", renamed("librbkl.so.0", "librbkl.so"), ["rollback-name"], is_not_started),
    ("rollback text", written("librbkl.so.0", "text"), ["rollback-refused"], is_not_started),
    ("rollback cut off", cut("librbkl.so.0", 0.05), ["rollback-refused"], is_ended_by_signal),
    ("rollback foreign", patched("librbkl.so.0", MACHINE, AARCH64), ["rollback-foreign"], is_not_started),
    ("rollback class", lambda folder: folder.copy(LIBRARIES / "whole.so", "librbkl.so.0"), ["rollback-class"], is_not_started),
    ("rollback needs", lambda folder: folder.copy(LIBRARIES / "needy.so", "librbkl.so.0"),
     ["executable-needs", "rollback-class"], is_not_started),
    # the drive library
    ("no library", removed("libnvme.so"), ["library-missing"], nothing_works),
    ("library pipe", replaced_by_pipe("libnvme.so"), ["library-not-file"], hangs),
    ("library folder", replaced_by_folder("libnvme.so"), ["library-not-file"], nothing_works),
    ("library text", written("libnvme.so", "text"), ["library-refused"], nothing_works),
    ("library empty", written("libnvme.so", ""), ["library-refused"], nothing_works),
    ("library foreign", patched("libnvme.so", MACHINE, AARCH64), ["library-foreign"], nothing_works),
    ("library cut off", cut("libnvme.so", 0.05), ["library-crash"], is_ended_by_signal),
    ("library needs", library("needy.so"), ["library-needs"], nothing_works),
    ("library version", libraries("versioned.so", "older/libversioned_helper.so"), ["library-version"], nothing_works),
    ("library unbound", library("unbound.so"), ["library-unbound"], nothing_works),
    ("unbound two down", libraries("needs_unbound.so", "libunbound_helper.so"), ["library-unbound"], nothing_works),
    ("needs rollback library", library("needs_rollback.so"), [], is_not_run),
    ("relative run path", lambda folder: (library("relative.so")(folder), (folder.path / "lib").mkdir(0o755),
     folder.copy(LIBRARIES / "libtool_test_helper.so", "lib/libtool_test_helper.so")), [], is_not_run),
    ("library executable", lambda folder: folder.copy(BUILD / "nvmepcissd", "libnvme.so"), ["library-refused"], nothing_works),
    ("entry point", library("without_info.so"), ["library-entry-point"], nothing_works),
    ("entry data", library("data_update.so"), ["library-entry-not-function"], is_not_run),
    # the install script
    ("no script", removed("fwkitinstall.sh"), ["script-missing"], nothing_works),
    ("script folder", replaced_by_folder("fwkitinstall.sh"), ["script-not-file"], nothing_works),
    ("script mode", mode("fwkitinstall.sh", 0o644), ["script-mode"], nothing_works),
    ("empty script", script(""), ["script-empty"], works),
    ("mark", script("\ufeff#!/bin/sh\nexit 0\n"), ["script-byte-order-mark"], works),
    ("return", script("#!/bin/sh\r\nexit 0\r\n"), ["script-carriage-return"], nothing_works),
    ("return behind a good line", script("#!/bin/sh\ncd /\r\nexit $?\r\n"), ["script-carriage-return"], nothing_works),
    ("return without a line", script("false\r\n"), ["script-carriage-return"], nothing_works),
    ("NUL", script("#!/bin/sh\nif\0\nexit 0\n"), ["script-nul"], nothing_works),
    ("interpreter", script("#!/no/such/shell\nexit 0\n"), ["script-interpreter"], nothing_works),
    ("interpreter folder", script("#!/usr/bin\nexit 0\n"), ["script-interpreter"], nothing_works),
    ("env", script("#!/usr/bin/env nosuchshell\nexit 0\n"), ["script-interpreter"], nothing_works),
    ("program", lambda folder: (folder.copy("/bin/true", "fwkitinstall.sh", 0o755),
     folder.patch("fwkitinstall.sh", MACHINE, AARCH64)), ["script-program"], nothing_works),
    ("syntax", script("#!/bin/sh\nif true\nexit 0\n"), ["script-syntax"], nothing_works),
    ("syntax of bash", script("#!/usr/bin/env bash\nif true; then\n"), ["script-syntax"], nothing_works),
    ("no first line", script("exit 0\n"), [], works),
    ("program of this machine", lambda folder: folder.copy("/bin/true", "fwkitinstall.sh", 0o755), [], works),
    # the folder
    ("blank", in_folder("my component"), ["path-shell"], nothing_works),
    ("long path", in_folder("/".join(["n" * 100] * 21) + "/component"), ["path-too-long"], nothing_works),
    ("hidden character", in_folder("comp\u200bonent"), ["name-invisible"], works),
    ("long folder name", in_folder("c" * 200), ["name-too-long"], works),
    ("link out", lambda folder: (folder.path / "more").symlink_to("/usr"), ["link-leads-out"], works),
    ("link to the root", lambda folder: (folder.path / "more").symlink_to("/"), ["link-leads-out"], works),
    ("payload is a link to the root", replaced_by_link("payload", "/"), ["link-leads-out", "payload-several", "writable-by-everybody"],
     flashes_nothing_and_says_success),
    ("link nowhere", lambda folder: (folder.path / "more").symlink_to("nowhere"), ["link-dangling"], works),
    ("many entries", many_entries, ["payload-several", "walk-cut-short"], flashes_nothing_and_says_success),
    ("everybody", mode("fwkitinstall.sh", 0o777), ["writable-by-everybody"], someone_else_decides),
    ("group", writable_by_nobody, ["writable-by-group"], someone_else_decides),
    ("marker file", written("enabledebug.txt", ""), ["marker-file"], writes_the_log),
    ("support library", lambda folder: folder.copy(BUILD / "simulator/libkvrpm.so", "libkvrpm.so"), ["support-library"], never_installs),
    ("broken support library", written("libkvrpm.so", "text"), ["support-library"], installs),
    ("system library", with_system_library, ["system-library-shadowed"], works),
    ("unknown id to ignore", written(".nvmepcissd-check", "no-such-id\n"), ["ignore-unknown"], works),
    ("ignored", lambda folder: (folder.write(".nvmepcissd-check", "marker-file  # meant\npayload-text payload/firmware.bin\n"),
     folder.write("enabledebug.txt", ""), folder.write("payload/firmware.bin", "a text")), [], writes_the_log),
]

# Kinds that depend on the user or the machine. Other tests cover them, except the two about an executable that was built
# for another system.
WITHOUT_CASE = {
    "folder-unreadable", "subfolder-unreadable", "descriptor-unreadable", "payload-unreadable", "script-unreadable",
    "library-unreadable", "executable-version", "executable-unbound", "library-hang", "library-unchecked",
    "owner", "parent-writable", "simulator-part"}


def kinds_of_code():
    return dict(re.findall(r'\{"([a-z-]+)", Severity::k(\w+)\}', (ROOT / "tool/check/Finding.h").read_text()))


def check(folder, *arguments):
    run = subprocess.run([TOOL, "check", "--json", *arguments, folder.path], capture_output=True, check=False)
    return run.returncode, json.loads(run.stdout)["findings"]


class PackageCheck(unittest.TestCase):
    def test_every_folder_is_found_broken_and_runs_as_told(self):
        for name, change, ids, observe in CASES:
            with self.subTest(name), tempfile.TemporaryDirectory() as scratch:
                folder = Folder(BUILD, scratch)
                change(folder)
                status, findings = check(folder)
                found = sorted({finding["id"] for finding in findings} - ALWAYS)
                self.assertEqual(found, sorted(ids), findings)
                self.assertEqual(status, 1 if findings else 0)
                observe(self, folder)

    def test_every_kind_has_a_folder(self):
        shown = {kind for _, _, ids, _ in CASES for kind in ids}
        self.assertEqual(set(kinds_of_code()) - shown, WITHOUT_CASE)

    def test_the_table_of_the_documentation_is_that_of_the_code(self):
        table = re.findall(r"^([a-z-]+) +(error|warning|note) ", (ROOT / "docs/package-check.md").read_text(), re.MULTILINE)
        self.assertEqual(dict(table), {kind: severity.lower() for kind, severity in kinds_of_code().items()})
        self.assertEqual(len(table), len(kinds_of_code()))

    def test_what_cannot_be_read_is_told(self):
        """As a user whom permissions bind; nobody has to be able to run the tool, too."""
        cases = [(".", 0o700, ["folder-unreadable"]), ("payload", 0o700, ["payload-unreadable", "subfolder-unreadable"]),
                 ("payload/firmware.bin", 0o600, ["payload-unreadable"]), ("package.xml", 0o600, ["descriptor-unreadable"]),
                 ("libnvme.so", 0o600, ["library-unreadable"]), ("fwkitinstall.sh", 0o711, ["script-unreadable"])]
        if os.geteuid() != 0:
            cases = [(name, bits & 0o077, ids) for name, bits, ids in cases]
        for name, bits, ids in cases:
            with self.subTest(name), tempfile.TemporaryDirectory() as scratch:
                folder = Folder(BUILD, scratch)
                os.chmod(scratch, 0o755)
                tool = shutil.copy(TOOL, folder.scratch)
                (folder.path / name).chmod(bits)
                run = subprocess.run([tool, "check", "--json", folder.path], capture_output=True, check=False,
                                     preexec_fn=unprivileged if os.geteuid() == 0 else None)
                found = {finding["id"] for finding in json.loads(run.stdout)["findings"]} - ALWAYS
                self.assertEqual((run.returncode, sorted(found)), (1, ids))
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
