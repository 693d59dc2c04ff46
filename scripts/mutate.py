#!/usr/bin/env python3
"""Changes the production code in small ways, one at a time, and tells which changes no test notices.

Works on a copy of the tracked files below build/mutants/. A change that does not compile is not counted. Exit status 0
when every mutant was noticed, or stands with its reason in tests/mutants.txt.

  scripts/mutate.py --count 300               a sample over all files
  scripts/mutate.py --only SoftwareComponent  files whose name has this in it
  scripts/mutate.py --seed 7                  another sample

A stopped run goes on where it was when it is started again with the same arguments.
"""

import argparse
import dataclasses
import filecmp
import glob
import json
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FOLDERS = ("src/", "cm_BackPlane/src/", "cm_CMBaseUtils/src/", "nvme_linux/", "tool/", "simulator/")
ACCEPTED = "tests/mutants.txt"
# The test program that notices most changes of a folder; it alone is built and run first.
FIRST = (("cm_CMBaseUtils/src/", "base_tests"), ("cm_BackPlane/src/", "core_tests"), ("src/", "core_tests"),
         ("nvme_linux/", "nvme_linux_tests"), ("simulator/", "simulator_tests"),
         ("tool/drives/", "drive_facts_tests"), ("tool/outcome/", "outcome_tests"), ("tool/plan/", "plan_tests"),
         ("tool/runs/", "runs_tests"), ("tool/", "tool_tests"))
BUILD_SECONDS = 3600
TEST_SECONDS = 120
CPU_SECONDS = 40  # of each process
FILE_BYTES = 400_000_000  # the largest that the build makes: a precompiled header
MEMORY_BYTES = 4_000_000_000
# The slower tests that are most likely to notice a mutant of a folder; the last holds for all others. Nothing but unit
# tests and the virtual machine loads our own drive library.
SLOW_TESTS = (("nvme_linux/", ""),
              ("tool/", "^tool.(package-check|schema|integration|runs.(answers|contest|damage|death|moments|update))$"),
              ("", "^Faults.(Allocations|DriveLibrary|Folders)|^Model.1000"))

# Pattern, replacement and name of each change. Strings and comments are masked before matching.
OPERATORS = [
    (r" == ", " != ", "comparison"), (r" != ", " == ", "comparison"),
    (r" < ", " <= ", "comparison"), (r" <= ", " < ", "comparison"),
    (r" > ", " >= ", "comparison"), (r" >= ", " > ", "comparison"),
    (r" && ", " || ", "connective"), (r" \|\| ", " && ", "connective"),
    (r"\btrue\b", "false", "truth"), (r"\bfalse\b", "true", "truth"),
    (r"(?<=[(&|,=\s])!(?=[\w(])", "", "negation"),
    (r"\bif \((?!const|auto|!)", "if (!", "negated condition"),
    (r" \+ (?!\w*[\"R])", " - ", "sum"), (r" - ", " + ", "difference"),
    (r"\+\+", "--", "step"),
    (r"\bbreak;", ";", "dropped break"), (r"\bcontinue;", ";", "dropped continue"),
    (r"\bnullptr;", "reinterpret_cast<void*>(1);", "null"),
]
NUMBER = re.compile(r"(?<![\w.\"#])(\d+)(?![\w.\"])")
STATEMENT = re.compile(r"^( +)(?!return|const |auto |static |using |struct |delete\b)[A-Za-z_*][^;{}=]*(?:=[^=;{}][^;{}]*)?;$")
DECLARATION = re.compile(r"^ *(?:std::|libxml::|const |xml\w+\*? |[A-Z]\w+(?:<.*>)?[&*]? )[\w:<>*& ]*\w+(?:\{|\(|;| =)")
TEXT = re.compile(r'"((?:[^"\\\n]|\\.)+)"')


@dataclasses.dataclass(frozen=True)
class Mutant:
    path: str
    line: int
    kind: str
    before: str
    after: str

    def __str__(self):
        return f"{self.path}:{self.line}: {self.kind}: {self.before.strip()}  ->  {self.after.strip() or '(nothing)'}"

    def key(self):
        """How the list of accepted mutants names it: without the line's number, which moves."""
        return f"{self.path}: {self.before.strip()}  ->  {self.after.strip() or '(nothing)'}"


def masked(text):
    """The text with comments and strings blanked out; every other character keeps its place."""
    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|R"\(.*?\)"|"(?:[^"\\\n]|\\.)*"|\'(?:[^\'\\\n]|\\.)+\'', re.DOTALL)
    return pattern.sub(lambda match: re.sub(r"[^\n]", " ", match.group()), text)


def mutants_of(path):
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        text = file.read()
    lines, bare = text.split("\n"), masked(text).split("\n")
    for number, (line, code) in enumerate(zip(lines, bare), 1):
        if line.lstrip().startswith(("#", "//", "static_assert")) or not code.strip() and '"' not in line:
            continue
        for after, kind in changes(line, code):
            yield Mutant(path, number, kind, line, after)


