"""Rollouts in which the servers stay up: states, gates, reports, and what is refused."""

import json
import os
import shutil
import subprocess

from fleet import COMPONENT, STOPPED, FleetTest, drive, main, policy, sha256_of

ALL_AT_ONCE = {"fleet_batches": [6]}


class RolloutTest(FleetTest):
    def test_canary_then_batches_and_a_second_run_changes_nothing(self):
        checked = self.play("update", "--check", "--diff", **ALL_AT_ONCE)
        self.assert_states(checked, "waiting")
        self.assertIn("-SIM1 Sample NVMe SSD S1 400GB 2.5in SMP10100\n", checked.text)
        self.assertIn("+SIM1 Sample NVMe SSD S1 400GB 2.5in SMP90200\n", checked.text)
        self.assert_flashed(0, 0, 0, 0, 0, 0)
        first = self.play(fleet_batches=[1, 2], fleet_soak=1)
        self.assert_states(first, "done")
        self.assertEqual([first.text.count("PLAY ["), first.text.count("Pausing for 1 sec")], [4, 3])
        self.assertEqual(len(first.changed()), 6)
        self.assert_flashed(2, 2, 2, 2, 2, 2)
        second = self.play(**ALL_AT_ONCE)
        self.assert_states(second, "done")
        self.assertEqual(second.changed(), [])
        self.assertEqual(self.play("update", "--check", **ALL_AT_ONCE).changed(), [])
        self.check_reports(first)
        other = self.play(update_policy=policy(to="SMP90300"), **ALL_AT_ONCE)
        self.assert_states(other, "refused", status=STOPPED)
        self.assertIn("was begun for SMP90200, and the policy has SMP90300 now: give this rollout another name", other.text)
        self.assert_flashed(2, 2, 2, 2, 2, 2)
        self.check_other_playbooks()
        self.shows("check mode", "a canary and batches", "a second run", "check mode after the rollout",
                   "another policy under the same name", "the control machine is reinstalled", "watch without a name", "inventory")

    def check_reports(self, play):
        self.assertEqual(play.report["counts"], {"done": 6})
        self.assertEqual([each["state"] for each in play.servers["srv004"]["drives"]], ["updated", "updated"])
        page = (play.folder / "report.html").read_text()
        self.assertTrue(all(server.name in page for server in self.rack.servers))
        metrics = (play.folder / "metrics.prom").read_text()
        self.assertIn(f'nvmepcissd_fleet_servers{{run="{self.run_name}",state="done"}} 6\n', metrics)
        subprocess.run(["promtool", "check", "metrics"], input=metrics, text=True, check=True, capture_output=True)

    def check_other_playbooks(self):
        """From a control machine that knows nothing."""
        subprocess.run(["rm", "-rf", self.rack.folder / "home", self.rack.folder / "fleet-reports"], check=True)
        (self.rack.folder / "home").mkdir()
        self.assert_states(self.play("report"), "done")
        watched = self.play("watch", update_run=None)
        self.assertIn('"srv006: done"', watched.text)
        inventory = self.play("inventory", name="inventory")
        self.assert_states(inventory, "done")
        self.assertEqual(inventory.servers["srv001"]["drives"][0]["before"], "SMP90200")
        self.assertEqual(inventory.changed(), [])

    def test_firmware_that_waits_for_a_reset(self):
        waits = {"updateResult": 267, "activation": "reset"}
        for server in self.rack.servers:
            self.set_drives(server, drive(1), drive(2, **waits))
        self.set_drives(self.server(2), drive(1, **waits), drive(2, **waits, goneAfter="reset"))
        self.set_drives(self.server(3), drive(1, **{**waits, "activation": "never"}), drive(2))
        self.set_drives(self.server(4), drive(1, **waits), drive(2, updateResult=263))
        boots = [server.boots for server in self.rack.servers]
        never = self.play(fleet_batches=[1])
        self.assert_states(never, "undecided", "waiting", status=STOPPED)
        self.assertIn("STOPPED: 1 servers are ill", never.text)
        owed = self.play(**ALL_AT_ONCE, update_reboot="owed")
        self.assert_states(owed, "done", "failed", "stale", "failed", "done", status=STOPPED)
        self.assertIn("it is not there any more since the reset", owed.servers["srv002"]["reason"])
        self.assertIn("SIM2: 263 Invalid Firmware Image", owed.servers["srv004"]["reason"])
        self.assertEqual([server.boots - before for server, before in zip(self.rack.servers, boots)], [1, 1, 1, 0, 1, 1])
        again = self.play(**ALL_AT_ONCE, update_reboot="owed")
        self.assert_states(again, "done", "failed", "stale", "failed", "done", status=STOPPED)
        self.assertEqual(again.changed(), [])
        self.assert_flashed(2, 2, 2, 2, 2, 2)
        self.shows("firmware waits for a reset and no reboot is allowed", "a reboot is owed", "a drive is gone after the reboot",
                   "a drive runs the old revision after the reboot", "a server with a failed drive is not rebooted",
                   "a second run after reboots")

    def test_the_report_tells_what_each_server_needs(self):
        self.set_drives(self.server(2), drive(1), drive(2, updateResult=263))
        self.set_drives(self.server(3), drive(1, revision="SMP00001"), drive(2))
        self.answer(self.server(4), "staged", "done")
        self.server(5).cut()
        play = self.play(fleet_batches=[5, 1], update_tool=self.tools(4))
        self.assert_states(play, "done", "failed", "refused", "staged", "lost", "waiting", status=STOPPED)
        self.assertIn('"srv005: lost: ', play.text)
        self.assertIn('"srv003: refused: ', play.text)
        self.assertNotIn('"srv006: ', play.text)
        page = (play.folder / "report.html").read_text()
        self.assertEqual([server.name for server in self.rack.servers if server.name not in page], [])
        self.assertNotIn("ansible-tmp", page)
        if "PICTURES" in os.environ:
            shutil.copy(play.folder / "report.html", os.environ["PICTURES"])
        self.shows("a report with six states")

    def test_the_role_is_called_twice_in_one_play(self):
        calls = "".join(f"    - {{role: nvmepcissd.fleet.update, update_run: {name}}}\n" for name in ("first", "second"))
        (self.rack.folder / "twice.yml").write_text("- hosts: srv001\n  gather_facts: false\n  roles:\n" + calls +
                                                    "  post_tasks: [{debug: {msg: 'last: {{ update_verdict.run }}'}}]\n")
        play = self.play("twice.yml", update_run=None)
        self.assertIn("last: second", play.text)
        self.assertEqual((play.changed(), self.flashes(self.server(1))), (["srv001"], {"41:00.0": 1, "42:00.0": 1}), play.text)
        self.shows("the role is called twice in one play")

    def test_the_gate_counts_ill_servers_of_all_batches(self):
        for server in (self.server(1), self.server(3)):
            self.set_drives(server, drive(1, updateResult=263), drive(2))
        play = self.play(fleet_batches=[1, 2], fleet_tolerated=1)
        self.assert_states(play, "failed", "done", "failed", "waiting", status=STOPPED)
        self.assert_flashed(2, 2, 2, 0, 0, 0)
        self.shows("ill servers of several batches add up", "a server more is ill than is tolerated")

    def test_two_rollouts_in_one_command_have_reports_of_their_own(self):
        (self.rack.folder / "both.yml").write_text("".join(
            f"- import_playbook: nvmepcissd.fleet.update\n  vars: {{update_run: {name}}}\n" for name in ("first", "second")))
        play = self.play("both.yml", name="second", update_run=None, fleet_batches=[1, 5])
        self.assert_states(play, "done")
        for name in ("first", "second"):
            self.assertIn(f"{name}: 6 servers: 1 done, 5 waiting", play.text)
        self.assert_flashed(2, 2, 2, 2, 2, 2)
        self.shows("two rollouts in one command")

    def test_payloads_and_packages_are_installed_by_checksum(self):
        self.server(2).write(COMPONENT / "payload/Old.bin", "what was there before")
        self.hang(self.server(3))
        self.server(3).inside(f"nvmepcissd-tool update {COMPONENT} --yes --begin --run somebody --to SMP90200")
        package, firmware = self.make_package(), self.rack.folder / "New.bin"
        firmware.write_text("new firmware")
        variables = {"install_payload": {"file": str(firmware), "sha256": sha256_of(firmware)},
                     "install_packages": [{"file": str(package), "sha256": sha256_of(package)}]}
        wrong = {"install_payload": {"file": str(firmware), "sha256": "0" * 64}}
        (self.rack.folder / "install.yml").write_text("- hosts: srv002:srv003\n  gather_facts: false\n"
                                                      "  roles: [nvmepcissd.fleet.install]\n")
        payloads = f"ls {COMPONENT}/payload"
        only = self.play("install.yml", install_packages=variables["install_packages"])
        self.assertEqual(only.recap["srv002"]["failed"], "0", only.text)
        self.assertEqual(self.play("install.yml", **wrong).recap["srv002"]["failed"], "1")
        self.assertEqual(self.server(2).inside(payloads).stdout, "Old.bin\nSampleFirmware.bin\n")
        self.assertEqual(self.play("install.yml", "--check", **variables).recap["srv002"]["failed"], "0")
        installed = self.play("install.yml", **variables)
        self.assertEqual([installed.recap[name]["failed"] for name in ("srv002", "srv003")], ["0", "1"], installed.text)
        self.assertEqual(self.server(2).inside(payloads).stdout, "New.bin\n")
        self.assertEqual(self.server(3).inside(payloads).stdout, "SampleFirmware.bin\n")
        self.assertEqual(self.server(2).inside("cat /usr/share/sample-tool").stdout, "sample\n")
        self.assertEqual(self.play("install.yml", **variables).recap["srv002"]["changed"], "0")
        self.release(self.server(3))
        self.shows("packages alone", "a payload with a wrong checksum is not installed", "payload and package are installed",
                   "nothing is installed while a server updates", "check mode of the installation", "a second installation")

    def make_package(self):
        folder = self.rack.folder / "sample-tool"
        for name, text in (("DEBIAN/control", "Package: sample-tool\nVersion: 1\nArchitecture: all\n"
                            "Maintainer: nobody <nobody@sample.example>\nDescription: sample\n"),
                           ("usr/share/sample-tool", "sample\n")):
            (folder / name).parent.mkdir(parents=True)
            (folder / name).write_text(text)
        subprocess.run(["dpkg-deb", "--build", folder], check=True, stdout=subprocess.DEVNULL)
        return self.rack.folder / "sample-tool.deb"

    def test_what_the_policy_refuses_is_left_alone(self):
        self.set_drives(self.server(1), drive(1, revision="SMP00001"), drive(2))
        self.set_drives(self.server(2), drive(1, deviceId="a802"), drive(2))
        self.set_drives(self.server(3), drive(1), drive(2), drive(3))
        self.server(4).write(COMPONENT / "payload/Other.bin", "another payload")
        self.server(5).write(COMPONENT / "payload/SampleFirmware.bin", "another content")
        self.server(6).inside(f"rm -r {COMPONENT}/payload")
        asked = policy()
        asked["expectDrives"] = 2
        play = self.play(**ALL_AT_ONCE, update_policy=asked)
        self.assert_states(play, "refused", status=STOPPED)
        self.assert_flashed(0, 0, 0, 0, 0, 0)
        for number, reason in ((1, "SMP00001"), (2, "no rule for its model"), (3, "3"), (4, "payload"), (5, "SHA-256"), (6, "payload")):
            self.assertIn(reason, play.servers[f"srv00{number}"]["reason"])
        self.shows("a revision that is not in from", "a model that is not in the policy", "a drive too many", "two payloads",
                   "a payload with another checksum", "no payload")

    @staticmethod
    def answer(server, state, outcome, version=1):
        """Puts a tool on the server that gives one answer, for what the drives of this rack cannot bring about."""
        told = {"serial": "SIM1", "address": None, "name": "Sample", "model": None, "before": "SMP10100", "after": None,
                "wanted": "SMP90200", "state": state, "reason": f"it is {state}"}
        answer = {"format": "nvmepcissd-verdict", "version": version, "run": "x", "outcome": outcome, "exitStatus": 0,
                  "reasons": [], "bootId": None, "drives": [told]}
        server.write("/opt/tool", f"#!/bin/sh\necho '{json.dumps(answer)}'\n", mode="0755")

    @staticmethod
    def tools(*numbers):
        hosts = {f"srv00{number}": "/opt/tool" for number in numbers}
        return "{{ %s[inventory_hostname] | default('/usr/bin/nvmepcissd-tool') }}" % hosts

    def test_servers_that_cannot_take_part(self):
        self.server(1).inside("mount -t tmpfs -o size=1m none /var/lib")
        self.server(2).inside("mount -t tmpfs -o ro none /var/lib")
        self.server(3).inside(f"rm -r {COMPONENT}")
        self.answer(self.server(4), "current", "done", version=2)
        self.answer(self.server(5), "unhealthy", "refused")
        play = self.play(**ALL_AT_ONCE, update_tool=self.tools(4, 5, 6))
        for server in self.rack.servers[:2]:
            server.inside("umount /var/lib")
        self.server(3).inside("true")
        self.assert_states(play, "refused", "refused", "refused", "refused", "unhealthy", "refused", status=STOPPED)
        self.assert_flashed(0, 0, 0, 0, 0, 0)
        for number, reason in ((1, "8 MiB"), (2, "/var/lib"), (3, "/usr/libexec/nvmepcissd"), (4, "install the release"),
                               (5, "SIM1: it is unhealthy"), (6, "/opt/tool: No such file or directory: install")):
            self.assertIn(reason, play.servers[f"srv00{number}"]["reason"])
        self.shows("a full disk", "a read-only disk", "no component", "another version of the tool", "an unhealthy drive", "no tool")

    def test_slips_are_refused_before_a_drive_is_touched(self):
        twice = {"models": policy()["models"] * 2}
        for reason, variables in (
                ("sha256", {"update_policy": policy(sha256=None)}),
                ("flavour", {"update_policy": policy(flavour="sweet")}),
                ("the same model stands in line 3", {"update_policy": twice}),
                ("64 hexadecimal", {"update_policy": policy(sha256="12")}),
                ("update_inuse", {"update_inuse": "allow"}),
                ("fleet_batch", {"fleet_batch": [1]}),
                ("numbers and percentages from 1 on", {"fleet_batches": []}),
                ("numbers and percentages from 1 on", {"fleet_batches": [1, "0"]}),
                ("must be whole numbers", {"fleet_soak": "10m"}),
                ("must not be negative", {"update_seconds": -1}),
                ("inUse: allow", {"update_policy": dict(policy(), inUse="allow")}),
                ("../x", {"update_run": "../x"}),
                ("9:00-8", {"update_window": "9:00-8"}),
                ("perhaps", {"update_reboot": "perhaps"}),
                ("update_policy", {"update_policy": None})):
            with self.subTest(reason):
                play = self.play(**{"fleet_hosts": "srv001:srv002", "fleet_batches": [1], **variables})
                self.assertEqual(play.status, STOPPED, play.text)
                self.assertIn(reason, play.text)
                self.assertNotIn("srv002                     : ok", play.text)
                self.shows(f"a slip: {reason}")
        self.assert_flashed(0, 0, 0, 0, 0, 0)

    def test_what_the_inventory_must_not_say(self):
        file = self.rack.folder / "inventory.json"
        before = file.read_text()
        self.addCleanup(file.write_text, before)
        for reason, variables in (("fleet_hosts must be given with -e", {"fleet_hosts": "srv002"}),
                                  ("fleet_batches must be given with -e", {"fleet_batches": [2]})):
            inventory = json.loads(before)
            inventory["all"].setdefault("vars", {}).update(variables)
            file.write_text(json.dumps(inventory))
            play = self.play()
            self.assertEqual(play.status, STOPPED, play.text)
            self.assertIn(reason, play.text)
            self.shows(reason)
        inventory = json.loads(before)
        inventory["all"]["hosts"]["srv003"]["ansible_host"] = "{{ nobody_knows }}"
        file.write_text(json.dumps(inventory))
        play = self.play(fleet_batches=[1, 2, 3])
        self.assert_states(play, "done", "done", "refused", "waiting", status=STOPPED)
        self.assertEqual(play.servers["srv003"]["reason"], "its variables cannot be read")
        self.assert_flashed(2, 2, 0, 0, 0, 0)
        self.shows("variables of a server cannot be read")

    def test_the_window_and_a_run_that_takes_long(self):
        closed = self.play(**ALL_AT_ONCE, update_window="00:00-00:00")
        self.assert_states(closed, "waiting")
        self.hang(self.server(2))
        stopped = self.play(fleet_batches=[2, 4], update_seconds=1)
        self.assert_states(stopped, "done", "running", "waiting", status=STOPPED)
        self.assertIn("STOPPED: 0 servers are ill, 1 still flash", stopped.text)
        running = self.play(**ALL_AT_ONCE, update_seconds=1, fleet_tolerated=6, update_window="00:00-23:59")
        self.assert_states(running, "done", "running", "done")
        watched = self.play("watch")
        self.assertRegex(watched.text, r'"srv002: running: drive 2 of 2, \d+ s"')
        self.release(self.server(2))
        ended = self.play(**ALL_AT_ONCE, update_window="00:00-00:00")
        self.assert_states(ended, "done")
        self.assert_flashed(2, 2, 2, 2, 2, 2)
        self.shows("a closed window", "a canary that still flashes stops the rollout", "an open window", "a flash that takes longer than one waits", "watch during a flash",
                   "a flash that ends outside the window")


if __name__ == "__main__":
    main()
