#!/usr/bin/env python3
"""Measures `nvmepcissd-tool show`, `report` and `verify` as ratios to libxml2, which parses the same bytes (xmllint).

  documents.py BUILD FILE.tsv

100,000 records in one document and in 10,000, and the update of 100,000 drives: fails above the limit. Then instructions against records, in one
document of 1,000 to 64,000, as lines of "records<tab>show<tab>report<tab>xmllint" in FILE.tsv. Instructions are
callgrind's.
"""

import concurrent.futures
import os
import pathlib
import sys

from measure import Folder, slope

LIMIT = 3  # times libxml2, for instructions
CASES = [(1, 100000), (10000, 10)]  # documents, records in each
GROWTH = [1000 * 4 ** k for k in range(4)]

DEVICE = ('<Device  vendorID="f101" deviceID="a80{model}" subVendorID="f1a0" subDeviceID="1001"  '
          'display="Sample NVMe SSD model {model} 2.5in" enum = "Serial Number: SIM{number:09}" >'
          '<Application componentType="FRMW"  version="SMP1010{revision}"  display=""/></Device>')

UPDATED = ('<Device  vendorID="f101" deviceID="a80{model}" subVendorID="f1a0" subDeviceID="1001" '
           'display="Sample NVMe SSD model {model} 2.5in" enum = "Serial Number: SIM{number:09}" >'
           '<Application componentType="FRMW" version="SMP10100" display="" ><SPStatus result = "true" >'
           '<Message id="0" >Success</Message></SPStatus></Application></Device>')
FAILED = '<SPStatus result = "false" ><Message id="0" >ERROR: Failed to Update Firmware</Message></SPStatus>'


class Documents(Folder):
    """A folder of inventories. Drives have four models and five revisions, and no drive stands in two documents."""

    def __init__(self, build, documents, records):
        self.stage("nvmepcissd-documents-", {"PATH": os.environ["PATH"]})
        self.tool = str(build / "nvmepcissd-tool")
        (self.path / "documents").mkdir()
        for document in range(documents):
            devices = "".join(DEVICE.format(model=number % 4, revision=number % 5, number=number)
                              for number in range(document * records, (document + 1) * records))
            (self.path / f"documents/server{document}.xml").write_text(
                f'<?xml version="1.0" encoding="UTF-8"?><SVMInventory lang="en">{devices}</SVMInventory>')

    def costs(self):
        """The instructions of show, report and xmllint."""
        files = sorted(str(path.relative_to(self.path)) for path in self.path.glob("documents/*"))
        commands = [[self.tool, "show", "documents"], [self.tool, "report", "documents", "-o", "page.html"],
                    ["xmllint", "--noout", *files]]
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            return list(pool.map(self.instructions, commands))


class Update(Folder):
    """An update between two inventories. Every hundredth drive failed, which `verify` tells by its place."""

    def __init__(self, build, drives):
        self.stage("nvmepcissd-update-", {"PATH": os.environ["PATH"]})
        self.tool = str(build / "nvmepcissd-tool")
        for name, revision in (("before", 0), ("after", 1)):
            self.write(name, "SVMInventory", (DEVICE.format(model=number % 4, revision=revision, number=number)
                                              for number in range(drives)))
        self.write("update", "SVMExecution", (FAILED if number % 100 == 7 else
                                              UPDATED.format(model=number % 4, number=number)
                                              for number in range(drives)))

    def write(self, name, root, devices):
        (self.path / f"{name}.xml").write_text(
            f'<?xml version="1.0" encoding="UTF-8"?><{root} lang="en">{"".join(devices)}</{root}>')

    def costs(self):
        """The instructions of verify and xmllint."""
        files = ["before.xml", "update.xml", "after.xml"]
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            return list(pool.map(self.instructions, [[self.tool, "verify", "--json", *files], ["xmllint", "--noout", *files]],
                                 [1, 0]))


def check(build):
    with Update(build, 100000) as folder:
        verify, libxml2 = folder.costs()
    print(f"update of 100000: verify {verify:,}, {verify / libxml2:.2f} times libxml2; libxml2 {libxml2:,}", flush=True)
    failed = verify > LIMIT * libxml2
    for documents, records in CASES:
        with Documents(build, documents, records) as folder:
            show, report, libxml2 = folder.costs()
        print(f"{documents} x {records}: show {show:,}, {show / libxml2:.2f} times libxml2; "
              f"report {report:,}, {report / libxml2:.2f} times; libxml2 {libxml2:,}", flush=True)
        failed |= max(show, report) > LIMIT * libxml2
    if failed:
        sys.exit(f"FAILED: more than {LIMIT} times the instructions of libxml2")


def growth(build, path):
    rows = []
    for records in GROWTH:
        with Documents(build, 1, records) as folder:
            rows.append((records, *folder.costs()))
    path.write_text("".join("\t".join(map(str, row)) + "\n" for row in rows), encoding="ascii")
    for name, column in (("show", 1), ("report", 2), ("libxml2", 3)):
        print(f"{name}: log-log slope {slope([(row[0], row[column]) for row in rows[1:]]):.3f}")
        for row in rows:
            print(f"{row[0]:8}{row[column]:16,}{row[column] // row[0]:10,} each", flush=True)


if __name__ == "__main__":
    growth(pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]))
    check(pathlib.Path(sys.argv[1]).resolve())
