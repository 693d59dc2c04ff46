#include "Verdict.h"

#include <climits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace tool {

namespace {

using nlohmann::json;

constexpr int kVersion = 1;

/// The member of that name; null if the object does not have it.
const json& member(const json& object, const char* name) {
  static const json kNull;
  const auto found = object.find(name);
  return found == object.end() ? kNull : *found;
}

std::string text(const json& object, const char* name) {
  const json& value = member(object, name);
  if (value.is_null()) return {};
  if (!value.is_string()) throw std::runtime_error(std::string(name) + " is no text");
  return value.get<std::string>();
}

PciIds readPci(const json& drive) {
  const json& pci = member(drive, "pci");
  if (pci.is_null()) return {};
  if (!pci.is_object()) throw std::runtime_error("pci is no object");
  return {.vendor = text(pci, "vendor"),
          .device = text(pci, "device"),
          .subVendor = text(pci, "subVendor"),
          .subDevice = text(pci, "subDevice")};
}

Outcome readState(const json& drive) {
  const std::string state = text(drive, "state");
  if (state.empty()) return Outcome::kListed;
  const std::optional<Outcome> outcome = outcomeNamed(state);
  if (!outcome) throw std::runtime_error("state is " + json(state).dump() + ", which is none");
  return *outcome;
}

int readCode(const json& drive) {
  const json& code = member(drive, "code");
  if (code.is_null()) return 0;
  if (!code.is_number_integer() || code < INT_MIN || code > INT_MAX)
    throw std::runtime_error("code is no number of 32 bits");
  return code.get<int>();
}

Record readDrive(const json& drive) {
  if (!drive.is_object()) throw std::runtime_error("it is no object");
  const std::string name = text(drive, "name");
  return {.outcome = readState(drive),
          .pci = readPci(drive),
          .name = name.empty() ? text(drive, "model") : name,
          .enumId = text(drive, "serial"),
          .revision = text(drive, "before"),
          .newRevision = text(drive, "after"),
          .messageId = readCode(drive),
          .message = text(drive, "reason")};
}

}  // namespace

Reading readVerdict(const std::string& content) {
  json verdict;
  try {
    verdict = json::parse(content);
  } catch (const json::exception& error) {
    return {.problem = std::string("is no JSON: ") + error.what()};
  }
  // A folder of results may hold other JSON files. They are skipped there.
  if (!verdict.is_object() || !member(verdict, "drives").is_array())
    return {.problem = "is not a verdict: it has no drives", .foreign = true};
  // Another version may mean something else by the same names, so nothing of it is guessed.
  if (member(verdict, "version") != kVersion)
    return {.problem =
                "is not a verdict of version " + std::to_string(kVersion) + ", the only one that is known"};

  Document document{.kind = DocumentKind::kVerdict};
  for (const json& drive : verdict["drives"]) {
    try {
      document.records.push_back(readDrive(drive));
    } catch (const std::exception& error) {
      return {.problem = "drive " + std::to_string(document.records.size() + 1) + ": " + error.what()};
    }
  }
  return {.document = std::move(document)};
}

}  // namespace tool
