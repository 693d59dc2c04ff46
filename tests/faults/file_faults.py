"""The process is killed, and disks, descriptors, limits and folders run out."""

import os
import resource
import shutil
import signal
import subprocess

from component import Component, FaultTest, INVENTORY_ROOT, is_whole, UPDATE_ROOT


class Killed(FaultTest):
    """The process is killed just before each thing that it does to files, libraries and commands."""

    def steps(self):
        component = self.component()
        result = component.run("-u", "-o", "out.xml", preloaded="FailingFiles",
                               variables={"FAULT_COUNT": component.root + "/count"})
        self.assertEnds(result, 0)
        return int(component.read(component.root + "/count"))

    # Promise: killed-anywhere
    def test_everything_is_whole_and_a_second_run_succeeds(self):
        steps = self.steps()
        self.assertGreater(steps, 20)
        for step in range(1, steps + 1):
            with self.subTest(step=step, of=steps):
                component = Component(self.parts)
                try:
                    self.kill_at(component, step)
                finally:
                    component.remove()

    def kill_at(self, component, step):
        result = component.run("-u", "-o", "out.xml", preloaded="FailingFiles", variables={"FAULT_KILL": str(step)})
        self.assertEnds(result, -9)
        self.check_whole(component)
        self.assertEnds(component.run("-u", "-o", "out.xml"), 0)
        self.check_whole(component)
        self.assertDocument(component.read("out.xml"), UPDATE_ROOT, devices=3)
        self.assertEqual(len(component.revisions()), 3)
        self.assertEqual(component.read("rollback-partition/firmware.bin"), "the new firmware")

    def check_whole(self, component):
        for address, revision in component.revisions().items():
            self.assertEqual(revision, "NEW     ", address)
        if component.exists("rollback-partition/firmware.bin"):
            self.assertEqual(component.read("rollback-partition/firmware.bin"), "the new firmware")
        if component.exists("out.xml") and component.read("out.xml"):
            self.assertDocument(component.read("out.xml"), UPDATE_ROOT, devices=3)


class FullDisk(FaultTest):
    # Promise: full-disk-for-the-log
    def test_a_log_on_a_full_device_changes_nothing(self):
        component = self.component()
        result = component.run("-i", "-d", "/dev/full")
        self.assertEnds(result, 0)
        self.assertDocument(result.stdout, INVENTORY_ROOT, devices=3)

    # Promise: failed-write-is-not-noticed, status-inventory
    def test_a_document_on_a_full_device_is_lost_and_the_log_does_not_tell(self):
        component = self.component()
        result = component.run("-i", "-o", "/dev/full", "-d", "log.txt")
        self.assertEnds(result, 0)
        self.assertEqual(result.stdout, "")
        self.assertEqual(component.errors(), [])
        self.assertIn("CInventoryXMLWriter::print() copying the contents to Inventory XML file", component.messages())

    # Promise: failed-write-is-not-noticed
    def test_standard_output_on_a_full_device_loses_the_document(self):
        component = self.component()
        with open("/dev/full", "wb") as full:
            self.assertEnds(component.run("-i", stdout=full), 0)

    # Promise: reader-is-gone
    def test_a_reader_of_standard_output_that_has_gone_ends_the_process(self):
        component = self.component()
        reading, writing = os.pipe()
        os.close(reading)
        result = component.run("-u", stdout=writing)
        os.close(writing)
        self.assertEnds(result, -13)
        self.assertEqual(len(component.revisions()), 3)

    # Promise: full-disk-anywhere
    def test_room_for_a_part_only(self):
        """Whatever fits: the log is cut, drives that cannot be noted are reported, and nothing is half done."""
        component = self.component()
        for room in (0, 1, 100, 1000, 5000, 10000, 20000):
            with self.subTest(room=room):
                component.run("-u", "-o", "out.xml", "-d", "log.txt", preloaded="FailingFiles",
                              variables={"FAULT_ROOM": str(room)})
                for revision in component.revisions().values():
                    self.assertEqual(revision, "NEW     ")
                if component.exists("rollback-partition/firmware.bin"):
                    self.assertEqual(component.read("rollback-partition/firmware.bin"), "the new firmware")
                self.assertLessEqual(len(component.read("log.txt")), room)
        self.assertEnds(component.run("-u", "-o", "out.xml"), 0)
        self.assertDocument(component.read("out.xml"), UPDATE_ROOT, devices=3)

    def test_a_small_file_system(self):
        """Needs the right to mount, alone or in a name space of its own; without it this test is reported as skipped."""
        component = self.component()
        small = component.root + "/small"
        os.mkdir(small)
        script = (f"mount -t tmpfs -o size=4k none {small} || exit 77; head -c 4096 /dev/zero >{small}/filler; "
                  f"cd {component.working_folder}; exec ./nvmepcissd -i -o {small}/out.xml -d {small}/log.txt")
        for name_space in (["-m"], ["-r", "-m"]):
            result = subprocess.run(["unshare", *name_space, "sh", "-c", script], env=component.environment(None, {}),
                                    capture_output=True, check=False)
            if result.returncode == 0:
                self.assertEqual(result.stdout, b"")
                return
            self.assertIn(result.returncode, (1, 77), result.stderr)
        self.skipTest("this machine lets nobody mount a tmpfs")


