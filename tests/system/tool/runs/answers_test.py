"""What commands answer people, terminals, users other than root, and callers who ask for what cannot be done."""

import json
import os
import subprocess

from server import BUILD, PATIENCE, TOOL, Folder, RunsTest, drive, main, mount

USER = 1000
ORIGIN = b"nvmepcissd\0\0simulator\0\0\0"
OWN_ORIGIN = b"nvmepcissd\0\0nvme_linux\0\0"


class AnswersTest(RunsTest):
    def assert_refused(self, answer, reason):
        self.assertEqual((answer.status, answer.json["outcome"]), (4, "refused"), answer.text)
        self.assertIn(reason, " ".join(answer.json["reasons"]))

    def on_terminal(self, reply, *arguments):
        """Exit status and output of an update that a person answers."""
        primary, secondary = os.openpty()
        process = subprocess.Popen(self.command("update", self.folder.path, *arguments, json_form=False),
                                   env=self.environment(), stdin=secondary, stdout=secondary, stderr=secondary)
        os.close(secondary)
        os.write(primary, reply)
        output = b""
        try:
            while part := os.read(primary, 4096):
                output += part
        except OSError:
            pass  # the last one has closed the terminal
        os.close(primary)
        return process.wait(PATIENCE), output.decode()

    def as_user(self, *words, **variables):
        """A command of a user whom permissions bind, and who has these variables alone."""
        environment = {"PATH": os.environ["PATH"], "FWKIT_LOG": str(self.scratch / "script"),
                       **variables}
        return subprocess.run(["unshare", "--user", f"--map-user={USER}", TOOL, *map(str, words)], env=environment,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=PATIENCE, check=False)

    def test_history_is_a_list_for_people(self):
        self.assertEqual(self.tool("history", json_form=False).text, "There is no run.\n")
        self.update("--yes", "--run", "one")
        self.update("--run", "another")
        lines = self.tool("history", json_form=False).text.splitlines()
        self.assertRegex(lines[0], r"^one      20\S+Z  update, done$")
        self.assertEqual(lines[1], "    3 drives: 3 updated.")
        self.assertRegex(lines[2], r"^another  20\S+Z  update, refused$")
        (self.state / "one/run.json").write_text("{")
        answer = self.tool("history", json_form=False)
        self.assertEqual(answer.status, 3)
        self.assertIn("one/run.json", answer.errors)

    def test_a_person_is_asked_once_and_shown_how_it_goes(self):
        self.set_drives(*(drive(number, updateMilliseconds=500) for number in (1, 2, 3)))
        status, output = self.on_terminal(b"n\n")
        self.assertEqual(status, 4, output)
        self.assertIn("Flash 3 drives? [y/N]", output)
        self.assertIn("it was not confirmed", " ".join(output.split()))
        self.assertEqual(self.flashes(), [])
        status, output = self.on_terminal(b"y\n")
        self.assertEqual((status, len(self.flashes())), (0, 3), output)
        self.assertIn("\r\033[KFlashing drive 1 of 3 (SIM1), ", output)

    def test_progress_is_a_line_for_each_drive(self):
        self.set_drives(*(drive(number, updateMilliseconds=500) for number in (1, 2)))
        answer = self.update("--yes", json_form=False)
        steps = [line.split(",")[0] for line in answer.errors.splitlines()]
        self.assertEqual(steps, ["Flashing drive 1 of 2 (SIM1)", "Flashing drive 2 of 2 (SIM2)"])

    def test_a_name_that_is_another_run_is_refused(self):
        name = self.tool("inventory", self.folder.path).json["run"]
        self.assert_refused(self.update("--yes", "--run", name), "is an inventory")
        self.update("--run", "one")
        other = Folder(BUILD, self.scratch, "other")
        self.assert_refused(self.tool("update", other.path, "--yes", "--run", "one"), f"is for {self.folder.path}")
        (self.state / "one/run.json").write_text("{")
        self.assert_refused(self.update("--yes", "--run", "one"), "one/run.json")
        self.assertEqual(self.flashes(), [])

    def test_a_state_folder_that_cannot_be_one_is_refused(self):
        self.state.write_text("")
        for command in ("update", "inventory"):
            self.assert_refused(self.tool(command, self.folder.path), "Not a directory")
        self.assertIn("cannot be read", " ".join(self.tool("history").json["reasons"]))

    def test_an_inventory_that_shows_less_is_undecided(self):
        self.set_drives(drive(1), drive(2, revisionResult=5))
        answer = self.tool("inventory", self.folder.path)
        self.assertEqual((answer.status, answer.states()), (3, [None, "undecided"]), answer.text)
        for change, reason in ((lambda: self.folder.write("librbkl.so.0", "text"), "the inventory ended with 127: "),
                               (lambda: self.folder.write("nvmepcissd", "\1", 0o755), "cannot be started")):
            change()
            answer = self.tool("inventory", self.folder.path)
            self.assertEqual((answer.status, answer.states()), (3, []), answer.text)
            self.assertIn(reason, answer.json["reasons"][0])

    def approve_again(self, **changes):
        """The run "one" as if it had been planned and approved just now."""
        path = self.state / "one/run.json"
        path.write_text(json.dumps({**json.loads(path.read_text()), "phase": "approved", **changes}))
        return self.as_root("carry-on", "--state", self.state, "one")

    @staticmethod
    def as_root(*words):
        return subprocess.run([TOOL, *map(str, words)], capture_output=True, text=True, timeout=PATIENCE, check=False)

    def test_an_approved_run_that_cannot_begin_flashes_nothing(self):
        self.update("--yes", "--run", "one")
        self.assertEqual(self.approve_again(payload="0" * 64).returncode, 0)
        self.assert_refused(self.tool("result", "one"), "the payload has changed since it was planned")
        self.assertEqual(len(self.flashes()), 3)

    def test_only_an_approved_run_is_carried_on(self):
        self.update("--yes", "--run", "one")
        for name in ("one", "none"):
            answer = self.as_root("carry-on", "--state", self.state, name)
            self.assertEqual((answer.returncode, answer.stderr), (1, "the run cannot be taken over\n"))
        self.assertEqual(len(self.flashes()), 3)

    def test_a_component_that_cannot_be_started_has_flashed_nothing(self):
        self.update("--yes", "--run", "one")
        (self.state / "one/update.out").unlink()
        (self.state / "one/update.out").mkdir()
        self.assertEqual(self.approve_again().returncode, 0)
        answer = self.tool("result", "one")
        self.assert_refused(answer, "nothing was flashed: ")
        self.assertEqual((answer.states(), len(self.flashes())), (["untouched"] * 3, 3))

    def test_an_outcome_that_cannot_be_kept_stays_open(self):
        self.state.mkdir()
        mount("-t", "tmpfs", "-o", "size=16m", "none", str(self.state))
        self.addCleanup(subprocess.run, ["umount", self.state], check=True)
        self.cut_off()
        with self.assertRaises(OSError), open(self.state / "full", "wb", buffering=0) as file:
            while file.write(bytes(4096)) == 4096:
                pass
            raise OSError
        answer = self.update("--yes", "--run", "one")
        self.assertEqual((answer.status, answer.states()), (3, ["undecided"] * 3), answer.text)
        self.assertIn("nvmepcissd-tool result one concludes the run", answer.json["reasons"])
        (self.state / "full").unlink()
        self.assertEqual(self.tool("result", "one").states(), ["updated", "undecided", "untouched"])

    def test_a_component_that_is_gone_leaves_the_outcome_open(self):
        self.cut_off()
        environment = self.environment()
        self.folder.path.rename(self.scratch / "elsewhere")
        self.environment = lambda: environment
        answer = self.tool("result", "one")
        self.assertEqual((answer.status, answer.states()), (3, ["undecided", "undecided", "untouched"]), answer.text)
        self.assertIn("no inventory could be taken: ", " ".join(answer.json["reasons"]))

    def test_drives_are_flashed_from_a_copy_that_lists_them(self):
        """With a drive library that heeds the list, as our own does."""
        self.folder.exchange("libnvme.so", ORIGIN, OWN_ORIGIN)
        environment = {**self.environment(), "NVME_SIMULATOR_STATE": str(self.scratch / "drives.json")}
        self.environment = lambda: environment
        answer = self.update("--yes", "--run", "one")
        self.assertEqual((answer.status, answer.states()), (0, ["updated"] * 3), answer.text)
        self.assertEqual((self.state / "one/component/drives.allow").read_text(), "SIM1\nSIM2\nSIM3\n")
        self.state = self.scratch / "with blank"
        self.assert_refused(self.update("--yes"), "the component cannot run in a folder of this name")
        self.assertEqual(len(self.flashes()), 3)

    def test_a_user_has_runs_and_locks_of_his_own(self):
        for folder in ("runtime", "tmp", "home"):
            (self.scratch / folder).mkdir()
        home = {"HOME": str(self.scratch / "home")}
        places = (({"XDG_STATE_HOME": str(self.scratch / "xdg")}, self.scratch / "xdg/nvmepcissd/runs"),
                  (home, self.scratch / "home/.local/state/nvmepcissd/runs"))
        for variables, place in places:
            reasons = json.loads(self.as_user("result", "--json", **variables).stdout)["reasons"]
            self.assertEqual(reasons, [f"there is no run in {place}"])
        for lock, variables in ((self.scratch / "tmp" / f"nvmepcissd-{USER}", {"TMPDIR": str(self.scratch / "tmp")}),
                                (f"/run/user/{USER}/nvmepcissd", {}),
                                (self.scratch / "runtime/nvmepcissd", {"XDG_RUNTIME_DIR": str(self.scratch / "runtime")})):
            answer = self.as_user("inventory", "--keep-environment", self.folder.path, **home, **variables,
                                  LD_LIBRARY_PATH=self.folder.loader_path())
            self.assertEqual(answer.returncode, 0, answer.stdout + answer.stderr)
            self.assertTrue(os.path.exists(f"{lock}/run.lock"), lock)
            os.makedirs(f"/run/user/{USER}", exist_ok=True)
        (self.scratch / "tmp/nvmepcissd").write_text("")
        answer = self.as_user("inventory", self.folder.path, **home, XDG_RUNTIME_DIR=str(self.scratch / "tmp"))
        self.assertIn("is not a folder of this user", " ".join(answer.stdout.split()))

    def test_locks_that_cannot_be_taken_are_named(self):
        locks = self.scratch / "runtime/nvmepcissd"

        def assert_named(problem):
            answer = self.as_user("inventory", self.folder.path, HOME=str(self.scratch), XDG_RUNTIME_DIR=str(locks.parent))
            self.assertNotEqual(answer.returncode, 0)
            self.assertIn(problem, " ".join(answer.stdout.split()))

        assert_named(f"{locks}: No such file or directory")
        locks.mkdir(parents=True)
        for name in ("run.lock", "next.lock"):
            (locks / name).symlink_to("elsewhere")
            assert_named(f"{locks / name}: Too many levels of symbolic links")
            (locks / name).unlink()
        self.assertFalse((locks / "elsewhere").exists())

    def test_a_run_that_permissions_hide_is_named(self):
        self.update("--yes", "--run", "one")
        (self.state / "one/run.json").chmod(0)
        answer = self.as_user("history", "--state", self.state)
        self.assertEqual(answer.returncode, 3)
        self.assertIn("one/run.json: cannot be read: Permission denied", " ".join((answer.stdout + answer.stderr).split()))

    def test_metrics_are_written_without_runs_to_tell_of(self):
        answer = self.as_user("metrics")
        self.assertEqual(answer.returncode, 0)
        self.assertIn("there is no home folder", answer.stderr)
        self.assertTrue(answer.stdout.endswith("# EOF\n"))

    def test_metrics_replace_their_own_file_alone(self):
        file = self.scratch / "drives.prom"
        for _ in range(2):
            self.assertEqual(self.as_root("metrics", "--state", self.state, "-o", file).returncode, 0)
            self.assertTrue(file.read_text().endswith("# EOF\n"))
        file.write_text("mine\n")
        answer = self.as_root("metrics", "--state", self.state, "-o", file)
        self.assertEqual((answer.returncode, file.read_text()), (1, "mine\n"))
        self.assertEqual(answer.stderr, f"{file}: cannot be written: exists and was not written by this program\n")


if __name__ == "__main__":
    main()
