"""The modules of the collection by themselves, on answers of the tool."""

import importlib
import json
import os
import stat
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from unittest import mock

sys.path.insert(0, sys.argv[1])  # the folder of ansible_collections
COLLECTION = Path(sys.argv[1]) / "ansible_collections/nvmepcissd/fleet"
PLUGINS = "ansible_collections.nvmepcissd.fleet.plugins"
tool = importlib.import_module(f"{PLUGINS}.module_utils.tool")
report = importlib.import_module(f"{PLUGINS}.modules.nvme_firmware_report")
BOOT, EARLIER = tool.boot_id(), "00000000-0000-0000-0000-000000000000"


def drive(state, **keys):
    return {"serial": f"SN-{state}", "name": "Sample", "model": None, "address": "1:0.0", "before": "REV1", "after": None,
            "wanted": "REV2", "state": state, "reason": f"why {state}", **keys}


def answer(*states, **keys):
    return {"format": "nvmepcissd-verdict", "version": 1, "run": "one", "outcome": "done", "exitStatus": 0, "reasons": [],
            "bootId": BOOT, "drives": [drive(state) for state in states], **keys}


class StateTest(unittest.TestCase):
    def test_a_server_is_in_the_worst_state_of_its_drives(self):
        for states, expected in (
                (["updated", "current"], "done"), (["updated", "staged"], "staged"), (["staged", "unchanged"], "undecided"),
                (["unchanged", "refused"], "refused"), (["refused", "unhealthy"], "unhealthy"),
                (["unhealthy", "untouched"], "interrupted"), (["untouched", "undecided"], "undecided"),
                (["undecided", "stale"], "stale"), (["stale", "failed"], "failed"), (["updated", "missing"], "failed"),
                (["flash", "current"], "waiting")):
            with self.subTest(states):
                self.assertEqual(tool.state_of(answer(*states)), expected)
                self.assertEqual(tool.state_of(answer(*reversed(states))), expected)

    def test_the_outcome_decides_where_drives_do_not(self):
        self.assertEqual(tool.state_of(answer("updated", outcome="running")), "running")
        self.assertEqual(tool.state_of(answer(outcome="refused")), "refused")
        self.assertEqual(tool.state_of(answer(outcome="undecided")), "undecided")
        for states, expected in ((["current"], "refused"), (["flash", "staged"], "refused"), (["untouched"], "refused"),
                                 (["untouched", "refused"], "interrupted"), (["untouched", "failed"], "failed")):
            self.assertEqual(tool.state_of(answer(*states, outcome="refused")), expected)

    def test_a_run_that_was_cut_off_is_interrupted_unless_a_drive_has_failed(self):
        for states, expected in (([], "interrupted"), (["updated", "undecided", "untouched"], "interrupted"),
                                 (["staged", "untouched"], "interrupted"), (["undecided", "failed"], "failed"),
                                 (["undecided", "missing"], "failed"), (["undecided", "stale"], "stale")):
            self.assertEqual(tool.state_of(answer(*states, outcome="undecided", interrupted=True)), expected, states)
        self.assertEqual(tool.state_of(answer("undecided", outcome="undecided", interrupted=False)), "undecided")

    def test_a_run_that_was_cut_off_and_turned_out_well_is_not_interrupted(self):
        self.assertEqual(tool.state_of(answer("updated", "current", interrupted=True)), "done")
        self.assertEqual(tool.state_of(answer("updated", "staged", interrupted=True)), "staged")

    def test_what_was_unchanged_is_stale_after_its_reset(self):
        self.assertEqual(tool.state_of(answer("unchanged", "updated", bootId=EARLIER)), "stale")
        self.assertEqual(tool.state_of(answer("unchanged", "undecided", bootId=EARLIER)), "undecided")

    def test_a_reboot_is_owed_only_in_the_boot_of_the_flash_and_when_nothing_failed(self):
        for states, keys, owed in (
                (["staged", "updated"], {}, True), (["unchanged"], {}, True), (["unchanged", "refused"], {}, True),
                (["updated"], {}, False), (["staged", "failed"], {}, False), (["staged", "undecided"], {}, False),
                (["staged"], {"bootId": EARLIER}, False), (["staged"], {"outcome": "running"}, False)):
            with self.subTest(states, **keys):
                self.assertEqual(tool.owes_reboot(answer(*states, **keys)), owed)

    def test_the_reason_names_the_first_drive_and_leaves_warnings_out(self):
        told = answer("updated", "failed", "failed", reasons=["warning: never mind", "a note", "b", "c"])
        self.assertEqual(tool.summary(told)["reason"], "2 of 3 drives; SN-failed: why failed; a note; b; and 1 more")
        told = answer("failed", reasons=["y failed", "a note", "note"])
        self.assertEqual(tool.summary(told)["reason"], "1 of 1 drives; SN-failed: why failed; a note", "nothing is told twice")
        self.assertEqual(tool.summary(answer("updated"))["reason"], "")
        told = dict(answer(), drives=[drive("failed", serial=None), drive("failed", serial=None, address=None)])
        self.assertEqual(tool.summary(told)["reason"], "2 of 2 drives; 1:0.0: why failed")
        told = dict(answer(), drives=[drive("failed", serial=None, address=None)])
        self.assertEqual(tool.summary(told)["reason"], "1 of 1 drives; a drive: why failed")
        told = answer("unchanged", "updated", bootId=EARLIER)
        self.assertEqual(tool.summary(told)["reason"], "1 of 2 drives; SN-unchanged: why unchanged", "it is stale")
        progress = {"drive": 2, "of": 8, "seconds": 40}
        self.assertEqual(tool.summary(answer("flash", outcome="running", progress=progress))["reason"], "drive 2 of 8, 40 s")


class CallTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.tool = Path(folder.name) / "tool"
        self.enterContext(mock.patch("os.geteuid", return_value=0))

    def call(self, script, **keys):
        self.tool.write_text("#!/bin/sh\n" + script)
        self.tool.chmod(stat.S_IRWXU)
        return tool.call(str(self.tool), ["plan", "/component"], **keys)

    def test_the_policy_goes_to_standard_input(self):
        told = self.call(f"cat >$0.in; echo '{json.dumps(answer('current'))}'; exit 4", policy={"models": []})
        self.assertEqual(told["drives"][0]["state"], "current")
        self.assertEqual(json.loads(Path(f"{self.tool}.in").read_text()), {"models": []})

    def test_what_is_no_answer_is_refused_with_a_remedy(self):
        for script, expected in (
                ("echo 'DIR: is missing' >&2; exit 2", "ended with 2 and without an answer: DIR: is missing"),
                ("echo '-:7: to is missing' >&2; exit 2", "the policy: line 7 of it as JSON: to is missing"),
                ("exit 1", "is it another release"), ("echo null", "without an answer"), ("echo '{}'", "without an answer"),
                (f"echo '{json.dumps(answer(version=2))}'", "install the release")):
            with self.subTest(script), self.assertRaisesRegex(tool.Refusal, expected):
                self.call(script)
        with self.assertRaisesRegex(tool.Refusal, "install the package nvmepcissd"):
            tool.call("/nonexistent/tool", [])
        with mock.patch("os.geteuid", return_value=1000), self.assertRaisesRegex(tool.Refusal, "ansible_become"):
            tool.call("/bin/true", [])


