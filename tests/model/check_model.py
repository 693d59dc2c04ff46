#!/usr/bin/env python3
"""Runs the executable in generated worlds and compares all that it does with what the model predicts.

Exit status 0: they agree in every scenario. A disagreement prints the scenario's seed; --seed SEED --count 1 runs that
one alone, --keep leaves its folder.
"""

import argparse
import concurrent.futures
import difflib
import functools
import json
import os
import pprint
import random
import re
import shutil
import subprocess
import sys
import tempfile

from prediction import Run
from scenarios import generate
from world import Stage, World

STAMP = re.compile(r"^\[\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\] : ( *[\w./]+):([ \d]{4}\d): ", re.MULTILINE)
INPUTS = {"scenario.json", "rollback.json", "nvmepcissd", "librbkl.so.0", "fwkitinstall.sh", "libkvrpm.so", "libnvme.so",
          "libkvrpm64.so"}
# What a library without functions leaves when clang counts what is run.
COUNTS = "default.profraw"
CALLS = ("nvme-calls", "rollback-calls", "script-calls")
LIMIT_SECONDS = 60


def arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--program", required=True, help="folder with nvmepcissd and librbkl.so.0")
    parser.add_argument("--stage", required=True, help="folder with the simulator's libraries and script")
    parser.add_argument("--partial", required=True, help="a drive library that lacks an entry point")
    parser.add_argument("--count", type=int, default=300)
    parser.add_argument("--seed", type=int, default=None, help="of the first scenario; the others count on")
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("--keep", action="store_true", help="leave the folders of failed scenarios")
    return parser.parse_args()


def parts(options):
    stage = os.path.abspath(options.stage)
    program = os.path.abspath(options.program)
    return {"nvmepcissd": program + "/nvmepcissd", "librbkl.so.0": os.path.realpath(program + "/librbkl.so.0"),
            "libnvme.so": stage + "/libnvme.so", "libkvrpm.so": stage + "/libkvrpm.so",
            "fwkitinstall.sh": stage + "/fwkitinstall.sh", "partial": os.path.abspath(options.partial)}


def execute(stage, words):
    finished = subprocess.run([stage.program, *words], cwd=stage.working_folder, env=stage.environment(words),
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=LIMIT_SECONDS, check=False)
    return finished.returncode, finished.stdout.decode("latin-1"), finished.stderr.decode("latin-1")


def read(path):
    with open(path, "rb") as file:
        return file.read().decode("latin-1")


def unstamped(text):
    return STAMP.sub(r"\1: ", text)


def found_files(root):
    """Everything that lies in the world after a run but what was put there to be run."""
    found = {}
    for folder, _, names in os.walk(root):
        for name in names:
            path = os.path.join(folder, name)
            if name not in INPUTS and name not in CALLS and name not in ("nvme-state.json", COUNTS):
                found[path] = unstamped(read(path))
    return found


def found_calls(root):
    """What each library was asked, and forgets it."""
    calls = {}
    for name in CALLS:
        path = os.path.join(root, name)
        calls[name] = read(path).splitlines() if os.path.exists(path) else []
        if os.path.exists(path):
            os.unlink(path)
    return calls


def found_revisions(root):
    path = os.path.join(root, "nvme-state.json")
    return json.loads(read(path).encode("latin-1")) if os.path.exists(path) else {}


def predicted(world, words):
    world.working_folder = world.start_folder
    run = Run(world, words)
    status = run.perform()
    calls = {"nvme-calls": world.drives.calls[:], "rollback-calls": world.rollback.calls[:],
             "script-calls": world.script_log[:]}
    for log in (world.drives.calls, world.rollback.calls, world.script_log):
        log.clear()
    files = {path: content for path, content in world.files.items() if content is not None}
    revisions = {world.drives.text(address): revision for address, revision in world.revisions.items()}
    return {"status": status, "stdout": run.stdout, "files": files, "calls": calls, "revisions": revisions}


def observed(stage, words):
    status, stdout, stderr = execute(stage, words)
    return {"status": status, "stdout": stdout, "files": found_files(stage.root), "calls": found_calls(stage.root),
            "revisions": found_revisions(stage.root)}, stderr


def difference(expected, actual):
    def lines(value):
        if isinstance(value, str):
            return [repr(line) for line in value.splitlines(keepends=True)]
        return pprint.pformat(value, width=160).splitlines()

    for key in expected:
        if key == "files":
            for path in sorted({*expected[key], *actual[key]}):
                yield from compared(path, expected[key].get(path), actual[key].get(path), lines)
        else:
            yield from compared(key, expected[key], actual[key], lines)


def compared(name, expected, actual, lines):
    if expected != actual:
        yield from difflib.unified_diff(lines(expected), lines(actual), f"{name} (model)", f"{name} (executable)", lineterm="")


def check(seed, options):
    """The report of a disagreement, None when there is none."""
    scenario = generate(seed)
    root = os.path.realpath(tempfile.mkdtemp(prefix="nvmepcissd-model-"))
    report = None
    try:
        stage = Stage(root, scenario, parts(options))
        world = World(root, scenario)
        for number, words in enumerate(scenario["runs"]):
            expected = predicted(world, words)
            actual, stderr = observed(stage, words)
            if expected != actual:
                report = "\n".join((f"scenario with seed {seed}, run {number} of {scenario['runs']}:",
                                    *list(difference(expected, actual))[:60], "standard error:", stderr[-3000:]))
                break
    finally:
        if report is None or not options.keep:
            shutil.rmtree(root, ignore_errors=True)
        else:
            report += f"\nleft in {root}"
    return report


def workers(count):
    """Processes, not threads: while one of them copies an executable, no other may hold it open for writing in a child.
    Where there are no semaphores, as without /dev/shm, one thread looks at all."""
    try:
        return concurrent.futures.ProcessPoolExecutor(count)
    except OSError:
        return concurrent.futures.ThreadPoolExecutor(1)


def main():
    options = arguments()
    first = options.seed if options.seed is not None else random.SystemRandom().randrange(1_000_000_000)
    print(f"{options.count} scenarios from seed {first}", flush=True)
    failed = 0
    with workers(options.jobs) as pool:
        for report in pool.map(functools.partial(check, options=options), range(first, first + options.count)):
            if report is not None:
                failed += 1
                print(report, flush=True)
                if failed == 5:
                    print("and more are not looked at")
                    pool.shutdown(cancel_futures=True)
                    break
    print("the executable and the model agree" if failed == 0 else "they DISAGREE")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
