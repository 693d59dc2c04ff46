// The kernel's device events, in a network namespace of the test's own: nobody else hears of them, nor sends
// any.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "FileDescriptor.h"
#include "LinuxHost.h"

namespace nvme_linux {

namespace {

using namespace std::string_literals;
using ::testing::Each;
using ::testing::ElementsAre;

constexpr int kNotPossible = 77;

const std::string kStart = "change@/devices/pci0000:00/0000:00:04.0/nvme/nvme0\0NVME_EVENT=connected\0"s;

void send(const std::string& event) {
  const FileDescriptor sender(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT));
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = 1;
  static_cast<void>(sendto(sender.get(), event.data(), event.size(), 0,
                           reinterpret_cast<const sockaddr*>(&address), sizeof address));
}

/// What a watch of nvme0 says after each of the events. A digit tells: 0 not reset, 1 reset, 2 not known.
/// Nothing where the machine allows no namespace.
std::vector<int> answersAfter(const std::vector<std::string>& events, int times = 1) {
  std::array<int, 2> pipe{};
  if (::pipe(pipe.data()) != 0) return {};
  const FileDescriptor answers(pipe[0]);
  const pid_t child = fork();
  if (child == 0) {
    if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) _exit(kNotPossible);
    LinuxHost host;
    const auto watch = host.watchResets("nvme0");
    for (const std::string& event : events) {
      for (int i = 0; i < times; ++i) send(event);
      const std::optional<bool> wasReset = watch->wasReset();
      const char answer = !wasReset ? 2 : *wasReset ? 1 : 0;
      if (write(pipe[1], &answer, 1) != 1) _exit(EXIT_FAILURE);
    }
    _exit(EXIT_SUCCESS);
  }
  close(pipe[1]);
  std::vector<int> result;
  for (char answer = 0; read(answers.get(), &answer, 1) == 1;) result.push_back(answer);
  int status = 0;
  waitpid(child, &status, 0);
  if (WEXITSTATUS(status) == kNotPossible) return {};
  EXPECT_EQ(status, 0);
  return result;
}

class ResetWatchTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (answersAfter({""}).empty()) GTEST_SKIP() << "this machine allows no network namespace";
  }
};

TEST_F(ResetWatchTest, AStartOfTheControllerIsAResetForGood) {
  EXPECT_THAT(answersAfter({"", kStart, "", "add@/devices/other\0"s}), ElementsAre(0, 1, 1, 1));
}

TEST_F(ResetWatchTest, WhatHappensToOthersIsNone) {
  std::string other = kStart;
  other.replace(other.find("nvme0"), 5, "nvme1");
  EXPECT_THAT(answersAfter({other, "change@/devices/nvme/nvme0\0NVME_EVENT=other\0"s,
                            "add@/devices/nvme/nvme0\0NVME_EVENT=connected\0"s,
                            "change@/devices/nvme/xnvme0\0NVME_EVENT=connected\0"s, std::string(8000, 'x'),
                            std::string(8000, '\0')}),
              Each(0));
}

TEST_F(ResetWatchTest, NothingIsKnownOnceEventsWereDropped) {
  EXPECT_THAT(answersAfter({"add@/devices/other\0"s + std::string(2000, 'x'), "", ""}, 5000),
              ElementsAre(2, 2, 2));
}

}  // namespace

}  // namespace nvme_linux
