#include "ControllerList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ScriptedHost.h"

namespace nvme_linux {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// What is usable, then what is left out.
std::vector<std::string> listed(Host& host) {
  const ControllerList list = listControllers(host);
  std::vector<std::string> lines;
  for (const PciController& found : list.usable) lines.push_back(found.name + " at " + textOf(found.address));
  for (const LeftOutController& found : list.leftOut) lines.push_back(found.name + ": " + found.reason);
  return lines;
}

TEST(ControllerListTest, NoControllersWithoutTheClassFolder) {
  ScriptedHost host;
  EXPECT_THAT(listed(host), IsEmpty());
}

TEST(ControllerListTest, ReadsIdsAndAddress) {
  ScriptedHost host;
  host.addController("nvme7", "0000:ff:1f.7", "144d:a801:1028:1fd9");
  const auto found = listControllers(host).usable;
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].name, "nvme7");
  EXPECT_EQ(found[0].addressText, "0000:ff:1f.7");
  EXPECT_EQ(found[0].address, (PciAddress{0xFF, 0x1F, 7}));
  EXPECT_EQ(found[0].ids,
            (PciIds{.vendor = 0x144D, .device = 0xA801, .subVendor = 0x1028, .subDevice = 0x1FD9}));
}

TEST(ControllerListTest, SortsByAddressNotByName) {
  ScriptedHost host;
  host.addController("nvme0", "0000:81:00.0");
  host.addController("nvme1", "0000:04:00.1");
  host.addController("nvme2", "0000:04:00.0");
  host.addController("nvme10", "0000:04:01.0");
  EXPECT_THAT(listed(host), ElementsAre("nvme2 at 0000:04:00.0", "nvme1 at 0000:04:00.1",
                                        "nvme10 at 0000:04:01.0", "nvme0 at 0000:81:00.0"));
}

TEST(ControllerListTest, OtherTransportsAndOtherEntriesAreNoDrives) {
  ScriptedHost host;
  host.addController("nvme0", "traddr=127.0.0.1,trsvcid=4420", "144d:a801:1028:1fd9", "tcp");
  for (const std::string transport : {"rdma", "fc", "loop", "apple-nvme", ""}) {
    host.addController("nvme1", "0000:07:00.0", "144d:a801:1028:1fd9", transport);
    EXPECT_THAT(listed(host), IsEmpty()) << transport;
  }
  host.addController("nvme-subsys1", "0000:04:00.0");
  host.addController("nvme", "0000:05:00.0");
  host.addController("nvme3n1", "0000:06:00.0");
  EXPECT_THAT(listed(host), IsEmpty());
}

TEST(ControllerListTest, LeavesOutOtherPciDomains) {
  ScriptedHost host;
  host.addController("nvme0", "0001:04:00.0");
  host.addController("nvme1", "10000:05:00.0");
  host.addController("nvme2", "0000:04:00.0");
  host.removeAttribute("nvme1", "device/vendor");
  EXPECT_THAT(listed(host), ElementsAre("nvme2 at 0000:04:00.0", "nvme0: it is in a PCI domain other than 0",
                                        "nvme1: it is in a PCI domain other than 0"));
}

TEST(ControllerListTest, LeavesOutBothOfOneAddress) {
  ScriptedHost host;
  host.addController("nvme0", "0000:04:00.0", "144d:a801:1028:1fd9");
  host.addController("nvme1", "0000:04:00.0", "144d:a802:1028:1fd9");
  host.addController("nvme2", "0000:05:00.0");
  EXPECT_THAT(listed(host),
              ElementsAre("nvme2 at 0000:05:00.0", "nvme0: another controller has the same PCI address",
                          "nvme1: another controller has the same PCI address"));
}

TEST(ControllerListTest, AnAddressIsAmbiguousEvenNextToADriveWithoutIds) {
  ScriptedHost host;
  host.addController("nvme0", "0000:04:00.0");
  host.addController("nvme1", "0000:04:00.0");
  host.removeAttribute("nvme1", "device/vendor");
  EXPECT_THAT(listed(host), ElementsAre("nvme0: another controller has the same PCI address",
                                        "nvme1: another controller has the same PCI address"));
}

TEST(ControllerListTest, LeavesOutWhatItCannotAddress) {
  for (const std::string address :
       {"", "0000:04:00", "0000:04:00.8", "0000:04:20.0", "0000:04:00.0 ", "0000:104:00.0", "0000:04:00.x",
        "0000:-4:00.0", "0000:04:00.0:1", "04:00.0", "0000 04:00.0", "123456789:04:00.0"}) {
    ScriptedHost host;
    host.addController("nvme0", address);
    EXPECT_THAT(listed(host), ElementsAre("nvme0: its PCI address cannot be read")) << address;
  }
  ScriptedHost host;
  host.addController("nvme0", "0000:04:00.0");
  host.removeAttribute("nvme0", "address");
  EXPECT_THAT(listed(host), ElementsAre("nvme0: its PCI address cannot be read"));
}

TEST(ControllerListTest, LeavesOutWhatItCannotIdentify) {
  for (const char* const id : {"vendor", "device", "subsystem_vendor", "subsystem_device"}) {
    for (const std::string text : {"", "0x", "144d", "0x144dd", "0x14 4d", "0xg"}) {
      ScriptedHost host;
      host.addController("nvme0", "0000:04:00.0");
      host.writeAttribute("nvme0", std::string("device/") + id, text);
      EXPECT_THAT(listed(host), ElementsAre("nvme0: its PCI ids cannot be read")) << id << " " << text;
    }
  }
}

}  // namespace

}  // namespace nvme_linux
