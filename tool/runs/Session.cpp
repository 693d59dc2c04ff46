#include "Session.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <system_error>
#include <thread>

#include "ExecPointers.h"
#include "FileDescriptor.h"
#include "RunLock.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

using nvme_linux::FileDescriptor;
using Arguments = std::vector<std::string>;

fs::path ownProgram() {
  return fs::read_symlink("/proc/self/exe");
}

/// In a child: replaces it by the program, which the shell's search path finds. Returns only on failure.
void execute(Arguments& arguments) {
  const std::vector<char*> pointers = pointersTo(arguments);
  execvp(pointers.front(), pointers.data());
}

/// In a child: the three standard streams, and no other open file after the next exec.
bool setStreams(int input, int output) {
  return dup2(input, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0 &&
         dup2(output, STDERR_FILENO) >= 0 && close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC) == 0;
}

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

bool hasSystemd() {
  std::error_code error;
  return geteuid() == 0 && fs::is_directory("/run/systemd/system", error);
}

/// The status of a child of this process, once it has ended, as waitpid gives it.
int statusOf(pid_t process) {
  int status = -1;
  pid_t ended = 0;
  do {
    ended = waitpid(process, &status, 0);
  } while (ended < 0 && errno == EINTR);
  return status;
}

/// True when the program ran and ended with 0.
bool succeeds(Arguments arguments, int input, int output) {
  const pid_t process = fork();
  if (process < 0) fail("fork");
  if (process == 0) {
    if (setStreams(input, output)) execute(arguments);
    _exit(127);
  }
  const int status = statusOf(process);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// The unit goes when its process has ended, however it ended. A stop is passed on to that process alone,
/// which does not heed it, and is waited for: shutdown too waits for the flash.
Arguments unitCommand(const std::string& unit, const fs::path& output) {
  const std::string file = "append:" + output.string();
  return {"systemd-run",
          "--quiet",
          "--collect",
          "--unit=" + unit,
          "--property=KillMode=process",
          "--property=SendSIGKILL=no",
          "--property=TimeoutStopSec=infinity",
          "--property=StandardInput=null",
          "--property=StandardOutput=" + file,
          "--property=StandardError=" + file,
          "--"};
}

/// Forks twice, so that the process belongs to init and can never get a terminal.
void startDetached(Arguments arguments, int input, int output) {
  const pid_t process = fork();
  if (process < 0) fail("fork");
  if (process == 0) {
    setsid();
    const pid_t grandchild = fork();
    if (grandchild == 0 && setStreams(input, output)) execute(arguments);
    _exit(grandchild > 0 ? 0 : 127);
  }
  if (statusOf(process) != 0) fail("fork");
}

}  // namespace

void startInOwnSession(const std::string& unit, const Arguments& arguments, const fs::path& output) {
  fillStandardStreams();
  const FileDescriptor input(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const FileDescriptor printed(
      open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!input.isOpen() || !printed.isOpen()) fail(output.string());
  Arguments command{ownProgram().string()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  if (hasSystemd()) {
    Arguments inUnit = unitCommand(unit, output);
    inUnit.insert(inUnit.end(), command.begin(), command.end());
    if (succeeds(inUnit, input.get(), printed.get())) return;
  }
  startDetached(command, input.get(), printed.get());
}

void fillStandardStreams() {
  int file = 0;
  do {
    file = open("/dev/null", O_RDWR);
  } while (file >= 0 && file <= STDERR_FILENO);
  if (file >= 0) close(file);
}

void ignoreEndingSignals() {
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) static_cast<void>(std::signal(signal, SIG_IGN));
}

bool blockShutdown() {
  constexpr int kLongestWaitMilliseconds = 5000;
  std::error_code error;
  if (!fs::is_directory("/run/systemd/seats", error)) return false;
  std::array<int, 2> ends{};
  const FileDescriptor null(open("/dev/null", O_RDWR | O_CLOEXEC));
  if (!null.isOpen() || pipe2(ends.data(), O_CLOEXEC) != 0) return false;
  const FileDescriptor reader(ends[0]);
  Arguments arguments{"systemd-inhibit",       "--what=shutdown:sleep",          "--mode=block",
                      "--who=nvmepcissd-tool", "--why=Drives are being flashed", ownProgram().string(),
                      kAwaitComponent};
  {
    const FileDescriptor writer(ends[1]);
    const pid_t process = fork();
    if (process == 0) {
      setsid();
      ignoreEndingSignals();
      const pid_t grandchild = fork();
      if (grandchild == 0 && dup2(null.get(), STDIN_FILENO) >= 0 && dup2(null.get(), STDERR_FILENO) >= 0 &&
          dup2(writer.get(), STDOUT_FILENO) >= 0)
        execute(arguments);
      _exit(0);
    }
    if (process > 0) statusOf(process);
  }
  pollfd begun{.fd = reader.get(), .events = POLLIN, .revents = 0};
  return poll(&begun, 1, kLongestWaitMilliseconds) == 1 && (begun.revents & POLLIN) != 0;
}

int awaitComponent() {
  constexpr std::chrono::milliseconds kStep{500};
  if (write(STDOUT_FILENO, "\n", 1) != 1) return 1;
  close(STDOUT_FILENO);
  while (isComponentRunning()) std::this_thread::sleep_for(kStep);
  return 0;
}

}  // namespace tool