def changes(line, code):
    for pattern, replacement, kind in OPERATORS:
        for match in re.finditer(pattern, code):
            if kind == "negated condition":
                yield negated(line, match), kind
            else:
                yield line[:match.start()] + replacement + line[match.end():], kind
    for match in NUMBER.finditer(code):
        yield line[:match.start()] + str(int(match.group()) + 1) + line[match.end():], "number"
    if STATEMENT.match(code) and not DECLARATION.match(code):
        yield "", "dropped statement"
    for match in TEXT.finditer(line):
        if code[match.start()] == " ":
            yield line[:match.end(1) - 1] + changed(line[match.end(1) - 1]) + line[match.end(1):], "text"


def negated(line, match):
    """`if (condition)` with the whole condition negated, when it ends on the line."""
    depth, start = 0, match.end() - 1
    for index in range(start, len(line)):
        depth += {"(": 1, ")": -1}.get(line[index], 0)
        if depth == 0:
            return f"{line[:start]}(!({line[start + 1:index]})){line[index + 1:]}"
    return line


def changed(character):
    return "x" if character != "x" else "y"


def sample(arguments):
    """Mutants of every file: each file's share by what can be changed in it, but one at least, and five where so many
    are asked for. One in four of them changes a text; there are so many texts that they would push out the rest
    otherwise."""
    tracked = subprocess.run(["git", "ls-files", *FOLDERS], cwd=ROOT, capture_output=True, text=True, check=True).stdout.split()
    files = [path for path in tracked if path.endswith((".cpp", ".h")) and arguments.only in path]
    found = {path: worth_while(path) for path in files}
    total = sum(len(logic) for logic, _ in found.values())
    least = max(1, min(5, arguments.count // max(len(files), 1)))
    chance = random.Random(arguments.seed)
    chosen = []
    for logic, texts in found.values():
        share = max(least, round(0.75 * arguments.count * len(logic) / max(total, 1)))
        picked = chance.sample(logic, min(share, len(logic)))
        picked += chance.sample(texts, min(round(len(picked) / 3), len(texts)))
        chosen += sorted(filter(changes_something, picked), key=lambda mutant: mutant.line)
    print(f"{total} possible mutants in {len(files)} files, and {sum(len(texts) for _, texts in found.values())} of texts; "
          f"{len(chosen)} chosen with seed {arguments.seed}", flush=True)
    return chosen


def worth_while(path):
    """The mutants of a file that change something, those of texts apart. A header's declarations stay."""
    mutants = [mutant for mutant in dict.fromkeys(mutants_of(path)) if mutant.before != mutant.after]
    if path.endswith(".h"):
        mutants = [mutant for mutant in mutants if mutant.kind != "dropped statement"]
    return ([mutant for mutant in mutants if mutant.kind != "text"], [mutant for mutant in mutants if mutant.kind == "text"])


def changes_something(mutant):
    """False for a `break` after which control leaves the switch in any case: nothing but cases that only break follow,
    and the brace that ends the switch. The formatter puts that brace four columns before the `break`."""
    if mutant.before.strip() != "break;":
        return True
    with open(os.path.join(ROOT, mutant.path), encoding="utf-8") as file:
        following = "\n".join(file.read().split("\n")[mutant.line:])
    margin = len(mutant.before) - len(mutant.before.lstrip()) - 4
    return re.match(r"(?: *case [\w:]+:\n *break;\n)*" + margin * " " + r"\}", following) is None


def limit():
    """Limits what a mutant that never ends can use up."""
    resource.setrlimit(resource.RLIMIT_CPU, (CPU_SECONDS, CPU_SECONDS))
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_BYTES, FILE_BYTES))
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY_BYTES, MEMORY_BYTES))


