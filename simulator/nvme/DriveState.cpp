#include "DriveState.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "DriveTexts.h"
#include "Files.h"

namespace simulator {

namespace {

std::string revisionText(const Revision& revision) {
  return textOf(std::string_view(revision.data(), revision.size()));
}

/// Nothing for a value that is no revision.
std::optional<Revision> revisionIn(const nlohmann::json& value) {
  if (!value.is_string()) return std::nullopt;
  const auto bytes = bytesOf(value.get<std::string>());
  Revision revision;
  if (!bytes || bytes->size() != revision.size()) return std::nullopt;
  std::copy(bytes->begin(), bytes->end(), revision.begin());
  return revision;
}

/// What a file holds; empty for one that cannot be read.
std::string contentOf(const std::filesystem::path& file) {
  try {
    return readWhole(file);
  } catch (const std::system_error&) {
    return "";
  }
}

bool isWhole(const nlohmann::json& entry) {
  if (!entry.is_object()) return revisionIn(entry).has_value();
  const auto since = entry.find("since");
  return since != entry.end() && since->is_string() && revisionIn(entry.value("now", nlohmann::json())) &&
         revisionIn(entry.value("afterReset", nlohmann::json()));
}

}  // namespace

DriveState::DriveState(std::filesystem::path file, std::string session)
    : m_file(std::move(file)), m_session(std::move(session)) {}

std::optional<Revision> DriveState::revision(const DriveAddress& address) const {
  const nlohmann::json found = entry(address);
  if (!found.is_object()) return revisionIn(found);
  return revisionIn(found[found["since"] == m_session ? "now" : "afterReset"]);
}

bool DriveState::wasFlashed(const DriveAddress& address) const {
  return !entry(address).is_null();
}

bool DriveState::wasResetSince(const DriveAddress& address) const {
  const nlohmann::json found = entry(address);
  return found.is_object() && found["since"] != m_session;
}

void DriveState::keep(const DriveAddress& address, const Revision& revision) const {
  replace(address, revisionText(revision));
}

void DriveState::keepUntilReset(const DriveAddress& address, const Revision& now,
                                const Revision& afterReset) const {
  replace(address,
          {{"now", revisionText(now)}, {"afterReset", revisionText(afterReset)}, {"since", m_session}});
}

nlohmann::json DriveState::entry(const DriveAddress& address) const {
  const nlohmann::json state = load();
  const auto found = state.find(textOf(address));
  return found != state.end() && isWhole(*found) ? *found : nlohmann::json();
}

void DriveState::replace(const DriveAddress& address, const nlohmann::json& entry) const {
  // The file may hold drives of other scenarios, too.
  nlohmann::json state = load();
  state[textOf(address)] = entry;
  WholeFile file(m_file);
  file.write(state.dump(2) + "\n");
  file.commit();
}

nlohmann::json DriveState::load() const {
  try {
    // A damaged file is one without entries: the drives run what the scenario says.
    nlohmann::json state = nlohmann::json::parse(readWhole(m_file), nullptr, false);
    if (state.is_object()) return state;
  } catch (const std::system_error&) {
    // No file: nothing was flashed yet.
  }
  return nlohmann::json::object();
}

std::string currentSession(const std::filesystem::path& resetFile) {
  // A reboot resets every drive. Tests cannot reboot: they write to the reset file instead.
  return contentOf("/proc/sys/kernel/random/boot_id") + contentOf(resetFile);
}

}  // namespace simulator
