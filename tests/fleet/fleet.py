"""A rack with simulated drives and the collection, and a short vocabulary for scenarios."""

import hashlib
import json
import os
import re
import subprocess
import sys
import time
import unittest
from pathlib import Path

from rack import COMPONENT, Rack, enter_namespaces, run, until

SOURCE, BUILD = (Path(each) for each in sys.argv[1:3])
COLLECTION = Path(os.environ.get("FLEET_COLLECTION", SOURCE / "fleet"))
PAYLOAD = SOURCE / "simulator/payload/SampleFirmware.bin"
PCI = {"vendor": "f101", "device": "a801", "subVendor": "f1a0", "subDevice": "1001"}
STOPPED = 2
SHOWN = []
FAST = {"ANSIBLE_PIPELINING": "1", "ANSIBLE_FORKS": "8"}


def drive(number, **keys):
    return {"vendorId": PCI["vendor"], "deviceId": PCI["device"], "subVendorId": PCI["subVendor"],
            "subDeviceId": PCI["subDevice"], "address": f"{number + 64:x}:00.0", "model": "SAMPLE S1 400GB",
            "serial": f"SIM{number}", "revision": "SMP10100", **keys}


def sha256_of(file):
    return hashlib.sha256(file.read_bytes()).hexdigest()


def policy(**keys):
    model = {"pci": PCI, "to": "SMP90200", "from": ["SMP10100"], "payload": PAYLOAD.name,
             "sha256": sha256_of(PAYLOAD), **keys}
    return {"models": [{key: value for key, value in model.items() if value is not None}]}


class Play:
    """One call of ansible-playbook."""

    def __init__(self, status, text, reports, name):
        self.status, self.text = status, text
        self.recap = {host: dict(re.findall(r"(\w+)=(\d+)", counts))
                      for host, counts in re.findall(r"^(srv\d+) +: (.*)$", text, re.MULTILINE)}
        self.folder = reports / name
        report = self.folder / "report.json"
        self.report = json.loads(report.read_text()) if report.exists() else {"servers": []}
        self.servers = {server["server"]: server for server in self.report["servers"]}

    def changed(self):
        return sorted(host for host, counts in self.recap.items() if counts["changed"] != "0")


