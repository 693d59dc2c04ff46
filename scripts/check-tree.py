#!/usr/bin/env python3
"""Checks the limits that the tree keeps: how long a function, a test file and the README may be, and the like.

usage: scripts/check-tree.py FOLDER [CHECK...]     all checks unless some are named

  files      the number of tracked files
  tests      the lines of each file of tests
  functions  the lines of each function, in C++, Python and shell
  readme     the lines and words of README.md
  tables     the share of table rows in the lines of all Markdown pages
  format     clang-format on every C++ file

Prints one line for each limit that is passed; exit status 1 if there is one, or if there was nothing to check.
"""
import ast
import pathlib
import re
import subprocess
import sys

MOST_FILES = 750  # generated files, such as the inputs that a fuzzer finds, belong in archives
MOST_TEST_LINES = 500
MOST_FUNCTION_LINES = 60
MOST_README_LINES = 120
MOST_README_WORDS = 900
TABLE_PERCENT = 25  # the share stays below it

CPP = {".cpp", ".h"}
CODE = CPP | {".py", ".sh"}

# What has no braces or line breaks of its own: comments, raw strings, strings and characters.
MASKED = re.compile(r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:[^"\\\n]|\\.)*"|(?<!\w)\'(?:[^\'\\\n]|\\.)+\'', re.DOTALL)
SCOPE = re.compile(r"^\s*(?:typedef |inline |static |export )*(?:namespace|class|struct|union|enum|extern)\b[^()]*$")
SHELL_FUNCTION = re.compile(r"^(?:function )?[\w-]+ *\(\) *[{(] *$")


def tracked(root):
    """The tracked files; where the folder is no repository of its own, all of them but those of build/."""
    listing = subprocess.run(["git", "-C", root, "ls-files", "-z"], capture_output=True, text=True, check=False)
    top = subprocess.run(["git", "-C", root, "rev-parse", "--show-toplevel"], capture_output=True, text=True, check=False)
    if top.returncode == 0 and pathlib.Path(top.stdout.strip()) == root:
        files = [root / name for name in listing.stdout.split("\0") if name]
    else:
        files = [file for file in root.rglob("*") if not {"build", ".git"} & set(file.relative_to(root).parts)]
    return sorted(file for file in files if file.is_file())


def lines_of(file):
    return file.read_text(encoding="utf-8").splitlines()


def blanked(match):
    return re.sub(r"[^\n]", " ", match.group())


def opens_scope(head):
    while (shorter := re.sub(r"<[^<>]*>", "", head)) != head:
        head = shorter
    return bool(SCOPE.search(head.replace("template", "")))


def cpp_functions(text):
    """First and last line of each function: a block whose surroundings are only namespaces and types. It relies on the
    format of the tree, in which no blank stands before the brace of an initialiser."""
    bare = MASKED.sub(blanked, text)
    bare = re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", blanked, bare, flags=re.MULTILINE)
    opened, begin, start = [], 0, None  # the kind of each open block; where statement and function begin
    for match in re.finditer(r"[{};]", bare):
        at, head = match.start(), bare[begin:match.start()]
        if match.group() == "{":
            kind = "initialiser" if not bare[at - 1:at].isspace() else "scope" if opens_scope(head) else "block"
            if kind == "block" and start is None and "(" in head and not head.rstrip().endswith("="):
                start, depth = begin + len(head) - len(head.lstrip()), len(opened)
            opened.append(kind)
        elif match.group() == "}" and opened:
            kind = opened.pop()
            if start is not None and len(opened) == depth:
                yield bare.count("\n", 0, start) + 1, bare.count("\n", 0, at) + 1
                start = None
        if match.group() == ";" or kind != "initialiser":
            begin = at + 1


def python_functions(text):
    for node in ast.walk(ast.parse(text)):
        if isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef)):
            yield node.lineno, node.end_lineno


def shell_functions(text):
    start = None
    for number, line in enumerate(text.splitlines(), 1):
        if SHELL_FUNCTION.match(line):
            start = number
        elif start is not None and line in ("}", ")"):
            yield start, number
            start = None


FUNCTIONS = {".cpp": cpp_functions, ".h": cpp_functions, ".py": python_functions, ".sh": shell_functions}


def check_files(_, files):
    if len(files) >= MOST_FILES:
        yield f"{len(files)} tracked files; fewer than {MOST_FILES} are allowed"


def check_tests(root, files):
    for file in files:
        if file.relative_to(root).parts[0] == "tests" and file.suffix in CODE:
            count = len(lines_of(file))
            if count > MOST_TEST_LINES:
                yield f"{file.relative_to(root)}: {count} lines; {MOST_TEST_LINES} are allowed"


def check_functions(root, files):
    for file in (file for file in files if file.suffix in CODE):
        for first, last in FUNCTIONS[file.suffix](file.read_text(encoding="utf-8")):
            if last - first + 1 > MOST_FUNCTION_LINES:
                yield (f"{file.relative_to(root)}:{first}: a function of {last - first + 1} lines; "
                       f"{MOST_FUNCTION_LINES} are allowed")


def check_readme(root, _):
    text = (root / "README.md").read_text(encoding="utf-8")
    for count, most, what in ((len(text.splitlines()), MOST_README_LINES, "lines"),
                              (len(text.split()), MOST_README_WORDS, "words")):
        if count > most:
            yield f"README.md: {count} {what}; {most} are allowed"


def check_tables(_, files):
    """Blank lines and blocks of code are neither prose nor table."""
    rows = prose = 0
    for file in files:
        if file.suffix == ".md":
            text = re.sub(r"^```.*?^```", "", file.read_text(encoding="utf-8"), flags=re.DOTALL | re.MULTILINE)
            written = [line for line in text.splitlines() if line.strip()]
            prose += len(written)
            rows += sum(line.lstrip().startswith("|") for line in written)
    if 100 * rows >= TABLE_PERCENT * prose:
        yield f"{rows} of {prose} lines of Markdown are table rows; less than {TABLE_PERCENT} % is allowed"


def check_format(root, files):
    """One process for all files; each complaint is the line that clang-format begins with the file's name."""
    sources = [str(file.relative_to(root)) for file in files if file.suffix in CPP]
    checked = subprocess.run(["clang-format", "--dry-run", "-Werror", *sources], cwd=root, capture_output=True, text=True, check=False)
    wrong = re.findall(r"^(\S+:\d+):\d+: error", checked.stderr, re.MULTILINE)
    yield from (f"{place}: not formatted" for place in dict.fromkeys(wrong))
    if checked.returncode != 0 and not wrong:
        yield f"clang-format: {checked.stderr.strip()}"


CHECKS = {"files": check_files, "tests": check_tests, "functions": check_functions, "readme": check_readme,
          "tables": check_tables, "format": check_format}


def problems(root, names):
    files = tracked(root)
    found = [problem for name in names for problem in CHECKS[name](root, files)]
    return found if files else [*found, f"{root}: no files"]


def main(arguments):
    names = arguments[1:] or list(CHECKS)
    if not arguments or not CHECKS.keys() >= set(names):
        sys.exit(__doc__)
    found = problems(pathlib.Path(arguments[0]).resolve(), names)
    print("\n".join(found) or "the tree keeps to its limits")
    sys.exit(bool(found))


if __name__ == "__main__":
    main(sys.argv[1:])
