#include "NVMePCISSDManager.h"

#include <cstdlib>
#include <exception>
#include <memory>
#include <new>

#include "InventoryXMLWriter.h"
#include "Logger.h"
#include "NVMePCISSDInventory.h"
#include "NVMePCISSDUpdate.h"
#include "UpdateXMLWriter.h"

CNVMePCISSDManager::CNVMePCISSDManager(const std::string& outputFileName)
    : m_strOutputFileName(outputFileName) {
  LOG("Output file name is: " + m_strOutputFileName);
}

CNVMePCISSDManager::~CNVMePCISSDManager() {
  // The records of the last command only: with -i -u, the update has dropped those of the inventory.
  for (const CDeviceInfo* device : m_vDevicesInfo) delete device;
}

bool CNVMePCISSDManager::Inventory() {
  LOG("Entering CNVMePCISSDManager::Inventory");
  // The lines still speak of the pointer type of an earlier release; callers compare them.
  LOG("Creating an instance of CNVMePCISSDInventory() using auto_ptr");
  const std::unique_ptr<CNVMePCISSDInventory> inventory(new (std::nothrow) CNVMePCISSDInventory);
  if (inventory == nullptr) {
    LOG("ERROR: Creating an instance of CNVMePCISSDInventory using auto_ptr failed.");
    return false;
  }
  LOG("Calling GetInventory() to get inventory information in a vector");
  // The operation object lives on until the document is written. Its end closes the drive library, which
  // logs its own lines.
  m_vDevicesInfo = inventory->GetInventory();
  LOG("Done. Received inventory information in a vector");

  std::unique_ptr<CInventoryXMLWriter> writer(new (std::nothrow) CInventoryXMLWriter);
  if (writer == nullptr) {
    LOG("ERROR: Creating an instance of CInventoryXMLWriter using auto_ptr failed!");
    return false;
  }
  LOG("Creating XML file for inventory information");
  // A document without drives is a document: the caller collects it in any case.
  const bool written = writeDocument(*writer);
  if (m_vDevicesInfo.empty()) {
    LOG("WARNING: vDeviceInfo is empty, No NVMe PCISSD devices found. Possibility for an ERROR.");
  }
  if (!written) LOG("ERROR: Creating XML file for inventory is failed");
  writer.reset();
  LOG("Leaving CNVMePCISSDManager::Inventory");
  // No drives and no written document are no failure of an inventory. Callers rely on it; an update differs.
  return true;
}

bool CNVMePCISSDManager::Update() {
  LOG("Entering CNVMePCISSDManager::Update");
  LOG("Creating auto_ptr to CNVMePCISSDUpdate instance");
  const std::unique_ptr<CNVMePCISSDUpdate> update(new (std::nothrow) CNVMePCISSDUpdate);
  if (update == nullptr) {
    LOG("ERROR: Failed to create auto_ptr to CNVMePCISSDUpdate");
    return false;
  }
  // Drops the records of an earlier inventory without deleting them, by design: with -i -u they live to the
  // end of the process.
  m_vDevicesInfo = update->Update();

  std::unique_ptr<CUpdateXMLWriter> writer(new (std::nothrow) CUpdateXMLWriter);
  if (writer == nullptr) {
    LOG("ERROR: Failed to create auto_ptr to CUpdateXMLWriter");
    return false;
  }
  LOG("Creating XML file instance for update");
  bool result = writeDocument(*writer);
  if (!result) {
    LOG("ERROR: Failed to create XML file for update.");
  } else {
    LOG("INFO: Successfully created XML file for update.");
    if (m_vDevicesInfo.empty()) {
      LOG("WARNING: m_vDevicesInfo is empty. There seems to be no NVMe PCISSD disk ??");
      // Unlike an inventory, an update without drives has failed at what it was started for.
      result = false;
    }
  }
  writer.reset();
  LOG("Leaving CNVMePCISSDManager::Update");
  return result;
}

bool CNVMePCISSDManager::writeDocument(IDeviceXMLWriter& writer) {
  try {
    return writer.GetXML(m_vDevicesInfo, m_strOutputFileName);
  } catch (const std::exception& exception) {
    LOG("ERROR: pDeviceXmlWriter->GetXML() created an exception and it is caught !");
    if (exception.what() != nullptr) LOG(std::string("Exception Is: ") + exception.what());
  } catch (...) {
    LOG("ERROR: pDeviceXmlWriter->GetXML() created an unkown exception");
  }
  // Nothing is cleaned up: the drive library and the support library stay as they are at this moment.
  std::exit(EXIT_FAILURE);
}
