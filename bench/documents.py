#!/usr/bin/env python3
"""Measures `nvmepcissd-tool show` and `report` as ratios to libxml2, which parses the same bytes (xmllint).

  documents.py BUILD FILE.tsv

100,000 records in one document and in 10,000: fails above the limit. Then instructions against records, in one
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


def check(build):
    failed = False
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
