#pragma once

#include <vector>

#include "DeviceInfo.h"

/// Takes an inventory of a kind of device.
class IDeviceInventory {
 public:
  virtual ~IDeviceInventory() = default;

  /// One record per device; the caller owns them. An empty list stands for no device and for every failure.
  virtual std::vector<CDeviceInfo*> GetInventory() = 0;

  IDeviceInventory() = default;
  IDeviceInventory(const IDeviceInventory&) = delete;
  IDeviceInventory& operator=(const IDeviceInventory&) = delete;
};
