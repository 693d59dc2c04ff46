"""A model of a whole run, written from the behaviour and sharing nothing with the component.

Texts are str with one character for each byte (latin-1), because drives supply bytes and documents copy them.
"""

import dataclasses

from command_line import USAGE, parse
from descriptor import Descriptor
from stand_ins import RESET_REQUIRED, ByteThrown, OtherThrown

MAIN = "src/NVMePCISSDMain.cpp"
MANAGER = "src/NVMePCISSDManager.cpp"
INVENTORY = "src/NVMePCISSDInventory.cpp"
UPDATE = "src/NVMePCISSDUpdate.cpp"
ADAPTER = "src/NVMeAdapter.cpp"
ROLLBACK = "cm_BackPlane/src/RollBackPopulator.cpp"
RECORD = "cm_CMBaseUtils/src/DeviceInfo.cpp"
DESCRIPTOR = "cm_CMBaseUtils/src/SoftwareComponentInfo.cpp"
INVENTORY_WRITER = "cm_CMBaseUtils/src/InventoryXMLWriter.cpp"
UPDATE_WRITER = "cm_CMBaseUtils/src/UpdateXMLWriter.cpp"

WHITE_SPACE = " \t\n\v\f\r"


def trimmed(text):
    """White space at both ends goes; of nothing else but white space the first two characters stay."""
    return text.strip(WHITE_SPACE) if text.strip(WHITE_SPACE) else text[:2]


def until_nul(field):
    return field.split("\0", 1)[0]


def advanced(text, count):
    """How the texts show that are advanced by a number instead of followed by it."""
    return text[count:] if 0 <= count < len(text) else ""


@dataclasses.dataclass
class Record:
    """A drive as discovery describes it."""
    vendor: str
    device: str
    sub_vendor: str
    sub_device: str
    address: tuple
    serial: str = ""
    version: str = ""
    status: int = 0
    message: str = "Success"
    display: str = ""


class Log:
    """The debug log: off, writing to one file, or silenced by a second start."""

    def __init__(self, world):
        self.world = world
        self.path = None
        self.silenced = False

    def start(self, name):
        if self.path is not None:
            self.silenced = True
        elif self.world.write(name, ""):
            self.path = self.world.resolve(name)

    def say(self, source, message):
        if self.path is not None and not self.silenced:
            self.world.files[self.path] += source.rjust(50) + ": " + message + "\n"


