// How far a run is, told while it goes on.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "StateFolder.h"
#include "Verdict.h"

namespace tool {

/// How far an update is that goes on.
struct Progress {
  std::size_t drive = 0;     ///< that is being flashed, from 1; 0 before the first
  std::size_t of = 0;        ///< drives that are to be flashed
  std::int64_t seconds = 0;  ///< since flashing began
  std::string serial{};      ///< of the drive that is being flashed; may be empty
};

/// What a command about a run answers.
struct RunAnswer {
  Verdict verdict{};
  std::optional<Progress> progress{};  ///< only while the run goes on
};

/// Read from the component's log as far as it is written. Before the first drive all but the number of drives
/// is zero.
Progress progressOf(const Run& run);

/// For a person: "Flashing drive 2 of 3 (SERIAL), 12 s".
std::string textOf(const Progress& now);

/// Shows progress on standard error: on a terminal one line that redraws itself, else a line for each drive,
/// or an object of JSON a line.
class ProgressDisplay {
 public:
  ProgressDisplay(std::string run, bool json);
  ~ProgressDisplay();
  ProgressDisplay(const ProgressDisplay&) = delete;
  ProgressDisplay& operator=(const ProgressDisplay&) = delete;

  void show(const Progress& now);

 private:
  std::string m_run;
  bool m_json;
  bool m_isTerminal;
  bool m_isShown = false;   // a line stands on the terminal
  std::size_t m_drive = 0;  // the last one that was shown
};

}  // namespace tool
