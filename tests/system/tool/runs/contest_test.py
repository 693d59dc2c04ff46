"""Commands about runs that are given at the same time."""

from server import RunsTest, drive, main


class ContestTest(RunsTest):
    def slow_drives(self):
        self.set_drives(*(drive(number, updateMilliseconds=400) for number in (1, 2, 3)))

    def both(self, first, second):
        processes = [self.start("update", self.folder.path, "--yes", "--run", name) for name in (first, second)]
        return [self.finish(process) for process in processes]

    def test_of_two_updates_one_is_refused(self):
        self.slow_drives()
        for attempt in range(3):
            with self.subTest(attempt):
                self.folder.remove("nvme-state.json")
                answers = sorted(self.both(f"a-{attempt}", f"b-{attempt}"), key=lambda answer: answer.status)
                self.assertEqual([answer.status for answer in answers], [0, 4], answers[1].text)
                self.assertEqual(answers[0].states(), ["updated"] * 3)
                self.assertEqual(len(self.flashes()), 3 * (attempt + 1))

    def test_two_updates_of_one_name_are_one_run(self):
        self.slow_drives()
        for attempt in range(3):
            with self.subTest(attempt):
                self.folder.remove("nvme-state.json")
                one, other = self.both(f"one-{attempt}", f"one-{attempt}")
                self.assertEqual((one.status, one.states()), (0, ["updated"] * 3), one.text)
                self.assertEqual(one.json, other.json)
                self.assertEqual(len(self.flashes()), 3 * (attempt + 1))


if __name__ == "__main__":
    main()
