#include "LinuxHost.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>

#include "FileDescriptor.h"
#include "TestSupport.h"

namespace nvme_linux {

namespace {

using namespace std::chrono_literals;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class LinuxHostTest : public ::testing::Test {
 protected:
  int read(const std::filesystem::path& path, std::size_t limit = 16) {
    m_content.assign(3, 0xFF);
    return m_host.readFile(path, limit, m_content).code();
  }

  ScratchFolder m_folder;
  LinuxHost m_host{{.sysfs = m_folder / "sys", .devices = m_folder / "dev", .processes = m_folder / "proc"}};
  std::vector<std::uint8_t> m_content;
};

TEST(FileDescriptorTest, HoldsTheDescriptorThatAProcessWithoutStandardInputOpensFirst) {
  const FileDescriptor input(dup(STDIN_FILENO));
  ASSERT_TRUE(input.isOpen());
  close(STDIN_FILENO);
  {
    const FileDescriptor first(open("/dev/null", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(first.get(), STDIN_FILENO);
    EXPECT_TRUE(first.isOpen());
  }
  EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "it closed what it held";
  EXPECT_EQ(dup2(input.get(), STDIN_FILENO), STDIN_FILENO);
}

TEST_F(LinuxHostTest, ListsAFolderOfSysfs) {
  EXPECT_THAT(m_host.entries("class/nvme"), IsEmpty());
  for (const char* const name : {"nvme0", "nvme-fabrics"}) {
    std::filesystem::create_directories(m_folder / "sys/class/nvme" / name);
  }
  EXPECT_THAT(m_host.entries("class/nvme"), UnorderedElementsAre("nvme0", "nvme-fabrics"));
}

TEST_F(LinuxHostTest, ReadsTheTablesOfMountsAndSwaps) {
  EXPECT_EQ(m_host.mounts(), std::nullopt);
  EXPECT_EQ(m_host.swaps(), std::nullopt);
  writeFile(m_folder / "proc/self/mountinfo", "a mount\n");
  writeFile(m_folder / "proc/swaps", std::string(8192, 's'));
  EXPECT_EQ(m_host.mounts(), "a mount\n");
  EXPECT_EQ(m_host.swaps(), std::string(8192, 's'));
  writeFile(m_folder / "proc/swaps", std::string(5U << 20, 's') + "unread");
  EXPECT_EQ(m_host.swaps(), std::string(4U << 20, 's')) << "no more than a limit";
}

TEST_F(LinuxHostTest, CapabilitiesAreTheFirstRegister) {
  EXPECT_EQ(m_host.capabilities("nvme0"), std::nullopt);
  std::string registers(16384, '\xFF');
  registers.replace(0, 8, "\x01\x02\x03\x04\x05\x06\x07\x08");
  writeFile(m_folder / "sys/class/nvme/nvme0/device/resource0", registers);
  EXPECT_EQ(m_host.capabilities("nvme0"), 0x0807060504030201U);
  writeFile(m_folder / "sys/class/nvme/nvme0/device/resource0", "short");
  EXPECT_EQ(m_host.capabilities("nvme0"), std::nullopt);
}

TEST_F(LinuxHostTest, AnExclusiveOpeningFailsWithItsErrno) {
  EXPECT_EQ(m_host.tryExclusively("nvme0n1").code(), -ENOENT);
  writeFile(m_folder / "dev/nvme0n1", "");
  EXPECT_EQ(m_host.tryExclusively("nvme0n1").code(), 0);
}

TEST_F(LinuxHostTest, AnAttributeComesWithoutItsLineBreak) {
  writeFile(m_folder / "sys/class/nvme/nvme0/device/vendor", "0x144d\n");
  writeFile(m_folder / "sys/class/nvme/nvme0/model", "Model A  ");
  EXPECT_EQ(m_host.attribute("nvme0", "device/vendor"), "0x144d");
  EXPECT_EQ(m_host.attribute("nvme0", "model"), "Model A  ");
  EXPECT_EQ(m_host.attribute("nvme0", "serial"), std::nullopt);
  EXPECT_EQ(m_host.attribute("nvme0", "device"), std::nullopt);
}

TEST_F(LinuxHostTest, AdminTimeoutIsTheDriversAndAMinuteByDefault) {
  EXPECT_EQ(m_host.adminTimeout(), 60s);
  for (const auto& [text, timeout] : {std::pair{"90\n", 90s}, std::pair{"0\n", 60s}, std::pair{"?\n", 60s}}) {
    writeFile(m_folder / "sys/module/nvme_core/parameters/admin_timeout", text);
    EXPECT_EQ(m_host.adminTimeout(), timeout) << text;
  }
}

TEST_F(LinuxHostTest, ReadsAFileWhole) {
  writeFile(m_folder / "image", "0123456789abcdef");
  EXPECT_EQ(read(m_folder / "image"), 0);
  EXPECT_EQ(std::string(m_content.begin(), m_content.end()), "0123456789abcdef");
  writeFile(m_folder / "empty", "");
  EXPECT_EQ(read(m_folder / "empty"), 0);
  EXPECT_THAT(m_content, IsEmpty());
}

TEST_F(LinuxHostTest, RefusesWhatIsNoRegularFileOfThatLength) {
  writeFile(m_folder / "long", "0123456789abcdefg");
  EXPECT_EQ(read(m_folder / "long"), -EFBIG);
  EXPECT_EQ(read(m_folder / "missing"), -ENOENT);
  EXPECT_EQ(read(m_folder.path()), -EINVAL);
  EXPECT_EQ(read("/dev/zero"), -EINVAL);
  ASSERT_EQ(mkfifo((m_folder / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(read(m_folder / "fifo"), -EINVAL) << "and without waiting for a writer";
  EXPECT_EQ(read("/proc/self/status", 1 << 20), -EIO) << "longer than it says";
}

TEST_F(LinuxHostTest, TheSecondToLockADriveIsTurnedAwayUntilTheFirstIsGone) {
  writeFile(m_folder / "dev/nvme0", "");
  std::unique_ptr<Device> first;
  std::unique_ptr<Device> second;
  ASSERT_EQ(m_host.open("nvme0", first).code(), 0);
  ASSERT_EQ(m_host.open("nvme0", second).code(), 0);
  EXPECT_EQ(first->lock().code(), 0);
  EXPECT_EQ(second->lock().code(), -EBUSY);
  first.reset();
  EXPECT_EQ(second->lock().code(), 0);
}

TEST_F(LinuxHostTest, AFifoInTheNodesPlaceIsOpenedWithoutWaiting) {
  std::filesystem::create_directory(m_folder / "dev");
  ASSERT_EQ(mkfifo((m_folder / "dev/nvme0").c_str(), 0600), 0);
  std::unique_ptr<Device> device;
  ASSERT_EQ(m_host.open("nvme0", device).code(), 0);
  EXPECT_EQ(device->number(), "0:0") << "a number that no controller has in sysfs";
}

TEST_F(LinuxHostTest, FailuresAreNegativeErrorNumbers) {
  std::unique_ptr<Device> device;
  EXPECT_EQ(m_host.open("nvme0", device).code(), -ENOENT);
  EXPECT_EQ(device, nullptr);
  writeFile(m_folder / "dev/nvme0", "");
  ASSERT_EQ(m_host.open("nvme0", device).code(), 0);
  nvme_passthru_cmd command{};
  EXPECT_EQ(device->admin(command).error, ENOTTY);
}

TEST_F(LinuxHostTest, TheClockMovesByAtLeastWhatWasSlept) {
  const auto before = m_host.now();
  m_host.sleep(1ms);
  EXPECT_GE(m_host.now() - before, 1ms);
}

TEST_F(LinuxHostTest, SignalsAreHeldAndDeliveredAfterwards) {
  static volatile std::sig_atomic_t delivered = 0;
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    const auto before = std::signal(signal, [](int) { delivered = delivered + 1; });
    delivered = 0;
    {
      const auto hold = m_host.holdSignals();
      raise(signal);
      EXPECT_EQ(delivered, 0) << signal;
    }
    EXPECT_EQ(delivered, 1) << signal;
    static_cast<void>(std::signal(signal, before));
  }
}

TEST_F(LinuxHostTest, AControllerThatIsNotResetIsSeenAsSuch) {
  const auto watch = m_host.watchResets("nvme0");
  EXPECT_NE(watch->wasReset(), true);
}

}  // namespace

}  // namespace nvme_linux