class Descriptors(FaultTest):
    # Promise: closed-descriptor-for-the-log
    def test_a_log_on_a_closed_descriptor_stays_off(self):
        component = self.component()
        result = component.run("-i", "-d", "/proc/self/fd/9")
        self.assertEnds(result, 0)
        self.assertDocument(result.stdout, INVENTORY_ROOT, devices=3)

    # Promise: closed-output-with-a-file
    def test_standard_output_closed_at_the_start(self):
        component = self.component()
        result = component.run("-i", "-o", "out.xml", "-d", "log.txt", stdout=None, preexec_fn=lambda: os.close(1))
        self.assertEnds(result, 0)
        self.assertDocument(component.read("out.xml"), INVENTORY_ROOT, devices=3)
        self.assertEqual(component.errors(), [])

    # Promise: closed-output
    def test_a_document_for_a_closed_standard_output_is_lost_but_spoils_no_file(self):
        component = self.component()
        result = component.run("-i", "-d", "log.txt", stdout=None, preexec_fn=lambda: os.close(1))
        self.assertEnds(result, 0)
        self.assertNotIn("<SVMInventory", component.read("log.txt"))

    # Promise: few-descriptors
    def test_every_number_of_descriptors(self):
        """From too few to start at all up to enough: never a crash, never half a document."""
        component = self.component()
        whole = 0
        for limit in range(3, 20):
            with self.subTest(limit=limit):
                result = component.run("-i", preexec_fn=lambda limit=limit: resource.setrlimit(
                    resource.RLIMIT_NOFILE, (limit, limit)), variables={"ASAN_OPTIONS": "detect_leaks=0"})
                if result.status == 127:  # the loader's: a library of the program's own could not be opened
                    self.assertEqual(result.stdout, "", str(result))
                    continue
                self.assertEnds(result, 0)
                self.assertTrue(is_whole(result.stdout, INVENTORY_ROOT), str(result))
                whole += result.stdout.count("<Device ") == 3
        self.assertGreater(whole, 0)

    # Promise: few-descriptors
    def test_every_number_of_descriptors_for_an_update(self):
        """A document calls a drive a success that was flashed, or none was: as any refused payload does."""
        whole = 0
        for limit in range(3, 20):
            with self.subTest(limit=limit):
                component = self.component()
                result = component.run("-u", preexec_fn=lambda limit=limit: resource.setrlimit(
                    resource.RLIMIT_NOFILE, (limit, limit)), variables={"ASAN_OPTIONS": "detect_leaks=0"})
                if result.status == 127:
                    self.assertEqual(result.stdout, "", str(result))
                    continue
                devices = result.stdout.count("<Device ")
                self.assertEnds(result, 0 if devices or "<SPStatus" in result.stdout else 1)
                self.assertTrue(is_whole(result.stdout, UPDATE_ROOT), str(result))
                flashed = [bus for bus, revision in component.revisions().items() if revision.startswith("NEW")]
                self.assertIn(len(flashed), (0, devices), str(result))
                whole += len(flashed) == 3
        self.assertGreater(whole, 0)


