#include "Controller.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ScriptedHost.h"

namespace nvme_linux {

namespace {

TEST(ControllerTest, AWaitWithinASilenceDoesNotEndIt) {
  ScriptedHost host;
  host.addController("nvme0", "0000:04:00.0");
  host.drive("nvme0").opens().readsSlots().identifies({}, 0x4006).identifies({}, 0x4006);
  Controller controller(host, describeController(host, "nvme0"));
  Identity identity{};
  {
    const Controller::Silence silence(controller);
    ASSERT_TRUE(controller.open().isSuccess());
    EXPECT_TRUE(controller.waitUntilAnswers());
    EXPECT_FALSE(controller.identify(identity).isSuccess());
    EXPECT_THAT(host.reports(), ::testing::IsEmpty());
  }
  EXPECT_FALSE(controller.identify(identity).isSuccess());
  EXPECT_EQ(host.reports().size(), 1U);
}

}  // namespace

}  // namespace nvme_linux
