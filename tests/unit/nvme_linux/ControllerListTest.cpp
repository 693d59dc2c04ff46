#include "ControllerList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ScriptedHost.h"

namespace nvme_linux {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> listed(Host& host) {
  std::vector<std::string> lines;
  for (const PciController& found : listControllers(host)) {
    lines.push_back(found.name + (found.address ? " at " + textOf(*found.address) : " without an address"));
  }
  return lines;
}

TEST(ControllerListTest, NoControllersWithoutTheClassFolder) {
  ScriptedHost host;
  EXPECT_THAT(listed(host), IsEmpty());
}

TEST(ControllerListTest, ReadsIdsAndAddress) {
  ScriptedHost host;
  host.addController("nvme7", "0000:ff:1f.7", "144d:a801:1028:1fd9");
  const auto found = listControllers(host);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].name, "nvme7");
  EXPECT_EQ(found[0].addressText, "0000:ff:1f.7");
  EXPECT_EQ(found[0].address, (PciAddress{.domain = 0, .bus = 0xFF, .device = 0x1F, .function = 7}));
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

TEST(ControllerListTest, ReadsDomainsOfMoreThanSixteenBits) {
  ScriptedHost host;
  host.addController("nvme0", "0001:04:00.0");
  host.addController("nvme1", "10000:05:00.0");
  EXPECT_THAT(listed(host), ElementsAre("nvme0 at 0001:04:00.0", "nvme1 at 10000:05:00.0"));
}

TEST(ControllerListTest, AnAddressThatIsNoneIsMissing) {
  for (const std::string address :
       {"", "0000:04:00", "0000:04:00.8", "0000:04:20.0", "0000:04:00.0:", "0000:104:00.0", "0000:04:00.x",
        "0000:-4:00.0", "0000:04:00.0:1", "04:00.0", "0000 04:00.0", "123456789:04:00.0"}) {
    ScriptedHost host;
    host.addController("nvme0", address);
    EXPECT_THAT(listed(host), ElementsAre("nvme0 without an address")) << address;
  }
  ScriptedHost host;
  host.addController("nvme0", "0000:04:00.0");
  host.removeAttribute("nvme0", "address");
  EXPECT_THAT(listed(host), ElementsAre("nvme0 without an address"));
}

TEST(ControllerListTest, AnIdThatIsNoneMakesAllFourMissing) {
  for (const char* const id : {"vendor", "device", "subsystem_vendor", "subsystem_device"}) {
    for (const std::string text : {"", "0x", "144d", "0x144dd", "0x14 4d", "0xg"}) {
      ScriptedHost host;
      host.addController("nvme0", "0000:04:00.0");
      host.writeAttribute("nvme0", std::string("device/") + id, text);
      EXPECT_EQ(listControllers(host).at(0).ids, std::nullopt) << id << " " << text;
    }
  }
}

TEST(ControllerListTest, ReadsWhatTheKernelRemembersOfTheDrive) {
  ScriptedHost host;
  host.addController("nvme0", "0000:04:00.0");
  host.writeAttribute("nvme0", "serial", " SN-0001            ");
  host.writeAttribute("nvme0", "model", "Model A             ");
  host.writeAttribute("nvme0", "subsysnqn", "nqn.2026-01.test:a");
  const PciController found = listControllers(host).at(0);
  EXPECT_EQ(found.serial, "SN-0001");
  EXPECT_EQ(found.model, "Model A");
  EXPECT_EQ(found.subsystem, "nqn.2026-01.test:a");
}

TEST(ControllerListTest, PortsOfADriveShareSubsystemSerialAndModel) {
  const PciController port{.name = "nvme0", .serial = "S", .model = "M", .subsystem = "nqn"};
  const auto other = [](const std::string& serial, const std::string& model, const std::string& subsystem) {
    return PciController{.name = "nvme1", .serial = serial, .model = model, .subsystem = subsystem};
  };
  EXPECT_TRUE(arePortsOfOneDrive(port, port));
  EXPECT_TRUE(arePortsOfOneDrive(port, other("S", "M", "nqn")));
  EXPECT_FALSE(arePortsOfOneDrive(port, other("S", "M", "nqn2")));
  EXPECT_FALSE(arePortsOfOneDrive(port, other("T", "M", "nqn"))) << "makers give several drives one NQN";
  EXPECT_FALSE(arePortsOfOneDrive(port, other("S", "N", "nqn")));
  EXPECT_FALSE(arePortsOfOneDrive(port, other("S", "M", "")));
  EXPECT_TRUE(arePortsOfOneDrive(other("S", "M", ""), {.name = "nvme2", .serial = "S", .model = "M"}));
  EXPECT_FALSE(arePortsOfOneDrive(other("", "M", ""), {.name = "nvme2", .model = "M"}));
}

}  // namespace

}  // namespace nvme_linux
