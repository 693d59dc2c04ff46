#!/usr/bin/env python3
"""Measures the commands of `nvmepcissd-tool` that read many records, as ratios to libxml2 (xmllint) on the same bytes.

  documents.py BUILD FILE.tsv          growth, then the check
  documents.py BUILD --shape DOCUMENTSxRECORDS ...

The check fails where a command takes more than LIMIT times the instructions of libxml2 on 100,000 records, in one
document or in 10,000. Growth measures the same from 250 to 16,000 records. FILE.tsv has a block for each shape, with
lines of "records<tab>" and the instructions of show, report, verify, metrics and xmllint. They are callgrind's.

`verify` reads three documents whatever their size, and has no second shape. `metrics` reads the records of runs, which
are JSON; libxml2 gets the same members with the same values as attributes, in as many bytes.
"""

import concurrent.futures
import json
import os
import pathlib
import sys

from measure import Folder, slope

LIMIT = 3  # times libxml2, for instructions
MANY = 10  # records in each of many documents
RECORDS = 100000
GROWTH = [250 * 4 ** k for k in range(4)]
COMMANDS = ["show", "report", "verify", "metrics"]

DEVICE = ('<Device  vendorID="f101" deviceID="a80{model}" subVendorID="f1a0" subDeviceID="1001"  '
          'display="Sample NVMe SSD model {model} 2.5in" enum = "Serial Number: SIM{number:09}" >'
          '<Application componentType="FRMW"  version="SMP1010{revision}"  display=""/></Device>')
UPDATED = ('<Device  vendorID="f101" deviceID="a80{model}" subVendorID="f1a0" subDeviceID="1001" '
           'display="Sample NVMe SSD model {model} 2.5in" enum = "Serial Number: SIM{number:09}" >'
           '<Application componentType="FRMW" version="SMP10100" display="" ><SPStatus result = "true" >'
           '<Message id="0" >Success</Message></SPStatus></Application></Device>')
FAILED = '<SPStatus result = "false" ><Message id="0" >ERROR: Failed to Update Firmware</Message></SPStatus>'


class Records(Folder):
    """Records in so many documents. `commands` are the measured ones, with the status that they end with; libxml2 parses
    `files`."""

    def __init__(self, build, documents, records):
        self.stage("nvmepcissd-documents-", {"PATH": os.environ["PATH"]})
        self.tool = str(build / "nvmepcissd-tool")
        self.files = []
        self.commands = {}
        self.write_documents(documents, records)

    def write(self, name, content):
        path = self.path / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(content, encoding="utf-8")

    def write_document(self, name, root, devices):
        self.files.append(name)
        self.write(name, f'<?xml version="1.0" encoding="UTF-8"?><{root} lang="en">{"".join(devices)}</{root}>')

    def costs(self):
        """The instructions of each command by its name, and those of libxml2."""
        calls = [*self.commands.values(), (["xmllint", "--noout", *self.files], 0)]
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            *costs, libxml2 = pool.map(lambda call: self.instructions(*call), calls)
        return dict(zip(self.commands, costs)), libxml2


class Inventories(Records):
    """Drives have four models and five revisions, and no drive stands in two documents."""

    def write_documents(self, documents, records):
        for document in range(documents):
            self.write_document(f"documents/server{document}.xml", "SVMInventory",
                                (DEVICE.format(model=number % 4, revision=number % 5, number=number)
                                 for number in range(document * records, (document + 1) * records)))
        self.commands = {"show": ([self.tool, "show", "documents"], 0),
                         "report": ([self.tool, "report", "documents", "-o", "page.html"], 0)}


class Update(Records):
    """An update between two inventories. Every hundredth drive failed, which `verify` tells by its place."""

    def write_documents(self, documents, records):
        for name, revision in (("before", 0), ("after", 1)):
            self.write_document(f"{name}.xml", "SVMInventory",
                                (DEVICE.format(model=number % 4, revision=revision, number=number)
                                 for number in range(records)))
        self.write_document("update.xml", "SVMExecution",
                            (FAILED if number % 100 == 7 else UPDATED.format(model=number % 4, number=number)
                             for number in range(records)))
        self.commands = {"verify": ([self.tool, "verify", "--json", "before.xml", "update.xml", "after.xml"], 1)}


