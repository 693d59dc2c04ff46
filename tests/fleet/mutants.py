"""Changes the collection in small ways, one at a time, and tells which changes no scenario notices.

usage, as root: python3 tests/fleet/mutants.py SOURCE BUILD SEED|all|list

Each task of a role or playbook is removed, and each guard is inverted: a condition of a task, a flag such as run_once, an
"if" within an expression, a condition of a module. SEED takes a sample of a dozen. Modules face their unit tests first.
Then the racks stand beside each other until one of them notices. A run that was stopped goes on where it was: what was
noticed is in BUILD/fleet-mutants.json, and is not tried again while the file stays the same.

Exit status: 0 every mutant was noticed, or stands in EXCUSED with a reason; 1 some were not.
"""

import ast
import hashlib
import json
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

import yaml

SOURCE, BUILD = (Path(each).resolve() for each in sys.argv[1:3])
SCRATCH = BUILD / "fleet-mutants"
JOURNAL = BUILD / "fleet-mutants.json"
SAMPLE = 12
SECONDS = 480  # for all racks of one mutant
INSTALLS = "RolloutTest.test_payloads_and_packages_are_installed_by_checksum"
# The racks, and the tests of them, that could notice a mutant of a file; no tests stands for all.
RACKS = (("roles/install/", (("rollout", INSTALLS),)),
         ("", (("rollout",), ("breakage",))))
TASK_LISTS = ("tasks", "block", "rescue", "always", "pre_tasks", "post_tasks")
CONDITIONS = ("when", "failed_when", "changed_when", "until", "that")
FLAGS = ("ignore_unreachable", "ignore_errors", "run_once", "check_mode")
INLINE_IF = re.compile(r"(?<= if )(.*?)(?= else )", re.DOTALL)
# Mutants that change nothing that anybody could see, and why.
EXCUSED = {}


class Mutant:
    def __init__(self, path, text, begin, end, replacement, what):
        self.path, self.replacement = path, replacement
        line = text.count("\n", 0, begin) + 1
        self.text = text[:begin] + replacement + text[end:]
        old = " ".join(text[begin:end].split())
        self.key = f"{path}: {what}: {old[:100]}"
        self.place = f"{path}:{line}: {what}: {old[:100]}"

    def __str__(self):
        return self.place

    def digest(self):
        return hashlib.sha256(f"{self.path}\n{self.text}".encode()).hexdigest()


def inverted(text):
    text = text.strip()
    if text in ("true", "false"):
        return "false" if text == "true" else "true"
    plain = text[1:-1].replace("''", "'") if text[:1] == "'" else text[1:-1] if text[:1] == '"' else text
    return json.dumps("not (" + " ".join(plain.split()) + ")")


class YamlMutants:
    """Tasks and guards of one file, by the places that the parser gives."""

    def __init__(self, path, text):
        self.path, self.text, self.found = path, text, []
        self.visit(yaml.compose(text))
        self.inline_ifs()

    def add(self, node, replacement, what):
        begin = node.start_mark.index
        end = begin + len(self.text[begin:node.end_mark.index].rstrip())
        self.found.append(Mutant(self.path, self.text, begin, end, replacement, what))

    def visit(self, node, is_tasks=False):
        if isinstance(node, yaml.SequenceNode):
            for each in node.value:
                if is_tasks:
                    self.add(each, "ansible.builtin.meta: noop", "without")
                self.visit(each)
        elif isinstance(node, yaml.MappingNode):
            for key, value in node.value:
                self.guard(key.value, value)
                self.visit(value, key.value in TASK_LISTS)

    def guard(self, key, value):
        if key in CONDITIONS:
            for each in value.value if isinstance(value, yaml.SequenceNode) else [value]:
                self.add(each, inverted(self.text[each.start_mark.index:each.end_mark.index]), f"{key} inverted")
        elif key in FLAGS:
            self.add(value, inverted(value.value), f"{key} inverted")

    def inline_ifs(self):
        for match in INLINE_IF.finditer(self.text):
            self.found.append(Mutant(self.path, self.text, *match.span(), f"not ({match.group()})", "if inverted"))


def role_tasks(path, text):
    """A file of a role's tasks is a list of them, without a name."""
    mutants = YamlMutants(path, "tasks:\n" + text.removeprefix("---\n")).found
    for each in mutants:
        each.text = "---\n" + each.text.removeprefix("tasks:\n")
    return mutants


