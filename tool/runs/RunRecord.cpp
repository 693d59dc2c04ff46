#include "RunRecord.h"

#include <algorithm>
#include <array>
#include <climits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>

namespace tool {

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

constexpr char kFormat[] = "nvmepcissd-run";
constexpr int kVersion = 1;

// Both in the order of their enumerations.
constexpr std::array<const char*, 5> kPhases{"planning", "approved", "flashing", "verifying", "done"};
constexpr std::array<const char*, 2> kKinds{"inventory", "update"};

/// A member that must be there and of the right kind.
template <class Value>
Value need(const json& object, const char* name, bool (*isRight)(const json&)) {
  const auto found = object.find(name);
  if (found == object.end()) throw std::runtime_error(std::string(name) + " is missing");
  if (!isRight(*found)) throw std::runtime_error(std::string(name) + " has another kind of value");
  return found->get<Value>();
}

std::string text(const json& object, const char* name) {
  return need<std::string>(object, name, [](const json& value) { return value.is_string(); });
}

bool flag(const json& object, const char* name) {
  return need<bool>(object, name, [](const json& value) { return value.is_boolean(); });
}

std::uint64_t number(const json& object, const char* name) {
  return need<std::uint64_t>(object, name, [](const json& value) {
    return value.is_number_unsigned() && value.get<std::uint64_t>() <= INT_MAX;
  });
}

std::map<std::string, std::string> texts(const json& object, const char* name) {
  return need<std::map<std::string, std::string>>(object, name, [](const json& value) {
    return value.is_object() &&
           std::all_of(value.begin(), value.end(), [](const json& each) { return each.is_string(); });
  });
}

template <class Value, std::size_t kCount>
Value word(const json& object, const char* name, const std::array<const char*, kCount>& words) {
  const std::string found = text(object, name);
  const auto* const place =
      std::find_if(words.begin(), words.end(), [&found](const char* each) { return found == each; });
  if (place == words.end()) throw std::runtime_error(std::string(name) + " is no known word");
  return static_cast<Value>(place - words.begin());
}

std::optional<int> status(const json& object) {
  const auto found = object.find("exitStatus");
  if (found == object.end() || found->is_null()) return std::nullopt;
  return static_cast<int>(number(object, "exitStatus"));
}

}  // namespace

const char* nameOf(RunPhase phase) {
  return kPhases.at(static_cast<std::size_t>(phase));
}

const char* nameOf(RunKind kind) {
  return kKinds.at(static_cast<std::size_t>(kind));
}

std::string toJson(const RunRecord& record) {
  const ordered_json object{
      {"format", kFormat},
      {"version", kVersion},
      {"name", record.name},
      {"sequence", record.sequence},
      {"kind", nameOf(record.kind)},
      {"phase", nameOf(record.phase)},
      {"component", record.component},
      {"workingFolder", record.workingFolder},
      {"environment", record.environment},
      {"policy", record.policy},
      {"payload", record.payload},
      {"bootId", record.bootId},
      {"verifiedIn", record.verifiedIn},
      {"began", record.began},
      {"ended", record.ended},
      {"approved", record.approved},
      {"flashBegan", record.flashBegan},
      {"toFlash", record.toFlash},
      {"hasFlashed", record.hasFlashed},
      {"wasInterrupted", record.wasInterrupted},
      {"attempts", record.attempts},
      {"exitStatus", record.exitStatus ? ordered_json(*record.exitStatus) : ordered_json(nullptr)}};
  return object.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

RunRecord readRunRecord(const std::string& content) {
  const json object = json::parse(content);
  if (!object.is_object() || text(object, "format") != kFormat)
    throw std::runtime_error("is not the record of a run");
  if (number(object, "version") != kVersion)
    throw std::runtime_error("is a record of another version than " + std::to_string(kVersion));
  return {.name = text(object, "name"),
          .sequence = number(object, "sequence"),
          .kind = word<RunKind>(object, "kind", kKinds),
          .phase = word<RunPhase>(object, "phase", kPhases),
          .component = text(object, "component"),
          .workingFolder = text(object, "workingFolder"),
          .environment = texts(object, "environment"),
          .policy = texts(object, "policy"),
          .payload = text(object, "payload"),
          .bootId = text(object, "bootId"),
          .verifiedIn = text(object, "verifiedIn"),
          .began = text(object, "began"),
          .ended = text(object, "ended"),
          .approved = static_cast<std::int64_t>(number(object, "approved")),
          .flashBegan = static_cast<std::int64_t>(number(object, "flashBegan")),
          .toFlash = number(object, "toFlash"),
          .hasFlashed = flag(object, "hasFlashed"),
          .wasInterrupted = flag(object, "wasInterrupted"),
          .attempts = static_cast<unsigned int>(number(object, "attempts")),
          .exitStatus = status(object)};
}

}  // namespace tool
