"""A server of simulated drives: a component folder, runs of its own, a /run and a boot of its own."""

import json
import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

SOURCE, BUILD = Path(sys.argv[1]), Path(sys.argv[2])
TOOL = os.environ.get("TOOL", str(BUILD / "nvmepcissd-tool"))
sys.path.insert(0, str(SOURCE / "tests/system/tool"))
from package_folder import DRIVE, Folder  # noqa: E402

import jsonschema  # noqa: E402

BOOT_ID = Path("/proc/sys/kernel/random/boot_id")
PATIENCE = 120


def enter_namespace():
    """Runs this program again where /run is empty, the boot has an id of ours, and no process can stay behind."""
    if os.environ.get("RUNS_NAMESPACE"):
        return
    os.environ["RUNS_NAMESPACE"] = "1"
    user = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]
    os.execvp("unshare", ["unshare", *user, "--mount", "--pid", "--fork", "--kill-child", "--mount-proc",
                          sys.executable, *sys.argv])


def mount(*arguments):
    subprocess.run(["mount", *arguments], check=True)


def drive(number, **keys):
    return {**DRIVE, "serial": f"SIM{number}", "address": f"{number + 64:x}:00.0", **keys}


def validated(text):
    """The JSON of a text, held against the schema of its form."""
    value = json.loads(text)
    name = value["format"].removeprefix("nvmepcissd-")
    jsonschema.validate(value, json.loads((SOURCE / f"docs/schema/{name}.json").read_text()))
    return value


class Answer:
    """With JSON, standard output has one object and nothing else, and standard error a line for each step."""

    def __init__(self, process):
        self.status = process.returncode
        self.errors = process.stderr
        self.text = process.stdout
        self.json = None
        if "--json" in process.args and self.status >= 0 and self.status != 2:
            self.json = validated(self.text)
            assert self.json["exitStatus"] == self.status, self.text
        self.progress = [validated(line) for line in self.errors.splitlines() if line.startswith("{")]

    def states(self):
        return [one["state"] for one in self.json["drives"]]


class RunsTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        mount("-t", "tmpfs", "none", "/run")
        cls.boot = tempfile.NamedTemporaryFile("w", prefix="boot-id-")
        cls.reboot(cls)
        mount("--bind", cls.boot.name, str(BOOT_ID))

    @classmethod
    def tearDownClass(cls):
        subprocess.run(["umount", str(BOOT_ID)], check=True)
        subprocess.run(["umount", "/run"], check=True)

    def setUp(self):
        self.scratch = Path(self.enterContext(tempfile.TemporaryDirectory(prefix="runs-")))
        self.folder = Folder(BUILD, self.scratch)
        self.state = self.scratch / "runs"
        self.set_drives(drive(1), drive(2), drive(3))
        self.addCleanup(self.end_processes)

    def reboot(self):
        """Another boot id. The processes of the old boot are the test's to end."""
        RunsTest.boots = getattr(RunsTest, "boots", 0) + 1
        self.boot.seek(0)
        self.boot.write(f"00000000-0000-4000-8000-{RunsTest.boots:012d}\n")
        self.boot.flush()

    def set_drives(self, *drives, **keys):
        scenario = {"newRevision": "REV2", "drives": drives, **keys}
        (self.folder.path / "scenario.json").write_text(json.dumps(scenario))

    def command(self, name, *arguments, json_form=True):
        words = [TOOL, name, *map(str, arguments), "--state", str(self.state)]
        if name in ("update", "inventory"):
            words += ["--keep-environment"]
        return words + (["--json"] if json_form else [])

    def environment(self):
        return {**os.environ, "LD_LIBRARY_PATH": self.folder.loader_path(),
                "NVME_SIMULATOR_CALLS": str(self.scratch / "calls"), "FWKIT_LOG": str(self.scratch / "script")}

    def tool(self, name, *arguments, json_form=True, **keys):
        process = subprocess.run(self.command(name, *arguments, json_form=json_form), env=self.environment(),
                                 stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=PATIENCE,
                                 check=False, **keys)
        return Answer(process)

    def update(self, *arguments, **keys):
        return self.tool("update", self.folder.path, *arguments, **keys)

    def start(self, name, *arguments):
        """Starts a command in a session of its own, as a login has."""
        return subprocess.Popen(self.command(name, *arguments), env=self.environment(), stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, start_new_session=True)

    def finish(self, process):
        process.stdout_text, process.stderr_text = process.communicate(timeout=PATIENCE)
        return Answer(subprocess.CompletedProcess(process.args, process.returncode, process.stdout_text, process.stderr_text))

    def release(self):
        (self.folder.path / "nvme-release").touch()

    def flashes(self):
        calls = self.scratch / "calls"
        lines = calls.read_text().splitlines() if calls.exists() else []
        return [line.split("\t")[1] for line in lines if line.startswith("NVMEUpdateFirmware")]

    def until(self, condition):
        """Waits for something that must come; polls, because processes of others bring it."""
        end = time.monotonic() + PATIENCE
        while not condition():
            self.assertLess(time.monotonic(), end, "it did not come")
            time.sleep(0.02)

    def await_flash(self, name="one", number=1):
        """Waits until the component has begun to flash that drive."""
        self.until(lambda: self.tool("result", name).json.get("progress", {}).get("drive", 0) >= number)

    @staticmethod
    def processes(*words):
        """The processes of this namespace whose command line has all these words."""
        found = []
        for entry in Path("/proc").iterdir():
            try:
                line = (entry / "cmdline").read_bytes().decode(errors="replace").split("\0")
            except (OSError, ValueError):
                continue
            if entry.name.isdigit() and all(any(part.endswith(word) for part in line) for word in words):
                found.append(int(entry.name))
        return found

    def component(self):
        return self.processes("/nvmepcissd", "-u")

    def carrier(self):
        return self.processes("/nvmepcissd-tool", "carry-on")

    def kill(self, processes):
        self.assertTrue(processes)
        for process in processes:
            os.kill(process, signal.SIGKILL)
        self.until(lambda: not any(self.is_alive(process) for process in processes))

    def cut_off(self):
        """The run "one", all of whose processes die while it flashes the second of three drives."""
        self.set_drives(drive(1), drive(2, updateHangs=True), drive(3))
        self.update("--yes", "--run", "one", "--begin")
        self.await_flash(number=2)
        self.kill(self.carrier() + self.component())
        self.release()

    @staticmethod
    def is_alive(process):
        try:
            return " Z " not in Path(f"/proc/{process}/stat").read_text()
        except OSError:
            return False

    def end_processes(self):
        for process in self.component() + self.carrier() + self.processes("/nvmepcissd", "-i"):
            os.kill(process, signal.SIGKILL)


def main():
    enter_namespace()
    unittest.main(argv=sys.argv[:1])
