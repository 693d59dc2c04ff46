"""A component folder without findings, to be broken in one place, and to be run beside the simulator."""

import json
import os
import shutil
import signal
import subprocess
import xml.etree.ElementTree as ElementTree
from pathlib import Path

DRIVE = {"vendorId": "f101", "deviceId": "a801", "subVendorId": "f1a0", "subDeviceId": "1001",
         "address": "41:00.0", "model": "MODEL", "serial": "SIM1", "revision": "REV1"}
IDS = 'deviceID="a801" subDeviceID="1001" vendorID="f101" subVendorID="f1a0"'
OTHER_IDS = IDS.replace("a801", "a802")
PCI_INFO = f"<PCIInfo {IDS}/>"
DISPLAY = "<Display>One</Display>"

def descriptor(device, attributes='componentID="1"'):
    return (f"<SoftwareComponent><SupportedDevices>\n<Device {attributes}>\n{device}\n</Device>\n"
            "</SupportedDevices></SoftwareComponent>\n")


class Folder:
    def __init__(self, build, scratch, name="component"):
        self.scratch = Path(scratch)
        self.path = self.scratch / name
        self.records = self.scratch / "records"
        for folder in (self.path, self.path / "payload", self.records):
            folder.mkdir(parents=True, exist_ok=True)
            folder.chmod(0o755)
        for source, target, mode in ((build / "nvmepcissd", "nvmepcissd", 0o755),
                                     (build / "librbkl.so.0", "librbkl.so.0", 0o644),
                                     (build / "simulator/libnvme.so", "libnvme.so", 0o644)):
            self.copy(source, target, mode)
        self.write("package.xml", descriptor(PCI_INFO + DISPLAY))
        self.write("payload/firmware.bin", b"\0\1\2\3firmware")
        self.script("#!/bin/sh\necho $1 >>\"$FWKIT_LOG\"\n")
        self.drives = [DRIVE]

    def copy(self, source, target, mode=0o644):
        shutil.copyfile(source, self.path / target)
        (self.path / target).chmod(mode)

    def write(self, name, content, mode=0o644):
        file = self.path / name
        file.parent.mkdir(exist_ok=True)
        file.write_bytes(content.encode() if isinstance(content, str) else content)
        file.chmod(mode)

    def script(self, content):
        self.remove("fwkitinstall.sh")
        self.write("fwkitinstall.sh", content, 0o755)

    def remove(self, name):
        path = self.path / name
        if path.is_dir() and not path.is_symlink():
            shutil.rmtree(path)
        elif path.exists() or path.is_symlink():
            path.unlink()

    def replace(self, name):
        """Removes an entry and gives its path, for something else to be put there."""
        self.remove(name)
        return self.path / name

    def patch(self, name, place, value):
        content = bytearray((self.path / name).read_bytes())
        content[place:place + len(value)] = value
        self.write(name, bytes(content), 0o755)

    def exchange(self, name, old, new):
        """Replaces a text of a program by another one of the same length."""
        content = (self.path / name).read_bytes()
        assert old in content and len(old) == len(new)
        self.write(name, content.replace(old, new), 0o755)

    def cut(self, name, share):
        content = (self.path / name).read_bytes()
        self.write(name, content[:int(len(content) * share)], 0o755)

    def loader_path(self):
        """A sanitizer opens libraries in the program's name, so that the program's run path does not count."""
        return "." if b"__asan_init" in (self.path / "nvmepcissd").read_bytes() else ""

    def run(self, *arguments, loader_path="", seconds=60):
        """Exit status (negative: a signal; None: it hung; 126: it could not be started) and standard output."""
        scenario = self.records / "scenario.json"
        scenario.write_text(json.dumps({"newRevision": "REV2", "drives": self.drives}))
        for name in ("calls", "install"):
            (self.records / name).unlink(missing_ok=True)
        environment = {
            "PATH": os.environ["PATH"],
            "LD_LIBRARY_PATH": loader_path,
            "ASAN_OPTIONS": "detect_leaks=0:handle_segv=0:handle_sigbus=0:verify_asan_link_order=0",
            "NVME_SIMULATOR_SCENARIO": str(scenario),
            "NVME_SIMULATOR_STATE": str(self.records / "state.json"),
            "NVME_SIMULATOR_CALLS": str(self.records / "calls"),
            "RBKL_SIMULATOR_PARTITION": str(self.records / "partition"),
            "FWKIT_LOG": str(self.records / "install")}
        try:
            run = subprocess.Popen([self.path / "nvmepcissd", *arguments], cwd=self.path, env=environment,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                   start_new_session=True)
        except OSError:
            return 126, ""
        with run:
            try:
                output, _ = run.communicate(timeout=seconds)
            except subprocess.TimeoutExpired:
                os.killpg(run.pid, signal.SIGKILL)  # what it has started may go on without it
                return None, ""
        return run.returncode, output.decode(errors="replace")

    def recorded(self, name):
        record = self.records / name
        return record.read_text().splitlines() if record.exists() else []

    def display(self):
        """The name that the one drive is shown under; None without a drive."""
        _, document = self.run("-i")
        devices = ElementTree.fromstring(document).findall("Device")
        return devices[0].get("display") if devices else None

    def flashed(self):
        """The calls that flash, of an update."""
        self.run("-u")
        return [call for call in self.recorded("calls") if call.startswith("NVMEUpdateFirmware")]