class Limits(FaultTest):
    """What delays a run or ends it from outside."""

    FILE_BYTES = 256

    def limited(self, component, *words, **keywords):
        return component.run(*words, variables={"ASAN_OPTIONS": "detect_leaks=0"}, preexec_fn=lambda: resource.setrlimit(
            resource.RLIMIT_FSIZE, (self.FILE_BYTES, self.FILE_BYTES)), **keywords)

    # Promise: file-size-limit
    def test_a_log_beyond_the_largest_file_ends_the_process(self):
        component = self.component()
        result = self.limited(component, "-u", "-d", "log.txt", restore_signals=True)
        self.assertEnds(result, -signal.SIGXFSZ)
        self.assertEqual(len(component.read("log.txt")), self.FILE_BYTES)
        self.assertEqual(result.stdout, "")
        self.assertEqual(component.revisions(), {})

    # Promise: file-size-limit
    def test_with_the_signal_ignored_log_and_document_are_cut(self):
        component = self.component()
        result = self.limited(component, "-i", "-d", "log.txt", "-o", "out.xml", restore_signals=False)
        self.assertEnds(result, 0)
        self.assertEqual(len(component.read("log.txt")), self.FILE_BYTES)
        self.assertFalse(is_whole(component.read("out.xml"), INVENTORY_ROOT))

    def blocked(self, component, *words):
        """The process, once it has been waiting for a second."""
        process = subprocess.Popen([component.program_folder + "/nvmepcissd", *words], cwd=component.working_folder,
                                   env=component.environment(None, {}), stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                   stdin=subprocess.DEVNULL)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        with self.assertRaises(subprocess.TimeoutExpired):
            process.wait(1)
        return process

    # Promise: document-into-a-pipe
    def test_a_document_into_a_pipe_waits_for_its_reader(self):
        component = self.component()
        pipe = component.program_folder + "/pipe"
        os.mkfifo(pipe)
        process = self.blocked(component, "-i", "-o", "pipe")
        with open(pipe, encoding="utf-8") as reader:
            self.assertDocument(reader.read(), INVENTORY_ROOT, devices=3)
        self.assertEqual(process.wait(30), 0)

    # Promise: log-into-a-pipe
    def test_a_log_into_a_pipe_waits_for_its_reader_and_stays_empty(self):
        component = self.component()
        pipe = component.program_folder + "/pipe"
        os.mkfifo(pipe)
        process = self.blocked(component, "-i", "-d", "pipe")
        self.assertEqual(component.calls("nvme-calls"), [])
        with open(pipe, encoding="utf-8") as reader:
            self.assertEqual(reader.read(), "")
        self.assertDocument(process.stdout.read().decode(), INVENTORY_ROOT, devices=3)
        self.assertEqual(process.wait(30), 0)

    # Promise: signals
    def test_a_signal_ends_the_run_where_it_is(self):
        for number in (signal.SIGTERM, signal.SIGHUP, signal.SIGINT):
            with self.subTest(signal=number):
                component = self.component()
                component.scenario([component.drive(1), component.drive(2, updateMilliseconds=60_000)])
                process = self.blocked(component, "-u")
                process.send_signal(number)
                self.assertEqual(process.wait(30), -number)
                self.assertEqual(process.stdout.read(), b"")
                self.assertEqual(component.revisions()["01:00.0"], "NEW     ")
                self.assertEqual(component.calls("rollback-calls"), [])

    # Promise: log-in-the-payload-folder
    def test_a_log_in_the_payload_folder_is_a_second_payload(self):
        component = self.component()
        result = component.run("-u", "-d", "payload/log.txt")
        self.assertEnds(result, 0)
        self.assertDocument(result.stdout, UPDATE_ROOT, devices=3)
        self.assertEqual(component.revisions(), {})
        self.assertIn("ERROR: Zero or more than one payload file found", component.read("payload/log.txt"))


