#include "Component.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "ExecPointers.h"
#include "FileDescriptor.h"
#include "RunLock.h"
#include "Session.h"

namespace tool {

namespace {

using nvme_linux::FileDescriptor;

constexpr const char* kSearchPath = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
constexpr std::array<std::string_view, 3> kStandIns{"NVME_SIMULATOR_", "RBKL_SIMULATOR_", "FWKIT_"};

std::pair<FileDescriptor, FileDescriptor> makePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

bool readByte(int file) {
  char byte = 0;
  ssize_t count = 0;
  do {
    count = read(file, &byte, 1);
  } while (count < 0 && errno == EINTR);
  return count == 1;
}

/// Everything that the new process needs, made before the fork: between fork and exec only system calls are
/// safe.
struct Launch {
  std::vector<char*> arguments;
  std::vector<char*> environment;
  const char* executable;
  const char* workingFolder;
  int input;
  int output;
  int lock;
  int go;      // a byte arrives here when the component may start
  int locked;  // takes a byte once the lock is taken
};

/// In the child. Returns only by ending it.
[[noreturn]] void become(const Launch& launch) {
  const char byte = 0;
  setsid();
  umask(S_IWGRP | S_IWOTH);
  ignoreEndingSignals();
  static_cast<void>(std::signal(SIGPIPE, SIG_DFL));
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  const bool isReady = lockComponent(launch.lock) && chdir(launch.workingFolder) == 0 &&
                       dup2(launch.input, STDIN_FILENO) >= 0 && dup2(launch.output, STDOUT_FILENO) >= 0 &&
                       dup2(launch.output, STDERR_FILENO) >= 0 && write(launch.locked, &byte, 1) == 1 &&
                       readByte(launch.go);
  // Whatever the caller left open stays behind, but for the lock: closing it would release it.
  if (isReady && close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC) == 0 &&
      fcntl(launch.lock, F_SETFD, 0) == 0)
    execve(launch.executable, launch.arguments.data(), launch.environment.data());
  _exit(kComponentNotStarted);
}

FileDescriptor openFile(const char* path, int flags) {
  FileDescriptor file(open(path, flags | O_CLOEXEC, S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH));
  if (!file.isOpen()) throw std::system_error(errno, std::generic_category(), path);
  return file;
}

std::vector<std::string> assignments(const Environment& environment) {
  std::vector<std::string> texts;
  for (const auto& [name, value] : environment) texts.push_back(std::string(name).append("=").append(value));
  return texts;
}

}  // namespace

Environment componentEnvironment(bool keepsLibraryPath) {
  Environment environment{{"PATH", kSearchPath}, {"LC_ALL", "C"}};
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    const std::size_t end = text.find('=');
    if (end == std::string_view::npos) continue;
    const std::string_view name = text.substr(0, end);
    bool isKept = keepsLibraryPath && name == "LD_LIBRARY_PATH";
    for (const std::string_view prefix : kStandIns) isKept = isKept || name.starts_with(prefix);
    if (isKept) environment[std::string(name)] = text.substr(end + 1);
  }
  return environment;
}

ComponentProcess ComponentProcess::start(const ComponentCall& call, bool blocksShutdown) {
  fillStandardStreams();
  if (access(call.workingFolder.c_str(), X_OK) != 0)
    throw std::system_error(errno, std::generic_category(), call.workingFolder.string());
  const FileDescriptor input = openFile("/dev/null", O_RDONLY);
  const FileDescriptor output = openFile(call.output.c_str(), O_WRONLY | O_CREAT | O_TRUNC);
  const FileDescriptor lock = openComponentLock();
  auto [goReader, goWriter] = makePipe();
  auto [lockedReader, lockedWriter] = makePipe();
  std::vector<std::string> arguments{call.executable.string()};
  arguments.insert(arguments.end(), call.arguments.begin(), call.arguments.end());
  std::vector<std::string> environment = assignments(call.environment);
  const Launch launch{pointersTo(arguments),
                      pointersTo(environment),
                      call.executable.c_str(),
                      call.workingFolder.c_str(),
                      input.get(),
                      output.get(),
                      lock.get(),
                      goReader.get(),
                      lockedWriter.get()};
  const pid_t process = fork();
  if (process < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (process == 0) {
    // The reader must see the end of the file if the parent dies.
    close(goWriter.get());
    become(launch);
  }
  { const FileDescriptor closed = std::move(lockedWriter); }
  ComponentProcess component(process);
  if (!readByte(lockedReader.get())) {
    component.wait(std::chrono::seconds(1));
    throw std::system_error(EBUSY, std::generic_category(), call.executable.string());
  }
  if (blocksShutdown) blockShutdown();
  const char byte = 0;
  if (write(goWriter.get(), &byte, 1) != 1)
    throw std::system_error(errno, std::generic_category(), call.executable.string());
  return component;
}

std::optional<int> ComponentProcess::wait(std::chrono::milliseconds atMost) const {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kStep{10};
  const auto end = Clock::now() + atMost;
  for (;;) {
    int status = 0;
    const pid_t ended = waitpid(m_process, &status, WNOHANG);
    if (ended == m_process) return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    if (ended < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category(), "the component");
    if (Clock::now() >= end) return std::nullopt;
    std::this_thread::sleep_for(kStep);
  }
}

}  // namespace tool
