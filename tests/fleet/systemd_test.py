"""Servers with systemd: a run is a unit of its own, which outlives the session that began it."""

from fleet import FleetTest, main
from rack import until

DEFAULTS = {"ANSIBLE_FORKS": "5"}


class SystemdTest(FleetTest):
    servers = 2
    systemd = (1, 2)

    def unit(self, server):
        return server.inside(f"systemctl is-active nvmepcissd-{self.run_name}").stdout.strip()

    def test_a_run_is_a_unit_that_outlives_its_session(self):
        self.hang(*self.rack.servers)
        process = self.start(settings=DEFAULTS, fleet_batches=[2])
        self.await_flash(*self.rack.servers, drives=2)
        self.await_join(*self.rack.servers)
        self.assertEqual([self.unit(server) for server in self.rack.servers], ["active"] * 2)
        self.server(1).kill_sshd()
        self.assertEqual(self.unit(self.server(1)), "active")
        self.server(1).inside("systemctl restart rack-sshd")
        self.release(*self.rack.servers)
        play = self.finish(process)
        again = self.play(fleet_batches=[2])
        self.assert_states(again, "done")
        self.assertEqual(again.changed(), [])
        self.assert_flashed(2, 2)
        self.assertIn(play.servers["srv001"]["state"], ("done", "interrupted"), play.text)
        until(lambda: self.unit(self.server(1)) == "inactive", "the unit goes when the run has ended")
        self.shows("a run is a unit of systemd", "sshd of a server with systemd dies in mid-flash")


if __name__ == "__main__":
    main()