class Folders(FaultTest):
    BUFFER = 2048

    def deep_folder(self, root, length):
        """Makes a folder whose path is that long, longer than one call could name where it must be."""
        before = os.getcwd()
        self.addCleanup(os.chdir, before)
        os.chdir(root)
        while (rest := length - len(os.getcwd()) - 1) > 0:
            name = "d" * (rest if rest <= 200 else min(200, rest - 2))
            os.mkdir(name)
            os.chdir(name)
        self.assertEqual(len(os.getcwd()), length)
        deep = os.getcwd()
        os.chdir(before)
        return deep

    # Promise: longest-paths
    def test_the_longest_working_folder(self):
        component = self.component()
        deep = self.deep_folder(component.root, self.BUFFER - 1)
        for name in ("libnvme.so", "fwkitinstall.sh", "package.xml"):
            shutil.copy(component.working_folder + "/" + name, deep)
        result = component.run("-i", cwd=deep)
        self.assertEnds(result, 0)
        self.assertDocument(result.stdout, INVENTORY_ROOT, devices=3)
        self.assertIn("Sample NVMe SSD", result.stdout)

    # Promise: longest-paths
    def test_a_working_folder_that_is_too_long_has_no_install_script(self):
        component = self.component()
        deep = self.deep_folder(component.root, self.BUFFER)
        for name in ("libnvme.so", "fwkitinstall.sh", "package.xml"):
            shutil.copy(component.working_folder + "/" + name, deep)
        result = component.run("-i", "-d", component.root + "/log.txt", cwd=deep)
        self.assertEnds(result, 0)
        self.assertDocument(result.stdout, INVENTORY_ROOT, devices=0)
        self.assertEqual(component.errors(component.root + "/log.txt"),
                         ["ERROR: Installing MOXI is Failed", "ERROR: Intialization of NVMEPCISDD library failed!"])

    # Promise: longest-paths
    def test_a_program_in_the_longest_folder(self):
        component = self.component()
        result = self.update_from(component, self.BUFFER - 1 - len("/nvmepcissd"))
        self.assertEnds(result, 0)
        self.assertEqual(len(component.revisions()), 3)

    # Promise: longest-paths
    def test_a_program_whose_path_is_too_long_finds_no_payload(self):
        component = self.component()
        result = self.update_from(component, self.BUFFER + 1)
        self.assertEnds(result, 0)
        self.assertEqual(component.revisions(), {})
        self.assertIn("ERROR: Zero or more than one payload file found", component.errors(component.root + "/log.txt"))

    # Promise: no-proc
    def test_a_program_that_cannot_tell_its_folder(self):
        component = self.component()
        log = component.root + "/log.txt"
        result = component.run("-u", "-d", log, preloaded="FailingFiles", variables={"FAULT_PROC": "1"})
        self.assertEnds(result, 0)
        self.assertIn("CLinuxImpl::getCurrentProcessDirectory() failed", component.messages(log))
        self.assertIn("Payload file name is: payload/firmware.bin", component.messages(log))
        self.assertEqual(len(component.revisions()), 3)
        shutil.rmtree(component.program_folder + "/payload")
        component.run("-u", "-d", log, preloaded="FailingFiles", variables={"FAULT_PROC": "1"})
        self.assertIn("ERROR: Zero or more than one payload file found", component.errors(log))

    def update_from(self, component, length):
        deep = self.deep_folder(component.root, length)
        shutil.copytree(component.program_folder, deep, dirs_exist_ok=True)
        component.program_folder = deep
        return component.run("-u", "-o", component.root + "/out.xml", "-d", component.root + "/log.txt")

    # Promise: too-long-names
    def test_names_that_are_too_long_for_the_system(self):
        component = self.component()
        result = component.run("-i", "-o", "x" * 5000, "-d", "/" + "y" * 5000)
        self.assertEnds(result, 0)
        self.assertDocument(result.stdout, INVENTORY_ROOT, devices=3)

    # Promise: working-folder-is-gone
    def test_a_working_folder_that_is_gone_before_the_start(self):
        component = self.component()
        gone = component.root + "/gone"
        os.mkdir(gone)
        result = component.run("-i", "-d", component.root + "/log.txt", cwd=gone, preexec_fn=lambda: os.rmdir(gone))
        self.assertEnds(result, 0)
        self.assertDocument(result.stdout, INVENTORY_ROOT, devices=0)
        self.assertEqual(component.errors(component.root + "/log.txt"),
                         ["ERROR: Installing MOXI is Failed", "ERROR: Intialization of NVMEPCISDD library failed!"])

    # Promise: working-folder-goes
    def test_a_working_folder_that_goes_during_the_run(self):
        component = self.component()
        working = component.root + "/working"
        os.mkdir(working)
        for name in ("libnvme.so", "package.xml"):
            shutil.copy(component.working_folder + "/" + name, working)
        os.unlink(component.program_folder + "/libnvme.so")  # the loader would find it beside the program
        script = working + "/fwkitinstall.sh"
        component.write(script, f"#!/bin/sh\nexec rm -rf {working}\n")
        os.chmod(script, 0o755)
        result = component.run("-u", "-o", "out.xml", "-d", component.root + "/log.txt", cwd=working)
        self.assertEnds(result, 1)
        self.assertDocument(result.stdout, UPDATE_ROOT, devices=0)
        self.assertEqual(component.revisions(), {})
