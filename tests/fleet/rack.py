"""A rack of servers on one machine, in namespaces of its own: each has a network, processes, a host name, a file system
over that of the machine, a boot with an id, and an SSH daemon. Power and network can be cut, and servers reboot.

The machine's own network and mounts never change. Everything runs below one process, and ends with it.
"""

import json
import os
import shutil
import subprocess
import sys
import threading
import time
import uuid
from pathlib import Path

HERE = Path(__file__).resolve().parent
COMPONENT = Path("/usr/libexec/nvmepcissd")
REBOOT = 64
PATIENCE = 60
SHUTDOWN = "#!/bin/sh\necho reboot >/run/power\n"
SSHD = """HostKey /etc/rack/host_key
AuthorizedKeysFile /etc/rack/control_key.pub
StrictModes no
UsePAM no
PidFile /run/sshd.pid
MaxStartups 100
Subsystem sftp internal-sftp
SetEnv NVME_SIMULATOR_CALLS=/var/log/flashes
"""
UNIT = """[Unit]
Description=What a server of the rack runs
Requires=basic.target
After=basic.target
AllowIsolate=yes
"""
SSHD_UNIT = """[Service]
ExecStartPre=/bin/mkdir -p /run/sshd
ExecStart=/usr/sbin/sshd -D -f /etc/rack/sshd_config
KillMode=process
"""


def enter_namespaces():
    """Runs this program again as the first process of namespaces of its own, unless it is there."""
    if os.environ.get("RACK_INSIDE"):
        return
    os.environ["RACK_INSIDE"] = "1"
    os.execvp("unshare", ["unshare", "--mount", "--net", "--pid", "--uts", "--ipc", "--fork", "--kill-child=KILL",
                          "--mount-proc", "--propagation", "private", sys.executable, *sys.argv])


def run(*words, **keys):
    return subprocess.run([str(word) for word in words], check=True, **keys)


def until(condition, what, seconds=None):
    """Waits for what other processes bring."""
    seconds = seconds or PATIENCE
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"in vain for {seconds} s: {what}")
        time.sleep(0.05)


class Server:
    def __init__(self, rack, number, kind):
        self.rack, self.number, self.kind = rack, number, kind
        self.name = f"srv{number:03}"
        self.address = f"10.213.{number // 250 + 1}.{number % 250 + 1}"
        self.folder = rack.folder / "servers" / self.name
        self.folder.mkdir(parents=True)
        self.process = None
        self.is_wanted = False
        self.boots = 0

    def boot(self):
        if self.boots:
            # The network of the boot before lingers, and would answer.
            subprocess.run(["ip", "link", "delete", self.cable], check=False, stderr=subprocess.DEVNULL)
        self.boots += 1
        self.boot_id = str(uuid.uuid4())
        self.is_wanted = True
        words = ["unshare", "--mount", "--pid", "--uts", "--ipc", "--net", "--fork", "--kill-child=KILL", "bash",
                 HERE / "server-init.sh", self.folder, self.rack.stage, self.name, self.address, self.boot_id, self.kind]
        with open(self.folder / "console", "ab") as console:
            self.process = subprocess.Popen([str(word) for word in words], stdin=subprocess.DEVNULL, stdout=console,
                                            stderr=console)
        self.cable = f"s{self.number}b{self.boots}"
        until(lambda: os.readlink(f"/proc/{self.process.pid}/ns/net") != os.readlink("/proc/self/ns/net"), "a network")
        run("ip", "link", "add", self.cable, "type", "veth", "peer", "name", "eth0",
            "address", f"02:00:00:00:00:{self.number:02x}", "netns", str(self.process.pid))
        run("ip", "link", "set", self.cable, "master", "rack", "up")
        threading.Thread(target=self.watch, args=(self.process,), daemon=True).start()

    def watch(self, process):
        """A server that reboots is started again, as its firmware would do."""
        if process.wait() == REBOOT and self.is_wanted and self.process is process:
            self.boot()

    def cut(self):
        """Takes the power away."""
        self.is_wanted = False
        self.process.kill()
        self.process.wait()

    def unplug(self):
        run("ip", "link", "set", self.cable, "down")

    def plug(self):
        run("ip", "link", "set", self.cable, "up")

    def inside(self, script, **keys):
        """Runs a shell script on the server, without the network."""
        first = self.process.pid
        for _ in range(2 if self.kind == "systemd" else 1):
            first = (Path(f"/proc/{first}/task/{first}/children").read_text().split() or [first])[0]
        return subprocess.run(["nsenter", "-t", str(first), "-m", "-p", "-u", "-n", "sh", "-c", script],
                              capture_output=True, text=True, check=False, timeout=PATIENCE, **keys)

    def kill_sshd(self):
        self.inside('for each in /proc/[0-9]*; do '
                    '[ "$(cat $each/comm 2>/dev/null)" = sshd ] && kill -9 "${each#/proc/}"; done')

    def start_sshd(self):
        self.inside("/usr/sbin/sshd -f /etc/rack/sshd_config")

    def write(self, path, text, mode="0644"):
        done = self.inside(f"mkdir -p {Path(path).parent} && cat >{path} && chmod {mode} {path}", input=text)
        assert done.returncode == 0, done.stderr

    def is_up(self):
        return self.process.poll() is None and self.inside("test -e /run/sshd.pid").returncode == 0


