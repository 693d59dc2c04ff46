#!/usr/bin/env python3
"""scripts/check-tree.py on samples: what it must catch, and what it must let pass."""

import importlib.util
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check-tree.py"
MODULE_SPEC = importlib.util.spec_from_file_location("check_tree", SCRIPT)
CHECK_TREE = importlib.util.module_from_spec(MODULE_SPEC)
MODULE_SPEC.loader.exec_module(CHECK_TREE)


def body(lines, first, last, line="  one();"):
    """A function of so many lines."""
    return "\n".join([first, *[line] * (lines - 2), last]) + "\n"


class CheckTree(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.root = pathlib.Path(self.folder.name).resolve()

    def write(self, name, text):
        (self.root / name).parent.mkdir(parents=True, exist_ok=True)
        (self.root / name).write_text(text, encoding="utf-8")

    def check(self, *checks):
        return CHECK_TREE.problems(self.root, checks)

    def run_script(self, *arguments):
        return subprocess.run([sys.executable, "-B", SCRIPT, *arguments], capture_output=True, text=True, check=False)

    def assertFunction(self, name, text, lines, at=1):
        self.write(name, text)
        self.assertEqual(self.check("functions"), [f"{name}:{at}: a function of {lines} lines; 60 are allowed"], text)

    def assertNoFunction(self, name, text):
        self.write(name, text)
        self.assertEqual(self.check("functions"), [], text)

    def test_too_many_files(self):
        for number in range(749):
            self.write(f"file{number}", "")
        self.assertEqual(self.check("files"), [])
        self.write("one-more", "")
        self.assertEqual(self.check("files"), ["750 tracked files; fewer than 750 are allowed"])

    def test_only_tracked_files_count(self):
        subprocess.run(["git", "init", "-q", self.root], check=True)
        for number in range(750):
            self.write(f"file{number}", "")
        subprocess.run(["git", "-C", self.root, "add", "file1"], check=True)
        self.assertEqual(self.check("files"), [])

    def test_long_test_files(self):
        self.write("tests/unit/FineTest.cpp", "\n" * 500)
        self.write("src/Source.cpp", "\n" * 501)
        self.write("tests/data/table.txt", "\n" * 501)
        self.assertEqual(self.check("tests"), [])
        self.write("tests/unit/LongTest.cpp", "\n" * 501)
        self.write("tests/long.py", "\n" * 501)
        self.assertEqual(self.check("tests"), ["tests/long.py: 501 lines; 500 are allowed",
                                               "tests/unit/LongTest.cpp: 501 lines; 500 are allowed"])

    def test_long_cpp_functions(self):
        for first in ("void f() {", "TEST(Suite, Name) {", "TEST_P(Suite, Name) {", 'extern "C" int f(int x) {',
                      "template <class T> T f(T t) {", "auto f() -> std::vector<int> {", "C::C(int x) : m_x{x}, m_y(1) {",
                      "bool operator<(const C& a, const C& b) {", "int main() try {", "struct stat f() {",
                      "const auto kTable = [](int x) {"):
            self.assertFunction("f.cpp", body(61, first, "}"), 61)
            self.assertNoFunction("f.cpp", body(60, first, "}"))

    def test_long_members_of_classes_in_namespaces(self):
        inside = body(61, "  int f() const {", "  }", "    if (m_x) { g({1}); }")
        for scope in ("class C : public B<int(char)> {", "template <class T> struct C {"):
            self.assertFunction("f.h", f"namespace a::b {{\n{scope}\n public:\n  int m_x{{}};\n{inside}}};\n}}\n", 61, 5)

    def test_what_is_no_cpp_function(self):
        for first in ("namespace {", "enum class E {", "const Case kCases[] = {", "class C {"):
            self.assertNoFunction("f.cpp", body(100, first, "};", "  // f() {"))
        self.assertNoFunction("f.cpp", body(50, "void f() {", "}") + body(50, "void g() {", "}"))

    def test_braces_in_texts_and_comments_do_not_count(self):
        for line in ('  f("}");', "  f('}');", "  // }", "  /* } */", '  f(R"(})");', "#define F }"):
            self.assertFunction("f.cpp", body(61, "void f() {", "}", line), 61)

    def test_long_python_and_shell_functions(self):
        self.assertFunction("f.py", "class C:\n" + body(61, "    def f(self):", "        pass", "        pass"), 61, 2)
        (self.root / "f.py").unlink()
        self.assertFunction("f.sh", "set -e\n" + body(61, "f() {", "}", "  true"), 61, 2)
        self.assertNoFunction("f.sh", body(60, "f() {", "}", "  true"))

    def test_a_long_readme(self):
        self.write("README.md", "word\n" * 120)
        self.assertEqual(self.check("readme"), [])
        self.write("README.md", "word\n" * 121)
        self.assertEqual(self.check("readme"), ["README.md: 121 lines; 120 are allowed"])
        self.write("README.md", "word " * 901)
        self.assertEqual(self.check("readme"), ["README.md: 901 words; 900 are allowed"])

    def test_too_many_tables(self):
        self.write("README.md", "prose\n\n" * 76 + "| row |\n" * 25)
        self.assertEqual(self.check("tables"), [])
        self.write("docs/page.md", "```\n" + "code\n" * 100 + "```\n  | row |\n")
        self.assertEqual(self.check("tables"), ["26 of 102 lines of Markdown are table rows; less than 25 % is allowed"])

    def test_what_is_not_formatted(self):
        self.write(".clang-format", "BasedOnStyle: Google\n")
        self.write("f.cpp", "int f() { return 1; }\n")
        self.assertEqual(self.check("format"), [])
        self.write("src/g.h", "int f();\nint  g();\n")
        self.assertEqual(self.check("format"), ["src/g.h:2: not formatted"])

    def test_nothing_to_check_is_a_failure(self):
        self.assertEqual(self.check("files"), [f"{self.root}: no files"])

    def test_the_exit_status_tells(self):
        self.write("README.md", "word")
        fine = self.run_script(self.root, "readme", "files")
        self.assertEqual((fine.returncode, fine.stdout), (0, "the tree keeps to its limits\n"))
        self.write("README.md", "word " * 901)
        broken = self.run_script(self.root, "files", "readme")
        self.assertEqual((broken.returncode, broken.stdout), (1, "README.md: 901 words; 900 are allowed\n"))

    def test_wrong_usage_is_a_failure(self):
        for arguments in ([], [self.root, "unknown"]):
            wrong = self.run_script(*arguments)
            self.assertEqual(wrong.returncode, 1)
            self.assertIn("usage:", wrong.stderr)


if __name__ == "__main__":
    unittest.main()
