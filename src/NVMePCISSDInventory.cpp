#include "NVMePCISSDInventory.h"

#include "Logger.h"
#include "NVMeAdapter.h"

CNVMePCISSDInventory::CNVMePCISSDInventory() : m_pNVMeAdapter(CNVMeAdapter::GetInstance()) {}

CNVMePCISSDInventory::~CNVMePCISSDInventory() {
  if (m_pNVMeAdapter != nullptr) CNVMeAdapter::DeleteInstance();
}

std::vector<CDeviceInfo*> CNVMePCISSDInventory::GetInventory() {
  const CTraceScope trace(LOG_SITE, "CNVMePCISSDInventory::GetInventory()");
  // Every failure is a line and an empty list: callers cannot tell it from a server without drives.
  if (m_pNVMeAdapter == nullptr) {
    LOG("ERROR: NVMeAdapter instance is NOT created to make inventory");
  } else if (!m_pNVMeAdapter->Initialize()) {
    LOG("ERROR: Intialization of NVMEPCISDD library failed!");
  } else if (m_pNVMeAdapter->DiscoverNVMeDevices(m_vDevicesInfo)) {
    LOG("INFO: Found atleast one NVMePCISSD Devices");
  } else {
    LOG("WARNING: Could not able to found atleast one NVMePCISSD Device also");
  }
  return m_vDevicesInfo;
}