class Rack:
    def __init__(self, build, count, systemd=()):
        """Enough for `count` servers; those with the numbers in `systemd` run it."""
        self.folder = Path("/run/rack")
        run("mount", "-t", "tmpfs", "none", "/run")
        self.folder.mkdir()
        self.stage = self.folder / "stage"
        self.lay_out(Path(build))
        run("ip", "link", "set", "lo", "up")
        run("ip", "link", "add", "rack", "type", "bridge")
        run("ip", "address", "add", "10.213.0.1/16", "dev", "rack")
        run("ip", "link", "set", "rack", "up")
        self.servers = [Server(self, number, "systemd" if number in systemd else "plain") for number in range(1, count + 1)]
        self.boot(*self.servers)
        self.write_inventory()

    def lay_out(self, build):
        """What all servers share: the component with simulated drives, the tool, keys."""
        component, rack = self.stage / COMPONENT.relative_to("/"), self.stage / "etc/rack"
        for folder in (component / "payload", rack, self.stage / "usr/bin", self.stage / "usr/sbin", self.stage / "usr/lib"):
            folder.mkdir(parents=True)
        run("strip", "-o", self.stage / "usr/bin/nvmepcissd-tool", build / "nvmepcissd-tool")
        for name in ("nvmepcissd", "librbkl.so.0", "simulator/libnvme.so", "simulator/package.xml",
                     "simulator/fwkitinstall.sh"):
            shutil.copy(build / name, component)
        shutil.copy(build / "simulator/payload/SampleFirmware.bin", component / "payload")
        shutil.copy(build / "simulator/libkvrpm.so", self.stage / "usr/lib")
        shutil.copytree(component, f"{component}.pristine")
        units = self.stage / "etc/systemd/system"
        (units / "rack.target.wants").mkdir(parents=True)
        (units / "rack.target").write_text(UNIT)
        (units / "rack-sshd.service").write_text(SSHD_UNIT)
        (units / "rack.target.wants/rack-sshd.service").symlink_to("../rack-sshd.service")
        (self.stage / "usr/sbin/shutdown").write_text(SHUTDOWN)
        (self.stage / "usr/sbin/shutdown").chmod(0o755)
        (rack / "sshd_config").write_text(SSHD)
        for name, place in (("host_key", rack), ("control_key", self.folder)):
            run("ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", place / name)
        shutil.copy(self.folder / "control_key.pub", rack)
        known = (rack / "host_key.pub").read_text().split()[:2]
        (self.folder / "known_hosts").write_text("10.213.*.* " + " ".join(known) + "\n")
        (self.folder / "ssh_config").write_text(
            f"Host *\nUser root\nIdentityFile {self.folder}/control_key\nUserKnownHostsFile {self.folder}/known_hosts\n"
            "StrictHostKeyChecking yes\n")

    def boot(self, *servers):
        for server in servers:
            server.boot()
        for server in servers:
            until(server.is_up, f"{server.name} is up")

    def write_inventory(self):
        hosts = {server.name: {"ansible_host": server.address} for server in self.servers}
        shared = {"ansible_user": "root", "ansible_python_interpreter": "/usr/bin/python3",
                  "ansible_ssh_common_args": f"-F {self.folder}/ssh_config"}
        (self.folder / "inventory.json").write_text(json.dumps({"all": {"hosts": hosts, "vars": shared}}))

    def environment(self, **settings):
        return {"PATH": f"{self.stage}/usr/bin:{os.environ['PATH']}", "HOME": str(self.folder / "home"), "PWD": str(self.folder), "LC_ALL": "C.UTF-8",
                "ANSIBLE_COLLECTIONS_PATH": str(self.folder / "collections"),
                "ANSIBLE_NOCOLOR": "1", **settings}