def python_mutants(path, text):
    lines = [0]
    for line in text.splitlines(keepends=True):
        lines.append(lines[-1] + len(line.encode()))
    data, conditions = text.encode(), {}
    for node in ast.walk(ast.parse(text)):
        found = []
        if isinstance(node, (ast.If, ast.IfExp, ast.While)):
            found = [node.test]
        elif isinstance(node, ast.comprehension):
            found = node.ifs
        elif isinstance(node, ast.BoolOp):
            found = node.values
        for each in found:
            span = (lines[each.lineno - 1] + each.col_offset, lines[each.end_lineno - 1] + each.end_col_offset)
            if not isinstance(each, (ast.Constant, ast.List)) and b"__name__" not in data[slice(*span)]:
                conditions[span] = data[slice(*span)].decode()
    assert len(data) == len(text), f"{path}: more than ASCII"
    return [Mutant(path, text, *span, f"(not ({old}))", "inverted") for span, old in sorted(conditions.items())]


def all_mutants():
    mutants = []
    for file in sorted(path for path in (SOURCE / "fleet").rglob("*") if path.suffix in (".yml", ".py")):
        path, text = str(file.relative_to(SOURCE / "fleet")), file.read_text()
        if file.suffix == ".py":
            mutants += python_mutants(path, text)
        elif "/tasks/" in path:
            mutants += role_tasks(path, text)
        elif path.startswith("playbooks/") or "/vars/" in path:
            mutants += YamlMutants(path, text).found
    return mutants


def stop(processes):
    """Kills the racks; each is a process group."""
    for process in processes:
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
        process.wait()


def unit_tests_notice(collection):
    place = SCRATCH / "collections/ansible_collections/nvmepcissd"
    place.mkdir(parents=True)
    (place / "fleet").symlink_to(collection)
    try:
        return subprocess.run(["/usr/bin/python3", SOURCE / "tests/fleet/modules_test.py", SCRATCH / "collections", "-f"],
                              check=False, capture_output=True, timeout=SECONDS).returncode != 0
    except subprocess.TimeoutExpired:
        return True


def racks_notice(collection, racks):
    """The name of the first test that fails; empty when all pass."""
    environment, processes = {**os.environ, "FLEET_COLLECTION": str(collection)}, []
    logs = [SCRATCH / f"{rack}.log" for rack, *_ in racks]
    try:
        for (rack, *tests), log in zip(racks, logs):
            with open(log, "w") as output:
                processes.append(subprocess.Popen(
                    ["/usr/bin/python3", SOURCE / f"tests/fleet/{rack}_test.py", SOURCE, BUILD, "-v", "-f", *tests], env=environment,
                    stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, start_new_session=True))
        end = time.monotonic() + SECONDS
        while any(process.poll() is None for process in processes) and not any(process.poll() for process in processes):
            if time.monotonic() > end:
                return "time"
            time.sleep(0.5)
        for process, log in zip(processes, logs):
            if process.poll():
                return (re.findall(r"^(?:FAIL|ERROR): (\w+)", log.read_text(), re.MULTILINE) or ["the rack"])[0]
        return ""
    finally:
        stop(processes)


def noticed_by(mutant):
    shutil.rmtree(SCRATCH, ignore_errors=True)
    collection = SCRATCH / "fleet"
    shutil.copytree(SOURCE / "fleet", collection)
    (collection / mutant.path).write_text(mutant.text)
    if mutant.path.endswith(".py") and unit_tests_notice(collection):
        return "unit tests"
    return racks_notice(collection, next(racks for prefix, racks in RACKS if mutant.path.startswith(prefix)))


def main():
    mutants = all_mutants()
    if sys.argv[3] == "list":
        print(*mutants, sep="\n")
        return 0
    if sys.argv[3] != "all":
        mutants = random.Random(int(sys.argv[3])).sample(mutants, SAMPLE)
    journal = json.loads(JOURNAL.read_text()) if JOURNAL.exists() else {}
    survivors = []
    for mutant in mutants:
        begun = time.monotonic()
        is_excused = mutant.key in EXCUSED
        if not is_excused and not journal.get(mutant.digest()):
            journal[mutant.digest()] = noticed_by(mutant)
            JOURNAL.write_text(json.dumps(journal, indent=1))
        noticed = journal.get(mutant.digest())
        if not noticed and not is_excused:
            survivors.append(mutant)
        outcome = "excused" if is_excused else f"noticed by {noticed}" if noticed else "SURVIVED"
        print(f"{outcome} ({time.monotonic() - begun:.0f} s): {mutant}", flush=True)
    print(f"{len(mutants)} mutants, {len(survivors)} survived")
    print(*survivors, sep="\n")
    return 1 if survivors else 0


if __name__ == "__main__":
    sys.exit(main())
