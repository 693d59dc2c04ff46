#pragma once

#include <vector>

#include "IDeviceInventory.h"

class CNVMeAdapter;

/// The inventory of all NVMe PCIe drives. Its end tears the drive library adapter down; the records live on.
class CNVMePCISSDInventory : public IDeviceInventory {
 public:
  CNVMePCISSDInventory();
  ~CNVMePCISSDInventory() override;

  /// See the interface. To be called while the adapter lives: nobody may delete its instance before.
  std::vector<CDeviceInfo*> GetInventory() override;

 private:
  CNVMeAdapter* m_pNVMeAdapter;
  std::vector<CDeviceInfo*> m_vDevicesInfo;
};
