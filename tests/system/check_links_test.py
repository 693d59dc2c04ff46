#!/usr/bin/env python3
"""scripts/check-links.py on samples: what it must catch, and what it must let pass."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check-links.py"


class CheckLinks(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name).resolve()
        self.write("CMakeLists.txt", "")
        self.write("docs/other.md", "# Other\n\n## A heading: `code`, [link](../README.md)\n\n## Twice\n\n## Twice\n")

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def check(self, text):
        """Exit status and output for a README with this text, which stands on its third line."""
        self.write("README.md", f"# Title\n\n{text}\n")
        run = subprocess.run([sys.executable, SCRIPT, self.root], capture_output=True, text=True, check=False)
        return run.returncode, run.stdout

    def test_good_links_pass(self):
        for link in ("docs/other.md", "docs/other.md#a-heading-code-link", "docs/other.md#twice-1", "#title", "docs",
                     "https://example.com/nowhere"):
            with self.subTest(link=link):
                self.assertEqual(self.check(f"[text]({link})"), (0, "2 links\n"))

    def test_broken_links_are_named_with_their_place(self):
        for link, reason in (("missing.md", "leads nowhere"), ("../elsewhere.md", "leads out of the folder"),
                             ("docs/other.md#no-such", "names a heading that is not there"),
                             ("#no-such", "names a heading that is not there")):
            with self.subTest(link=link):
                self.assertEqual(self.check(f"[text]({link})"), (1, f"README.md:3: {link} {reason}\n"))

    def test_images_are_links(self):
        self.assertEqual(self.check('<img src="missing.png">'), (1, "README.md:3: missing.png leads nowhere\n"))

    def test_code_holds_no_links(self):
        self.assertEqual(self.check("`[text](missing.md)`\n\n```\n[text](missing.md)\n```"), (0, "1 links\n"))

    def test_named_files_must_exist_in_the_sources(self):
        self.assertEqual(self.check("`docs/other.md`, `docs/`, `payload/`, `docs/*.md`"), (0, "1 links\n"))
        self.assertEqual(self.check("`tests/missing.py`"), (1, "README.md:3: there is no tests/missing.py\n"))
        (self.root / "CMakeLists.txt").unlink()
        self.assertEqual(self.check("`tests/missing.py`"), (0, "1 links\n"))

    def test_pages_without_any_link_are_an_error(self):
        self.write("docs/other.md", "# Other\n")
        self.assertEqual(self.check("text"), (1, f"{self.root}: no page has a link\n"))

    def test_build_folders_are_left_out(self):
        self.write("build/page.md", "[text](missing.md)\n")
        self.assertEqual(self.check("text")[0], 0)


if __name__ == "__main__":
    unittest.main()
