"""The drive library, allocations and the loader fail."""

from component import FaultTest, INVENTORY_ROOT, UPDATE_ROOT


class Allocations(FaultTest):
    """Every non-throwing allocation fails once: the ERROR lines, the status and the number of devices."""

    NO_ADAPTER = "ERROR: Object Creation or Library intialization failed"
    NO_RECORD = "ERROR: Creating CDeviceInfo instance failed!"
    INVENTORY = [
        (["ERROR: Creating an instance of CNVMePCISSDInventory using auto_ptr failed."], 1, None),
        ([NO_ADAPTER, "ERROR: NVMeAdapter instance is NOT created to make inventory"], 0, 0),
        ([NO_RECORD], 0, 0),
        ([NO_RECORD], 0, 1),
        ([NO_RECORD], 0, 2),
        (["ERROR: Creating an instance of CInventoryXMLWriter using auto_ptr failed!"], 1, None),
    ]
    UPDATE = [
        (["ERROR: Failed to create auto_ptr to CNVMePCISSDUpdate"], 1, None),
        ([NO_ADAPTER, "ERROR: Creating NVMeAdapter instance and/or NVMeAdapter initiatization failed!"], 1, 0),
        (["ERROR: Creating CNVMePCISSDInventory instance failed!"], 1, 0),
        ([NO_RECORD], 1, 0),
        ([NO_RECORD], 0, 1),
        ([NO_RECORD], 0, 2),
        (["ERROR: Failed to create auto_ptr to CUpdateXMLWriter"], 1, None),
    ]

    def check(self, option, root, outcomes):
        component = self.component()
        for number, (errors, status, devices) in enumerate(outcomes, 1):
            with self.subTest(allocation=number):
                result = component.run(option, "-d", "log.txt", preloaded="FailingNew",
                                       variables={"FAULT_AT": str(number)})
                self.assertEnds(result, status)
                self.assertEqual(component.errors(), errors)
                if devices is None:
                    self.assertEqual(result.stdout, "")
                else:
                    self.assertDocument(result.stdout, root, devices)
        component.run(option, preloaded="FailingNew", variables={"FAULT_COUNT": component.root + "/count"})
        self.assertEqual(component.read(component.root + "/count"), f"{len(outcomes)}\n", "some never failed")

    # Promise: status-no-memory, allocations-of-an-inventory
    def test_inventory(self):
        self.check("-i", INVENTORY_ROOT, self.INVENTORY)

    # Promise: status-no-memory, allocations-of-an-update
    def test_update(self):
        self.check("-u", UPDATE_ROOT, self.UPDATE)

    # Promise: allocations-of-an-update
    def test_update_without_writer_still_fills_the_rollback_partition(self):
        component = self.component()
        component.run("-u", preloaded="FailingNew", variables={"FAULT_AT": str(len(self.UPDATE))})
        self.assertEqual(component.read("rollback-partition/firmware.bin"), "the new firmware")


