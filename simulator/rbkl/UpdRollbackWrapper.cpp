// The rollback class of librbkl.so.0. A folder serves as the partition.

#include "UpdRollbackWrapper.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Files.h"
#include "RollbackScript.h"

namespace {

namespace fs = std::filesystem;

/// The library's own results, apart from those that a script names. The constructor throws its own.
enum Result : unsigned char {
  kDone = 0,
  kScriptRefused = 101,         // missing or malformed, as standard error says
  kPartitionUnavailable = 102,  // there is no partition folder, and none can be made
  kFileRefused = 103,           // not a readable file
  kNameTaken = 104,             // a second file of one name, which would replace the first
  kCopyFailed = 105,            // the partition has kept what it had of the file
};

/// Runs a step and turns its failure into a result, with a line on standard error.
template <class Step>
Result attempt(Result failure, Step step) {
  try {
    step();
    return kDone;
  } catch (const std::runtime_error& error) {
    simulator::complain("simulated librbkl.so.0", error.what());
    return failure;
  }
}

/// The platform's library throws bytes.
void throwFailure(Result result) {
  if (result != kDone) throw static_cast<unsigned char>(result);
}

/// The state of an object, which owns it through a pointer in the first bytes of its reserved room.
struct State {
  const simulator::CallsLog calls{"RBKL_SIMULATOR_CALLS"};
  simulator::RollbackScript script;
  fs::path partition;
  std::vector<fs::path> files;

  void readScript() {
    const auto path = simulator::pathFromEnvironment("RBKL_SIMULATOR_SCENARIO");
    if (path) script = simulator::readRollbackScript(*path);
  }

  void openPartition() {
    partition = simulator::pathFromEnvironment("RBKL_SIMULATOR_PARTITION", "rollback-partition");
    fs::create_directories(partition);
  }

  /// Records a call, and returns or throws what the script says. Returns nothing if the operation is to do
  /// its work.
  std::optional<int> begin(const char* operation, const std::string& arguments = "") const {
    calls.append(operation + arguments);
    const auto act = script.find(operation);
    if (act == script.end()) return std::nullopt;
    return act->second();
  }
};

State* stateIn(std::span<const unsigned char> room) {
  State* state = nullptr;
  std::memcpy(&state, room.data(), sizeof(void*));
  return state;
}

}  // namespace

UpdRollbackWrapper::UpdRollbackWrapper() : m_reserved{} {
  auto state = std::make_unique<State>();
  throwFailure(attempt(kScriptRefused, [&] { state->readScript(); }));
  state->begin("constructor");
  throwFailure(attempt(kPartitionUnavailable, [&] { state->openPartition(); }));
  const State* const owned = state.release();
  std::memcpy(m_reserved.data(), &owned, sizeof(void*));
}

UpdRollbackWrapper::~UpdRollbackWrapper() noexcept(false) {
  const std::unique_ptr<const State> state(stateIn(m_reserved));
  state->begin("destructor");
}

int UpdRollbackWrapper::addPayloadFiles(std::string path, bool flag) {
  State& state = *stateIn(m_reserved);
  if (const auto scripted = state.begin("addPayloadFiles", "\t" + path + (flag ? "\ttrue" : "\tfalse"))) {
    return *scripted;
  }
  const fs::path file = std::move(path);
  const auto hasItsName = [&](const fs::path& other) { return other.filename() == file.filename(); };
  if (std::any_of(state.files.begin(), state.files.end(), hasItsName)) return kNameTaken;
  const Result result = attempt(kFileRefused, [&] { simulator::RegularFile(file).read(1); });
  if (result == kDone) state.files.push_back(file);
  return result;
}

int UpdRollbackWrapper::updateFirmwarePartition() {
  const State& state = *stateIn(m_reserved);
  if (const auto scripted = state.begin("updateFirmwarePartition")) return *scripted;
  return attempt(kCopyFailed, [&] {
    for (const fs::path& file : state.files) simulator::copyWhole(file, state.partition / file.filename());
  });
}
