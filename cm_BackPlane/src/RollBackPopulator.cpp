#include "RollBackPopulator.h"

#include "Logger.h"
#include "StringUtils.h"
#include "UpdRollbackWrapper.h"

CRollBackPopulator::CRollBackPopulator(UpdRollbackWrapper* wrapper) : m_pUpdRollbackWrapper(wrapper) {
  if (wrapper == nullptr) LOG("CRollBackPopulator::CRollBackPopulator() pUpdRollbackWrapper is NULL");
}

int CRollBackPopulator::PopulateRollbackPartition(const std::vector<std::string>& files) {
  LOG("CBackplaneExecution::PopulateRollbackPartition() start");
  if (m_pUpdRollbackWrapper == nullptr) {
    LOG("Update Rollback Wrapper Not initialized: exiting");
    return 1;
  }
  int status = -1;  // stays so when the library throws anything but a byte
  try {
    status = addAndUpdate(files);
  } catch (unsigned char& code) {
    // The text is advanced by the code, not followed by it; so is the one with the partition's status.
    LOG(CStringUtils::shifted("CRollBackPopulator::PopulateRollbackPartition: Got Exception ->", code));
    status = code;
  } catch (...) {
    LOG("CRollBackPopulator::::PopulateRollbackPartition: UnCatched Exception");
  }
  // After a throw too: whoever reads the log sees that the operation has ended.
  LOG("CRollBackPopulator::PopulateRollbackPartition->END");
  LOG("CRollBackPopulator::::PopulateRollbackPartition() END");
  return status;
}

int CRollBackPopulator::addAndUpdate(const std::vector<std::string>& files) {
  LOG("CRollBackPopulator::::PopulateRollbackPartition:Populate File Size is:" +
      std::to_string(files.size()));
  for (const std::string& file : files) {
    LOG("Payload File" + file);
    // Always true. What it means is up to the library.
    const int added = m_pUpdRollbackWrapper->addPayloadFiles(file, true);
    if (added != 0) {
      // A partition with some of the files would be worse than the old one: it is not written.
      LOG("CRollBackPopulator::::PopulateRollbackPartition addPayloadFiles Failed");
      return added;
    }
  }
  // Written even for an empty list: the library decides what an empty partition is.
  const int updated = m_pUpdRollbackWrapper->updateFirmwarePartition();
  LOG(CStringUtils::shifted("CRollBackPopulator::::PopulateRollbackPartition updateFormwarePartition retVal",
                            updated));
  return updated;
}
