"""Calls of nvmepcissd-tool, and what its answers come to for a whole server."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import json
import os
import re
import subprocess

FORM = ("nvmepcissd-verdict", 1)

# The state of a server is the first of these that one of its drives asks for.
STATES = (
    ("failed", ("failed", "missing")),
    ("stale", ("stale",)),
    ("undecided", ("undecided",)),
    ("interrupted", ("untouched",)),
    ("unhealthy", ("unhealthy",)),
    ("refused", ("refused",)),
    ("undecided", ("unchanged", None)),
    ("staged", ("staged",)),
    ("waiting", ("flash",)),
    ("done", ("updated", "current")),
)
AWAIT_RESET = ("staged", "unchanged")
TOUCHABLE = AWAIT_RESET + ("updated", "current", "refused", "unhealthy")


class Refusal(Exception):
    """There is no answer of the tool; the message says why, and what to do."""


def boot_id():
    with open("/proc/sys/kernel/random/boot_id") as source:
        return source.read().strip()


def call(tool, arguments, policy=None):
    """The tool's answer, as a dictionary in the form of a verdict. `policy` goes to its standard input."""
    if os.geteuid() != 0:
        raise Refusal("firmware belongs to root: let Ansible become root on this server (ansible_become)")
    words = [tool] + arguments + ["--json"]
    text = json.dumps(policy, indent=2) if policy is not None else ""
    try:
        process = subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    except OSError as error:
        raise Refusal("%s: %s: install the package nvmepcissd on this server" % (tool, error.strerror))
    output, errors = process.communicate(text.encode("utf-8"))
    return understood(words, process.returncode, output.decode("utf-8", "replace"), errors.decode("utf-8", "replace"))


def understood(words, status, output, errors):
    """The answer, once it is sure that the tool speaks the form that this collection knows."""
    try:
        answer = json.loads(output)
        form = (answer["format"], answer["version"])
    except (ValueError, TypeError, KeyError):
        if errors.startswith("-:"):
            raise Refusal("the policy: " + re.sub(r"-:(\d+)", r"line \1 of it as JSON", " ".join(errors.split())))
        raise Refusal("%s ended with %d and without an answer: %s"
                      % (" ".join(words[:2]), status, " ".join(errors.split()) or "no message; is it another release?"))
    if form != FORM:
        raise Refusal("%s answers in the form %s %s, and this collection knows %s %s: install the release of the tool "
                      "that the collection came with" % ((words[0],) + form + FORM))
    return answer


def state_of(answer):
    """One word for the server, from the states of its drives."""
    flashed_before = answer["bootId"] is not None and answer["bootId"] != boot_id()
    if answer["outcome"] == "running":
        return "running"
    found = [drive["state"] for drive in answer["drives"]]
    state = next((name for name, members in STATES if any(each in members for each in found)), None)
    # The same command takes up a run that was cut off, unless that run turned out well all the same.
    if answer.get("interrupted") and answer["outcome"] != "done" and state not in ("failed", "stale"):
        return "interrupted"
    if state is None:
        return "refused" if answer["outcome"] == "refused" else "undecided"
    if state == "undecided" and flashed_before and "undecided" not in found:
        return "stale"  # what was unchanged had its reset
    # The whole run was refused, for a reason that is no drive's.
    no_drives = not any(each in ("refused", "unhealthy") for each in found)
    if answer["outcome"] == "refused" and (no_drives and state == "interrupted" or state in ("waiting", "done", "staged")):
        return "refused"
    return state


def owes_reboot(answer):
    """True when a reset would bring a drive new firmware, and nothing speaks against it."""
    found = [drive["state"] for drive in answer["drives"]]
    return (answer["outcome"] != "running" and answer["bootId"] == boot_id()
            and any(each in AWAIT_RESET for each in found) and all(each in TOUCHABLE for each in found))


def reason_of(answer, state):
    """One line for a person: why the server is in this state. Empty where there is nothing to add."""
    if answer.get("progress"):
        return "drive %(drive)d of %(of)d, %(seconds)d s" % answer["progress"]
    if state == "done":
        return ""
    members = [each for name, all_of in STATES if name == state for each in all_of]
    if state == "stale":
        members += AWAIT_RESET
    drives = [drive for drive in answer["drives"] if drive["state"] in members]
    told = ["%s: %s" % (drive["serial"] or drive["address"] or "a drive", drive["reason"])
            for drive in drives if drive["reason"]]
    told = told[:1]
    for line in answer["reasons"]:
        if not line.startswith("warning: ") and not any(line in each for each in told):
            told.append(line)
    more = ["and %d more" % (len(told) - 3)] if len(told) > 3 else []
    count = ["%d of %d drives" % (len(drives), len(answer["drives"]))] if drives else []
    return "; ".join(count + told[:3] + more)


def summary(answer):
    """What the modules return of an answer."""
    state = state_of(answer)
    return {
        "state": state,
        "reason": reason_of(answer, state),
        "reboot_owed": owes_reboot(answer),
        "run": answer["run"],
        "boot_id": answer["bootId"],
        "outcome": answer["outcome"],
        "reasons": answer["reasons"],
        "drives": answer["drives"],
        "progress": answer.get("progress"),
    }


def revisions(drives, key):
    """A line for each drive, for --diff."""
    lines = ["%s %s %s" % (drive["serial"] or drive["address"], drive["model"] or drive["name"] or "",
                           drive[key] or drive["before"] or "unknown") for drive in drives]
    return "".join(" ".join(line.split()) + "\n" for line in lines)
