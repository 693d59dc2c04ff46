#include "BoundedRun.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>

#include "ExecPointers.h"

namespace tool {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kOutputLimit = 1U << 20U;

/// A pipe whose ends no other program inherits.
class Pipe {
 public:
  Pipe() {
    if (pipe2(m_ends.data(), O_CLOEXEC) != 0)
      throw std::system_error(errno, std::generic_category(), "pipe2");
  }
  ~Pipe() {
    close(m_ends[0]);
    closeWriter();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int reader() const { return m_ends[0]; }
  int writer() const { return m_ends[1]; }
  void closeWriter() {
    if (m_ends[1] >= 0) close(m_ends[1]);
    m_ends[1] = -1;
  }

 private:
  std::array<int, 2> m_ends{-1, -1};
};

/// Turns the forked child into the program. Returns only in failure.
void become(char* const* arguments, char* const* environment, const char* folder, int output) {
  constexpr rlimit kNone{0, 0};
  setpgid(0, 0);
  setrlimit(RLIMIT_CORE, &kNone);
  const int input = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (input < 0 || dup2(input, STDIN_FILENO) < 0 || dup2(output, STDOUT_FILENO) < 0 ||
      dup2(output, STDERR_FILENO) < 0 || chdir(folder) != 0)
    return;
  execve(arguments[0], arguments, environment);
}

/// Collects what comes until the last writer has closed its end. False when that takes longer than
/// `deadline`.
bool readUntil(Clock::time_point deadline, int reader, std::string& text) {
  std::array<char, 4096> buffer{};
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) return false;
    pollfd event{reader, POLLIN, 0};
    const int ready = poll(&event, 1, static_cast<int>(left));
    if (ready <= 0) continue;
    const ssize_t count = read(reader, buffer.data(), buffer.size());
    if (count == 0) return true;
    if (count > 0)
      text.append(buffer.data(), std::min(static_cast<std::size_t>(count), kOutputLimit - text.size()));
  }
}

/// False when the child has not ended by `deadline`. It may have closed its output long before.
bool waitUntil(Clock::time_point deadline, pid_t child, int& status) {
  constexpr std::chrono::milliseconds kPause{1};
  for (;;) {
    const pid_t ended = waitpid(child, &status, WNOHANG);
    if (ended == child) return true;
    if (ended < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category(), "waitpid");
    if (Clock::now() >= deadline) return false;
    std::this_thread::sleep_for(kPause);
  }
}

void killAndReap(pid_t child, int& status) {
  kill(-child, SIGKILL);
  kill(child, SIGKILL);  // it may not have a group of its own yet
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace

BoundedRun runBounded(std::vector<std::string> arguments, std::vector<std::string> environment,
                      const std::filesystem::path& folder, std::chrono::milliseconds limit) {
  using enum BoundedRun::End;
  const Clock::time_point deadline = Clock::now() + limit;
  const std::vector<char*> argumentList = pointersTo(arguments);
  const std::vector<char*> environmentList = pointersTo(environment);
  Pipe output;
  Pipe failure;  // carries the errno of a program that was not started; closed by one that was
  const pid_t child = fork();
  if (child < 0) return {kNotStarted, errno};
  if (child == 0) {
    become(argumentList.data(), environmentList.data(), folder.c_str(), output.writer());
    const int error = errno;
    [[maybe_unused]] const ssize_t ignored = write(failure.writer(), &error, sizeof(error));
    _exit(1);
  }
  output.closeWriter();
  failure.closeWriter();

  BoundedRun run{};
  int status = 0;
  if (!readUntil(deadline, output.reader(), run.output) || !waitUntil(deadline, child, status)) {
    killAndReap(child, status);
    run.end = kTimedOut;
    return run;
  }
  if (read(failure.reader(), &run.status, sizeof(run.status)) > 0) return run;
  run.end = WIFSIGNALED(status) ? kSignalled : kExited;
  run.status = WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
  return run;
}

}  // namespace tool
