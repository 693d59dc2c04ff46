#!/usr/bin/python

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: nvme_firmware_report
short_description: Write down where every server of a fleet is
version_added: 1.1.0
author:
  - NVMe PCIe SSD component maintainers (@nvmepcissd)
description:
  - Writes what the other modules returned for many servers into one folder of the control machine.
  - C(report.json) has everything, C(metrics.prom) is for a node exporter's folder of text files, and C(report.html) is the
    page of C(nvmepcissd-tool report), where the control machine has that command.
  - Each file is replaced in one step.
options:
  folder:
    description: The folder, made if missing.
    type: path
    required: true
  name:
    description: What the report is about, such as the name of the rollout.
    type: str
    required: true
  servers:
    description: By name of the server, what M(nvmepcissd.fleet.nvme_firmware) returned.
    type: dict
    required: true
  well:
    description: The states of servers that need no look.
    type: list
    elements: str
    default: [done, staged, waiting, running]
  tool:
    description: The command that makes the page.
    type: str
    default: nvmepcissd-tool
attributes:
  check_mode:
    description: Nothing is written.
    support: full
  diff_mode:
    description: The files are not shown.
    support: none
seealso:
  - module: nvmepcissd.fleet.nvme_firmware
"""

EXAMPLES = r"""
- name: Write the report
  nvmepcissd.fleet.nvme_firmware_report:
    folder: /srv/reports/rollout-7
    name: rollout-7
    servers: "{{ states_by_server }}"
  delegate_to: localhost
  run_once: true
"""

RETURN = r"""
counts:
  description: How many servers are in each state.
  returned: always
  type: dict
  sample: {done: 5, lost: 1}
ill:
  description: How many servers are in a state that is not in O(well).
  returned: always
  type: int
summary:
  description: The counts in one line, and then a line for each server that needs a look.
  returned: always
  type: list
  elements: str
files:
  description: The files that were written.
  returned: always
  type: list
  elements: str
