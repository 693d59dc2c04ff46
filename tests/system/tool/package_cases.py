"""Component folders, each broken in one place: what `nvmepcissd-tool check` finds, and what a run makes of it."""

import os
import re
import struct
import subprocess
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

from package_folder import DISPLAY, DRIVE, OTHER_IDS, PCI_INFO, descriptor

BUILD, LIBRARIES = (Path(argument) for argument in sys.argv[2:4])
OWN_LIBRARY = BUILD / "drive_library/libnvme.so"


# What a run may come to. Each of them asserts it.

def nothing_works(test, folder):
    status, document = folder.run("-i")
    test.assertEqual((status, "<Device" in document), (0, False))
    test.assertEqual(folder.run("-u")[0], 1)


def is_not_started(test, folder):
    test.assertIn(folder.run("-i")[0], (126, 127))


def is_ended_with(status):
    return lambda test, folder: test.assertEqual(folder.run("-i"), (status, ""))


def shows_nothing(test, folder):
    test.assertEqual(folder.run("-i"), (0, ""))
    test.assertEqual(folder.flashed(), [])


def is_ended_by_signal(test, folder):
    test.assertLess(folder.run("-i")[0], 0)


def hangs(test, folder):
    test.assertIsNone(folder.run("-i", seconds=3)[0])


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


def needs_a_drive(_test, _folder):
    """The virtual machine's test shows it: test_payloads_that_check_finds_fault_with_are_refused."""


def loads_the_library(test, folder):
    folder.run("-d", "-i")
    test.assertNotIn("ERROR: ", (folder.path / "debug.log").read_text())


NOBODY_GROUP = 65534
AS_NOBODY = {"user": 65534, "group": NOBODY_GROUP, "extra_groups": [NOBODY_GROUP]}


def someone_else_decides(test, folder):
    """A user without privileges replaces the install script, and the next run runs it."""
    if os.geteuid() != 0:
        return
    script = folder.path / "fwkitinstall.sh"
    os.chmod(folder.scratch, 0o755)
    subprocess.run(["/bin/sh", "-c", f"echo 'echo mine >>\"$FWKIT_LOG\"' >'{script}'"], check=True,
                   **AS_NOBODY)
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


def interpreters(count):
    """An install script with that many scripts, each run by the next one, before a shell."""
    def change(folder):
        for number in range(1, count + 1):
            runs = f"./{number + 1}" if number < count else "/bin/sh"
            folder.write(str(number), f"#!{runs}\n", 0o755)
        folder.script("#!./1\n")
    return change


def without_its_symbols(folder):
    """The drive library says that its symbols are where nothing is."""
    content = bytearray((folder.path / "libnvme.so").read_bytes())
    headers, = struct.unpack_from("=Q", content, 0x20)
    size, count = struct.unpack_from("=HH", content, 0x36)
    for place in range(headers, headers + size * count, size):
        kind, _, start, _, _, length = struct.unpack_from("=IIQQQQ", content, place)
        if kind == PT_DYNAMIC:
            for entry in range(start, start + length, 16):
                if struct.unpack_from("=q", content, entry) == (DT_GNU_HASH,):
                    struct.pack_into("=Q", content, entry + 8, 1 << 46)
    folder.write("libnvme.so", bytes(content))


def many_entries(folder):
    for number in range(10001):
        (folder.path / "payload" / str(number)).touch(mode=0o644)


def late_line(folder):
    folder.write("package.xml", descriptor("\n" * 70000 + PCI_INFO + "<Display/>"))


