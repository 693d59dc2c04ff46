"""Rollouts in which something breaks: power, network, SSH, the engine, the control machine."""

import os
import signal
import subprocess
import time

from fleet import COMPONENT, FAST, STOPPED, FleetTest, drive, main
from rack import until

ALL_AT_ONCE = {"fleet_batches": [6]}
DEFAULTS = {"ANSIBLE_FORKS": "8"}
SITE = {"ANSIBLE_SSH_ARGS": "-o ControlMaster=auto -o ControlPersist=60s -o ServerAliveInterval=60"}
NOTICED = 20  # seconds after which a server without power must have been noticed
WAITS = {"updateResult": 267, "activation": "reset"}


class BreakageTest(FleetTest):
    def test_a_dead_canary_stops_the_rollout(self):
        self.server(1).cut()
        play = self.play(fleet_batches=[1, "100%"])
        self.assert_states(play, "lost", "waiting", status=STOPPED)
        self.assertEqual([self.flashes(server) for server in self.rack.servers[1:]], [{}] * 5)
        self.shows("the canary is dead")

    def test_a_server_lost_in_the_second_batch_spares_the_third(self):
        self.hang(self.server(3))
        process = self.start(fleet_batches=[1, 2, 3])
        self.await_flash(self.server(3), drives=2)
        self.await_join(self.server(3))
        self.server(3).cut()
        play = self.finish(process)
        self.assert_states(play, "done", "done", "interrupted", "waiting", status=STOPPED)
        self.rack.boot(self.server(3))
        self.set_drives(self.server(3), drive(1), drive(2))
        resumed = self.play(fleet_batches=[1, 2, 3])
        self.assert_states(resumed, "done")
        self.assertEqual(resumed.changed(), ["srv003", "srv004", "srv005", "srv006"])
        self.assert_flashed_once_or_cut(3)
        self.shows("a server of batch two is lost", "a batch half done is resumed")

    def assert_flashed_once_or_cut(self, cut):
        """The drive that was being flashed when the power went is flashed again, and no other."""
        for server in self.rack.servers:
            most = 2 if server.number == cut else 1
            self.assertEqual(len(self.flashes(server)), 2)
            self.assertLessEqual(max(self.flashes(server).values()), most)

    def break_in_mid_flash(self, settings):
        """Power of 1, network of 2 for 10 s, network of 3 for good, SSH of 4; 5 and 6 stay well."""
        self.hang(*self.rack.servers)
        # Connections of the site's own, which never notice that a server is gone, are of no consequence.
        subprocess.run(["ansible", "-i", "inventory.json", "all", "-m", "ping"], cwd=self.rack.folder, check=True,
                       env=self.rack.environment(**settings), capture_output=True)
        process = self.start(settings=settings, **ALL_AT_ONCE)
        self.await_flash(*self.rack.servers, drives=2)
        self.await_join(*self.rack.servers)
        self.server(1).cut()
        begun = time.monotonic()
        self.server(2).unplug()
        self.server(3).unplug()
        self.server(4).kill_sshd()
        time.sleep(10)
        self.server(2).plug()
        self.server(4).start_sshd()
        self.release(*self.rack.servers[1:])
        until(lambda: "fatal: [srv001]: " in self.log.read_text(), "the power cut is noticed",
              NOTICED - (time.monotonic() - begun))
        return self.finish(process)

    def check_breakage(self, settings):
        play = self.break_in_mid_flash(settings)
        self.assert_states(play, "interrupted", "done", "interrupted", "done", status=STOPPED)
        silent = self.play("report")
        self.assertEqual([silent.servers[name]["state"] for name in ("srv001", "srv003")], ["interrupted"] * 2, silent.text)
        self.server(3).plug()
        self.rack.boot(self.server(1))
        self.set_drives(self.server(1), drive(1), drive(2))
        told = self.play("report")
        self.assertEqual(told.servers["srv003"]["state"], "done", told.text)
        self.assertEqual(told.servers["srv001"]["state"], "interrupted", told.text)
        again = self.play(**ALL_AT_ONCE)
        self.assert_states(again, "done")
        self.assertEqual(again.changed(), ["srv001"])
        self.assert_flashed_once_or_cut(1)
        way = "with pipelining" if "ANSIBLE_PIPELINING" in settings else "with default settings"
        self.shows(*(f"{what} in mid-flash {way}" for what in (
            "power is cut", "the network goes for 10 s", "the network goes for good", "sshd dies")),
            f"servers come back {way}", f"the report asks servers that were lost {way}")

    def test_what_breaks_in_mid_flash_with_default_settings(self):
        self.check_breakage({**DEFAULTS, **SITE})

    def test_what_breaks_in_mid_flash_with_pipelining(self):
        self.check_breakage(FAST)

    def test_the_engine_dies(self):
        for number, settings in ((signal.SIGKILL, DEFAULTS), (signal.SIGINT, DEFAULTS), (signal.SIGINT, None)):
            with self.subTest(number, settings=settings):
                self.reset()
                self.hang(*self.rack.servers)
                process = self.start(settings=settings, **ALL_AT_ONCE)
                self.await_flash(*self.rack.servers, drives=2)
                os.killpg(process.pid, number)
                process.wait()
                self.release(*self.rack.servers)
                self.assert_states(self.play(**ALL_AT_ONCE), "done")
                self.assert_flashed(2, 2, 2, 2, 2, 2)
                self.shows(f"the engine gets {number.name} in mid-flash with {settings or FAST}")

    def test_the_engine_dies_at_any_moment(self):
        for seconds in (2, 3.5, 5):
            process = self.start(fleet_batches=[3])
            time.sleep(seconds)
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
        self.assert_states(self.play(**ALL_AT_ONCE), "done")
        self.assert_flashed(2, 2, 2, 2, 2, 2)
        self.shows("the engine is killed again and again")

    def test_not_back_after_the_reboot(self):
        for server in self.rack.servers:
            self.set_drives(server, drive(1, **WAITS))
        self.server(2).write("/opt/at-boot", "#!/bin/sh\nsleep 1000\n", mode="0755")
        lost = self.play(**ALL_AT_ONCE, update_reboot="owed", update_reboot_seconds=20)
        self.assert_states(lost, "done", "lost", "done", status=STOPPED)
        self.server(2).cut()
        os.remove(self.server(2).folder / "upper/opt/at-boot")
        self.rack.boot(self.server(2))
        again = self.play(**ALL_AT_ONCE, update_reboot="owed")
        self.assert_states(again, "done")
        self.assertEqual(again.changed(), [])
        self.shows("a server is not back from its reboot", "a server comes back late from its reboot")

    def test_another_run_goes_on(self):
        self.hang(self.server(1))
        self.server(1).inside(f"nvmepcissd-tool update {COMPONENT} --yes --begin --run somebody --to SMP90200")
        play = self.play(**ALL_AT_ONCE)
        self.assert_states(play, "refused", "done", status=STOPPED)
        self.assertIn("somebody", play.servers["srv001"]["reason"])
        self.release(self.server(1))
        self.shows("somebody else updates a server")


if __name__ == "__main__":
    main()
