"""State folders that a power cut, a person or a disk has damaged, and what commands tell of them."""

import os

from server import RunsTest, drive, main


class DamageTest(RunsTest):
    def test_what_never_reached_the_disk_is_told_by_what_drives_run(self):
        for lost in (["update.log"], ["update.log", "before.xml"]):
            with self.subTest(lost):
                self.folder.remove("nvme-release")
                self.folder.remove("nvme-state.json")
                self.cut_off()
                for name in lost:
                    (self.state / "one" / name).write_text("")
                self.reboot()
                answer = self.tool("result", "one")
                self.assertEqual((answer.status, answer.states()), (3, ["updated", "undecided", "undecided"]), answer.text)
                self.assertEqual([one["serial"] for one in answer.json["drives"]], ["SIM1", "SIM2", "SIM3"])
                again = self.update("--yes", "--run", "one", "--to", "REV2")
                self.assertEqual((again.status, again.states()), (0, ["current", "updated", "updated"]), again.text)
                (self.state / "one").rename(self.scratch / f"without-{len(lost)}")

    def test_a_dry_run_leaves_the_run_of_its_name_as_it_is(self):
        self.cut_off()
        told = self.tool("result", "one").json
        answer = self.update("--dry-run", "--run", "one", "--to", "REV2")
        self.assertEqual(answer.states(), ["current", "flash", "flash"], answer.text)
        self.assertEqual(self.tool("result", "one").json, told)
        self.assertEqual(len(self.tool("history").json["runs"]), 1)

    def test_a_run_that_cannot_be_read_is_named(self):
        self.update("--yes", "--run", "one")
        self.update("--yes", "--run", "two", "--to", "REV2")
        (self.state / "two/run.json").write_text("{")
        for arguments in (["history"], ["result"], ["result", "two"]):
            answer = self.tool(*arguments)
            self.assertEqual((answer.status, answer.json["outcome"]), (3, "undecided"), answer.text)
            self.assertIn("two/run.json", " ".join(answer.json["reasons"]))
        self.assertEqual(self.tool("result", "one").status, 0)
        self.assertIn("two/run.json", " ".join(self.update("--dry-run").json["reasons"]))

    def test_a_verdict_with_a_status_that_nothing_ends_with_is_no_verdict(self):
        self.update("--yes", "--run", "one")
        verdict = self.state / "one/verdict.json"
        verdict.write_text(verdict.read_text().replace('"exitStatus": 0', '"exitStatus": 77'))
        answer = self.tool("result", "one")
        self.assertEqual((answer.status, answer.json["outcome"]), (3, "undecided"), answer.text)
        self.assertIn("exitStatus is 77", " ".join(answer.json["reasons"]))

    def test_a_component_that_is_gone_is_named_after_the_reboot(self):
        self.set_drives(drive(1, revision="REV2"), drive(2), drive(3))
        told = self.update("--yes", "--run", "one")
        self.assertEqual(told.states(), ["unchanged", "updated", "updated"])
        environment = self.environment()
        self.folder.path.rename(self.scratch / "elsewhere")
        self.environment = lambda: environment
        self.reboot()
        answer = self.tool("result", "one")
        self.assertEqual((answer.status, answer.states()), (3, told.states()), answer.text)
        self.assertIn("component: No such file or directory", " ".join(answer.json["reasons"]))

    def test_an_inventory_that_was_cut_off_does_not_go_on_with_the_next_run(self):
        self.set_drives(drive(1), drive(2), drive(3), discoveryHangs=True)
        process = self.start("inventory", self.folder.path)
        self.until(lambda: self.processes("/nvmepcissd", "-i"))
        self.kill([process.pid, *self.processes("/nvmepcissd", "-i")])
        self.finish(process)
        name = self.tool("history").json["runs"][0]["run"]
        self.assertIn("cut off", self.tool("result", name).json["reasons"][0])
        self.set_drives(drive(1), drive(2, updateHangs=True), drive(3))
        self.update("--yes", "--run", "one", "--begin")
        self.await_flash(number=2)
        self.assertEqual([run["outcome"] for run in self.tool("history").json["runs"]], ["undecided", "running"])
        self.assertEqual(self.tool("result", name).status, 3)
        self.release()
        self.assertEqual(self.tool("result", "one", "--wait", "60").status, 0)

    def test_a_pipe_keeps_nobody_waiting(self):
        self.update("--yes", "--run", "one")
        verdict = self.state / "one/verdict.json"
        verdict.unlink()
        os.mkfifo(verdict)
        answer = self.tool("result", "one")
        self.assertEqual(answer.status, 3, answer.text)
        self.assertIn("verdict.json", " ".join(answer.json["reasons"]))


if __name__ == "__main__":
    main()
