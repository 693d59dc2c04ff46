"""A component folder to run the built executable in, what came of a run, and the test case with such a folder."""

import json
import os
import re
import shutil
import subprocess
import tempfile
import time
import unittest

STAMP = re.compile(rb"^\[\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\] :  *[\w./]+:[ \d]{4}\d: ", re.MULTILINE)
INVENTORY_ROOT = "SVMInventory"
UPDATE_ROOT = "SVMExecution"
LIMIT_SECONDS = 120


class Result:
    def __init__(self, status, stdout, stderr, seconds):
        self.status = status
        self.stdout = stdout
        self.stderr = stderr
        self.seconds = seconds

    def __str__(self):
        return f"status {self.status}\n--- stdout\n{self.stdout}\n--- stderr\n{self.stderr}"


class Component:
    """A program folder, a working folder (the same one unless named) and the environment of the stand-ins."""

    def __init__(self, parts, working_folder=None, program_folder=None):
        self.parts = parts
        self.root = os.path.realpath(tempfile.mkdtemp(prefix="nvmepcissd-faults-"))
        self.program_folder = program_folder or self.root + "/component"
        self.working_folder = working_folder or self.program_folder
        os.makedirs(self.program_folder + "/payload", exist_ok=True)
        for name in ("nvmepcissd", "librbkl.so.0"):
            shutil.copy(os.path.realpath(parts.program + "/" + name), self.program_folder + "/" + name)
        for name in ("libnvme.so", "fwkitinstall.sh", "package.xml"):
            shutil.copy(parts.stage + "/" + name, self.working_folder)
        self.write("payload/firmware.bin", "the new firmware")
        self.variables = {
            "NVME_SIMULATOR_SCENARIO": self.root + "/scenario.json",
            "NVME_SIMULATOR_STATE": self.root + "/nvme-state.json",
            "NVME_SIMULATOR_CALLS": self.root + "/nvme-calls",
            "RBKL_SIMULATOR_CALLS": self.root + "/rollback-calls",
            "FWKIT_LOG": self.root + "/script-calls",
        }
        self.scenario([self.drive(1), self.drive(2), self.drive(3)])

    def remove(self):
        shutil.rmtree(self.root, ignore_errors=True)

    def write(self, name, content):
        with open(os.path.join(self.program_folder, name), "w", encoding="utf-8") as file:
            file.write(content)

    def read(self, name):
        with open(os.path.join(self.program_folder, name), "rb") as file:
            return file.read().decode("latin-1")

    def exists(self, name):
        return os.path.exists(os.path.join(self.program_folder, name))

    @staticmethod
    def drive(bus, **more):
        return {"vendorId": "f101", "deviceId": "a801", "subVendorId": "f1a0", "subDeviceId": "1001",
                "address": f"{bus:02x}:00.0", "model": "SAMPLE", "serial": f"SIM{bus}", "revision": "OLD", **more}

    def scenario(self, drives, **more):
        self.write(self.root + "/scenario.json", json.dumps({"newRevision": "NEW", "drives": drives, **more}))

    def replace_drive_library(self, name):
        shutil.copy(f"{self.parts.faults}/{name}.so", self.working_folder + "/libnvme.so")

    def environment(self, preloaded, more):
        environment = {"PATH": os.environ["PATH"], **self.variables, **more}
        options = {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}
        if preloaded:
            environment["LD_PRELOAD"] = f"{self.parts.faults}/{preloaded}.so"
            # The preloaded library comes before the sanitizer's, which would refuse to start.
            options["ASAN_OPTIONS"] = ":".join(filter(None, (options.get("ASAN_OPTIONS"), "verify_asan_link_order=0")))
        return {**environment, **options}

    def run(self, *words, preloaded=None, variables=None, **keywords):
        """Runs the executable; `keywords` go to the process, `stdout` too."""
        keywords.setdefault("stdout", subprocess.PIPE)
        keywords.setdefault("cwd", self.working_folder)
        keywords.setdefault("stdin", subprocess.DEVNULL)
        started = time.monotonic()
        finished = subprocess.run([self.program_folder + "/nvmepcissd", *words], stderr=subprocess.PIPE,
                                  env=self.environment(preloaded, variables or {}), timeout=LIMIT_SECONDS, check=False,
                                  **keywords)
        return Result(finished.returncode, (finished.stdout or b"").decode("latin-1"),
                      finished.stderr.decode("latin-1"), time.monotonic() - started)

    def messages(self, name="log.txt"):
        return STAMP.sub(b"", self.read(name).encode("latin-1")).decode("latin-1").splitlines()

    def errors(self, name="log.txt"):
        return [message for message in self.messages(name) if message.startswith("ERROR")]

    def calls(self, name):
        """The recorded calls, in order, and forgets them."""
        path = f"{self.root}/{name}"
        if not os.path.exists(path):
            return []
        calls = self.read(path).splitlines()
        os.unlink(path)
        return calls

    def revisions(self):
        """The drives' flashed revisions by address, as the drive library keeps them."""
        path = self.root + "/nvme-state.json"
        return json.loads(self.read(path)) if os.path.exists(path) else {}


def is_whole(document, root):
    return (document.startswith(f'<?xml version="1.0" encoding="UTF-8"?><{root} lang="en">') and
            document.endswith(f"</{root}>") and document.count(f"</{root}>") == 1)


class FaultTest(unittest.TestCase):
    maxDiff = None
    parts = None  # what the command line names; fault_tests.py sets it

    def component(self, **keywords):
        component = Component(self.parts, **keywords)
        self.addCleanup(component.remove)
        return component

    def assertDocument(self, text, root, devices, failures=0):
        self.assertTrue(is_whole(text, root), text)
        self.assertEqual(text.count("<Device "), devices, text)
        self.assertEqual(text.count('<SPStatus result = "false" >'), failures, text)

    def assertEnds(self, result, status):
        self.assertEqual(result.status, status, str(result))