"""

import json
import os
import shutil
import tempfile

from ansible.module_utils.basic import AnsibleModule

STATES = ("done", "staged", "waiting", "running", "failed", "stale", "undecided", "interrupted", "lost", "unhealthy",
          "refused")


def counts_of(servers):
    found = [server["state"] for server in servers.values()]
    order = STATES + tuple(sorted(set(found) - set(STATES)))
    return [(state, found.count(state)) for state in order if state in found]


def natural(name):
    """srv2 comes before srv10."""
    parts = [""]
    for each in name:
        if each.isdigit() != parts[-1].isdigit():
            parts.append("")
        parts[-1] += each
    return [(1, int(part), "") if part.isdigit() else (0, 0, part) for part in parts]


def line_of(name, server):
    return ": ".join(each for each in (name, server["state"], " ".join((server.get("reason") or "").split())) if each)


def label(text):
    return str(text).replace("\\", "\\\\").replace('"', '\\"').replace("\n", "\\n")


def gauge(name, told, samples):
    lines = ["# HELP %s %s" % (name, told), "# TYPE %s gauge" % name]
    for labels, value in samples:
        pairs = ",".join('%s="%s"' % (key, label(text)) for key, text in labels)
        lines.append("%s{%s} %d" % (name, pairs, value))
    return lines


def json_of(run, servers):
    """A line for each server, for grep and because indented JSON takes three times as long."""
    head = json.dumps({"format": "nvmepcissd-fleet", "version": 1, "run": run, "counts": dict(counts_of(servers))})
    lines = [json.dumps(dict(servers[each], server=each)) for each in sorted(servers, key=natural)]
    return head[:-1] + ', "servers": [\n' + ",\n".join(lines) + "\n]}\n"


def metrics_of(run, servers):
    drives = []
    for name in sorted(servers, key=natural):
        found = [drive["state"] or "listed" for drive in servers[name].get("drives") or []]
        drives += [((("run", run), ("server", name), ("state", state)), found.count(state)) for state in sorted(set(found))]
    lines = gauge("nvmepcissd_fleet_servers", "Servers of a rollout by state.",
                  [((("run", run), ("state", state)), dict(counts_of(servers)).get(state, 0)) for state in STATES])
    lines += gauge("nvmepcissd_fleet_server_state", "1 for the state that a server is in.",
                   [((("run", run), ("server", name), ("state", servers[name]["state"])), 1)
                    for name in sorted(servers, key=natural)])
    lines += gauge("nvmepcissd_fleet_server_drives", "Drives of a server by state.", drives)
    return "\n".join(lines + ["# EOF", ""])


def verdict_of(server, well):
    """What the page is made of. A server that did not answer still has its place in it."""
    reasons = []
    if server["state"] not in well or not server.get("drives"):
        reasons.append(": ".join(each for each in (server["state"], server.get("reason")) if each))
    return {"format": "nvmepcissd-verdict", "version": 1, "run": server.get("run"), "bootId": server.get("boot_id"),
            "outcome": server.get("outcome") or "undecided", "exitStatus": 3, "reasons": reasons,
            "drives": server.get("drives") or []}


def with_memory(servers, folder):
    """A server that does not answer at all stays interrupted, when contact with it broke off while it flashed."""
    try:
        with open(os.path.join(folder, "report.json")) as source:
            before = dict((server["server"], server["state"]) for server in json.load(source)["servers"])
    except (IOError, OSError, ValueError, KeyError, TypeError):
        before = {}  # there is no earlier report, or nobody can read it
    found = dict(servers)
    for name, server in servers.items():
        if server["state"] == "lost" and not server.get("drives") and before.get(name) in ("interrupted", "running"):
            found[name] = dict(server, state="interrupted",
                               reason="it was being flashed when contact broke off: %s" % (server.get("reason") or "no answer"))
    return found


class Report:
    def __init__(self, module):
        self.module = module
        self.folder = module.params["folder"]
        self.files = []

    def write(self, name, text):
        scratch = os.path.join(self.module.tmpdir, name)
        with open(scratch, "wb") as target:
            target.write(text.encode("utf-8"))
        self.keep(scratch, name)

    def keep(self, scratch, name):
        path = os.path.join(self.folder, name)
        self.module.atomic_move(scratch, path)
        self.files.append(path)

    def write_page(self, servers):
        """Returns why there is no page, or what is missing on it; empty when all is well."""
        tool = self.module.get_bin_path(self.module.params["tool"])
        if tool is None:
            return "no page: %s is not installed on the control machine" % self.module.params["tool"]
        scratch = tempfile.mkdtemp(dir=self.module.tmpdir)
        try:
            for name, server in servers.items():
                with open(os.path.join(scratch, name.replace("/", "_") + ".json"), "w") as target:
                    json.dump(verdict_of(server, self.module.params["well"]), target)
            page = os.path.join(self.module.tmpdir, "report.html")
            status, output, errors = self.module.run_command([tool, "report", ".", "-o", page], cwd=scratch)
            has_page = os.path.exists(page)
            if has_page:
                self.keep(page, "report.html")
            if status != 0 or not has_page:
                return "%s: %s report ended with %d: %s" % ("the page lacks servers" if has_page else "no page", tool, status,
                                                            " ".join(errors.split())[:300])
        finally:
            shutil.rmtree(scratch)
        return ""


def main():
    module = AnsibleModule(
        argument_spec={
            "folder": {"type": "path", "required": True},
            "name": {"type": "str", "required": True},
            "servers": {"type": "dict", "required": True},
            "well": {"type": "list", "elements": "str", "default": ["done", "staged", "waiting", "running"]},
            "tool": {"type": "str", "default": "nvmepcissd-tool"},
        },
        supports_check_mode=True)
    servers, name = with_memory(module.params["servers"], module.params["folder"]), module.params["name"]
    counts = counts_of(servers)
    ill = sum(number for state, number in counts if state not in module.params["well"])
    summary = ["%s: %d servers: %s" % (name, len(servers), ", ".join("%d %s" % (n, state) for state, n in counts))]
    summary += [line_of(each, servers[each]) for each in sorted(servers, key=natural)
                if servers[each]["state"] not in module.params["well"]]
    report = Report(module)
    if not module.check_mode:
        try:
            if not os.path.isdir(report.folder):
                os.makedirs(report.folder)
            report.write("report.json", json_of(name, servers))
            report.write("metrics.prom", metrics_of(name, servers))
            summary += [line for line in [report.write_page(servers)] if line]
        except (IOError, OSError) as error:
            module.fail_json(msg="the report cannot be written into %s: %s" % (report.folder, error), counts=dict(counts),
                             ill=ill, summary=summary, files=report.files)
    module.exit_json(changed=False, counts=dict(counts), ill=ill, summary=summary, files=report.files)


if __name__ == "__main__":
    main()
