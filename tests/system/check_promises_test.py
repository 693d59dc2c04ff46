#!/usr/bin/env python3
"""scripts/check-promises.py on samples: what it must catch, and what it must let pass."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check-promises.py"
PAGE = """# A page

Prose.

- An item <!-- no promise -->

**Bold.** More
of it. <!-- promise: bold-one -->

| a | b |
|---|---|
| c | d <!-- promise: row-one --> |
"""
TEST = """// Promise: bold-one, row-one
// More about it.
TEST_F(Suite, Name) {
"""


class CheckPromises(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for page in ("docs/behaviour.md", "docs/faults.md", "SECURITY.md"):
            self.write(page, "")
        self.write("docs/faults.md", PAGE)
        self.write("tests/unit/Test.cpp", TEST)

    def write(self, name, text):
        (self.root / name).parent.mkdir(parents=True, exist_ok=True)
        (self.root / name).write_text(text, encoding="utf-8")

    def check(self):
        finished = subprocess.run([sys.executable, "-B", SCRIPT, self.root], capture_output=True, text=True, check=False)
        self.assertEqual(finished.returncode != 0, bool(finished.stderr))
        return finished

    def errors(self):
        return self.check().stderr.splitlines()

    def test_promises_are_listed_with_their_tests(self):
        self.assertEqual(self.check().stdout, "bold-one (docs/faults.md:7): tests/unit/Test.cpp: Suite.Name\n"
                                              "row-one (docs/faults.md:12): tests/unit/Test.cpp: Suite.Name\n")

    def test_a_statement_without_a_comment_is_an_error(self):
        self.write("SECURITY.md", "- An item\n  that goes on\n")
        self.assertEqual(self.errors(), ["SECURITY.md:1: neither a promise nor exempt"])

    def test_a_promise_without_a_test_is_an_error(self):
        self.write("docs/behaviour.md", "- Item <!-- promise: new -->\n")
        self.assertEqual(self.errors(), ["docs/behaviour.md:1: no test names new"])

    def test_a_test_without_a_promise_is_an_error(self):
        self.write("tests/test.py", "# Promise: old\ndef test_it():\n")
        self.assertEqual(self.errors(), ["tests/test.py: test_it: old is promised nowhere"])

    def test_a_comment_without_a_test_is_an_error(self):
        self.write("tests/unit/Other.cpp", "// Promise: bold-one\nint f();\n")
        self.assertEqual(self.errors(), ["tests/unit/Other.cpp:1: no test follows"])

    def test_no_promises_at_all_are_an_error(self):
        self.write("docs/faults.md", "Prose.\n")
        self.write("tests/unit/Test.cpp", "")
        self.assertEqual(self.errors(), ["there are no promises"])


if __name__ == "__main__":
    unittest.main()
