#include "CoreTest.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>
#include <utility>

#include "PlatformLayer.h"

namespace {

/// The trace lines whose words callers compare.
constexpr std::array<std::string_view, 6> kFixedTraceLines{
    "Leaving  CNVMeAdapter::DeleteInstance()",
    "Leaving CNVMePCISSDUpdate::Update()",
    "Leaving CNVMePCISSDManager::Inventory",
    "Leaving CNVMePCISSDManager::Update",
    "Leaving CBackplanePassiveExecution::populateRollPartition()",
    "Entering CNVMePCISSDUpdate::populateRollPartition()",
};

bool isFreeTraceLine(const LogLine& line) {
  const std::string_view message = line.message;
  if (!message.starts_with("Entering ") && !message.starts_with("Leaving ")) return false;
  return std::find(kFixedTraceLines.begin(), kFixedTraceLines.end(), message) == kFixedTraceLines.end();
}

bool isOfAnotherClass(const LogLine& line) {
  return line.source.ends_with("/DeviceInfo.cpp") || line.source.ends_with("/SoftwareComponentInfo.cpp");
}

}  // namespace

Lines all(std::initializer_list<Lines> parts) {
  Lines lines;
  for (const Lines& part : parts) lines.insert(lines.end(), part.begin(), part.end());
  return lines;
}

Lines installLines() {
  return {"Installing MOXI ..", "Install MOXI Succeeded"};
}

Lines openLines() {
  return {"Loading NVMePCISSD_LIBRARY to get handle to library",
          "Received handle to library NVMePCISSD_LIBRARY. Initializing required function pointers",
          "INFO: All required function pointers initialized successfully"};
}

Lines initializeLines() {
  return all({installLines(), openLines()});
}

Lines discoveryLines(const std::vector<FakeDrive>& drives) {
  Lines lines{"Invoking Samsung API to get NVMe PCISSD disks' discovery/inventory data",
              "Done. Samsung API NVMEDiscoverDrives successfully returned with discovery/inventory data"};
  for (std::size_t i = 0; i < drives.size(); ++i) {
    lines = all(
        {lines,
         {kFoundText.substr(i), "NVMePCISSD Model Number: " + drives[i].model,
          "NVMePCISSD Serial Number: " + drives[i].serial,
          "INFO: Firmware Version of the drive using memory values  " + drives[i].revision,
          "CNVMeAdapter::setBasicDeviceInfo() Setting the Device Name: ", "Setting the Component Type: FRMW",
          "Setting the Device Type", "Befoe creating the object of Software Component Info",
          "After creating the object of Software Component Info",
          "Setting the Display name to Marketing name: "}});
  }
  return lines;
}

Lines tearDownLines() {
  return {"Before deleting the CNVMeAdapter instance",
          "Initializing all required function pointers to NULL",
          "Checking library handle existance",
          "Library handle exists. Freeing it and initialize to NULL",
          "Uninstalling MOXI ...",
          "Uninstalling MOXI is completed.",
          "After deleting the CNVMeAdapter instance",
          "Leaving  CNVMeAdapter::DeleteInstance()"};
}

Lines nothingToTearDownLines() {
  return {"Leaving  CNVMeAdapter::DeleteInstance()"};
}

std::string describe(const CDeviceInfo& record) {
  const SPCIInfo pci = record.getPCIInfo();
  const _BDFInfo bdf = record.getBDFInfo();
  CDeviceInfo copy = record;  // the path's getter is not const
  std::ostringstream text;
  text << "release " << record.getReleaseID() << "|component " << record.getComponentID() << "|parent "
       << record.getParentComponentID() << "|type " << record.getComponentType() << "|name "
       << record.getDeviceName() << "|version " << record.getVersion() << "|pci " << pci.componentID << " "
       << pci.deviceID << " " << pci.subDeviceID << " " << pci.vendorID << " " << pci.subVendorID << " "
       << pci.displayName << "|device type " << record.getDeviceType() << "|dependency type "
       << record.getDependencyType() << "|message id " << record.getMessageID() << "|status "
       << record.getStatus() << "|error " << record.getErrorMsg() << "|update status "
       << record.getUpdateStatus() << "|display " << record.getDisplay() << "|detail " << record.getDetail()
       << "|path " << copy.getFilePath() << "|current " << record.getCurrentVersion() << "|enum "
       << record.getEnumId() << "|reboot " << record.getRebootRequired() << "|bdf " << int{bdf.bus} << ":"
       << int{bdf.device} << "." << int{bdf.function};
  return text.str();
}

Lines describe(const std::vector<CDeviceInfo*>& records) {
  Lines lines;
  for (const CDeviceInfo* record : records) lines.push_back(describe(*record));
  return lines;
}

void Records::replace(std::vector<CDeviceInfo*> records) {
  for (const CDeviceInfo* record : list) delete record;
  list = std::move(records);
}

CoreTest::CoreTest() : m_platformBefore(CPlatformLayer::m_pPlatformImpl) {
  CPlatformLayer::m_pPlatformImpl = &platform;
  platform.libraries["./libnvme.so"] = &library;
}

CoreTest::~CoreTest() {
  CNVMeAdapter::DeleteInstance();
  CPlatformLayer::m_pPlatformImpl = m_platformBefore;
}

CNVMeAdapter& CoreTest::initializedAdapter() {
  CNVMeAdapter& adapter = *CNVMeAdapter::GetInstance();
  EXPECT_TRUE(adapter.Initialize());
  EXPECT_EQ(logged(), initializeLines());
  return adapter;
}

void CoreTest::addDrives(std::size_t number) {
  for (std::size_t i = 1; i <= number; ++i) {
    library.drives.push_back({.bus = static_cast<std::uint8_t>(i % 256),
                              .device = static_cast<std::uint8_t>(i / 256),
                              .serial = "SN" + std::to_string(i),
                              .revision = "EXF" + std::to_string(i)});
  }
}

Lines CoreTest::logged() {
  Lines lines;
  for (LogLine& line : loggedWithSources()) {
    if (!isOfAnotherClass(line)) lines.push_back(std::move(line.message));
  }
  return lines;
}

std::vector<LogLine> CoreTest::loggedWithSources() {
  const std::string text = log.text();
  std::vector<LogLine> lines = parseLog(text.substr(m_seen));
  m_seen = text.size();
  lines.erase(std::remove_if(lines.begin(), lines.end(), isFreeTraceLine), lines.end());
  return lines;
}
