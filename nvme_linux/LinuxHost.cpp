#include "LinuxHost.h"

#include <fcntl.h>
#include <linux/netlink.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "FileDescriptor.h"

namespace nvme_linux {

namespace {

constexpr std::size_t kPage = 4096;              // the longest attribute that there is
constexpr std::size_t kLongestTable = 4U << 20;  // of mounts: tens of thousands of them

class LinuxDevice : public Device {
 public:
  explicit LinuxDevice(FileDescriptor descriptor) : m_descriptor(std::move(descriptor)) {}

  Outcome lock() override {
    if (flock(m_descriptor.get(), LOCK_EX | LOCK_NB) == 0) return Outcome::success();
    return Outcome::failed(errno == EWOULDBLOCK ? EBUSY : errno);
  }

  std::string number() override {
    struct stat status {};
    if (fstat(m_descriptor.get(), &status) != 0) return {};
    return std::to_string(major(status.st_rdev)) + ":" + std::to_string(minor(status.st_rdev));
  }

  Completion admin(nvme_passthru_cmd& command) override {
    const int result = ioctl(m_descriptor.get(), NVME_IOCTL_ADMIN_CMD, &command);
    if (result < 0) return {.error = errno};
    return {.statusField = static_cast<std::uint16_t>(result), .dword0 = command.result};
  }

 private:
  FileDescriptor m_descriptor;
};

/// Listens to the kernel's device events (see kobject_uevent in its sources): "change@PATH", then variables,
/// each ended by a NUL.
class LinuxResetWatch : public ResetWatch {
 public:
  explicit LinuxResetWatch(const std::string& controller)
      : m_socket(socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_KOBJECT_UEVENT)),
        m_pathEnd("/" + controller) {
    constexpr unsigned int kKernelEvents = 1;
    constexpr int kBuffer = 1 << 20;
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = kKernelEvents;
    static_cast<void>(setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVBUF, &kBuffer, sizeof kBuffer));
    m_isListening = m_socket.isOpen() &&
                    bind(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }

  std::optional<bool> wasReset() override {
    while (m_isListening && !m_wasReset) {
      const ssize_t length = recv(m_socket.get(), m_event.data(), m_event.size(), 0);
      if (length < 0 && errno == EINTR) continue;
      // Events were dropped, and ours may have been among them: from here on nothing is known.
      if (length < 0 && errno == ENOBUFS) m_isListening = false;
      if (length <= 0) break;
      m_wasReset = isStart(std::string_view(m_event.data(), static_cast<std::size_t>(length)));
    }
    return m_isListening || m_wasReset ? std::optional(m_wasReset) : std::nullopt;
  }

 private:
  bool isStart(std::string_view event) const {
    const std::string_view head = event.substr(0, event.find('\0'));
    return head.starts_with("change@") && head.ends_with(m_pathEnd) &&
           event.find("NVME_EVENT=connected") != std::string_view::npos;
  }

  FileDescriptor m_socket;
  std::string m_pathEnd;
  std::array<char, 4096> m_event{};  ///< the last one; asked for after each piece, so not cleared each time
  bool m_isListening = false;
  bool m_wasReset = false;
};

class LinuxSignalHold : public SignalHold {
 public:
  LinuxSignalHold() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&held, signal);
    pthread_sigmask(SIG_BLOCK, &held, &m_before);
  }
  ~LinuxSignalHold() override { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
  LinuxSignalHold(const LinuxSignalHold&) = delete;
  LinuxSignalHold& operator=(const LinuxSignalHold&) = delete;

 private:
  sigset_t m_before{};
};

/// Reads up to `content`'s size. The number of bytes read, less at the file's end; -errno on failure.
ssize_t readUpTo(int descriptor, std::vector<std::uint8_t>& content) {
  std::size_t done = 0;
  while (done < content.size()) {
    const ssize_t count = read(descriptor, content.data() + done, content.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return -errno;
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  return static_cast<ssize_t>(done);
}

/// The first `limit` bytes of a text file. Files of sysfs and procfs do not tell their length before they are
/// read.
std::optional<std::string> readText(const std::string& path, std::size_t limit) {
  const FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  std::string text;
  std::vector<std::uint8_t> part;
  ssize_t count = 0;
  do {
    part.resize(std::min(kPage, limit - text.size()));
    count = readUpTo(descriptor.get(), part);
    if (count < 0) return std::nullopt;
    text.append(part.begin(), part.begin() + count);
  } while (count == static_cast<ssize_t>(kPage) && text.size() < limit);
  return text;
}

}  // namespace

LinuxHost::LinuxHost(Roots roots) : m_roots(std::move(roots)) {}

std::vector<std::string> LinuxHost::entries(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(m_roots.sysfs + "/" + folder, error), end;
       !error && entry != end; entry.increment(error)) {
    names.push_back(entry->path().filename());
  }
  return names;
}

