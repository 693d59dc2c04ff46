#include "ControllerList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ScriptedKernel.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> listed(IKernel& kernel) {
  std::vector<std::string> lines;
  for (const SPciController& found : listControllers(kernel)) {
    lines.push_back(found.leftOutBecause.empty() ? found.name + " at " + textOf(found.address.value())
                                                 : found.name + ": " + found.leftOutBecause);
  }
  return lines;
}

TEST(ControllerListTest, NoControllersWithoutTheClassFolder) {
  ScriptedKernel kernel;
  EXPECT_THAT(listed(kernel), IsEmpty());
}

TEST(ControllerListTest, ReadsIdsAndAddress) {
  ScriptedKernel kernel;
  kernel.addController("nvme7", "0000:ff:1f.7", "144d:a801:1028:1fd9");
  const auto found = listControllers(kernel);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].name, "nvme7");
  EXPECT_EQ(found[0].addressText, "0000:ff:1f.7");
  EXPECT_EQ(found[0].address, (SPciAddress{0xFF, 0x1F, 7}));
  EXPECT_EQ(found[0].ids,
            (SPciIds{.vendor = 0x144D, .device = 0xA801, .subVendor = 0x1028, .subDevice = 0x1FD9}));
}

TEST(ControllerListTest, SortsByAddressNotByName) {
  ScriptedKernel kernel;
  kernel.addController("nvme0", "0000:81:00.0");
  kernel.addController("nvme1", "0000:04:00.1");
  kernel.addController("nvme2", "0000:04:00.0");
  kernel.addController("nvme10", "0000:04:01.0");
  EXPECT_THAT(listed(kernel), ElementsAre("nvme2 at 0000:04:00.0", "nvme1 at 0000:04:00.1",
                                          "nvme10 at 0000:04:01.0", "nvme0 at 0000:81:00.0"));
}

TEST(ControllerListTest, OtherTransportsAndOtherEntriesAreNoDrives) {
  ScriptedKernel kernel;
  kernel.addController("nvme0", "traddr=127.0.0.1,trsvcid=4420", "144d:a801:1028:1fd9", "tcp");
  for (const std::string transport : {"rdma", "fc", "loop", "apple-nvme", ""}) {
    kernel.addController("nvme1", "0000:07:00.0", "144d:a801:1028:1fd9", transport);
    EXPECT_THAT(listed(kernel), IsEmpty()) << transport;
  }
  kernel.addController("nvme-subsys1", "0000:04:00.0");
  kernel.addController("nvme", "0000:05:00.0");
  kernel.addController("nvme3n1", "0000:06:00.0");
  EXPECT_THAT(listed(kernel), IsEmpty());
}

TEST(ControllerListTest, LeavesOutOtherPciDomains) {
  ScriptedKernel kernel;
  kernel.addController("nvme0", "0001:04:00.0");
  kernel.addController("nvme1", "10000:05:00.0");
  kernel.addController("nvme2", "0000:04:00.0");
  kernel.removeAttribute("nvme1", "device/vendor");
  EXPECT_THAT(listed(kernel),
              ElementsAre("nvme0: it is in a PCI domain other than 0",
                          "nvme1: it is in a PCI domain other than 0", "nvme2 at 0000:04:00.0"));
}

TEST(ControllerListTest, LeavesOutBothOfOneAddress) {
  ScriptedKernel kernel;
  kernel.addController("nvme0", "0000:04:00.0", "144d:a801:1028:1fd9");
  kernel.addController("nvme1", "0000:04:00.0", "144d:a802:1028:1fd9");
  kernel.addController("nvme2", "0000:05:00.0");
  EXPECT_THAT(listed(kernel),
              ElementsAre("nvme0: another controller has the same PCI address",
                          "nvme1: another controller has the same PCI address", "nvme2 at 0000:05:00.0"));
}

TEST(ControllerListTest, AnAddressIsAmbiguousEvenNextToADriveWithoutIds) {
  ScriptedKernel kernel;
  kernel.addController("nvme0", "0000:04:00.0");
  kernel.addController("nvme1", "0000:04:00.0");
  kernel.removeAttribute("nvme1", "device/vendor");
  EXPECT_THAT(listed(kernel), ElementsAre("nvme0: another controller has the same PCI address",
                                          "nvme1: another controller has the same PCI address"));
}

TEST(ControllerListTest, LeavesOutWhatItCannotAddress) {
  for (const std::string address :
       {"", "0000:04:00", "0000:04:00.8", "0000:04:20.0", "0000:04:00.0 ", "0000:104:00.0", "0000:04:00.x",
        "0000:-4:00.0", "0000:04:00.0:1", "04:00.0", "0000 04:00.0", "123456789:04:00.0"}) {
    ScriptedKernel kernel;
    kernel.addController("nvme0", address);
    EXPECT_THAT(listed(kernel), ElementsAre("nvme0: its PCI address cannot be read")) << address;
  }
  ScriptedKernel kernel;
  kernel.addController("nvme0", "0000:04:00.0");
  kernel.removeAttribute("nvme0", "address");
  EXPECT_THAT(listed(kernel), ElementsAre("nvme0: its PCI address cannot be read"));
}

TEST(ControllerListTest, LeavesOutWhatItCannotIdentify) {
  for (const char* const id : {"vendor", "device", "subsystem_vendor", "subsystem_device"}) {
    for (const std::string text : {"", "0x", "144d", "0x144dd", "0x14 4d", "0xg"}) {
      ScriptedKernel kernel;
      kernel.addController("nvme0", "0000:04:00.0");
      kernel.writeAttribute("nvme0", std::string("device/") + id, text);
      EXPECT_THAT(listed(kernel), ElementsAre("nvme0: its PCI ids cannot be read")) << id << " " << text;
    }
  }
}

}  // namespace
