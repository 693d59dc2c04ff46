#!/usr/bin/python

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: nvme_firmware
short_description: Update the firmware of a server's NVMe SSDs
version_added: 1.1.0
author:
  - NVMe PCIe SSD component maintainers (@nvmepcissd)
description:
  - Plans, begins or joins one run of C(nvmepcissd-tool update) on the server.
  - The run belongs to the server. Neither a lost connection nor the end of Ansible reaches a drive that is being flashed,
    and no time limit ends a flash. The server keeps what it knows, so each action may be repeated.
  - New firmware is never activated while the server runs. A drive may need a reset, which this module leaves to others.
options:
  action:
    description:
      - V(plan) tells what an update would do, and touches nothing.
      - V(begin) starts the run in a session of its own and returns at once. It joins or resumes a run of that name, and
        flashes nothing twice. In check mode it does what V(plan) does.
      - V(join) waits up to O(wait) seconds for the end of the run and tells how it ended. After a reboot it takes a new
        inventory and completes the outcome.
    type: str
    choices: [plan, begin, join]
    required: true
  run:
    description:
      - Name of the run; up to 64 letters, digits, C(-), C(_) and C(.), beginning with a letter or a digit.
      - Required to begin. To join, the last run of the server is meant where no name is given.
    type: str
  component:
    description: The component folder on the server. Needed for V(plan) and V(begin).
    type: path
    default: /usr/libexec/nvmepcissd
  policy:
    description:
      - Which drives may be flashed, from and to which revisions, with which payload. Required to plan and to begin.
      - A drive of a model that is not listed is never touched.
    type: dict
    suboptions:
      models:
        description: The models of drives. No two may have the same ids and the same model number.
        type: list
        elements: dict
        required: true
        suboptions:
          pci:
            description: The four ids of the model, in hexadecimal.
            type: dict
            required: true
            suboptions:
              vendor:
                description: Vendor id.
                type: str
                required: true
              device:
                description: Device id.
                type: str
                required: true
              subVendor:
                description: Subsystem vendor id.
                type: str
                required: true
              subDevice:
                description: Subsystem id.
                type: str
                required: true
          model:
            description: The model number that drives with these ids must have, where they tell one.
            type: str
          to:
            description: The revision to run.
            type: str
            required: true
          from:
            description: The revisions to flash from. Without it, any.
            type: list
            elements: str
          payload:
            description: Name of the firmware file.
            type: str
            required: true
          sha256:
            description: SHA-256 checksum of the firmware file. The server compares it before anything begins.
            type: str
            required: true
      expectDrives:
        description: How many drives the server must have.
        type: int
      inUse:
        description:
          - What becomes of a drive that something uses. V(redundant) flashes it while every volume on it has another
            healthy leg, one leg a run.
        type: str
        choices: [refuse, redundant, allow]
        default: redundant
      serials:
        description: Only the drives with these serial numbers are flashed.
        type: list
        elements: str
  objections:
    description: What speaks against the run from where it is called. With any of them, the run is refused.
    type: list
    elements: str
    default: []
  wait:
    description: How many seconds V(join) waits for the end of the run.
    type: int
    default: 0
  tool:
    description: The command to call.
    type: path
    default: /usr/bin/nvmepcissd-tool
attributes:
  check_mode:
    description: Tells what would be flashed.
    support: full
  diff_mode:
    description: Shows serial number, model and revision of each drive before and after.
    support: full
seealso:
  - module: nvmepcissd.fleet.nvme_firmware_info
"""

EXAMPLES = r"""
- name: Begin
  nvmepcissd.fleet.nvme_firmware:
    action: begin
    run: rollout-7
    policy:
      models:
        - pci: {vendor: f101, device: a801, subVendor: f1a0, subDevice: "1001"}
          to: SMP90200
          from: [SMP10100, SMP10101]
          payload: SampleFirmware.bin
          sha256: ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad

- name: Wait for the outcome
  nvmepcissd.fleet.nvme_firmware:
    action: join
    run: rollout-7
    wait: 7200
"""

RETURN = r"""
state:
  description: The worst state of the server's drives, or V(running), or V(waiting) when the run has not begun.
  returned: always
  type: str
  sample: done
reason:
  description: Why, in one line.
  returned: always
  type: str
reboot_owed:
  description: Whether a drive has firmware that only a reset of this boot can bring, and nothing speaks against it.
  returned: always
  type: bool
run:
  description: Name of the run.
  returned: always
  type: str
boot_id:
  description: The boot of the server in which the run flashed.
  returned: always
  type: str
outcome:
  description: The outcome as the tool tells it.
  returned: always
  type: str
reasons:
  description: What the tool has to say about the run as a whole.
  returned: always
  type: list
  elements: str
drives:
  description: Every drive, as in the JSON of C(nvmepcissd-tool).
  returned: always
  type: list
  elements: dict
