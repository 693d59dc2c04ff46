#include "NVMePCISSDInventory.h"

#include <memory>

#include "CoreTest.h"

namespace {

constexpr char kNoAdapter[] = "ERROR: NVMeAdapter instance is NOT created to make inventory";
constexpr char kNotInitialized[] = "ERROR: Intialization of NVMEPCISDD library failed!";
constexpr char kFound[] = "INFO: Found atleast one NVMePCISSD Devices";
constexpr char kNotFound[] = "WARNING: Could not able to found atleast one NVMePCISSD Device also";

class NVMePCISSDInventoryTest : public CoreTest {};

TEST_F(NVMePCISSDInventoryTest, ListsTheDrivesAndTearsTheAdapterDown) {
  addDrives(2);
  Records records;
  {
    const std::unique_ptr<IDeviceInventory> inventory = std::make_unique<CNVMePCISSDInventory>();
    EXPECT_NE(CNVMeAdapter::m_ptrInstance, nullptr);
    EXPECT_EQ(platform.calls, Lines{});
    records.list = inventory->GetInventory();
    EXPECT_EQ(logged(), all({initializeLines(), discoveryLines(library.drives), {kFound}}));
  }
  EXPECT_EQ(logged(), tearDownLines());
  EXPECT_EQ(CNVMeAdapter::m_ptrInstance, nullptr);
  ASSERT_EQ(records.list.size(), 2U);
  EXPECT_EQ(records.list[0]->getEnumId(), "Serial Number: SN1");
  EXPECT_EQ(records.list[1]->getEnumId(), "Serial Number: SN2");
}

TEST_F(NVMePCISSDInventoryTest, SecondInventoryIsAppendedToTheListOfTheFirst) {
  addDrives(1);
  CNVMePCISSDInventory inventory;
  const std::vector<CDeviceInfo*> first = inventory.GetInventory();
  const Records second(inventory.GetInventory());
  ASSERT_EQ(first.size(), 1U);
  ASSERT_EQ(second.list.size(), 2U);
  EXPECT_EQ(second.list[0], first[0]);
}

TEST_F(NVMePCISSDInventoryTest, NoDrivesGiveAnEmptyListAndAWarning) {
  CNVMePCISSDInventory inventory;
  EXPECT_TRUE(inventory.GetInventory().empty());
  EXPECT_EQ(logged(), all({initializeLines(), discoveryLines({}), {kNotFound}}));
}

TEST_F(NVMePCISSDInventoryTest, FailingDiscoveryGivesAnEmptyListAndAWarning) {
  addDrives(1);
  library.discoverResult = -1;
  CNVMePCISSDInventory inventory;
  EXPECT_TRUE(inventory.GetInventory().empty());
  EXPECT_EQ(logged().back(), kNotFound);
}

TEST_F(NVMePCISSDInventoryTest, FailingInitializationGivesAnEmptyList) {
  addDrives(1);
  platform.libraries.clear();
  {
    CNVMePCISSDInventory inventory;
    EXPECT_TRUE(inventory.GetInventory().empty());
    EXPECT_EQ(logged().back(), kNotInitialized);
  }
  EXPECT_EQ(library.calls, Lines{});
  EXPECT_EQ(CNVMeAdapter::m_ptrInstance, nullptr);
}

TEST_F(NVMePCISSDInventoryTest, WithoutAdapterTheListIsEmptyAndNothingIsTornDown) {
  {
    const AllocationFault fault(AllocationFault::kReturnsNull, sizeof(CNVMeAdapter));
    CNVMePCISSDInventory inventory;
    logged();
    EXPECT_TRUE(inventory.GetInventory().empty());
  }
  EXPECT_EQ(logged(), Lines{kNoAdapter});
  EXPECT_EQ(platform.calls, Lines{});
}

TEST_F(NVMePCISSDInventoryTest, RecordThatCannotBeMadeLeavesTheDrivesBeforeIt) {
  addDrives(3);
  CNVMePCISSDInventory inventory;
  const AllocationFault fault(AllocationFault::kReturnsNull, sizeof(CDeviceInfo), 2);
  const Records records(inventory.GetInventory());
  EXPECT_EQ(records.list.size(), 2U);
  EXPECT_EQ(logged().back(), kFound);
}

}  // namespace
