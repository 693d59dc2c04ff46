"""Runs that are cut off at any moment, that lose their disk, that are many drives long, or whose clock jumps."""

import contextlib
import json
import os
import signal
import subprocess
import time

from server import RunsTest, drive, main


class MomentsTest(RunsTest):
    def cut(self, run, seconds):
        """Kills all processes of an update so long after its begin, as a power cut does. The command's answer, if
        it was earlier."""
        process = self.start("update", self.folder.path, "--yes", "--run", run)
        time.sleep(seconds)
        process.poll()
        while left := [*self.processes("/nvmepcissd-tool", run), *self.component(), *self.processes("/nvmepcissd", "-i")]:
            for each in left:
                with contextlib.suppress(ProcessLookupError):
                    os.kill(each, signal.SIGKILL)
        return self.finish(process)

    def flashed(self):
        """How many drives have been flashed. The drives know: a call that dies after its flash leaves no line."""
        state = self.folder.path / "nvme-state.json"
        return len(json.loads(state.read_text())) if state.exists() else 0

    def test_whenever_everything_dies_the_next_call_knows(self):
        for step in range(10):
            run = f"cut-{step}"
            with self.subTest(run):
                self.folder.remove("nvme-state.json")
                self.set_drives(*(drive(number, updateMilliseconds=150) for number in (1, 2, 3)))
                cut = self.cut(run, step * 0.12)
                self.reboot()
                told = self.tool("result", run, "--wait", "60")
                flashed = self.flashed()
                self.assertIn(told.status, (0, 3), told.text)
                if flashed == 0:
                    self.assertNotIn("updated", told.states(), told.text)
                if cut.status == 0:
                    self.assertEqual(told.json["drives"], cut.json["drives"])
                self.assertLessEqual(told.states().count("updated"), flashed)
                self.cut(run, step * 0.07)
                again = self.update("--yes", "--run", run)
                self.assertEqual(again.status, 0, again.text)
                self.assertLessEqual(set(again.states()), {"updated", "current"})
                self.assertEqual([one["after"] for one in again.json["drives"]], ["REV2"] * 3)

    def test_a_disk_that_is_full_in_the_middle_loses_no_outcome(self):
        self.state.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=12m", "none", self.state], check=True)
        self.addCleanup(subprocess.run, ["umount", self.state], check=True)
        self.set_drives(drive(1), drive(2, updateHangs=True), drive(3))
        self.update("--yes", "--run", "one", "--begin")
        self.await_flash(number=2)
        filler = self.state / "filler"
        subprocess.run(["dd", "if=/dev/zero", f"of={filler}", "bs=4k"], stderr=subprocess.DEVNULL, check=False)
        self.release()
        self.until(lambda: not self.component() + self.carrier())
        answer = self.tool("result", "one")
        self.assertEqual(answer.status, 3, answer.text)
        self.assertIn("No space left on device", " ".join(answer.json["reasons"]))
        filler.unlink()
        answer = self.tool("result", "one")
        self.assertEqual([one["after"] for one in answer.json["drives"]], ["REV2"] * 3, answer.text)
        self.assertEqual(len(self.flashes()), 3)

    def test_three_hundred_drives(self):
        many = drive(1, repeat=299)
        many["serial"], many["address"] = "MANY{n}", "00:00.0"
        self.set_drives(many, drive(2, address="ff:1f.7", updateResult=263))
        answer = self.update("--yes", "--run", "one")
        self.assertEqual((answer.status, answer.states()), (1, ["updated"] * 299 + ["failed"]))
        self.assertEqual(answer.json["drives"][299]["code"], 263)
        self.assertEqual(len(self.flashes()), 300)

    def test_a_clock_that_jumps_changes_no_order(self):
        for name, jump in (("one", "2099-01-01T00:00:00Z"), ("two", "1970-01-01T00:00:00Z")):
            self.folder.remove("nvme-state.json")
            self.update("--yes", "--run", name)
            record = self.state / name / "run.json"
            content = json.loads(record.read_text())
            record.write_text(json.dumps({**content, "began": jump, "ended": jump}))
        self.update("--run", "three")
        self.assertEqual([run["run"] for run in self.tool("history").json["runs"]], ["one", "two", "three"])
        self.assertEqual(self.tool("result").json["run"], "three")
        self.assertEqual(self.tool("result", "one").status, 0)

    def test_drives_without_serial_numbers_are_told_by_order_or_not_at_all(self):
        self.set_drives(drive(1, serial=""), drive(2, serial="", updateResult=263), drive(3))
        answer = self.update("--yes")
        self.assertEqual((answer.status, answer.states()), (1, ["updated", "failed", "updated"]), answer.text)
        self.folder.remove("nvme-state.json")
        self.set_drives(drive(1, serial="", goneAfter="flash"), drive(2, serial=""), drive(3))
        answer = self.update("--yes")
        self.assertEqual(answer.states()[2], "updated", answer.text)
        self.assertEqual(answer.status, 3, answer.text)


if __name__ == "__main__":
    main()
