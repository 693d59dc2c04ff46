#pragma once

#include <string>
#include <vector>

#include "IDeviceExecution.h"

class CNVMeAdapter;

/// The firmware update of all NVMe PCIe drives with the one payload file in the directory "payload" beside
/// the executable. Its end tears the drive library adapter down; the records live on.
class CNVMePCISSDUpdate : public IDeviceExecution {
 public:
  CNVMePCISSDUpdate();
  ~CNVMePCISSDUpdate() override;

  /// Takes a fresh inventory and flashes every drive. Unless the payload directory holds exactly one entry,
  /// of whatever kind, no drive is touched and the records are those of the inventory. When at least one
  /// drive took the firmware, the payload is kept for rollback, whose outcome is only logged. To be called
  /// once: it leaves no adapter behind.
  std::vector<CDeviceInfo*> Update() override;

  /// Hands the files to the server's rollback partition. Changes the working directory to the executable's
  /// and leaves it there. Returns 0 on success; the rollback library's status, or the code (0 to 255) that it
  /// threw; -1 when the directory could not be changed or the library threw anything else.
  int populateRollbackPartition(std::vector<std::string>& files);

  /// Sets `message` to the text for a drive library status.
  void mapErrorCodeToMessage(int code, std::string& message);

 private:
  /// The path of the payload file as the only element of a list; with no or several entries in the payload
  /// directory, all of them.
  static std::vector<std::string> payloadFiles();

  std::vector<CDeviceInfo*> m_vDevicesInfo;
  CNVMeAdapter* m_pNVMeAdapter;
};