progress:
  description: Drive, number of drives and seconds, while the run goes on.
  returned: always
  type: dict
"""

import os
import re

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.nvmepcissd.fleet.plugins.module_utils.tool import (
    Refusal, call, revisions, summary)

RUNS = "/var/lib/nvmepcissd/runs"
NAME = re.compile(r"[A-Za-z0-9][A-Za-z0-9._-]{0,63}\Z")


def without_nothing(value):
    """The policy without the options that were not given: the tool reads it strictly."""
    if isinstance(value, dict):
        return dict((key, without_nothing(each)) for key, each in value.items() if each is not None)
    if isinstance(value, list):
        return [without_nothing(each) for each in value]
    return value


def objections_of(parameters):
    found = list(parameters["objections"])
    if parameters["run"] is not None and not NAME.match(parameters["run"]):
        found.append('the name of the run is "%s", and must have up to 64 letters, digits, "-", "_" and ".", and begin with '
                     "a letter or a digit" % parameters["run"])
    return found


def plan(parameters):
    answer = call(parameters["tool"], ["plan", parameters["component"], "--policy", "-"],
                  without_nothing(parameters["policy"]))
    result = summary(answer)
    result["changed"] = any(drive["state"] == "flash" for drive in answer["drives"])
    return result


def begin(parameters):
    answer = call(parameters["tool"],
                  ["update", parameters["component"], "--run", parameters["run"], "--policy", "-", "--yes", "--begin"],
                  without_nothing(parameters["policy"]))
    wanted = set(model["to"].strip() for model in parameters["policy"]["models"])
    others = set((drive["wanted"] or "").strip() for drive in answer["drives"]) - wanted - set([""])
    if others:
        raise Refusal("the run %s was begun for %s, and the policy has %s now: give this rollout another name"
                      % (parameters["run"], " and ".join(sorted(others)), " and ".join(sorted(wanted))))
    # A run that was over before is answered at once; one that begins, or is joined, goes on.
    return dict(summary(answer), changed=answer["outcome"] == "running")


def join(parameters):
    run = [parameters["run"]] if parameters["run"] else []
    answer = call(parameters["tool"], ["result"] + run + ["--wait", str(parameters["wait"])])
    result = dict(summary(answer), changed=False)
    if answer["run"] is None and not os.path.lexists(os.path.join(RUNS, *run)):
        result.update(state="waiting", reason="it has not begun")
    return result


def with_diff(result):
    after = [dict(drive, after=drive["wanted"] if drive["state"] == "flash" else drive["after"])
             for drive in result["drives"]]
    result["diff"] = {"before": revisions(result["drives"], "before"), "after": revisions(after, "after")}
    return result


def main():
    pci = dict((key, {"type": "str", "required": True}) for key in ("vendor", "device", "subVendor", "subDevice"))
    model = {
        "pci": {"type": "dict", "required": True, "options": pci},
        "model": {"type": "str"},
        "to": {"type": "str", "required": True},
        "from": {"type": "list", "elements": "str"},
        "payload": {"type": "str", "required": True},
        "sha256": {"type": "str", "required": True},
    }
    policy = {
        "models": {"type": "list", "elements": "dict", "required": True, "options": model},
        "expectDrives": {"type": "int"},
        "inUse": {"type": "str", "choices": ["refuse", "redundant", "allow"], "default": "redundant"},
        "serials": {"type": "list", "elements": "str"},
    }
    module = AnsibleModule(
        argument_spec={
            "action": {"type": "str", "choices": ["plan", "begin", "join"], "required": True},
            "run": {"type": "str"},
            "component": {"type": "path", "default": "/usr/libexec/nvmepcissd"},
            "policy": {"type": "dict", "options": policy},
            "objections": {"type": "list", "elements": "str", "default": []},
            "wait": {"type": "int", "default": 0},
            "tool": {"type": "path", "default": "/usr/bin/nvmepcissd-tool"},
        },
        required_if=[("action", "plan", ["policy"]), ("action", "begin", ["policy", "run"])],
        supports_check_mode=True)
    action, objections = module.params["action"], objections_of(module.params)
    try:
        if objections:
            raise Refusal("; ".join(objections))
        does_plan = action == "plan" or (action == "begin" and module.check_mode)
        result = plan(module.params) if does_plan else {"begin": begin, "join": join}[action](module.params)
    except Refusal as refusal:
        state = "undecided" if action == "join" and not objections else "refused"
        module.fail_json(msg=str(refusal), state=state, reason=str(refusal), drives=[], reasons=[str(refusal)],
                         reboot_owed=False, run=module.params["run"], boot_id=None, outcome=state, progress=None)
    module.exit_json(**(with_diff(result) if does_plan else result))


if __name__ == "__main__":
    main()