class ModuleTest(unittest.TestCase):
    """The modules as Ansible runs them, with a tool that notes its arguments and gives one answer."""

    MODEL = {"pci": {"vendor": "1", "device": "2", "subVendor": "3", "subDevice": "4"}, "to": "REV2", "payload": "P",
             "sha256": "0" * 64}

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def module(self, module, told=None, **arguments):
        tool_path = self.folder / "tool"
        tool_path.write_text(f"#!/bin/sh\necho \"$*\" >$0.words\ncat >$0.in\necho '{json.dumps(told)}'\n")
        tool_path.chmod(stat.S_IRWXU)
        (self.folder / "tool.words").unlink(missing_ok=True)
        arguments.setdefault("tool", str(tool_path))
        given = self.folder / "arguments"
        given.write_text(json.dumps({"ANSIBLE_MODULE_ARGS": arguments}))
        ended = subprocess.run(["/usr/bin/python3", COLLECTION / f"plugins/modules/{module}.py", given], check=False,
                               capture_output=True, text=True, env={**os.environ, "PYTHONPATH": sys.argv[1]})
        words = self.folder / "tool.words"
        return json.loads(ended.stdout or "{}"), words.read_text().strip() if words.exists() else None

    def test_a_plan_shows_revisions_and_begins_nothing(self):
        drives = [drive("flash", serial="S1"), drive("current", serial=None, name=None, model="M", wanted=None),
                  drive("refused", serial=None, address=None, name=None, before=None)]
        for keys in ({"action": "plan"}, {"action": "begin", "run": "r", "_ansible_check_mode": True}):
            told, words = self.module("nvme_firmware", dict(answer(), drives=drives), policy={"models": [self.MODEL]}, **keys)
            self.assertEqual(words, "plan /usr/libexec/nvmepcissd --policy - --json")
            self.assertEqual((told["state"], told["changed"]), ("refused", True))
            self.assertEqual(told["diff"], {"before": "S1 Sample REV1\n1:0.0 M REV1\nNone unknown\n",
                                            "after": "S1 Sample REV2\n1:0.0 M REV1\nNone unknown\n"})
            self.assertEqual(json.loads((self.folder / "tool.in").read_text()),
                             {"models": [self.MODEL], "inUse": "redundant"}, "what is not given is not told")
        told, _ = self.module("nvme_firmware", answer("current"), action="plan", policy={"models": [self.MODEL]})
        self.assertFalse(told["changed"])

    def test_a_run_is_begun_and_joined(self):
        begin = {"action": "begin", "run": "r", "policy": {"models": [dict(self.MODEL, **{"from": ["REV1"]})]}}
        told, words = self.module("nvme_firmware", answer("flash", outcome="running"), **begin)
        self.assertEqual(words, "update /usr/libexec/nvmepcissd --run r --policy - --yes --begin --json")
        self.assertEqual((told["state"], told["changed"], "diff" in told), ("running", True, False))
        self.assertFalse(self.module("nvme_firmware", answer("updated"), **begin)[0]["changed"])
        begin["policy"]["models"][0]["to"] = "REV3"
        told, _ = self.module("nvme_firmware", answer("updated"), **begin)
        self.assertEqual((told["state"], told["reason"]), ("refused", "the run r was begun for REV2, and the policy has REV3 now: "
                                                           "give this rollout another name"))
        told, words = self.module("nvme_firmware", answer("updated"), action="join", run="no-such-run", wait=7)
        self.assertEqual((words, told["state"]), ("result no-such-run --wait 7 --json", "done"))
        told, words = self.module("nvme_firmware", answer(run=None, outcome="undecided"), action="join", run="no-such-run")
        self.assertEqual((told["state"], told["reason"]), ("waiting", "it has not begun"))
        self.assertEqual(self.module("nvme_firmware", answer("updated"), action="join")[1], "result --wait 0 --json")

    def test_objections_are_told_before_the_tool_is_called(self):
        for keys, expected in (({"run": "../x"}, '"../x"'), ({"run": "a\n"}, "64 letters"),
                               ({"run": "r", "objections": ["one", "two"]}, "one; two")):
            for action in ("begin", "join"):
                told, words = self.module("nvme_firmware", answer("updated"), action=action,
                                          policy={"models": [self.MODEL]}, **keys)
                self.assertEqual((told["failed"], told["state"], words), (True, "refused", None))
                self.assertIn(expected, told["msg"])
        told, _ = self.module("nvme_firmware", None, action="join", run="r")
        self.assertEqual((told["failed"], told["state"]), (True, "undecided"))

    def test_drives_are_listed_by_the_component_or_the_kernel(self):
        self.assertEqual(self.module("nvme_firmware_info", answer("current"))[1], "drives --json")
        self.assertEqual(self.module("nvme_firmware_info", answer("current"), component="/c")[1], "inventory /c --json")

    def test_a_report_is_written_whatever_is_missing(self):
        servers = {"b": {"state": "lost", "reason": "no\r\n answer "}, "a": {"state": "failed", "drives": [drive("failed")]},
                   "c": dict(answer("updated"), state="done")}
        keys = {"name": "n", "servers": servers}
        new = self.folder / "new"
        told, _ = self.module("nvme_firmware_report", folder=str(new), _ansible_check_mode=True, **keys)
        self.assertEqual((told["ill"], told["files"], new.exists()), (2, [], False))
        for tool_path, expected in (("/no/tool", "is not installed"), (None, "no page: ")):
            told, _ = self.module("nvme_firmware_report", folder=str(new), **keys, **({"tool": tool_path} if tool_path else {}))
            self.assertEqual(told["summary"][:3], ["n: 3 servers: 1 done, 1 failed, 1 lost", "a: failed", "b: lost: no answer"])
            self.assertIn(expected, told["summary"][3])
            self.assertEqual([Path(file).name for file in told["files"]], ["report.json", "metrics.prom"])
        written = json.loads((new / "report.json").read_text())
        self.assertEqual([written["counts"], [each["server"] for each in written["servers"]]],
                         [{"done": 1, "failed": 1, "lost": 1}, ["a", "b", "c"]])
        for state, then in (("interrupted", "interrupted"), ("running", "interrupted"), ("staged", "lost")):
            servers["b"].update(state=state)
            self.module("nvme_firmware_report", folder=str(new), **keys)
            servers["b"].update(state="lost")
            told, _ = self.module("nvme_firmware_report", folder=str(new), **keys)
            self.assertEqual(told["counts"], {"done": 1, "failed": 1, then: 1})
        servers["b"].update(state="lost", drives=[drive("staged")])
        (new / "report.json").write_text('{"servers": [{"server": "b", "state": "running"}]}')
        self.assertEqual(self.module("nvme_firmware_report", folder=str(new), **keys)[0]["counts"]["lost"], 1, "it had answered")
        (new / "report.json").write_text('{"servers": [1')
        del servers["b"]["drives"]
        lacks = self.folder / "lacks"
        lacks.write_text("#!/bin/sh\ntouch $4\necho a.json: is broken >&2\nexit 1\n")
        lacks.chmod(stat.S_IRWXU)
        told, _ = self.module("nvme_firmware_report", folder=str(new), tool=str(lacks), **keys)
        self.assertIn("the page lacks servers: ", told["summary"][3])
        self.assertIn("ended with 1: a.json: is broken", told["summary"][3])
        self.assertEqual([Path(file).name for file in told["files"]], ["report.json", "metrics.prom", "report.html"])
        told, _ = self.module("nvme_firmware_report", folder=str(self.folder / "tool/below"), **keys)
        self.assertEqual((told["failed"], told["ill"], told["counts"]["lost"]), (True, 2, 1))

    def test_a_server_without_an_answer_has_its_place_on_the_page(self):
        self.assertEqual(report.verdict_of({"state": "lost", "reason": ""}, []), {
            "format": "nvmepcissd-verdict", "version": 1, "run": None, "bootId": None, "outcome": "undecided", "exitStatus": 3,
            "reasons": ["lost"], "drives": []})
        told = report.verdict_of(dict(answer("failed", outcome="failed"), state="failed", reason="why"), ["done", "waiting"])
        self.assertEqual((told["outcome"], told["reasons"], len(told["drives"])), ("failed", ["failed: why"], 1))
        told = report.verdict_of(dict(answer("updated"), state="done", reason=""), ["done", "waiting"])
        self.assertEqual((told["reasons"], len(told["drives"])), ([], 1))
        self.assertEqual(report.verdict_of({"state": "waiting"}, ["done", "waiting"])["reasons"], ["waiting"])


