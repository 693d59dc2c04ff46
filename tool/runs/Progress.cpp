#include "Progress.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>

#include "Boot.h"
#include "DebugLog.h"
#include "FileContent.h"
#include "Flash.h"
#include "TerminalText.h"

namespace tool {

namespace {

/// The drives of the update that a log tells of.
std::vector<LoggedDrive> loggedDrives(const Run& run) {
  try {
    std::vector<LoggedRun> runs = parseDebugLog(contentOf(run.file(kUpdateLog).string()));
    for (LoggedRun& each : runs) {
      if (each.isUpdate) return std::move(each.drives);
    }
  } catch (const std::system_error&) {
    // The component has not opened its log yet.
  }
  return {};
}

}  // namespace

std::string textOf(const Progress& now) {
  const std::string serial = now.serial.empty() ? "" : " (" + forTerminal(now.serial) + ")";
  return "Flashing drive " + std::to_string(now.drive) + " of " + std::to_string(now.of) + serial + ", " +
         std::to_string(now.seconds) + " s";
}

Progress progressOf(const Run& run) {
  Progress now{.of = run.record.toFlash};
  if (run.record.phase < RunPhase::kFlashing) return now;
  if (run.record.bootId == bootId()) now.seconds = secondsSinceBoot() - run.record.flashBegan;
  const std::vector<LoggedDrive> drives = loggedDrives(run);
  for (std::size_t i = 0; i < drives.size(); ++i) {
    if (drives[i].flash == LoggedFlash::kNone) continue;
    now.drive = i + 1;
    now.serial = drives[i].serial;
  }
  now.of = std::max(now.of, now.drive);
  return now;
}

ProgressDisplay::ProgressDisplay(std::string run, bool json)
    : m_run(std::move(run)), m_json(json), m_isTerminal(!json && isatty(STDERR_FILENO) == 1) {}

ProgressDisplay::~ProgressDisplay() {
  if (m_isShown) std::cerr << '\n';
}

void ProgressDisplay::show(const Progress& now) {
  if (now.drive == 0 || (!m_isTerminal && now.drive == m_drive)) return;
  m_drive = now.drive;
  if (m_json) {
    const nlohmann::ordered_json line{{"format", "nvmepcissd-progress"},
                                      {"version", 1},
                                      {"run", m_run},
                                      {"drive", now.drive},
                                      {"of", now.of},
                                      {"serial", now.serial},
                                      {"seconds", now.seconds}};
    std::cerr << line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
  } else if (m_isTerminal) {
    std::cerr << "\r\033[K" << textOf(now) << std::flush;
    m_isShown = true;
  } else {
    std::cerr << textOf(now) << std::endl;
  }
}

}  // namespace tool
