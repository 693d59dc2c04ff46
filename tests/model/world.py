"""The world that a run meets: files, folders, libraries and the install script, as a description that the model
changes and as a folder on disk that the executable changes."""

import copy
import json
import os
import posixpath
import shutil

from stand_ins import Drives, Rollback


class World:
    """The described side. Paths are absolute; `files` maps each to its content, folders and links stand apart."""

    def __init__(self, root, scenario):
        self.root = root
        self.scenario = scenario
        self.program_folder = root + "/" + scenario["program_folder"]
        self.start_folder = root + "/" + scenario["working_folder"]
        self.working_folder = self.start_folder
        self.files = {}
        self.folders = {root, self.program_folder, self.working_folder, posixpath.dirname(self.working_folder),
                        self.library_folder}
        self.descriptor = scenario["descriptor"]["tree"]
        self.revisions = {}
        self.place_inputs()
        self.script_log = []
        partition = self.program_folder + "/rollback-partition"
        self.drives = Drives(scenario["drives"], self.revisions, self.payload_taken())
        self.rollback = Rollback(scenario["rollback"], partition, scenario["partition_blocked"])
        if scenario["partition_blocked"]:
            self.files[partition] = "in the way"

    @property
    def library_folder(self):
        return self.root + "/lib"

    def place_inputs(self):
        scenario = self.scenario
        if scenario["descriptor"]["text"] is not None:
            self.files[self.start_folder + "/package.xml"] = scenario["descriptor"]["text"]
        if scenario["marker"]:
            self.files[self.start_folder + "/enabledebug.txt"] = ""
        for name in scenario["folders_in_the_way"]:
            self.folders.add(self.start_folder + "/" + name)
        payload = self.program_folder + "/payload"
        if scenario["payload"] is None:
            return
        self.folders.add(payload)
        for name, content in scenario["payload"].items():
            if content is None:
                self.folders.add(payload + "/" + name)
            else:
                self.files[payload + "/" + name] = content

    def payload_taken(self):
        """Whether the drives accept the one payload: a file with something in it."""
        contents = list((self.scenario["payload"] or {}).values())
        return len(contents) == 1 and bool(contents[0])

    # What the run asks of its world

    def resolve(self, name):
        return posixpath.normpath(posixpath.join(self.working_folder, name))

    def exists(self, name):
        return self.resolve(name) in self.files

    def content(self, path):
        return self.files.get(path)

    def write(self, name, content):
        """Replaces a file; False when it cannot be opened."""
        if name == "":
            return False
        path = self.resolve(name)
        if path in self.folders or posixpath.dirname(path) not in self.folders:
            return False
        self.files[path] = content
        return True

    def entries_of(self, folder):
        """Full paths of what lies in a folder; none for a folder that is not there."""
        return [path for path in (*self.files, *self.folders) if posixpath.dirname(path) == folder]

    def run_script(self, word):
        """The status of the install script of the working folder, which a shell runs without quoting its path."""
        script = self.scenario["script"]
        if " " in self.working_folder or script["kind"] == "absent" or self.working_folder != self.start_folder and \
                not script["also_beside_program"]:
            return 127
        if script["kind"] == "not executable":
            return 126
        self.script_log.append(word)
        if script[word] != 0 or not script["copies"]:
            return script[word]
        library = self.library_folder + "/libkvrpm.so"
        if word == "install":
            if script["source"] is None:
                return 1
            self.libraries()["libkvrpm.so"] = "whole"
            self.files[library] = None
        else:
            self.libraries().pop("libkvrpm.so", None)
            self.files.pop(library, None)
        return 0

    def libraries(self):
        """The libraries on the loader's search path by name: "whole", "partial" (without one entry point) or
        "garbage"."""
        return self.scenario["libraries_on_path"]

    def support_loads(self):
        return any(self.libraries().get(name) == "whole" for name in ("libkvrpm.so", "libkvrpm64.so"))

    @staticmethod
    def loadable(kind):
        return kind if kind in ("whole", "partial") else None

    def drive_library_here(self):
        return self.loadable(self.scenario["library_here"]) if self.working_folder == self.start_folder else None

    def drive_library_on_path(self):
        return self.loadable(self.libraries().get("libnvme.so"))


