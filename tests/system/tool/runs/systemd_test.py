"""Runs on a server with systemd and logind: a copy of this machine that boots in namespaces of its own.

Without root or without systemd-nspawn the test is skipped."""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from server import BUILD, SOURCE, RunsTest, drive, mount

SKIPPED = 77
UNIT = f"""[Unit]
Wants=dbus.socket systemd-logind.service
After=dbus.socket systemd-logind.service
SuccessAction=poweroff-force
FailureAction=poweroff-force

[Service]
Type=oneshot
Environment=RUNS_BOOTED=1
ExecStart={sys.executable} -B {Path(__file__).resolve()} {SOURCE} {BUILD}
StandardOutput=append:/outcome/output
StandardError=append:/outcome/output
TimeoutStartSec=300
"""


def run(*words):
    return subprocess.run(words, capture_output=True, text=True, check=False)


class SystemdTest(RunsTest):
    @classmethod
    def setUpClass(cls):
        run("systemctl", "start", "systemd-logind.service")

    @classmethod
    def tearDownClass(cls):
        """This machine goes as a whole."""

    def properties(self, unit):
        output = run("systemctl", "show", unit).stdout
        return dict(line.split("=", 1) for line in output.splitlines() if "=" in line)

    def inhibitors(self):
        output = run("systemd-inhibit", "--list", "--no-legend", "--no-pager").stdout
        return [line for line in output.splitlines() if "nvmepcissd-tool" in line]

    def begin(self, name):
        self.set_drives(drive(1), drive(2, updateHangs=True), drive(3))
        answer = self.update("--yes", "--run", name, "--begin")
        self.assertEqual((answer.status, answer.json["outcome"]), (5, "running"), answer.text)
        self.await_flash(name, 2)

    def assert_updated(self, name):
        self.release()
        answer = self.tool("result", name, "--wait", "60")
        self.assertEqual((answer.status, answer.states()), (0, ["updated"] * 3), answer.text)
        self.assertEqual(len(self.flashes()), 3)

    def test_a_run_is_a_unit_that_goes_when_it_has_ended(self):
        self.begin("one")
        unit = self.properties("nvmepcissd-one.service")
        self.assertEqual((unit["ActiveState"], unit["KillMode"], unit["SendSIGKILL"], unit["TimeoutStopUSec"]),
                         ("active", "process", "no", "infinity"))
        for process in self.component() + self.carrier():
            self.assertIn("nvmepcissd-one.service", Path(f"/proc/{process}/cgroup").read_text())
        self.assert_updated("one")
        self.until(lambda: self.properties("nvmepcissd-one.service")["LoadState"] == "not-found")

    def test_stopping_the_unit_ends_no_flash(self):
        self.begin("two")
        run("systemctl", "stop", "--no-block", "nvmepcissd-two.service")
        self.until(lambda: self.properties("nvmepcissd-two.service")["ActiveState"] == "deactivating")
        self.assertEqual((len(self.component()), len(self.carrier())), (1, 1))
        self.assert_updated("two")

    def test_the_component_outlives_the_main_process_of_the_unit(self):
        self.begin("five")
        self.kill(self.carrier())
        self.until(lambda: self.properties("nvmepcissd-five.service")["ActiveState"] != "active")
        self.assertEqual(len(self.component()), 1)
        self.assertEqual(self.tool("result", "five").status, 5)
        self.assert_updated("five")

    def test_shutdown_and_sleep_are_blocked_while_drives_are_flashed(self):
        self.begin("three")
        [inhibitor] = self.inhibitors()
        self.assertRegex(inhibitor, r"shutdown:sleep .*Drives are being flashed.* block")
        self.assert_updated("three")
        self.until(lambda: not self.inhibitors())

    def test_the_end_of_the_login_ends_no_flash(self):
        words = self.command("update", self.folder.path, "--yes", "--run", "four")
        self.set_drives(drive(1), drive(2, updateHangs=True), drive(3))
        settings = [f"--setenv={name}={value}" for name, value in self.environment().items()]
        run("systemd-run", "--quiet", "--unit=login", *settings, "--", *words)
        self.await_flash("four", 2)
        run("systemctl", "kill", "--signal=KILL", "login.service")
        self.until(lambda: self.properties("login.service")["ActiveState"] != "active")
        self.assert_updated("four")


def lay_out(scratch):
    """A copy of this machine below the folder, which keeps what is written, and runs this program when it boots."""
    mount("-t", "tmpfs", "-o", "size=512m", "none", str(scratch))
    for name in ("upper", "work", "root", "outcome"):
        (scratch / name).mkdir()
    mount("-t", "overlay", "-o", f"lowerdir=/,upperdir={scratch}/upper,workdir={scratch}/work", "none",
          str(scratch / "root"))
    (scratch / "root/etc/systemd/system/runs-test.service").write_text(UNIT)
    (scratch / "root/etc/machine-id").write_text("")


def boot(scratch):
    """What the tests print in the copy; nothing where no systemd boots."""
    mount("-t", "tmpfs", "none", "/run")  # takes what nspawn leaves there
    # A coverage build counts in files of its own folder.
    subprocess.run(["systemd-nspawn", "--quiet", "--register=no", "--keep-unit", f"--directory={scratch}/root",
                    f"--bind-ro={SOURCE}", f"--bind={BUILD}", f"--bind={scratch}/outcome:/outcome", "--boot",
                    "systemd.unit=runs-test.service", "systemd.show_status=no"],
                   stdin=subprocess.DEVNULL, timeout=400, check=False)
    output = scratch / "outcome/output"
    return output.read_text() if output.exists() else ""


def skip(reason):
    print(f"SKIPPED: {reason}")
    return SKIPPED


def main():
    if os.geteuid() != 0 or not shutil.which("systemd-nspawn"):
        return skip("needs root and systemd-nspawn")
    if not os.environ.get("RUNS_MOUNTS"):
        os.environ["RUNS_MOUNTS"] = "1"
        os.execvp("unshare", ["unshare", "--mount", "--propagation", "private", sys.executable, *sys.argv])
    scratch = Path(tempfile.mkdtemp(prefix="runs-systemd-"))
    try:
        lay_out(scratch)
        output = boot(scratch)
    except subprocess.CalledProcessError:
        output = ""
    finally:
        subprocess.run(["umount", "--recursive", "--lazy", str(scratch)], check=False)
        scratch.rmdir()
    if not output:
        return skip("no systemd boots in a namespace here")
    print(output)
    return 0 if re.search(r"^Ran 5 tests", output, re.MULTILINE) and output.rstrip().endswith("OK") else 1


if __name__ == "__main__":
    if os.environ.get("RUNS_BOOTED"):
        unittest.main(argv=sys.argv[:1])
    else:
        sys.exit(main())
