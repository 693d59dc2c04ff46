// The reader of inventory documents.

#include "DeviceInventoryInfo.h"
#include "FuzzSupport.h"

namespace {

void checkRecord(const CDeviceInfo& record, bool wellDone, const std::string& message) {
  PROMISE(record.getStatus() == (wellDone ? -1 : 1));
  PROMISE(record.getErrorMsg() == message);
  if (record.getDeviceType() != CDeviceInfo::DEVICE_TYPE_PCI) PROMISE(record.getPCIInfo().vendorID.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Scratch::enter().write("inventory.xml", {data, size});
  const fuzz::LogSwitch log(size % 2 == 0);
  CDeviceInventoryInfo reader("inventory.xml");
  std::string message;
  PROMISE(reader.GetInventoryStatus(message) && message.empty());
  fuzz::Owned<CDeviceInfo> devices(reader.GetDeviceInfo());
  const bool wellDone = reader.GetInventoryStatus(message);
  PROMISE(!wellDone || message.empty());
  for (const CDeviceInfo* record : devices.list()) checkRecord(*record, wellDone, message);

  fuzz::Owned<CDeviceInfo> again(reader.GetDeviceInfo());
  PROMISE(again.list().size() == devices.list().size());
  return 0;
}
