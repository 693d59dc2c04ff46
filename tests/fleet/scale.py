"""What a rollout costs the machine that runs Ansible: processor time and memory, for racks of several sizes.

usage, as root: python3 tests/fleet/scale.py SOURCE BUILD SERVERS

Prints for each step: servers, wall seconds, processor milliseconds of Ansible for a server, and its memory in MiB. The
servers share this machine, so wall times say little.
"""

import os
import subprocess
import sys
import time

from fleet import FleetTest, drive
from rack import enter_namespaces

WAITS = {"updateResult": 267, "activation": "reset"}


class Scale(FleetTest):
    def measure(self, name, *arguments, **variables):
        words = self.words("update", arguments, {"fleet_batches": ["100%"], **variables})
        environment = self.rack.environment(ANSIBLE_PIPELINING="1", ANSIBLE_FORKS="50")
        log, begun = self.rack.folder / "scale.log", time.monotonic()
        with open(log, "w") as output:
            process = subprocess.Popen(words, env=environment, cwd=self.rack.folder, stdin=subprocess.DEVNULL, stdout=output)
            _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        assert process.returncode == 0, log.read_text()
        count, wall = len(self.rack.servers), time.monotonic() - begun
        cost = 1000 * (usage.ru_utime + usage.ru_stime) / count
        print(f"{name:24} {count:5} {wall:7.1f} s {cost:6.0f} ms {usage.ru_maxrss // 1024:5} MiB", flush=True)


def main():
    Scale.servers = int(sys.argv[3])
    Scale.setUpClass()
    scale = Scale()
    scale.setUp()
    for server in scale.rack.servers:
        scale.set_drives(server, *(drive(number, **WAITS) for number in (1, 2)))
    scale.measure("check", "--check")
    scale.measure("rollout with reboots", update_reboot="owed")
    scale.measure("nothing to do", update_reboot="owed")


if __name__ == "__main__":
    enter_namespaces()
    main()