PT_DYNAMIC, DT_GNU_HASH = 2, 0x6ffffef5
MACHINE, AARCH64 = 18, b"\xb7\0"
LOADER, OTHER_LOADER = b"/ld-linux", b"/no-linux"
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
    ("saved web page", payload("<?xml version='1.0'?>\n<!-- saved from a site -->\n<HTML>"), ["payload-web-page"],
     flashes_it_as_it_is),
    ("text in UTF-8", payload("Versionshinweise für Geräte\n"), ["payload-text"], flashes_it_as_it_is),
    ("text in UTF-16", payload("Release notes\n".encode("utf-16")), ["payload-text"], flashes_it_as_it_is),
    ("erased memory", payload(b"\xff" * 4096), [], flashes_it_as_it_is),
    ("disc image", payload(b"\0" * 0x8001 + b"CD001"), ["payload-archive"], flashes_it_as_it_is),
    ("odd size", own_library(payload(b"\0\1\2\3\4")), ["payload-size"], needs_a_drive),
    ("short id with our own library", own_library(device(PCI_INFO.replace("a801", "a54") + DISPLAY)), [], loads_the_library),
    ("long payload name", payload(b"\0\1\2\3", "n" * 250), ["name-too-long"], flashes_it_as_it_is),
    ("payload name", payload(b"\0\1\2\3", "firm\u202eware.bin"), ["name-invisible"], flashes_it_as_it_is),
    # the executable and the rollback library
    ("no executable", removed("nvmepcissd"), ["executable-missing"], is_not_started),
    ("executable folder", replaced_by_folder("nvmepcissd"), ["executable-not-file"], is_not_started),
    ("executable mode", mode("nvmepcissd", 0o644), ["executable-mode"], is_not_started),
    ("executable text", written("nvmepcissd", "text", 0o755), ["executable-not-elf"], is_not_started),
    ("executable foreign", patched("nvmepcissd", MACHINE, AARCH64), ["executable-foreign", "library-foreign"], is_not_started),
    ("executable cut off", cut("nvmepcissd", 0.1), ["executable-damaged"], is_ended_by_signal),
    ("executable link", lambda folder: (folder.path / "nvmepcissd").rename(folder.scratch / "elsewhere")
     and replaced_by_link("nvmepcissd", "../elsewhere")(folder), ["executable-link", "link-leads-out"], is_not_started),
    ("executable without its sections", cut("nvmepcissd", 0.99), ["executable-damaged"], works),
    ("another loader", lambda folder: folder.exchange("nvmepcissd", LOADER, OTHER_LOADER), ["executable-needs"], is_not_started),
    ("another program", lambda folder: folder.copy("/bin/true", "nvmepcissd", 0o755), ["executable-other"], shows_nothing),
    ("executable version", lambda folder: folder.copy(LIBRARIES / "older/libversioned_helper.so", "libxml2.so.2"),
     ["executable-unbound", "executable-version", "system-library-shadowed"], is_ended_with(1)),
    ("executable unbound", lambda folder: folder.copy(LIBRARIES / "libtool_test_helper.so", "libxml2.so.2"),
     ["executable-unbound", "system-library-shadowed"], is_ended_with(127)),
    ("rollback unbound", lambda folder: folder.exchange("librbkl.so.0", b"__si_class_type_infoE", b"__si_class_type_infoX"),
     ["executable-unbound"], is_ended_with(127)),
    ("no rollback library", removed("librbkl.so.0"), ["rollback-missing"], is_not_started),
    ("rollback name", renamed("librbkl.so.0", "librbkl.so"), ["rollback-name"], is_not_started),
    ("rollback text", written("librbkl.so.0", "text"), ["rollback-refused"], is_not_started),
    ("rollback cut off", cut("librbkl.so.0", 0.05), ["rollback-refused"], is_ended_by_signal),
    ("rollback foreign", patched("librbkl.so.0", MACHINE, AARCH64), ["rollback-foreign"], is_not_started),
    ("rollback class", lambda folder: folder.copy(LIBRARIES / "whole.so", "librbkl.so.0"), ["rollback-class"], is_not_started),
    ("rollback pipe", replaced_by_pipe("librbkl.so.0"), ["rollback-refused"], hangs),
    ("rollback program", lambda folder: folder.copy("/bin/true", "librbkl.so.0"), ["rollback-refused"], is_not_started),
    ("rollback link nowhere", replaced_by_link("librbkl.so.0", "nowhere"), ["rollback-missing", "link-dangling"], is_not_started),
    ("rollback without its sections", cut("librbkl.so.0", 0.99), ["rollback-unchecked"], works),
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
    ("library that crashes the loader", without_its_symbols, ["library-crash"], is_ended_by_signal),
    ("library needs", library("needy.so"), ["library-needs"], nothing_works),
    ("library version", libraries("versioned.so", "older/libversioned_helper.so"), ["library-version"], nothing_works),
    ("library unbound", library("unbound.so"), ["library-unbound"], nothing_works),
    ("unbound two down", libraries("needs_unbound.so", "libunbound_helper.so"), ["library-unbound"], nothing_works),
    ("needs rollback library", library("needs_rollback.so"), [], loads_the_library),
    ("relative run path", lambda folder: (library("relative.so")(folder), (folder.path / "lib").mkdir(0o755),
     folder.copy(LIBRARIES / "libtool_test_helper.so", "lib/libtool_test_helper.so")), [], loads_the_library),
    ("library executable", lambda folder: folder.copy(BUILD / "nvmepcissd", "libnvme.so"), ["library-refused"], nothing_works),
    ("library without its sections", cut("libnvme.so", 0.99), ["library-unchecked"], works),
    ("library that needs a pipe", lambda folder: (library("needs_unbound.so")(folder),
     os.mkfifo(folder.path / "libunbound_helper.so", 0o644)), ["library-hang"], hangs),
    ("entry point", library("without_info.so"), ["library-entry-point"], nothing_works),
    ("entry data", library("data_discover.so"), ["library-entry-not-function"], is_ended_by_signal),
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
    ("two options", script("#!/bin/sh -e -u\nexit 0\n"), ["script-interpreter"], nothing_works),
    ("env with an option of the shell", script("#!/usr/bin/env sh -e\nexit 0\n"), ["script-interpreter"], nothing_works),
    ("env with a path", script("#!/usr/bin/env /no/such/shell\nexit 0\n"), ["script-interpreter"], nothing_works),
    ("env that splits", script("#!/usr/bin/env -S sh -e\nexit 0\n"), [], works),
    ("env with an assignment", script("#!/usr/bin/env A=1 sh\nexit 0\n"), ["script-interpreter"], hangs),
    ("env alone", script("#!/usr/bin/env\nexit 0\n"), ["script-interpreter"], hangs),
    ("interpreter without its own", lambda folder: (folder.write("interpreter", "#!/no/such/shell\n", 0o755),
     folder.script("#!./interpreter\n")), ["script-interpreter"], nothing_works),
    ("four scripts for one another", interpreters(4), [], works),
    ("five scripts for one another", interpreters(5), ["script-interpreter"], nothing_works),
    ("program without its loader", lambda folder: (folder.copy("/bin/true", "fwkitinstall.sh", 0o755),
     folder.exchange("fwkitinstall.sh", LOADER, OTHER_LOADER)), ["script-program"], nothing_works),
    ("library as a program", lambda folder: folder.copy(LIBRARIES / "whole.so", "fwkitinstall.sh", 0o755),
     ["script-program"], nothing_works),
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
    ("link to the folder", lambda folder: (folder.path / "more").symlink_to("."), [], works),
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