class Laboratory:
    """The copy that is changed, built and tested."""

    def __init__(self, jobs):
        self.root = os.path.join(ROOT, "build/mutants")
        self.build_folder = os.path.join(self.root, "build")
        self.jobs = str(jobs)
        self.copy()
        self.must(["cmake", "-S", self.root, "-B", self.build_folder, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                   "-DCMAKE_CXX_FLAGS=-O0 -g0 -w -D_GLIBCXX_ASSERTIONS"])
        if not self.builds("all") or any(self.noticed(folder, self.programs()) for folder, _ in SLOW_TESTS):
            sys.exit("the unchanged copy fails already")

    def copy(self):
        tracked = subprocess.run(["git", "ls-files"], cwd=ROOT, capture_output=True, text=True, check=True).stdout.split("\n")
        for name in filter(None, tracked):
            target = os.path.join(self.root, name)
            os.makedirs(os.path.dirname(target), exist_ok=True)
            # A file that a stopped run left mutated must look new to the build; no other file may.
            if not os.path.exists(target) or not filecmp.cmp(os.path.join(ROOT, name), target, shallow=False):
                shutil.copy(os.path.join(ROOT, name), target)

    @staticmethod
    def must(command):
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)

    @staticmethod
    def succeeds(command, seconds, **keywords):
        """Ends all processes of the command: a compiler that outlives this call would leave a mutant's object."""
        with subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL,
                              start_new_session=True, preexec_fn=limit, **keywords) as process:
            try:
                return process.wait(seconds) == 0
            except subprocess.TimeoutExpired:
                return False
            finally:
                try:
                    os.killpg(process.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass

    def builds(self, target):
        return self.succeeds(["cmake", "--build", self.build_folder, "-j", self.jobs, "--target", target], BUILD_SECONDS)

    def passes(self, program):
        command = [os.path.join(self.build_folder, program), "--gtest_fail_fast", "--gtest_brief=1"]
        return self.succeeds(command, TEST_SECONDS, cwd=self.build_folder)

    def programs(self, since=0):
        """The test programs that were linked after that time, and those that run other programs."""
        return [path for path in sorted(glob.glob(self.build_folder + "/*_tests"))
                if os.path.getmtime(path) >= since or path.endswith("system_tests")]

    def noticed(self, changed, programs):
        """The first that fails of these programs and of the slower tests for the changed file, None if none does."""
        for program in map(os.path.basename, programs):
            if not self.passes(program):
                return program
        slow = next(tests for start, tests in SLOW_TESTS if changed.startswith(start))
        command = ["ctest", "--test-dir", self.build_folder, "-R", slow, "--stop-on-failure", "-j", self.jobs, "--timeout",
                   str(2 * TEST_SECONDS)]
        if slow and not self.succeeds(command, 10 * TEST_SECONDS):
            return "the slower tests"
        return None

    def try_out(self, mutant):
        """The program that noticed it, "" if none did, None if it does not compile."""
        path = os.path.join(self.root, mutant.path)
        with open(path, encoding="utf-8") as file:
            original = file.read()
        lines = original.split("\n")
        assert lines[mutant.line - 1] == mutant.before
        lines[mutant.line - 1] = mutant.after
        first = next(program for start, program in FIRST if mutant.path.startswith(start))
        try:
            self.replace(path, "\n".join(lines))
            if not self.builds(first):
                return None
            if not self.passes(first):
                return first
            # What holds none of the mutant need not be tried, nor the first program again.
            since = time.time()
            return (self.noticed(mutant.path, self.programs(since)) or "") if self.builds("all") else None
        finally:
            self.replace(path, original)

    @staticmethod
    def replace(path, text):
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)


class Journal:
    """The outcomes of earlier runs with the same seed, so that a stopped run goes on where it was. Delete the file
    when tests have changed; a mutant that survived is tried again in any case."""

    def __init__(self, path):
        self.path = path
        self.outcomes = {}
        if os.path.exists(path):
            with open(path, encoding="utf-8") as file:
                self.outcomes = json.load(file)

    def __contains__(self, mutant):
        return self.outcomes.get(str(mutant), "") != ""

    def outcome(self, mutant):
        return self.outcomes[str(mutant)]

    def note(self, mutant, by):
        self.outcomes[str(mutant)] = by
        with open(self.path + ".new", "w", encoding="utf-8") as file:
            json.dump(self.outcomes, file, indent=1)
        os.replace(self.path + ".new", self.path)
        return by


def accepted():
    """The mutants that no test can notice, or need not, with their reasons in the lines before."""
    path = os.path.join(ROOT, ACCEPTED)
    if not os.path.exists(path):
        return set()
    with open(path, encoding="utf-8") as file:
        return {line.strip() for line in file if "  ->  " in line}


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=250)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", default="")
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("--start", type=int, default=0, help="pass over so many of the sample")
    parser.add_argument("--list", action="store_true", help="show the sample and stop")
    arguments = parser.parse_args()
    chosen = sample(arguments)[arguments.start:]
    if arguments.list:
        print(*chosen, sep="\n")
        return 0
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("stopped"))
    laboratory = Laboratory(arguments.jobs)
    known, killed, survived, excused = accepted(), 0, [], 0
    journal = Journal(os.path.join(ROOT, f"build/mutants-{arguments.seed}.json"))
    for mutant in chosen:
        started = time.monotonic()
        if mutant.key() in known:
            excused += 1
            print(f"accepted: {mutant}", flush=True)
            continue
        by = journal.outcome(mutant) if mutant in journal else journal.note(mutant, laboratory.try_out(mutant))
        if by is None:
            outcome = "does not compile"
        elif by:
            killed, outcome = killed + 1, f"noticed by {by}"
        else:
            survived.append(mutant)
            outcome = "SURVIVED"
        print(f"{outcome} ({time.monotonic() - started:.0f} s): {mutant}", flush=True)
    print(f"{killed + excused + len(survived)} mutants: {killed} noticed, {excused} accepted, {len(survived)} survived")
    print(*survived, sep="\n")
    return 1 if survived else 0


if __name__ == "__main__":
    sys.exit(main())
