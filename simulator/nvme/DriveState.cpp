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

DriveState::DriveState(std::filesystem::path file) : m_file(std::move(file)) {}

std::optional<Revision> DriveState::revision(const DriveAddress& address) const {
  const nlohmann::json state = load();
  const auto entry = state.find(textOf(address));
  if (entry == state.end() || !entry->is_string()) return std::nullopt;
  const auto bytes = bytesOf(entry->get<std::string>());
  Revision revision;
  if (!bytes || bytes->size() != revision.size()) return std::nullopt;
  std::copy(bytes->begin(), bytes->end(), revision.begin());
  return revision;
}

void DriveState::keep(const DriveAddress& address, const Revision& revision) const {
  nlohmann::json state = load();
  state[textOf(address)] = textOf(std::string_view(revision.data(), revision.size()));
  WholeFile file(m_file);
  file.write(state.dump(2) + "\n");
  file.commit();
}

nlohmann::json DriveState::load() const {
  try {
    nlohmann::json state = nlohmann::json::parse(readWhole(m_file), nullptr, false);
    if (state.is_object()) return state;
  } catch (const std::system_error&) {
    // No file: nothing was flashed yet.
  }
  return nlohmann::json::object();
}

}  // namespace simulator
