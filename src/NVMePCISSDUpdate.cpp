#include "NVMePCISSDUpdate.h"

#include <memory>
#include <new>
#include <utility>

#include "Logger.h"
#include "NVMeAdapter.h"
#include "NVMePCISSDInventory.h"
#include "PlatformLayer.h"
#include "RollBackPopulator.h"
#include "UpdRollbackWrapper.h"

namespace {

/// Destroys the object as its library wants it, but gives its memory back without a size: the library's own
/// idea of the object's size is not the one that it was allocated with. What the destructor throws is let
/// through.
void destroy(std::unique_ptr<UpdRollbackWrapper> wrapper) {
  struct Deallocator {
    void operator()(void* memory) const noexcept { ::operator delete(memory); }
  };
  UpdRollbackWrapper* const object = wrapper.release();
  const std::unique_ptr<void, Deallocator> memory(object);
  object->~UpdRollbackWrapper();
}

}  // namespace

CNVMePCISSDUpdate::CNVMePCISSDUpdate() : m_pNVMeAdapter(CNVMeAdapter::GetInstance()) {}

CNVMePCISSDUpdate::~CNVMePCISSDUpdate() {
  CNVMeAdapter::DeleteInstance();
}

std::vector<CDeviceInfo*> CNVMePCISSDUpdate::Update() {
  LOG("Entering CNVMePCISSDUpdate::Update()");
  if (m_pNVMeAdapter == nullptr || !m_pNVMeAdapter->Initialize()) {
    LOG("ERROR: Creating NVMeAdapter instance and/or NVMeAdapter initiatization failed!");
    LOG("Leaving CNVMePCISSDUpdate::Update()");
    return m_vDevicesInfo;
  }

  std::unique_ptr<CNVMePCISSDInventory> inventory(new (std::nothrow) CNVMePCISSDInventory);
  if (inventory == nullptr) {
    LOG("ERROR: Creating CNVMePCISSDInventory instance failed!");
  } else {
    LOG("CNVMePCISSDUpdate::Update  Before GetInventory() ");
    m_vDevicesInfo = inventory->GetInventory();
    LOG("CNVMePCISSDUpdate::Update  After GetInventory() ");
  }

  std::vector<std::string> files = payloadFiles();
  if (files.size() != 1) {
    LOG("ERROR: Zero or more than one payload file found");
    LOG("Returning from CNVMePCISSDUpdate::Update()");
    return m_vDevicesInfo;
  }
  LOG("Payload file name is: " + files.front());

  if (m_pNVMeAdapter->UpdateNVMeDevices(m_vDevicesInfo, files.front())) {
    LOG("INFO: At lease one NVMe PCISSD disk firmware update is successful. Rollback is mandatory now");
    const int status = populateRollbackPartition(files);
    if (status == 0) {
      LOG("INFO: Populating the rollback partition is success");
    } else {
      LOG("ERROR: Populating the rollback partition is failed with error code " + std::to_string(status));
    }
  }
  inventory.reset();
  LOG("Leaving CNVMePCISSDUpdate::Update()");
  return m_vDevicesInfo;
}

std::vector<std::string> CNVMePCISSDUpdate::payloadFiles() {
  std::string directory = CPlatformLayer::getCurrentProcessDirectory() + "payload";
  return CPlatformLayer::GetFileList(directory);
}

int CNVMePCISSDUpdate::populateRollbackPartition(std::vector<std::string>& files) {
  // The lines name "populateRollPartition" and another component's class; callers compare them.
  LOG("Entering CNVMePCISSDUpdate::populateRollPartition()");
  int status = -1;
  if (!CPlatformLayer::setCurrentDirectory(CPlatformLayer::getCurrentProcessDirectory())) {
    LOG("ERROR: SetCurrentDirectory failed: Unable to set current Directory");
    return status;
  }
  try {
    auto wrapper = std::make_unique<UpdRollbackWrapper>();
    status = CRollBackPopulator(wrapper.get()).PopulateRollbackPartition(files);
    if (status != 0) {
      LOG("CNVMePCISSDUpdate::populateRollPartition() pRollBackPopulator.PopulateRollbackPartition failure");
    }
    destroy(std::move(wrapper));
  } catch (unsigned char& code) {
    LOG(std::string("Error Code receivie from RBKL is ") + static_cast<char>(code));
    LOG("ERROR: Caught exception in CBackplanePassiveExecution::populateRollPartition()");
    status = code;
  } catch (...) {
    LOG("ERROR: Caught an unknown exception in CBackplanePassiveExecution::populateRollPartition()");
    status = -1;
  }
  LOG("Leaving CBackplanePassiveExecution::populateRollPartition()");
  return status;
}

void CNVMePCISSDUpdate::mapErrorCodeToMessage(int code, std::string& message) {
  constexpr int kVantorDisabled = 55;
  message = code == kVantorDisabled ? "Vantor is disabled on your system." : "The firmware update failed";
}
