#include "NVMePCISSDUpdate.h"

#include <memory>
#include <new>

#include "Logger.h"
#include "NVMeAdapter.h"
#include "NVMePCISSDInventory.h"
#include "PlatformLayer.h"
#include "RollBackPopulator.h"
#include "UpdRollbackWrapper.h"

namespace {

/// Destroys the object by its virtual destructor and frees its memory in this program, which allocated it. A
/// plain `delete` would leave the freeing to the rollback library, which passes the object's true size along;
/// that differs from the allocated one, and an allocator that goes by the size would take damage.
struct WrapperDeleter {
  /// Passes on what the destructor throws, but frees the memory first.
  void operator()(UpdRollbackWrapper* wrapper) const {
    struct Free {
      void operator()(void* memory) const noexcept { ::operator delete(memory); }
    };
    const std::unique_ptr<void, Free> memory(wrapper);
    wrapper->~UpdRollbackWrapper();
  }
};

}  // namespace

// The adapter may be null, when memory ran out; `Update` reports that.
CNVMePCISSDUpdate::CNVMePCISSDUpdate() : m_pNVMeAdapter(CNVMeAdapter::GetInstance()) {}

CNVMePCISSDUpdate::~CNVMePCISSDUpdate() {
  CNVMeAdapter::DeleteInstance();
}

std::vector<CDeviceInfo*> CNVMePCISSDUpdate::Update() {
  LOG("Entering CNVMePCISSDUpdate::Update()");
  // Initialised here and once more by the inventory below, which runs the install step a second time. That is
  // why an update which installs the support library leaves it installed: the second step finds it present.
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

  // Looked for after the inventory, so that a refused payload still leaves a document with every drive in it.
  std::vector<std::string> files = payloadFiles();
  // Exactly one entry of any kind. With several files nobody knows which one is meant, and the wrong one
  // could cost drives.
  if (files.size() != 1) {
    LOG("ERROR: Zero or more than one payload file found");
    LOG("Returning from CNVMePCISSDUpdate::Update()");
    return m_vDevicesInfo;
  }
  LOG("Payload file name is: " + files.front());

  if (m_pNVMeAdapter->UpdateNVMeDevices(m_vDevicesInfo, files.front())) {
    LOG("INFO: At lease one NVMe PCISSD disk firmware update is successful. Rollback is mandatory now");
    // The outcome is only logged: the drives have their firmware, with or without the copy.
    const int status = populateRollbackPartition(files);
    if (status == 0) {
      LOG("INFO: Populating the rollback partition is success");
    } else {
      LOG("ERROR: Populating the rollback partition is failed with error code " + std::to_string(status));
    }
  }
  // Ends the adapter; this object's own destructor then finds none.
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
  // The rollback library looks for its files from here. The directory is not changed back, so that a relative
  // name of the result document means a file beside the executable from now on.
  if (!CPlatformLayer::setCurrentDirectory(CPlatformLayer::getCurrentProcessDirectory())) {
    LOG("ERROR: SetCurrentDirectory failed: Unable to set current Directory");
    return status;
  }
  try {
    std::unique_ptr<UpdRollbackWrapper, WrapperDeleter> wrapper(new UpdRollbackWrapper);
    status = CRollBackPopulator(wrapper.get()).PopulateRollbackPartition(files);
    if (status != 0) {
      LOG("CNVMePCISSDUpdate::populateRollPartition() pRollBackPopulator.PopulateRollbackPartition failure");
    }
    // Not left to the pointer's own end: what the destructor throws is an outcome, and decides the status.
    wrapper.get_deleter()(wrapper.release());
  } catch (unsigned char& code) {
    // The code shows as the character with that number, not as digits. One line names another component's
    // class; callers compare both.
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
  // No command calls this; the texts belong to the interface.
  constexpr int kVantorDisabled = 55;
  message = code == kVantorDisabled ? "Vantor is disabled on your system." : "The firmware update failed";
}
