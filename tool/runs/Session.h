// Processes that outlive the command that starts them.

#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tool {

/// Starts this very program with `arguments` in a session of its own, without the caller's terminal and
/// streams; what it prints goes to the file `output`. For root where systemd runs, it is a transient unit of
/// that name, which no stop time-out kills; else a process that is nobody's child. Throws std::system_error
/// when it cannot be started. Returns before the program does anything.
void startInOwnSession(const std::string& unit, const std::vector<std::string>& arguments,
                       const std::filesystem::path& output);

/// Opens /dev/null for each standard stream that the caller has left closed, so that no other file gets its
/// number.
void fillStandardStreams();

/// Makes this process deaf to hang-up, interrupt, quit and termination. May be called between fork and exec.
void ignoreEndingSignals();

/// Has logind block shutdown and sleep while a component runs. False where nothing blocks them: there is no
/// logind, or it refuses.
bool blockShutdown();

/// What the hidden command `await-component` does, for `blockShutdown`: tells on standard output that it has
/// begun, and returns once no component runs.
int awaitComponent();

inline constexpr char kAwaitComponent[] = "await-component";

}  // namespace tool