class Stage:
    """The folder on disk, made from the same scenario."""

    def __init__(self, root, scenario, parts):
        self.root = root
        self.scenario = scenario
        self.parts = parts
        world = World(root, copy.deepcopy(scenario))
        self.program = world.program_folder + "/nvmepcissd"
        self.working_folder = world.start_folder
        self.library_folder = world.library_folder
        for folder in sorted(world.folders):
            os.makedirs(folder, exist_ok=True)
        for path, content in world.files.items():
            self.put(path, content)
        self.place_program(world.program_folder)
        self.place_libraries()
        self.place_script(world.program_folder)
        self.place_scenarios()

    @staticmethod
    def put(path, content):
        with open(path, "wb") as file:
            file.write(content.encode("latin-1"))

    def place_program(self, folder):
        for part in ("nvmepcissd", "librbkl.so.0"):
            shutil.copy(self.parts[part], folder + "/" + part)

    def place_library(self, path, kind, whole):
        if kind == "garbage":
            self.put(path, "not a library\n")
        elif kind is not None:
            shutil.copy(self.parts[whole if kind == "whole" else "partial"], path)

    def place_libraries(self):
        self.place_library(self.working_folder + "/libnvme.so", self.scenario["library_here"], "libnvme.so")
        for name, kind in self.scenario["libraries_on_path"].items():
            whole = "libnvme.so" if name == "libnvme.so" else "libkvrpm.so"
            self.place_library(self.library_folder + "/" + name, kind, whole)

    def place_script(self, program_folder):
        script = self.scenario["script"]
        folders = {self.working_folder} | ({program_folder} if script["also_beside_program"] else set())
        for folder in folders if script["kind"] != "absent" else ():
            path = folder + "/fwkitinstall.sh"
            shutil.copy(self.parts["fwkitinstall.sh"], path)
            os.chmod(path, 0o644 if script["kind"] == "not executable" else 0o755)
            if script["source"] is not None:
                os.makedirs(folder + "/support", exist_ok=True)
                shutil.copy(self.parts["libkvrpm.so"], folder + "/support/libkvrpm.so")

    def place_scenarios(self):
        drives = self.scenario["drives"]
        self.put(self.root + "/scenario.json", "{" if drives is None else json.dumps(self.drive_scenario(drives)))
        script = self.scenario["rollback"]
        self.put(self.root + "/rollback.json", "{" if script is None else json.dumps(
            {operation: {kind: value} for operation, (kind, value) in script.items()}))

    @staticmethod
    def drive_scenario(scenario):
        def entry(drive):
            sub_vendor, sub_device = drive["ids"][2:]
            vendor, device = drive["ids"][:2]
            result = {"vendorId": f"{vendor:x}", "deviceId": f"{device:x}", "subVendorId": f"{sub_vendor:x}",
                      "subDeviceId": f"{sub_device:x}", "address": Drives.text(drive["address"]),
                      "model": drive["model"], "serial": drive["serial"], "revision": drive["revision"],
                      "revisionResult": drive["revision_result"], "updateResult": drive["update_result"],
                      "nullEntry": drive["null"]}
            if drive["new_revision"] is not None:
                result["newRevision"] = drive["new_revision"]
            return result

        return {"discoveryResult": scenario["result"], "list": scenario["list"],
                "drives": [entry(drive) for drive in scenario["drives"]]}

    def environment(self, words):
        script = self.scenario["script"]
        environment = {
            **{name: value for name, value in os.environ.items() if name == "PATH" or name.endswith("SAN_OPTIONS")},
            "LD_LIBRARY_PATH": self.library_folder,
            "NVME_SIMULATOR_SCENARIO": self.root + "/scenario.json",
            "NVME_SIMULATOR_STATE": self.root + "/nvme-state.json",
            "NVME_SIMULATOR_CALLS": self.root + "/nvme-calls",
            "RBKL_SIMULATOR_SCENARIO": self.root + "/rollback.json",
            "RBKL_SIMULATOR_CALLS": self.root + "/rollback-calls",
            "FWKIT_LOG": self.root + "/script-calls",
            "FWKIT_INSTALL_RESULT": str(script["install"]), "FWKIT_UNINSTALL_RESULT": str(script["uninstall"])}
        if script["copies"]:
            environment["FWKIT_INSTALL_DIR"] = self.library_folder
        if "-i" in words and "-u" in words:  # the records of the first command are given up, by design
            environment["ASAN_OPTIONS"] = environment.get("ASAN_OPTIONS", "") + ":detect_leaks=0"
        return environment