class DriveLibrary(FaultTest):
    CODES = (1, -1, 2, 55, 255, 256, 266, 268, 1001, 65536, 2147483647, -2147483648)

    # Promise: status-update-without-drives, failed-discovery
    def test_every_code_of_the_discovery(self):
        component = self.component()
        for code in self.CODES:
            with self.subTest(code=code):
                component.scenario([component.drive(1)], discoveryResult=code)
                result = component.run("-i", "-d", "log.txt")
                self.assertEnds(result, 0)
                self.assertDocument(result.stdout, INVENTORY_ROOT, 0)
                self.assertEqual(component.errors(), [
                    "ERROR: Samung API NVMEDiscoverDrives failed to collect NVMe PCISSD disks' inventory",
                    f"ERROR INFO: API return value = {code % 2**32}"])
                self.assertEnds(component.run("-u"), 1)

    # Promise: failed-revision
    def test_every_code_of_the_revision(self):
        component = self.component()
        for code in self.CODES:
            with self.subTest(code=code):
                component.scenario([component.drive(1, revisionResult=code), component.drive(2)])
                result = component.run("-i", "-d", "log.txt")
                self.assertEnds(result, 0)
                self.assertDocument(result.stdout, INVENTORY_ROOT, devices=1, failures=1)
                self.assertEqual(component.errors(), [
                    "ERROR: Failed to get the NVMePCISSD firmware version using m_fncNVMEGetDriveInfo function pointer"])

    # Promise: reset-is-a-success, failed-update
    def test_every_code_of_the_update(self):
        component = self.component()
        for code in (*self.CODES, 0, 267):
            with self.subTest(code=code):
                taken = code in (0, 267)
                component.scenario([component.drive(1, updateResult=code), component.drive(2)])
                result = component.run("-u", "-d", "log.txt")
                self.assertEnds(result, 0)
                self.assertDocument(result.stdout, UPDATE_ROOT, devices=2 if taken else 1, failures=0 if taken else 1)
                self.assertEqual(component.errors(), [] if taken else [
                    "ERROR: Update firmware failed for NVMeDevcice", f"ERROR INFO: API return value = {code % 2**32}"])
                self.assertEqual(component.calls("rollback-calls")[-1], "destructor")

    # Promise: no-rollback-without-a-success
    def test_no_rollback_when_every_drive_refuses(self):
        component = self.component()
        component.scenario([component.drive(bus, updateResult=-1) for bus in (1, 2)])
        result = component.run("-u")
        self.assertEnds(result, 0)
        self.assertDocument(result.stdout, UPDATE_ROOT, devices=0, failures=2)
        self.assertEqual(component.calls("rollback-calls"), [])
        self.assertFalse(component.exists("rollback-partition"))

    # Promise: no-time-limit
    def test_a_slow_drive_is_waited_for(self):
        component = self.component()
        component.scenario([component.drive(1, updateMilliseconds=2500), component.drive(2)])
        result = component.run("-u")
        self.assertEnds(result, 0)
        self.assertGreaterEqual(result.seconds, 2.5)
        self.assertDocument(result.stdout, UPDATE_ROOT, devices=2)
        self.assertEqual(component.revisions(), {"01:00.0": "NEW     ", "02:00.0": "NEW     "})

    # Promise: null-entries
    def test_null_entries_are_passed_over(self):
        component = self.component()
        component.scenario([component.drive(1, nullEntry=True), component.drive(2), component.drive(3, nullEntry=True)])
        result = component.run("-i", "-d", "log.txt")
        self.assertEnds(result, 0)
        self.assertDocument(result.stdout, INVENTORY_ROOT, devices=1)
        self.assertEqual(component.errors(), ["ERROR: NVMEDiscoverDrives returned an empty drive entry"] * 2)

    # Promise: no-list-or-no-count
    def test_a_list_without_count_and_a_count_without_list_are_no_drives(self):
        component = self.component()
        for shape in ("uncounted", "null", "untouched"):
            with self.subTest(shape=shape):
                component.scenario([component.drive(1)], list=shape)
                result = component.run("-i", "-d", "log.txt")
                self.assertEnds(result, 0)
                self.assertDocument(result.stdout, INVENTORY_ROOT, devices=0)
                self.assertEqual(component.errors(), [])
                self.assertEnds(component.run("-u"), 1)

    # Promise: entries-after-the-count
    def test_entries_after_the_count_are_not_touched(self):
        component = self.component()
        component.replace_drive_library("LISTS_MORE_THAN_IT_COUNTS")
        result = component.run("-i")
        self.assertEnds(result, 0)
        self.assertDocument(result.stdout, INVENTORY_ROOT, devices=1)

    # Promise: exception-of-a-function
    def test_an_exception_that_leaves_a_function_ends_the_process(self):
        component = self.component()
        component.replace_drive_library("THROWS_IN_DISCOVERY")
        for option in ("-i", "-u"):
            with self.subTest(option=option):
                result = component.run(option, "-o", "out.xml", "-d", "log.txt")
                self.assertEnds(result, -6)
                self.assertIn("does not want to discover", result.stderr)
                self.assertFalse(component.exists("out.xml"))


class Loading(FaultTest):
    """The drive library fails before any of its functions is called."""

    LAST_LINE = "Loading NVMePCISSD_LIBRARY to get handle to library"

    # Promise: library-throws-at-load
    def test_a_library_that_throws_while_it_is_loaded_ends_the_process(self):
        component = self.component()
        component.replace_drive_library("THROWS_AT_LOAD")
        result = component.run("-u", "-o", "out.xml", "-d", "log.txt")
        self.assertEnds(result, -6)
        self.assertIn("does not want to be loaded", result.stderr)
        self.assertEqual(component.messages()[-1], self.LAST_LINE)
        self.assertFalse(component.exists("out.xml"))
        self.assertEqual(component.calls("script-calls"), ["install"])

    # Promise: library-exits-at-load
    def test_a_library_that_exits_while_it_is_loaded_ends_the_process(self):
        component = self.component()
        component.replace_drive_library("EXITS_AT_LOAD")
        result = component.run("-u", "-o", "out.xml", "-d", "log.txt")
        self.assertEnds(result, 3)
        self.assertEqual(component.messages()[-1], self.LAST_LINE)
        self.assertFalse(component.exists("out.xml"))
        self.assertEqual(component.calls("script-calls"), ["install"])

    # Promise: library-cannot-be-loaded
    def test_a_library_that_does_not_resolve_is_refused(self):
        component = self.component()
        component.replace_drive_library("DOES_NOT_RESOLVE")
        self.check_refused(component)

    # Promise: library-cannot-be-loaded
    def test_a_file_that_is_no_library_is_refused(self):
        component = self.component()
        component.write("libnvme.so", "not a library")
        self.check_refused(component)

    def check_refused(self, component):
        result = component.run("-i", "-d", "log.txt")
        self.assertEnds(result, 0)
        self.assertDocument(result.stdout, INVENTORY_ROOT, devices=0)
        self.assertEqual(component.errors(), [
            "ERROR: Could not able to load the NVMePCISSD Library using NVMePCISSD_LIBRARY to get handle to library",
            "ERROR: Intialization of NVMEPCISDD library failed!"])
        self.assertEnds(component.run("-u"), 1)
