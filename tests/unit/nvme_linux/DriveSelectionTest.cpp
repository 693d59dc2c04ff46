#include "DriveSelection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace nvme_linux {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr PciIds kNamed{.vendor = 0x144D, .device = 0xA801, .subVendor = 0x1028, .subDevice = 0x1FD9};
constexpr PciIds kOther{.vendor = 0x144D, .device = 0xA802, .subVendor = 0x1028, .subDevice = 0x1FD9};

/// Controllers are added by domain and bus; all are function 0 of device 0.
class DriveSelectionTest : public ::testing::Test {
 protected:
  void add(const std::string& name, std::uint32_t domain, std::uint8_t bus,
           std::optional<PciIds> ids = kNamed) {
    const PciAddress address{.domain = domain, .bus = bus};
    m_controllers.push_back({.name = name,
                             .addressText = textOf(address),
                             .address = address,
                             .ids = ids,
                             .serial = "SN-" + name});
  }

  DriveSelection select() const {
    return selectDrives(m_controllers, SupportedDrives(std::set<SupportedModel>{{kNamed, {}, {}}}),
                        m_allowed);
  }

  std::vector<std::string> offered() const {
    std::vector<std::string> names;
    for (const PciController& controller : select().offered) names.push_back(controller.name);
    return names;
  }

  std::vector<std::string> leftOut() const {
    std::vector<std::string> lines;
    for (const LeftOut& out : select().leftOut) {
      lines.push_back(out.controller.name + (out.isIntended ? " on purpose: " : ": ") + out.reason);
    }
    return lines;
  }

  std::vector<PciController> m_controllers;
  std::optional<std::set<std::string>> m_allowed;
};

TEST_F(DriveSelectionTest, OffersWhatThePackageNames) {
  add("nvme0", 0, 5);
  add("nvme1", 0, 4);
  add("nvme2", 0, 3, kOther);
  EXPECT_THAT(offered(), ElementsAre("nvme1", "nvme0"));
  EXPECT_THAT(leftOut(), ElementsAre("nvme2 on purpose: package.xml does not name its model"));
}

// Promise: listed-drives-only
TEST_F(DriveSelectionTest, OffersWhatTheListAllows) {
  add("nvme0", 0, 4);
  add("nvme1", 0, 5);
  m_allowed = {"SN-nvme1"};
  EXPECT_THAT(offered(), ElementsAre("nvme1"));
  EXPECT_THAT(leftOut(), ElementsAre("nvme0 on purpose: drives.allow does not list its serial number"));
  m_allowed = std::set<std::string>();
  EXPECT_THAT(offered(), IsEmpty());
}

// Promise: other-domains
TEST_F(DriveSelectionTest, OffersUniqueAddressesOfAnyDomain) {
  add("nvme0", 0x10000, 1);
  add("nvme1", 0x10001, 2);
  add("nvme2", 0, 3);
  EXPECT_THAT(offered(), ElementsAre("nvme0", "nvme1", "nvme2"));
}

// Promise: other-domains
TEST_F(DriveSelectionTest, OfTwoWithOneLocationTheOneInDomainZeroIsOffered) {
  add("nvme0", 0x10000, 1);
  add("nvme1", 0, 1);
  add("nvme2", 0x10001, 1);
  EXPECT_THAT(offered(), ElementsAre("nvme1"));
  EXPECT_THAT(leftOut(),
              ElementsAre("nvme0: the drive at 0000:01:00.0 has the same bus, device and function",
                          "nvme2: the drive at 0000:01:00.0 has the same bus, device and function"));
}

TEST_F(DriveSelectionTest, NeitherOfTwoOtherDomainsIsOffered) {
  add("nvme0", 0x10000, 1);
  add("nvme1", 0x10001, 1);
  EXPECT_THAT(offered(), IsEmpty());
  EXPECT_THAT(leftOut(),
              ElementsAre("nvme0: the drive at 10001:01:00.0 has the same bus, device and function",
                          "nvme1: the drive at 10000:01:00.0 has the same bus, device and function"));
}

TEST_F(DriveSelectionTest, OnlyDrivesOfThePackageClash) {
  add("nvme0", 0x10000, 1);
  add("nvme1", 0, 1, kOther);
  EXPECT_THAT(offered(), ElementsAre("nvme0"));
}

TEST_F(DriveSelectionTest, ADriveWithoutIdsMayBeOneOfThePackage) {
  add("nvme0", 0x10000, 1);
  add("nvme1", 0, 1, std::nullopt);
  EXPECT_THAT(offered(), IsEmpty());
  EXPECT_THAT(leftOut(),
              ElementsAre("nvme1: its PCI ids cannot be read",
                          "nvme0: the drive at 0000:01:00.0 has the same bus, device and function"));
}

TEST_F(DriveSelectionTest, NeitherOfOneAddressIsOffered) {
  for (const std::uint32_t domain : {0U, 0x10000U}) {
    m_controllers.clear();
    add("nvme0", domain, 4);
    add("nvme1", domain, 4);
    add("nvme2", domain, 5);
    EXPECT_THAT(offered(), ElementsAre("nvme2"));
    EXPECT_THAT(leftOut(), ElementsAre("nvme0: another controller has the same PCI address",
                                       "nvme1: another controller has the same PCI address"));
  }
}

TEST_F(DriveSelectionTest, WhatCannotBeAddressedIsLeftOut) {
  m_controllers.push_back({.name = "nvme0", .ids = kNamed});
  EXPECT_THAT(leftOut(), ElementsAre("nvme0: its PCI address cannot be read"));
}

}  // namespace

}  // namespace nvme_linux