class Run:
    """One run of the executable in a world: what it prints, writes, calls and returns."""

    def __init__(self, world, words):
        self.world = world
        self.words = words
        self.log = Log(world)
        self.stdout = ""
        self.adapter = None
        self.support_was_there = False

    def say(self, source, message):
        self.log.say(source, message)

    def perform(self):
        """The exit status."""
        options = parse(self.words)
        if options.usage:
            self.stdout += USAGE
        if not options.goes_on:
            return 1
        self.output = options.output
        if options.debug:
            self.log.start(options.debug_name)
            self.say(MAIN, "Logger initialized")
        if options.output:
            self.say(MAIN, "Output file name =" + options.output)
        self.say(MAIN, "Before CNVMePCISSDManager nvmePCISSDMgr; ")
        self.say(MANAGER, "Output file name is: " + options.output)
        good = True
        if options.inventory:
            self.say(MAIN, "Before nvmePCISSDMgr.Inventory ")
            good = self.inventory_command()
            self.say(MAIN, "After nvmePCISSDMgr.Inventory ")
        if options.update:
            self.say(MAIN, "Before nvmePCISSDMgr.Update ")
            good = self.update_command()
            self.say(MAIN, "After nvmePCISSDMgr.Update ")
        if not good:
            self.say(MAIN, "nvmePCISSDMgr.Update or nvmePCISSDMgr.inventory is failed")
        return 0 if good else 1

    # Commands

    def inventory_command(self):
        say = lambda message: self.say(MANAGER, message)
        say("Entering CNVMePCISSDManager::Inventory")
        say("Creating an instance of CNVMePCISSDInventory() using auto_ptr")
        self.adapter_instance()
        say("Calling GetInventory() to get inventory information in a vector")
        records = self.take_inventory()
        say("Done. Received inventory information in a vector")
        self.say(INVENTORY_WRITER, "CInventoryXMLWriter::CInventoryXMLWriter() In Constructor Method")
        say("Creating XML file for inventory information")
        self.write_document("Inventory", INVENTORY_WRITER, "SVMInventory", records, self.inventory_device)
        if not records:
            say("WARNING: vDeviceInfo is empty, No NVMe PCISSD devices found. Possibility for an ERROR.")
        self.say(INVENTORY_WRITER, "CInventoryXMLWriter::CInventoryXMLWriter() In Destructor Method")
        say("Leaving CNVMePCISSDManager::Inventory")
        self.delete_adapter()
        return True

    def update_command(self):
        say = lambda message: self.say(MANAGER, message)
        say("Entering CNVMePCISSDManager::Update")
        say("Creating auto_ptr to CNVMePCISSDUpdate instance")
        self.adapter_instance()
        records = self.update_drives()
        self.say(UPDATE_WRITER, "CUpdateXMLWriter::CUpdateXMLWriter() In Constructor Method")
        say("Creating XML file instance for update")
        self.write_document("Update", UPDATE_WRITER, "SVMExecution", records, self.updated_device)
        say("INFO: Successfully created XML file for update.")
        if not records:
            say("WARNING: m_vDevicesInfo is empty. There seems to be no NVMe PCISSD disk ??")
        self.say(UPDATE_WRITER, "CUpdateXMLWriter::~CUpdateXMLWriter() In Destructor Method")
        say("Leaving CNVMePCISSDManager::Update")
        self.delete_adapter()
        return bool(records)

    # Operations

    def take_inventory(self):
        say = lambda message: self.say(INVENTORY, message)
        say("Entering CNVMePCISSDInventory::GetInventory()")
        records = []
        if not self.initialize():
            say("ERROR: Intialization of NVMEPCISDD library failed!")
        else:
            records = self.discover()
            say("INFO: Found atleast one NVMePCISSD Devices" if records else
                "WARNING: Could not able to found atleast one NVMePCISSD Device also")
        say("Leaving CNVMePCISSDInventory::GetInventory()")
        return records

    def update_drives(self):
        say = lambda message: self.say(UPDATE, message)
        say("Entering CNVMePCISSDUpdate::Update()")
        if not self.initialize():
            say("ERROR: Creating NVMeAdapter instance and/or NVMeAdapter initiatization failed!")
            say("Leaving CNVMePCISSDUpdate::Update()")
            return []
        self.adapter_instance()
        say("CNVMePCISSDUpdate::Update  Before GetInventory() ")
        records = self.take_inventory()
        say("CNVMePCISSDUpdate::Update  After GetInventory() ")
        payloads = self.world.entries_of(self.world.program_folder + "/payload")
        if len(payloads) != 1:
            say("ERROR: Zero or more than one payload file found")
            say("Returning from CNVMePCISSDUpdate::Update()")
            self.delete_adapter()
            return records
        say("Payload file name is: " + payloads[0])
        if self.flash(records, payloads[0]):
            say("INFO: At lease one NVMe PCISSD disk firmware update is successful. Rollback is mandatory now")
            status = self.populate_rollback(payloads[0])
            say("INFO: Populating the rollback partition is success" if status == 0 else
                f"ERROR: Populating the rollback partition is failed with error code {status}")
        self.delete_adapter()
        say("Leaving CNVMePCISSDUpdate::Update()")
        return records

    def populate_rollback(self, payload):
        say = lambda message: self.say(UPDATE, message)
        say("Entering CNVMePCISSDUpdate::populateRollPartition()")
        self.world.working_folder = self.world.program_folder
        try:
            wrapper = self.world.rollback.construct(self.world)
            status = self.hand_over(wrapper, payload)
            if status != 0:
                say("CNVMePCISSDUpdate::populateRollPartition() "
                    "pRollBackPopulator.PopulateRollbackPartition failure")
            wrapper.act("destructor")
        except ByteThrown as thrown:
            say("Error Code receivie from RBKL is " + chr(thrown.code))
            say("ERROR: Caught exception in CBackplanePassiveExecution::populateRollPartition()")
            status = thrown.code
        except OtherThrown:
            say("ERROR: Caught an unknown exception in CBackplanePassiveExecution::populateRollPartition()")
            status = -1
        say("Leaving CBackplanePassiveExecution::populateRollPartition()")
        return status

    def hand_over(self, wrapper, payload):
        say = lambda message: self.say(ROLLBACK, message)
        where = "CRollBackPopulator::::PopulateRollbackPartition"
        say("CBackplaneExecution::PopulateRollbackPartition() start")
        try:
            say(where + ":Populate File Size is:1")
            say("Payload File" + payload)
            status = wrapper.add(payload)
            if status != 0:
                say(where + " addPayloadFiles Failed")
            else:
                status = wrapper.update_partition()
                say(advanced(where + " updateFormwarePartition retVal", status))
        except ByteThrown as thrown:
            say(advanced("CRollBackPopulator::PopulateRollbackPartition: Got Exception ->", thrown.code))
            status = thrown.code
        except OtherThrown:
            say(where + ": UnCatched Exception")
            status = -1
        say("CRollBackPopulator::PopulateRollbackPartition->END")
        say(where + "() END")
        return status

    # Adapter

    def adapter_instance(self):
        self.say(ADAPTER, "Entering CNVMeAdapter::GetInstance()")
        if self.adapter is None:
            self.say(ADAPTER, "Entering CNVMeAdapter::CNVMeAdapter()")
            self.say(ADAPTER, "Leaving CNVMeAdapter::CNVMeAdapter()")
            self.adapter = {"support": False, "library": None}
        self.say(ADAPTER, "Leaving CNVMeAdapter::GetInstance()")

    def delete_adapter(self):
        say = lambda message: self.say(ADAPTER, message)
        say("Entering CNVMeAdapter::DeleteInstance()")
        if self.adapter is not None:
            say("Before deleting the CNVMeAdapter instance")
            say("Entering CNVMeAdapter::~CNVMeAdapter()")
            say("Initializing all required function pointers to NULL")
            say("Checking library handle existance")
            if self.adapter["library"] is not None:
                say("Library handle exists. Freeing it and initialize to NULL")
            say("Uninstalling MOXI ...")
            if self.adapter["support"]:
                failed = not self.support_was_there and self.world.run_script("uninstall") != 0
                say("ERROR: Uninstalling MOXI is failed." if failed else "Uninstalling MOXI is completed.")
            say("Leaving CNVMeAdapter::~CNVMeAdapter()")
            self.adapter = None
            say("After deleting the CNVMeAdapter instance")
        say("Leaving  CNVMeAdapter::DeleteInstance()")

    def initialize(self):
        say = lambda message: self.say(ADAPTER, message)
        say("Entering CNVMeAdapter::Initialize()")
        say("Installing MOXI ..")
        self.support_was_there = self.world.support_loads()
        if not self.support_was_there and self.world.run_script("install") != 0:
            say("ERROR: Installing MOXI is Failed")
        else:
            say("Install MOXI Succeeded")
            self.adapter["support"] = True
        if self.adapter["library"] is None and self.adapter["support"]:
            self.open_library(say)
        say("Leaving CNVMeAdapter::Initialize()")
        return self.adapter["library"] is not None

    def open_library(self, say):
        say("Loading NVMePCISSD_LIBRARY to get handle to library")
        kind = self.world.drive_library_here()
        if kind is None:
            say("Loading NVMePCISSD_LIBRARY from system or KEST path")
            kind = self.world.drive_library_on_path()
        if kind is None:
            say("ERROR: Could not able to load the NVMePCISSD Library using NVMePCISSD_LIBRARY to get handle to "
                "library")
            return
        say("Received handle to library NVMePCISSD_LIBRARY. Initializing required function pointers")
        if kind == "whole":
            say("INFO: All required function pointers initialized successfully")
            self.adapter["library"] = kind
        else:
            say("ERROR: Could not able to load one/all of function pointer(s) m_fncNVMEDiscoverDrives, "
                "m_fncNVMEGetDriverInfo,m_fncNVMEGetDriveDeviceName, m_fncNVMEGetDriveInfo, "
                "m_fncNVMEUpdateFirmware")
            say("Releasing handle to library NVMePCISSD_LIBRARY")

    def discover(self):
        say = lambda message: self.say(ADAPTER, message)
        records = []
        say("Entering CNVMeAdapter::DiscoverNVMeDevices()")
        say("Invoking Samsung API to get NVMe PCISSD disks' discovery/inventory data")
        result, drives = self.world.drives.discover()
        if result != 0:
            say("ERROR: Samung API NVMEDiscoverDrives failed to collect NVMe PCISSD disks' inventory")
            say(f"ERROR INFO: API return value = {result % 2**32}")
        else:
            say("Done. Samsung API NVMEDiscoverDrives successfully returned with discovery/inventory data")
            for number, drive in enumerate(drives):
                say(advanced("Found a NVMePCISSD with drive number ", number))
                if drive is None:
                    say("ERROR: NVMEDiscoverDrives returned an empty drive entry")
                else:
                    records.append(self.describe(drive, say))
        say("Leaving CNVMeAdapter::DiscoverNVMeDevices()")
        return records

    def describe(self, drive, say):
        record = Record(*(f"{number:x}" for number in drive["ids"]), address=drive["address"])
        of_record = lambda message: self.say(RECORD, message)
        for what, text in (("Device", record.device), ("SubDevice", record.sub_device),
                           ("Vendor", record.vendor), ("SubVendor", record.sub_vendor)):
            of_record(f"CDeviceInfo::setPCIInfo() {what} id  {text}")
        for what, number in zip(("Bus", "Device", "Function"), record.address):
            of_record(f"CNVMeAdapter::setBDFInfo() {what} Number is  {chr(number)}")
        record.serial = "Serial Number: " + trimmed(until_nul(drive["serial"]))
        say("NVMePCISSD Model Number: " + trimmed(until_nul(drive["model"])))
        say("NVMePCISSD " + record.serial)
        say("Entering CNVMeAdapter::getFirmwareRevision()")
        result, revision = self.world.drives.revision(record.address)
        if result != 0:
            say("ERROR: Failed to get the NVMePCISSD firmware version using m_fncNVMEGetDriveInfo function pointer")
            record.version, record.status = "Not Found", 2
            record.message = "ERROR: Getting Firmware Version of required NVMePCISSD disk failed"
        else:
            record.version = until_nul(revision)
            say("INFO: Firmware Version of the drive using memory values  " + record.version)
        say("Leaving CNVMeAdapter::getFirmwareRevision()")
        self.name(record, say)
        return record

    def name(self, record, say):
        say("Entering CNVMeAdapter::setBasicDeviceInfo()")
        say("CNVMeAdapter::setBasicDeviceInfo() Setting the Device Name: ")
        say("Setting the Component Type: FRMW")
        say("Setting the Device Type")
        say("Befoe creating the object of Software Component Info")
        of_reader = lambda message: self.say(DESCRIPTOR, message)
        if self.world.exists("enabledebug.txt"):
            self.log.start("baseutils.log")
        if self.world.exists("package.xml"):
            if self.world.descriptor is None:
                of_reader("CSoftwareComponentInfo::Init() Document " + self.world.resolve("package.xml") +
                          " not parsed successfully ")
            of_reader("CSoftwareComponentInfo::Init() Exiting")
        say("After creating the object of Software Component Info")
        record.display = self.marketing_name(record, of_reader)
        say("Setting the Display name to Marketing name: " + record.display)
        say("Leaving CNVMeAdapter::setBasicDeviceInfo()")

    def marketing_name(self, record, say):
        if self.world.exists("package.xml") and self.world.descriptor is not None:
            return Descriptor(self.world.descriptor).marketing_name(record, say)
        if self.world.exists("package.xml"):
            say("CSoftwareComponentInfo::GetNodeSet() Empty nodeset")
        where = "CSoftwareComponentInfo::"
        say(where + "GetSupportedDevices() Error during calculating xpath expression")
        say(where + "GetSupportedDevices() Exiting")
        say(where + "getMarketingNameForPCIDevice() Exiting")
        return ""

    def flash(self, records, payload):
        say = lambda message: self.say(ADAPTER, message)
        say("Entering CNVMeAdapter::UpdateNVMeDevices()")
        done = 0
        for record in records:
            say("Updating the firmware for NVMeDevcice")
            result = self.world.drives.update(record.address, payload)
            if result in (0, RESET_REQUIRED):
                say("Update firmware done for NVMeDevcice Succesfully")
                done += 1
            else:
                say("ERROR: Update firmware failed for NVMeDevcice")
                say(f"ERROR INFO: API return value = {result % 2**32}")
                record.status, record.message = 1, "ERROR: Failed to Update Firmware"
        say(f"{done} NVMEPCISSD drives updated succesfully out of {len(records)} NVMEPCISSD Drives")
        say("Leaving CNVMeAdapter::UpdateNVMeDevices()")
        return done > 0

    # Documents

    def write_document(self, kind, source, root, records, device):
        say = lambda message: self.say(source, message)
        name = f"C{kind}XMLWriter::"
        say(name + "GetXML() Entering")
        opened = False
        if self.output:
            opened = self.world.write(self.output, "")
            say(name + "GetXML() udpate xml file opened")
        say(name + "addXMLHeader() In addXMLHeader Method")
        say(f"{name}add{kind}Header() In add{kind}Header Method")
        document = f'<?xml version="1.0" encoding="UTF-8"?><{root} lang="en">'
        for record in records:
            if record.status == 0:
                say(name + "GetXML() Found one PCI Device")
                document += device(record)
            else:
                say(name + "GetXML() Update failed for one Device")
                document += self.status(False, record)
        if kind == "Update":
            say(name + "addRebootRequiredStatus() In addRebootRequiredStatus Method")
        say(f"{name}add{kind}Footer() In add{kind}Footer Method")
        document += f"</{root}>"
        say(name + "print() Entering")
        if opened:
            self.world.write(self.output, document)
            say(f"{name}print() copying the contents to {kind} XML file")
        else:
            self.stdout += document
        say(name + "print() Exiting")
        say(name + "GetXML() Exiting")

    @staticmethod
    def status(good, record):
        result = "true" if good else "false"
        return (f'<SPStatus result = "{result}" ><Message id="0" >{record.message}</Message></SPStatus>')

    @staticmethod
    def inventory_device(record):
        return (f'<Device  vendorID="{record.vendor}" deviceID="{record.device}" subVendorID="{record.sub_vendor}" '
                f'subDeviceID="{record.sub_device}"  display="{record.display}" enum = "{record.serial}" >'
                f'<Application componentType="FRMW"  version="{record.version}"  display=""/></Device>')

    def updated_device(self, record):
        return (f'<Device  vendorID="{record.vendor}" deviceID="{record.device}" subVendorID="{record.sub_vendor}" '
                f'subDeviceID="{record.sub_device}" display="{record.display}" enum = "{record.serial}" >'
                f'<Application componentType="FRMW" version="{record.version}" display="" >'
                f'{self.status(True, record)}</Application></Device>')
