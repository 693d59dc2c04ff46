"""Updates that run to their end, and updates that are refused: states, statuses, what was flashed."""

import json
import subprocess
import time

from server import PATIENCE, TOOL, RunsTest, drive, main


class UpdateTest(RunsTest):
    def assert_refused(self, answer, reason):
        self.assertEqual(answer.status, 4, answer.text)
        self.assertEqual(answer.json["outcome"], "refused")
        reasons = answer.json["reasons"] + [one["reason"] for one in answer.json["drives"] if one["reason"]]
        self.assertIn(reason, " ".join(reasons))
        self.assertEqual(self.flashes(), [])

    def test_every_drive_is_updated(self):
        answer = self.update("--yes", "--run", "one")
        self.assertEqual((answer.status, answer.states()), (0, ["updated"] * 3), answer.text)
        self.assertEqual([one["after"] for one in answer.json["drives"]], ["REV2"] * 3)
        self.assertEqual((answer.json["run"], answer.json["outcome"]), ("one", "done"))
        self.assertEqual(len(self.flashes()), 3)
        run = self.state / "one"
        self.assertEqual(run.stat().st_mode & 0o777, 0o700)
        self.assertEqual(json.loads((run / "verdict.json").read_text()), answer.json)
        self.assertEqual(self.tool("result").json, answer.json)

    def test_progress_is_an_object_for_each_drive(self):
        self.set_drives(*(drive(number, updateMilliseconds=500) for number in (1, 2, 3)))
        progress = self.update("--yes", "--run", "one").progress
        self.assertEqual([(step["drive"], step["of"], step["serial"], step["run"]) for step in progress],
                         [(number, 3, f"SIM{number}", "one") for number in (1, 2, 3)])

    def test_a_drive_that_refuses_is_named(self):
        self.set_drives(drive(1), drive(2, updateResult=263), drive(3))
        answer = self.update("--yes")
        self.assertEqual((answer.status, answer.states()), (1, ["updated", "failed", "updated"]), answer.text)
        failed = answer.json["drives"][1]
        self.assertEqual((failed["serial"], failed["code"], failed["identifiedBy"]), ("SIM2", 263, "log"))

    def test_drives_that_share_a_serial_number_are_told_by_order(self):
        self.set_drives(drive(1), drive(2, serial="SIM1", updateResult=263), drive(3, serial="SIM1"))
        answer = self.update("--yes")
        self.assertEqual((answer.status, answer.states()), (1, ["updated", "failed", "updated"]), answer.text)

    def test_three_hundred_drives(self):
        self.set_drives({**drive(1), "serial": "SIM{n}", "address": "01:00.0", "repeat": 300})
        answer = self.update("--yes")
        self.assertEqual((answer.status, answer.states()), (0, ["updated"] * 300))

    def test_firmware_that_waits_is_unchanged_until_the_reboot(self):
        self.set_drives(drive(1, activation="reset", updateResult=267), drive(2), drive(3, activation="never"))
        answer = self.update("--yes", "--run", "one")
        self.assertEqual((answer.status, answer.states()), (3, ["unchanged", "updated", "unchanged"]), answer.text)
        self.assertEqual(self.tool("result").json, answer.json)
        self.reboot()
        after = self.tool("result")
        self.assertEqual((after.status, after.states()), (3, ["updated", "updated", "unchanged"]), after.text)
        self.assertEqual(after.json["bootId"], answer.json["bootId"])
        self.assertEqual(json.loads((self.state / "one/verdict.json").read_text())["drives"], after.json["drives"])

    def test_a_plan_for_a_run_knows_what_that_run_has_flashed(self):
        self.set_drives(drive(1, activation="reset"), drive(2))
        self.assertEqual(self.update("--yes", "--run", "one").states(), ["unchanged", "updated"])
        for arguments, states in ((["--run", "one"], ["staged", "current"]), ([], ["flash", "flash"])):
            plan = self.tool("plan", self.folder.path, "--keep-environment", *arguments)
            self.assertEqual((plan.status, plan.states()), (0, states), plan.text)

    def test_a_drive_that_is_gone_after_the_reboot_is_missing(self):
        self.set_drives(drive(1, activation="reset", goneAfter="reset"), drive(2, activation="reset"))
        self.assertEqual(self.update("--yes").states(), ["unchanged"] * 2)
        self.reboot()
        after = self.tool("result")
        self.assertEqual((after.status, after.states()), (1, ["missing", "updated"]), after.text)

    def test_a_drive_that_is_gone_after_its_flash_is_missing(self):
        self.set_drives(drive(1), drive(2, goneAfter="flash"))
        answer = self.update("--yes")
        self.assertEqual((answer.status, answer.states()), (1, ["updated", "missing"]), answer.text)

    def test_current_drives_are_not_flashed(self):
        self.set_drives(drive(1, revision="REV2"), drive(2, revision="REV2"))
        answer = self.update("--to", "REV2")
        self.assertEqual((answer.status, answer.states()), (0, ["current"] * 2), answer.text)
        self.assertEqual(self.flashes(), [])

    def test_a_dry_run_ends_after_the_plan(self):
        answer = self.update("--dry-run")
        self.assertEqual((answer.status, answer.states()), (0, ["flash"] * 3), answer.text)
        self.assertEqual(self.flashes(), [])
        self.assertEqual(self.tool("history").json["runs"], [])

    def test_nothing_is_flashed_unasked(self):
        self.assert_refused(self.update(), "--yes")
        self.assert_refused(self.update("--yes", "--expect-drives", "4"), "4")
        self.assert_refused(self.update("--yes", "--payload-sha256", "0" * 64), "SHA-256")
        self.assert_refused(self.update("--yes", "--from", "OTHER"), "OTHER")
        self.assert_refused(self.update("--yes", "--serial", "SIM1"), "serial number")

    def test_an_unfit_folder_is_refused(self):
        self.folder.remove("payload/firmware.bin")
        self.assert_refused(self.update("--yes"), "payload")

    def test_a_server_without_drives_is_refused(self):
        self.set_drives()
        self.assert_refused(self.update("--yes"), "no drive")
        self.set_drives(discoveryResult=-1)
        self.assert_refused(self.update("--yes"), "no drive")

    def test_a_refused_run_may_be_tried_again_under_its_name(self):
        self.assert_refused(self.update("--run", "one"), "--yes")
        answer = self.update("--yes", "--run", "one")
        self.assertEqual((answer.status, answer.states()), (0, ["updated"] * 3), answer.text)

    def test_wrong_usage_ends_with_2(self):
        for arguments in (["--run", "../x"], ["--run", ".x"], ["--in-use", "maybe"], ["--seconds-per-drive", "-1"]):
            self.assertEqual(self.update(*arguments).status, 2, arguments)
        self.assertEqual(self.tool("update", self.scratch / "none").status, 2)
        policy = self.scratch / "policy.json"
        policy.write_text("{\n  \"models\": 1\n}\n")
        answer = self.update("--policy", policy)
        self.assertEqual(answer.status, 2)
        self.assertIn(f"{policy}:2:", answer.errors)

    def test_a_full_disk_refuses_the_run(self):
        self.state.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=1m", "none", self.state], check=True)
        self.addCleanup(subprocess.run, ["umount", self.state], check=True)
        self.assert_refused(self.update("--yes"), "8 MiB")

    def test_a_table_and_a_sentence_for_people(self):
        text = self.update("--yes", json_form=False).text
        self.assertIn("3 drives: 3 updated.", text)
        self.assertTrue(all(len(line) <= 80 for line in text.splitlines()), text)

    def test_an_inventory_is_kept(self):
        answer = self.tool("inventory", self.folder.path)
        self.assertEqual((answer.status, [one["before"] for one in answer.json["drives"]]), (0, ["REV1"] * 3))
        self.assertTrue((self.state / answer.json["run"] / "inventory.xml").is_file())
        self.assertEqual(self.tool("result").json["run"], answer.json["run"])

    def test_history_lists_the_runs(self):
        self.update("--yes", "--run", "one")
        self.update("--run", "two")
        runs = self.tool("history").json["runs"]
        self.assertEqual([(run["run"], run["outcome"]) for run in runs], [("one", "done"), ("two", "refused")])

    def metrics(self):
        text = subprocess.run([TOOL, "metrics", "--state", self.state], capture_output=True, text=True, check=True).stdout
        self.assertTrue(text.endswith("# EOF\n"))
        return text.splitlines()

    def test_metrics_tell_of_the_last_run(self):
        self.assertFalse([line for line in self.metrics() if "last_run" in line])
        self.set_drives(drive(1), drive(2, updateResult=263))
        self.update("--yes", "--run", "one")
        self.tool("inventory", self.folder.path)
        lines = self.metrics()
        for line in ('nvmepcissd_last_run_info{run="one",kind="update",outcome="failed"} 1',
                     "nvmepcissd_last_run_status 1", 'nvmepcissd_last_run_drives{state="updated"} 1',
                     "nvmepcissd_drives_awaiting_reset 0"):
            self.assertIn(line, lines)
        ended = [float(line.split()[1]) for line in lines if line.startswith("nvmepcissd_last_run_end_timestamp")]
        self.assertAlmostEqual(ended[0], time.time(), delta=PATIENCE)

    def test_a_damaged_record_is_named(self):
        self.update("--yes", "--run", "one")
        (self.state / "one/run.json").write_text("{\n")
        self.assertIn("one/run.json", " ".join(self.tool("history").json["reasons"]))
        self.assertEqual(self.tool("result", "one").status, 3)
        self.assertEqual(self.tool("result", "none").status, 3)


if __name__ == "__main__":
    main()
