#pragma once

#include <string>
#include <vector>

#include "DeviceInfo.h"

/// Writes the result document of a run.
class IDeviceXMLWriter {
 public:
  virtual ~IDeviceXMLWriter() = default;

  /// Writes the document of `devices` to the file `outputFileName`, or to standard output when the name is
  /// empty or the file cannot be opened. The records are only read and must not be null. False, with nothing
  /// written, only when opening the file threw. The file is complete once the writer is destroyed.
  virtual bool GetXML(const std::vector<CDeviceInfo*>& devices, std::string outputFileName) = 0;

  IDeviceXMLWriter() = default;
  IDeviceXMLWriter(const IDeviceXMLWriter&) = delete;
  IDeviceXMLWriter& operator=(const IDeviceXMLWriter&) = delete;
};