std::optional<std::string> LinuxHost::text(const std::string& path) {
  auto text = readText(m_roots.sysfs + "/" + path, kPage);
  if (text && text->ends_with('\n')) text->pop_back();
  return text;
}

std::optional<std::string> LinuxHost::mounts() {
  return readText(m_roots.processes + "/self/mountinfo", kLongestTable);
}

std::optional<std::string> LinuxHost::swaps() {
  return readText(m_roots.processes + "/swaps", kLongestTable);
}

Outcome LinuxHost::tryExclusively(const std::string& blockDevice) {
  const std::string path = m_roots.devices + "/" + blockDevice;
  const FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC | O_NONBLOCK));
  return descriptor.isOpen() ? Outcome::success() : Outcome::failed(errno);
}

std::optional<std::uint64_t> LinuxHost::capabilities(const std::string& controller) {
  constexpr std::size_t kLength = 4096;
  const std::string path = m_roots.sysfs + "/class/nvme/" + controller + "/device/resource0";
  const FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  // A shorter file would make the access below a SIGBUS.
  struct stat status {};
  if (!descriptor.isOpen() || fstat(descriptor.get(), &status) != 0 ||
      status.st_size < static_cast<off_t>(kLength))
    return std::nullopt;
  void* const registers = mmap(nullptr, kLength, PROT_READ, MAP_SHARED, descriptor.get(), 0);
  if (registers == MAP_FAILED) return std::nullopt;
  // CAP is the first register. Not every controller takes accesses of 64 bits.
  const volatile auto* const words = static_cast<const volatile std::uint32_t*>(registers);
  const std::uint64_t low = words[0];
  const std::uint64_t high = words[1];
  munmap(registers, kLength);
  return high << 32 | low;
}

std::chrono::milliseconds LinuxHost::adminTimeout() {
  unsigned int seconds = 0;
  const std::string parameter = text("module/nvme_core/parameters/admin_timeout").value_or("");
  std::from_chars(parameter.data(), parameter.data() + parameter.size(), seconds);
  return seconds == 0 ? std::chrono::minutes(1) : std::chrono::milliseconds(std::chrono::seconds(seconds));
}

Outcome LinuxHost::open(const std::string& controller, std::unique_ptr<Device>& device) {
  // Reading suffices for admin commands. Without O_CLOEXEC a child would keep the lock; without O_NONBLOCK a
  // FIFO in the node's place would keep the run waiting.
  const std::string path = m_roots.devices + "/" + controller;
  FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!descriptor.isOpen()) return Outcome::failed(errno);
  device = std::make_unique<LinuxDevice>(std::move(descriptor));
  return Outcome::success();
}

std::unique_ptr<ResetWatch> LinuxHost::watchResets(const std::string& controller) {
  return std::make_unique<LinuxResetWatch>(controller);
}

std::unique_ptr<SignalHold> LinuxHost::holdSignals() {
  return std::make_unique<LinuxSignalHold>();
}

Outcome LinuxHost::readFile(const std::string& path, std::size_t limit, std::vector<std::uint8_t>& content) {
  // Without O_NONBLOCK a FIFO would keep the run waiting for a writer.
  const FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (!descriptor.isOpen() || fstat(descriptor.get(), &status) != 0) return Outcome::failed(errno);
  if (!S_ISREG(status.st_mode)) return Outcome::failed(EINVAL);
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > limit) return Outcome::failed(EFBIG);

  content.resize(size);
  ssize_t count = readUpTo(descriptor.get(), content);
  if (count >= 0 && static_cast<std::size_t>(count) != size) return Outcome::failed(EIO);
  // The file ends where it should.
  if (count >= 0) {
    std::vector<std::uint8_t> more(1);
    count = readUpTo(descriptor.get(), more);
  }
  if (count < 0) return Outcome::failed(static_cast<int>(-count));
  return count == 0 ? Outcome::success() : Outcome::failed(EIO);
}

/// Steady, since a clock that is set back would prolong every wait.
std::chrono::milliseconds LinuxHost::now() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
}

void LinuxHost::sleep(std::chrono::milliseconds duration) {
  std::this_thread::sleep_for(duration);
}

void LinuxHost::report(int priority, const std::string& line) {
  // Names from sysfs or of mounts may hold anything, and one report is one line.
  std::string printed = line;
  std::replace_if(
      printed.begin(), printed.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
  // The log's name stays the process's own: the library has no business with openlog(3).
  syslog(LOG_USER | priority, "%s", printed.c_str());
}

}  // namespace nvme_linux
