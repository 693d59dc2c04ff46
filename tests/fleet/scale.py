"""What a rollout costs the machine that runs Ansible, on racks of several sizes.

usage, as root: python3 tests/fleet/scale.py SOURCE BUILD SERVERS [NAMES]

Prints for each step, with tabs between: step, servers, processor milliseconds of Ansible and its children for a server,
peak memory in MiB of Ansible, peak memory of the connections that it keeps open, wall seconds, and the load of the machine
before it. The servers share this machine, so wall times say little, and a load of others makes processor time longer.

With NAMES the inventory has so many, over the servers of the rack, with eight drives each: for what only grows with their
number. Such servers are checked, and reported, and not rebooted.
"""

import json
import os
import subprocess
import sys
import threading
import time
from pathlib import Path

from fleet import BUILD, FleetTest, drive
from rack import enter_namespaces

WAITS = {"updateResult": 267, "activation": "reset"}
OURS = os.readlink("/proc/self/ns/pid")
MIB = 1 << 20


def shares():
    """The memory of Ansible and of its connections, each page divided by the number of processes that have it."""
    total = {"ansible": 0, "ssh": 0}
    for process in Path("/proc").glob("[0-9]*"):
        try:
            kind = (process / "comm").read_text().strip().partition("-")[0]
            if kind in total and os.readlink(process / "ns/pid") == OURS:
                share = (process / "smaps_rollup").read_text().partition("\nPss:")[2]
                total[kind] += int(share.split()[0]) * 1024
        except (OSError, IndexError):
            pass  # it has ended
    return total


class Memory(threading.Thread):
    """Looks again and again how much memory is in use, and keeps the most."""

    def __init__(self):
        super().__init__(daemon=True)
        self.peak, self.is_over = {"ansible": 0, "ssh": 0}, threading.Event()
        self.start()

    def run(self):
        while not self.is_over.wait(1):
            self.peak = {kind: max(value, self.peak[kind]) for kind, value in shares().items()}

    def stop(self):
        self.is_over.set()
        self.join()
        return [self.peak[kind] / MIB for kind in ("ansible", "ssh")]


def run_measured(words, count, step, **keys):
    load, begun, memory = os.getloadavg()[0], time.monotonic(), Memory()
    process = subprocess.Popen(words, **keys)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    peak, wall = memory.stop(), time.monotonic() - begun
    milliseconds = 1000 * (usage.ru_utime + usage.ru_stime) / count
    if process.returncode == 0:
        print(f"{step}\t{count}\t{milliseconds:.0f}\t{peak[0]:.0f}\t{peak[1]:.0f}\t{wall:.1f}\t{load:.1f}", flush=True)
    return process.returncode


class Scale(FleetTest):
    def measure(self, step, *arguments, count=None, **variables):
        words = self.words("update", arguments, {"fleet_batches": ["100%"], **variables})
        environment = self.rack.environment(ANSIBLE_PIPELINING="1", ANSIBLE_FORKS="50")
        log = self.rack.folder / "scale.log"
        with open(log, "w") as output:
            status = run_measured(words, count or len(self.rack.servers), step, env=environment, cwd=self.rack.folder,
                                  stdin=subprocess.DEVNULL, stdout=output)
        assert status == 0, log.read_text()

    def measure_servers(self):
        for server in self.rack.servers:
            self.set_drives(server, *(drive(number, **WAITS) for number in (1, 2)))
        self.measure("check", "--check")
        self.measure("rollout", update_reboot="owed")
        self.measure("again", update_reboot="owed")

    def measure_names(self, names):
        for server in self.rack.servers:
            self.set_drives(server, *(drive(number) for number in range(1, 9)))
        inventory = json.loads((self.rack.folder / "inventory.json").read_text())
        addresses = [server.address for server in self.rack.servers]
        inventory["all"]["hosts"] = {f"name{i:04}": {"ansible_host": addresses[i % len(addresses)]} for i in range(names)}
        (self.rack.folder / "inventory.json").write_text(json.dumps(inventory))
        self.measure("check of names", "--check", count=names, fleet_tolerated=names)
        self.measure_report(self.rack.folder / f"fleet-reports/{self.run_name}-check/report.json")

    def measure_report(self, report):
        """The module alone, on what the rollout has reported."""
        servers = json.loads(report.read_text())["servers"]
        assert {len(server["drives"]) for server in servers} == {8}, [server["reason"] for server in servers][:3]
        arguments = self.rack.folder / "arguments.json"
        arguments.write_text(json.dumps({"ANSIBLE_MODULE_ARGS": {
            "folder": str(self.rack.folder / "report"), "name": "scale", "tool": str(BUILD / "nvmepcissd-tool"),
            "servers": {server["server"]: server for server in servers}}}))
        module = self.rack.folder / "collections/ansible_collections/nvmepcissd/fleet/plugins/modules/nvme_firmware_report.py"
        environment = {**os.environ, "PYTHONPATH": str(self.rack.folder / "collections")}
        status = run_measured(["/usr/bin/python3", module, arguments], len(servers), "report", env=environment,
                              stdout=subprocess.DEVNULL)
        assert status == 0


def main():
    Scale.servers = int(sys.argv[3])
    Scale.setUpClass()
    scale = Scale()
    scale.setUp()
    if len(sys.argv) > 4:
        scale.measure_names(int(sys.argv[4]))
    else:
        scale.measure_servers()


if __name__ == "__main__":
    enter_namespaces()
    main()
