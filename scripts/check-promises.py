#!/usr/bin/env python3
"""Checks that each promise of the pages below has a test that names it, and lists promise and test.

usage: scripts/check-promises.py FOLDER

A statement is an item of a list, a row of a table or a paragraph that begins in bold. It ends with an HTML comment:
"promise: ID" names the promise, which several statements may make; "no promise" exempts advice, and what nothing is
done about. A test names its promises in a comment in front of it, "Promise: ID, ID". Prints promises with their tests.
A statement without such a comment, a promise without a test and a test without a promise are errors: exit status 1.
"""
import pathlib
import re
import sys

PAGES = ("docs/behaviour.md", "docs/faults.md", "SECURITY.md")
MARK = re.compile(r"<!-- (?:promise: ([\w-]+)|no promise) -->")
NAMES = re.compile(r"^\s*(?://|#) Promise: ([\w, -]+)$")
TEST = re.compile(r"^\s*(?:TEST(?:_F|_P)?\((\w+), (\w+)\)|def (test_\w+)|add_test\(NAME (\S+))")
SUFFIXES = {".cpp", ".py", ".sh", ".txt"}


def statements(text):
    """Line and text of each statement. What follows the header of a table is a row; code and headings are neither."""
    blocks, number, inside = [], 0, False
    text = re.sub(r"^```.*?^```", lambda match: re.sub(r"[^\n]", "", match.group()), text, flags=re.DOTALL | re.MULTILINE)
    for line in text.splitlines():
        number += 1
        starts_row = line.startswith("|") and not re.match(r"^\|[-| :]+\|$", line)
        if re.match(r"^(?:[-*] |\*\*)", line) or starts_row:
            inside = True
            blocks.append([number, line])
        elif not line.strip() or line.startswith(("#", "|")):
            if line.startswith("|-"):
                blocks.pop()  # the row before it was the header
            inside = False
        elif inside:
            blocks[-1][1] += "\n" + line
    return blocks


def promises(root):
    """The first place of each promise, by name, and what is wrong with the pages."""
    places, problems = {}, []
    for page in PAGES:
        for number, text in statements((root / page).read_text(encoding="utf-8")):
            marks = [match[1] for match in MARK.finditer(text)]
            place = f"{page}:{number}"
            if not marks:
                problems.append(f"{place}: neither a promise nor exempt")
            for name in filter(None, marks):
                places.setdefault(name, place)
    return places, problems


def tests(root):
    """Tests by the name of a promise, and comments that no test follows."""
    found, problems = {}, []
    for file in sorted(root.glob("tests/**/*")):
        if file.suffix not in SUFFIXES or "build" in file.relative_to(root).parts:
            continue
        lines = file.read_text(encoding="utf-8").splitlines()
        for index, line in enumerate(lines):
            if not (match := NAMES.match(line)):
                continue
            rest = (each for each in lines[index + 1:] if not each.lstrip().startswith(("//", "#")))
            test = TEST.match(next(rest, ""))
            place = f"{file.relative_to(root)}:{index + 1}"
            if test is None:
                problems.append(f"{place}: no test follows")
                continue
            title = ".".join(filter(None, test.groups()))
            for name in re.split(r", *", match[1].strip()):
                found.setdefault(name, []).append(f"{file.relative_to(root)}: {title}")
    return found, problems


def main(arguments):
    if len(arguments) != 1:
        sys.exit(__doc__)
    root = pathlib.Path(arguments[0])
    places, problems = promises(root)
    found, more = tests(root)
    for name, place in places.items():
        for test in found.get(name, []):
            print(f"{name} ({place}): {test}")
    problems += more
    problems += [f"{place}: no test names {name}" for name, place in places.items() if name not in found]
    problems += [f"{test[0]}: {name} is promised nowhere" for name, test in found.items() if name not in places]
    if not places:
        problems.append("there are no promises")
    if problems:
        sys.exit("\n".join(problems))


if __name__ == "__main__":
    main(sys.argv[1:])