class Runs(Records):
    """Updates of this boot, in the folder where runs are kept."""

    def write_documents(self, documents, records):
        boot = pathlib.Path("/proc/sys/kernel/random/boot_id").read_text(encoding="ascii").strip()
        for number in range(documents):
            name = f"run-{number}"
            drives = [self.drive(place) for place in range(number * records, (number + 1) * records)]
            verdict = {"format": "nvmepcissd-verdict", "version": 1, "run": name, "outcome": "failed", "exitStatus": 1,
                       "reasons": [], "bootId": boot, "interrupted": False, "drives": drives}
            record = {"format": "nvmepcissd-run", "version": 1, "name": name, "sequence": number + 1, "kind": "update",
                      "phase": "done", "component": "/opt/component", "workingFolder": "/opt/component",
                      "environment": {}, "policy": {}, "payload": "a" * 64, "bootId": boot, "verifiedIn": boot,
                      "began": "2026-01-31T12:00:00Z", "ended": "2026-01-31T12:10:00Z", "approved": 1, "flashBegan": 2,
                      "toFlash": records, "hasFlashed": True, "wasInterrupted": False, "attempts": 1, "exitStatus": 0}
            for kind, value in (("verdict", verdict), ("run", record)):
                text = json.dumps(value, indent=2) + "\n"
                self.write(f"runs/{name}/{kind}.json", text)
                self.files.append(f"equal/{name}-{kind}.xml")
                self.write(self.files[-1], self.equal(value, len(text)))
        self.commands = {"metrics": ([self.tool, "metrics", "--state", "runs", "-o", "metrics.prom"], 0)}

    @staticmethod
    def drive(number):
        is_staged = number % 2 == 0
        return {"serial": f"SIM{number:09}", "name": f"Sample NVMe SSD model {number % 4} 2.5in", "model": None,
                "pci": {"vendor": "f101", "device": f"a80{number % 4}", "subVendor": "f1a0", "subDevice": "1001"},
                "address": None, "before": "SMP10100", "after": "SMP10100" if is_staged else "SMP10101",
                "staged": "SMP10101" if is_staged else None, "wanted": None,
                "state": "staged" if is_staged else "updated", "code": 0, "reason": None, "identifiedBy": "order"}

    @classmethod
    def equal(cls, value, size):
        """XML with the members of an object as attributes, and objects in it as elements: `size` bytes long."""
        text = cls.element("object", value)
        return text + " " * (size - len(text))

    @classmethod
    def element(cls, name, value):
        single = "".join(f' {key}="{member}"' for key, member in value.items() if not isinstance(member, (dict, list)))
        nested = [(key, member) for key, member in value.items() if isinstance(member, dict)]
        nested += [(key, each) for key, member in value.items() if isinstance(member, list) for each in member]
        return f"<{name}{single}>\n" + "".join(cls.element(*each) for each in nested) + f"</{name}>\n"


def costs(build, documents, records):
    """The instructions of each command, and the greatest ratio to libxml2."""
    found, worst = {}, 0
    for kind in (Inventories, Update, Runs) if documents == 1 else (Inventories, Runs):
        with kind(build, documents, records) as folder:
            instructions, libxml2 = folder.costs()
        for name, cost in instructions.items():
            worst = max(worst, cost / libxml2)
            print(f"{documents} x {records}: {name} {cost:,}, {cost / libxml2:.2f} times libxml2 ({libxml2:,})", flush=True)
        found |= {"libxml2": libxml2} | instructions if kind is Inventories else instructions
    return found, worst


def growth(build, path):
    blocks = []
    for shape in (lambda records: (1, records), lambda records: (records // MANY, MANY)):
        rows = [(records, costs(build, *shape(records))[0]) for records in GROWTH]
        for name in rows[0][1]:
            print(f"{name}: log-log slope {slope([(records, found[name]) for records, found in rows[1:]]):.3f}", flush=True)
        blocks.append("".join("\t".join(str(each) for each in (records, *(found.get(name, "-") for name in COMMANDS),
                                                                found["libxml2"])) + "\n" for records, found in rows))
    path.write_text("\n\n".join(blocks), encoding="ascii")


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    if sys.argv[2] == "--shape":
        shapes = [tuple(map(int, shape.split("x"))) for shape in sys.argv[3:]]
    else:
        growth(build, pathlib.Path(sys.argv[2]))
        shapes = [(1, RECORDS), (RECORDS // MANY, MANY)]
    if max(costs(build, *shape)[1] for shape in shapes) > LIMIT:
        sys.exit(f"FAILED: more than {LIMIT} times the instructions of libxml2")


if __name__ == "__main__":
    main()
