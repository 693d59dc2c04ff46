#pragma once

#include <string>
#include <vector>

#include "DeviceInfo.h"

class IDeviceXMLWriter;

/// The two commands of a run and the device records that they leave behind.
class CNVMePCISSDManager {
 public:
  /// `outputFileName` is where result documents go; empty: to standard output.
  explicit CNVMePCISSDManager(const std::string& outputFileName);
  /// Deletes the records of the last command.
  ~CNVMePCISSDManager();
  CNVMePCISSDManager(const CNVMePCISSDManager&) = delete;
  CNVMePCISSDManager& operator=(const CNVMePCISSDManager&) = delete;

  /// Takes an inventory and writes its document. False only when memory for the operation or the writer ran
  /// out: a run without drives or with a failed document succeeds, by design.
  ///
  /// A writer that throws ends the process with exit status 1, here and in `Update`.
  bool Inventory();

  /// Updates every drive and writes the update document. True when the document was written and there is at
  /// least one drive, whatever became of the drives: that stands in the document. The records of an earlier
  /// command are given up, not deleted.
  bool Update();

 private:
  /// `writer.GetXML` on the records; ends the process when it throws.
  bool writeDocument(IDeviceXMLWriter& writer);

  std::vector<CDeviceInfo*> m_vDevicesInfo;
  std::string m_strOutputFileName;
};