class InstallTest(unittest.TestCase):
    def test_packages_go_to_the_package_manager_of_their_kind(self):
        """What the tasks of the role make of a list of packages, without a machine that has dnf."""
        # Only now: these change where collections are imported from.
        from ansible.parsing.dataloader import DataLoader
        from ansible.template import Templar
        tasks = DataLoader().load_from_file(str(COLLECTION / "roles/install/tasks/main.yml"))
        packages = [{"file": f"/files/{name}"} for name in ("a.deb", "b.rpm", "deb.rpm", "c.rpm")]
        given = {}
        for task in tasks:
            templar = Templar(DataLoader(), variables={"install_packages": packages, "install_staging": "/staging"})
            for manager in ("ansible.builtin.apt", "ansible.builtin.dnf"):
                for item in templar.template(task["loop"]) if manager in task else []:
                    templar.available_variables["item"] = item
                    given.setdefault(manager, []).append(templar.template(task[manager]))
        self.assertEqual(given, {
            "ansible.builtin.apt": [{"deb": "/staging/a.deb"}],
            "ansible.builtin.dnf": [{"name": f"/staging/{name}", "disable_gpg_check": True}
                                    for name in ("b.rpm", "deb.rpm", "c.rpm")]})
        documented = subprocess.run(["ansible-doc", "-j", "ansible.builtin.dnf"], check=True, capture_output=True).stdout
        options = json.loads(documented)["ansible.builtin.dnf"]["doc"]["options"]
        self.assertLessEqual(set(given["ansible.builtin.dnf"][0]), set(options))


class ReportTest(unittest.TestCase):
    def test_servers_are_counted_and_sorted(self):
        servers = {"srv10": {"state": "lost"}, "srv2": {"state": "done", "drives": [drive("updated")]}}
        self.assertEqual(report.counts_of(servers), [("done", 1), ("lost", 1)])
        self.assertEqual(sorted(servers, key=report.natural), ["srv2", "srv10"])
        self.assertEqual(sorted(["a", "1", "a1b", ""], key=report.natural), ["", "1", "a", "a1b"])

    def test_metrics_hold_for_both_parsers(self):
        from prometheus_client.openmetrics.parser import text_string_to_metric_families
        text = report.metrics_of('a"b\\c\n', {"srv1": {"state": "done", "drives": [drive("updated"), drive(None)]},
                                              "srv2": {"state": "lost"}})
        families = {family.name: family.samples for family in text_string_to_metric_families(text)}
        self.assertEqual({sample.labels["run"] for sample in families["nvmepcissd_fleet_server_state"]}, {'a"b\\c\n'})
        self.assertEqual([sample.labels["state"] for sample in families["nvmepcissd_fleet_server_drives"]],
                         ["listed", "updated"])
        subprocess.run(["promtool", "check", "metrics"], input=text, text=True, check=True, capture_output=True)


if __name__ == "__main__":
    os.environ.setdefault("LC_ALL", "C.UTF-8")
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
