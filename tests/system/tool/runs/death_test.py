"""Runs whose component, tool or server dies or hangs, and what the next call tells."""

import os
import signal

from server import RunsTest, drive, main


class DeathTest(RunsTest):
    def begin_hanging(self, number=2, **keys):
        """Begins the run "one", which hangs while it flashes that drive."""
        drives = [drive(each, updateHangs=each == number, **keys) for each in (1, 2, 3)]
        self.set_drives(*drives)
        answer = self.update("--yes", "--run", "one", "--begin")
        self.assertEqual((answer.status, answer.json["outcome"]), (5, "running"), answer.text)
        self.await_flash(number=number)

    def assert_all_updated(self, answer, flashed=3):
        self.assertEqual((answer.status, answer.states()), (0, ["updated"] * 3), answer.text)
        self.assertEqual(len(self.flashes()), flashed)

    def test_a_run_is_begun_and_joined(self):
        self.begin_hanging()
        running = self.tool("result", "--wait", "1")
        self.assertEqual((running.status, running.json["outcome"]), (5, "running"))
        self.assertEqual((running.json["progress"]["drive"], running.json["progress"]["of"]), (2, 3))
        self.release()
        self.assert_all_updated(self.tool("result", "one", "--wait", "60"))
        self.assert_all_updated(self.update("--yes", "--run", "one"))

    def test_two_at_a_time_are_refused(self):
        self.begin_hanging()
        for command in ("update", "inventory"):
            arguments = ["--yes", "--run", "two"] if command == "update" else []
            answer = self.tool(command, self.folder.path, *arguments)
            self.assertEqual((answer.status, answer.json["outcome"]), (4, "refused"), answer.text)
        self.release()
        self.assert_all_updated(self.tool("result", "one", "--wait", "60"))

    def test_a_slow_drive_is_left_to_itself(self):
        self.set_drives(drive(1, updateHangs=True), drive(2), drive(3))
        answer = self.update("--yes", "--run", "one", "--seconds-per-drive", "1")
        self.assertEqual((answer.status, answer.json["outcome"]), (5, "running"), answer.text)
        self.assertTrue(self.component())
        self.release()
        self.assert_all_updated(self.tool("result", "one", "--wait", "60"))

    def test_signals_to_the_caller_reach_no_drive(self):
        for number in (signal.SIGHUP, signal.SIGINT, signal.SIGTERM, signal.SIGKILL):
            with self.subTest(number):
                for name in ("nvme-state.json", "nvme-release"):
                    self.folder.remove(name)
                (self.scratch / "calls").unlink(missing_ok=True)
                self.set_drives(drive(1), drive(2, updateHangs=True), drive(3))
                name = number.name
                process = self.start("update", self.folder.path, "--yes", "--run", name)
                self.await_flash(name, 2)
                os.killpg(process.pid, number)
                self.finish(process)
                self.release()
                self.assert_all_updated(self.tool("result", name, "--wait", "60"))

    def test_signals_to_the_component_itself_are_ignored(self):
        self.begin_hanging()
        for process in self.component() + self.carrier():
            for number in (signal.SIGHUP, signal.SIGINT, signal.SIGTERM):
                os.kill(process, number)
        self.release()
        self.assert_all_updated(self.tool("result", "one", "--wait", "60"))

    def test_the_component_outlives_the_tool(self):
        self.begin_hanging()
        self.kill(self.carrier())
        self.assertEqual(self.tool("result", "one").status, 5)
        self.assertEqual(self.update("--yes", "--run", "two").status, 4)
        self.release()
        answer = self.tool("result", "one", "--wait", "60")
        self.assert_all_updated(answer)
        self.assertFalse(answer.json["interrupted"], "the component came to its end")

    def test_what_failed_while_nobody_looked_is_not_flashed_again(self):
        self.set_drives(drive(1, updateResult=5), drive(2, updateHangs=True), drive(3))
        self.update("--yes", "--run", "one", "--begin")
        self.await_flash(number=2)
        self.kill(self.carrier())
        self.release()
        answer = self.tool("result", "one", "--wait", "60")
        self.assertEqual((answer.status, answer.states()), (1, ["failed", "updated", "updated"]), answer.text)
        flashed = self.flashes()
        self.assertEqual(self.update("--yes", "--run", "one").json, answer.json)
        self.assertEqual(self.flashes(), flashed)

    def test_a_component_that_dies_leaves_open_what_it_was_at(self):
        self.begin_hanging()
        self.assertFalse(self.tool("result", "one").json["interrupted"])
        self.kill(self.component())
        answer = self.tool("result", "one", "--wait", "60")
        self.assertEqual((answer.status, answer.json["interrupted"]), (3, True), answer.text)
        self.assertEqual(answer.states(), ["updated", "undecided", "untouched"], answer.text)
        self.release()
        plan = self.update("--dry-run", "--run", "one")
        self.assertEqual((plan.status, plan.states()), (0, ["current", "flash", "flash"]), plan.text)
        self.assertEqual(self.tool("result", "one").json, answer.json)
        again = self.update("--yes", "--run", "one")
        self.assertEqual((again.status, again.states()), (0, ["current", "updated", "updated"]), again.text)
        self.assertFalse(again.json["interrupted"])

    def test_revisions_to_update_from_let_a_cut_run_be_resumed(self):
        for policy in (["--to", "REV2", "--from", "REV1"], ["--from", "REV1"]):
            with self.subTest(policy):
                self.folder.remove("nvme-release")
                self.folder.remove("nvme-state.json")
                name = f"run-{len(policy)}"
                self.set_drives(drive(1), drive(2, updateHangs=True), drive(3))
                self.update("--yes", "--run", name, "--begin", *policy)
                self.await_flash(name, 2)
                self.kill(self.carrier() + self.component())
                self.release()
                self.reboot()
                again = self.update("--yes", "--run", name, *policy)
                self.assertEqual((again.status, again.states()), (0, ["current", "updated", "updated"]), again.text)

    def test_a_server_that_dies_is_told_by_the_next_call(self):
        self.begin_hanging()
        self.kill(self.carrier() + self.component())
        self.reboot()
        answer = self.update("--yes", "--run", "two", "--to", "REV2", "--dry-run")
        self.assertEqual(answer.states(), ["current", "flash", "flash"], answer.text)
        self.assertIn("the run one had ended while it was flashing", " ".join(answer.json["reasons"]))
        self.release()
        answer = self.update("--yes", "--run", "one", "--to", "REV2")
        self.assertEqual((answer.status, answer.states()), (0, ["current", "updated", "updated"]), answer.text)

    def test_a_tool_that_dies_while_planning_has_flashed_nothing(self):
        self.set_drives(drive(1), drive(2), drive(3), discoveryHangs=True)
        process = self.start("update", self.folder.path, "--yes", "--run", "one")
        self.until(lambda: self.processes("/nvmepcissd", "-i"))
        os.killpg(process.pid, signal.SIGKILL)
        self.finish(process)
        self.assertEqual(self.tool("result", "one").status, 5)
        self.release()
        answer = self.tool("result", "one", "--wait", "60")
        self.assertEqual((answer.status, self.flashes()), (3, []), answer.text)
        self.assertTrue(answer.json["interrupted"])
        self.assert_all_updated(self.update("--yes", "--run", "one"))

    def test_a_dead_plan_is_named_by_another_run(self):
        self.set_drives(drive(1), drive(2), drive(3), discoveryHangs=True)
        process = self.start("update", self.folder.path, "--yes", "--run", "one")
        self.until(lambda: self.processes("/nvmepcissd", "-i"))
        self.kill([process.pid, *self.processes("/nvmepcissd", "-i")])
        self.finish(process)
        self.release()
        answer = self.update("--yes", "--run", "two")
        self.assert_all_updated(answer)
        self.assertIn("the run one had ended while it was planning", " ".join(answer.json["reasons"]))
        dead = self.tool("result", "one")
        self.assertEqual((dead.status, dead.json["interrupted"]), (3, True), dead.text)


if __name__ == "__main__":
    main()
