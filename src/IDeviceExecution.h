#pragma once

#include <vector>

#include "DeviceInfo.h"

/// Updates a kind of device.
class IDeviceExecution {
 public:
  virtual ~IDeviceExecution() = default;

  /// One record per device, with its outcome in status and message; the caller owns them. An empty list
  /// stands for no device and for a failure before the first one.
  virtual std::vector<CDeviceInfo*> Update() = 0;

  IDeviceExecution() = default;
  IDeviceExecution(const IDeviceExecution&) = delete;
  IDeviceExecution& operator=(const IDeviceExecution&) = delete;
};
