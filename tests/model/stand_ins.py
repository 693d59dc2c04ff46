"""The drive library and the rollback library as the model understands the simulator."""

import posixpath

RESET_REQUIRED = 267


class ByteThrown(Exception):
    """What the rollback library throws as its own way to fail."""

    def __init__(self, code):
        super().__init__(code)
        self.code = code


class OtherThrown(Exception):
    """Anything else that it throws."""


class Drives:
    """The drive library: its answers and the calls it has seen."""

    UNKNOWN_SCENARIO, PAYLOAD_REFUSED = 1001, 1003

    def __init__(self, scenario, revisions, payload_taken):
        self.scenario = scenario  # None: malformed
        self.revisions = revisions  # address -> flashed revision, kept from run to run
        self.payload_taken = payload_taken
        self.calls = []

    def call(self, *fields):
        self.calls.append("\t".join(str(field) for field in fields))
        return fields[-1]

    @staticmethod
    def text(address):
        return "%02x:%02x.%x" % tuple(address)

    def drive(self, address):
        return next(drive for drive in self.scenario["drives"] if drive["address"] == address)

    def discover(self):
        result = self.UNKNOWN_SCENARIO if self.scenario is None else self.scenario["result"]
        self.call("NVMEDiscoverDrives", result)
        if result != 0 or self.scenario["list"] != "whole":
            return result, []
        return 0, [None if drive["null"] else drive for drive in self.scenario["drives"]]

    def revision(self, address):
        drive = self.drive(address)
        result = self.call("NVMEGetDriveInfo", self.text(address), drive["revision_result"])
        return result, self.revisions.get(address, drive["revision"])

    def update(self, address, payload):
        drive = self.drive(address)
        result = drive["update_result"] if self.payload_taken else self.PAYLOAD_REFUSED
        self.call("NVMEUpdateFirmware", self.text(address), payload, result)
        if result in (0, RESET_REQUIRED) and drive["new_revision"] is not None:
            self.revisions[address] = drive["new_revision"]
        return result


class Rollback:
    """The rollback library: a script of failures, the calls it has seen, and the partition it fills."""

    SCRIPT_REFUSED, NO_PARTITION, FILE_REFUSED = 101, 102, 103

    def __init__(self, script, partition, partition_blocked):
        self.script = script  # None: malformed
        self.partition = partition
        self.partition_blocked = partition_blocked
        self.calls = []
        self.world = None
        self.files = []

    def construct(self, world):
        self.world, self.files = world, []
        if self.script is None:
            raise ByteThrown(self.SCRIPT_REFUSED)
        self.act("constructor")
        if self.partition_blocked:
            raise ByteThrown(self.NO_PARTITION)
        return self

    def act(self, operation, *arguments):
        """What the script has the operation return; None when it is to do its work."""
        self.calls.append("\t".join((operation, *arguments)))
        kind, value = self.script.get(operation, (None, None))
        if kind == "throwByte":
            raise ByteThrown(value)
        if kind == "throwException":
            raise OtherThrown()
        return value

    def add(self, path):
        scripted = self.act("addPayloadFiles", path, "true")
        if scripted is not None:
            return scripted
        if self.world.content(path) is None:
            return self.FILE_REFUSED
        self.files.append(path)
        return 0

    def update_partition(self):
        scripted = self.act("updateFirmwarePartition")
        if scripted is not None:
            return scripted
        for path in self.files:
            self.world.files[self.partition + "/" + posixpath.basename(path)] = self.world.content(path)
        return 0