class FleetTest(unittest.TestCase):
    """Each test begins with servers that are up, without runs, with two drives of the old revision."""

    servers = 6
    systemd = ()

    @classmethod
    def setUpClass(cls):
        if not hasattr(FleetTest, "rack"):
            FleetTest.rack = rack = Rack(BUILD, cls.servers, cls.systemd)
            built = rack.folder / "built"
            (rack.folder / "home").mkdir()
            run("ansible-galaxy", "collection", "build", COLLECTION, "--output-path", built, env=rack.environment(),
                stdout=subprocess.DEVNULL)
            run("ansible-galaxy", "collection", "install", "--offline", *built.iterdir(), "-p", rack.folder / "collections",
                env=rack.environment(), stdout=subprocess.DEVNULL)

    def setUp(self):
        self.begun = time.monotonic()
        self.reset()

    def tearDown(self):
        print(f"{time.monotonic() - self.begun:.0f} s, ", end="", file=sys.stderr, flush=True)

    @staticmethod
    def shows(*scenarios):
        """Counts what a test has shown, once its assertions have passed."""
        SHOWN.extend(scenarios)

    def reset(self):
        for server in self.rack.servers:
            if server.process.poll() is not None:
                server.boot()
            server.plug()
        for server in self.rack.servers:
            until(server.is_up, f"{server.name} is up")
            server.inside(f"rm -rf /var/lib/nvmepcissd {COMPONENT} /opt/* /var/log/flashes; cp -a {COMPONENT}.pristine {COMPONENT}")
            self.set_drives(server, drive(1), drive(2))
        self.number = getattr(FleetTest, "number", 0) + 1
        FleetTest.number = self.number
        self.run_name = f"rollout-{self.number}"

    def server(self, number):
        return self.rack.servers[number - 1]

    def set_drives(self, server, *drives, **keys):
        server.write(COMPONENT / "scenario.json", json.dumps({"newRevision": "SMP90200", "drives": drives, **keys}))

    def words(self, playbook, arguments, variables):
        shared = {"update_run": self.run_name, "update_policy": policy(), **variables}
        shared = {key: value for key, value in shared.items() if value is not None}
        name = playbook if playbook.endswith(".yml") else f"nvmepcissd.fleet.{playbook}"
        return ["ansible-playbook", "-i", "inventory.json", name, "-e", json.dumps(shared),
                *arguments]

    def start(self, playbook="update", *arguments, settings=None, **variables):
        environment = self.rack.environment(**(FAST if settings is None else settings))
        self.log = self.rack.folder / "play.log"
        with open(self.log, "w") as output:
            return subprocess.Popen(self.words(playbook, arguments, variables), env=environment, cwd=self.rack.folder,
                                    stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, start_new_session=True)

    def finish(self, process, name=None):
        process.wait(timeout=200)
        text = self.log.read_text()
        if os.environ.get("RACK_VERBOSE"):
            print(text)
        return Play(process.returncode, text, self.rack.folder / "fleet-reports", name or self.run_name)

    def play(self, playbook="update", *arguments, name=None, **variables):
        checked = f"{self.run_name}-check" if "--check" in arguments else None
        return self.finish(self.start(playbook, *arguments, **variables), name or checked)

    def assert_states(self, play, *states, status=0):
        """One state for each server, in order; the last one stands for all that follow."""
        names = [server.name for server in self.rack.servers]
        expected = list(states) + [states[-1]] * (len(names) - len(states))
        found = [play.servers[name]["state"] for name in names if name in play.servers]
        self.assertEqual((found, play.status), (expected, status), play.text)

    @staticmethod
    def flashes(server):
        """How often each drive was flashed, by its address."""
        lines = server.inside("cat /var/log/flashes").stdout.splitlines()
        flashed = [line.split("\t")[1] for line in lines if line.startswith("NVMEUpdateFirmware")]
        return {address: flashed.count(address) for address in sorted(set(flashed))}

    def assert_flashed(self, *counts):
        """How many drives of each server were flashed, in order; each of them once."""
        flashed = [self.flashes(server) for server in self.rack.servers]
        self.assertEqual([len(each) for each in flashed], list(counts))
        self.assertEqual([each for each in flashed if set(each.values()) > {1}], [])

    def await_flash(self, *servers, drives=1):
        """Waits until the servers are flashing the drive of that number, which hangs."""
        for server in servers:
            until(lambda: len(self.flashes(server)) >= drives - 1 and self.progress(server) >= drives, "a flash")

    @staticmethod
    def await_join(*servers):
        """Waits until the engine waits for the end of the runs."""
        for server in servers:
            until(lambda: server.inside("cat /proc/[0-9]*/cmdline | tr '\\0' ' ' | grep -q -e '--wai[t] 7200'").returncode == 0,
                  "the engine joins")

    def progress(self, server):
        answer = server.inside(f"nvmepcissd-tool result {self.run_name} --json").stdout
        return json.loads(answer).get("progress", {}).get("drive", 0)

    @staticmethod
    def release(*servers):
        for server in servers:
            server.inside(f"touch {COMPONENT}/nvme-release")

    def hang(self, *servers):
        """Their second drive takes firmware only once it is released."""
        for server in servers:
            self.set_drives(server, drive(1), drive(2, updateHangs=True))


def main():
    """Runs the tests of the calling program, and prints the scenarios that passed."""
    enter_namespaces()
    result = unittest.main(argv=[sys.argv[0], *sys.argv[3:]], exit=False).result
    print("".join(f"scenario: {each}\n" for each in SHOWN), end="")
    sys.exit(0 if result.wasSuccessful() else 1)
