#include "Verdict.h"

#include <algorithm>
#include <array>
#include <climits>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "VerdictJson.h"

namespace tool {

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

constexpr char kFormat[] = "nvmepcissd-verdict";
constexpr int kVersion = 1;

// All in the order of their enumerations.
constexpr std::array<const char*, 3> kIdentifications{"log", "order", "serial"};
constexpr std::array<const char*, 5> kOutcomes{"done", "failed", "undecided", "refused", "running"};
constexpr std::array<int, 5> kStatuses{0, 1, 3, 4, 5};

ordered_json orNull(const std::optional<std::string>& text) {
  return text ? ordered_json(*text) : ordered_json(nullptr);
}

ordered_json pciJson(const std::optional<PciIds>& pci) {
  if (!pci) return nullptr;
  return {{"vendor", pci->vendor},
          {"device", pci->device},
          {"subVendor", pci->subVendor},
          {"subDevice", pci->subDevice}};
}

ordered_json driveJson(const DriveVerdict& drive) {
  return {{"serial", orNull(drive.serial)},
          {"name", orNull(drive.name)},
          {"model", orNull(drive.model)},
          {"pci", pciJson(drive.pci)},
          {"address", orNull(drive.address)},
          {"before", orNull(drive.before)},
          {"after", orNull(drive.after)},
          {"staged", orNull(drive.staged)},
          {"wanted", orNull(drive.wanted)},
          {"state",
           drive.state == Outcome::kListed ? ordered_json(nullptr) : ordered_json(outcomeName(drive.state))},
          {"code", drive.code ? ordered_json(*drive.code) : ordered_json(nullptr)},
          {"reason", drive.reason.empty() ? ordered_json(nullptr) : ordered_json(drive.reason)},
          {"identifiedBy",
           drive.identifiedBy ? ordered_json(nameOf(*drive.identifiedBy)) : ordered_json(nullptr)}};
}

/// The member of that name; null if the object does not have it.
const json& member(const json& object, const char* name) {
  static const json kNull;
  const auto found = object.find(name);
  return found == object.end() ? kNull : *found;
}

std::optional<std::string> text(const json& object, const char* name) {
  const json& value = member(object, name);
  if (value.is_null()) return std::nullopt;
  if (!value.is_string()) throw std::runtime_error(std::string(name) + " is no text");
  return value.get<std::string>();
}

bool flag(const json& object, const char* name) {
  const json& value = member(object, name);
  if (!value.is_null() && !value.is_boolean()) throw std::runtime_error(std::string(name) + " is no boolean");
  return value.is_boolean() && value.get<bool>();
}

std::optional<std::int32_t> number(const json& object, const char* name) {
  const json& value = member(object, name);
  if (value.is_null()) return std::nullopt;
  if (!value.is_number_integer() || value < INT_MIN || value > INT_MAX)
    throw std::runtime_error(std::string(name) + " is no number of 32 bits");
  return value.get<std::int32_t>();
}

/// The value whose word, by position in `words`, is the text of that name. Null is none, like an empty text.
template <typename Value, std::size_t Count>
std::optional<Value> named(const json& object, const char* name,
                           const std::array<const char*, Count>& words) {
  const std::optional<std::string> word = text(object, name);
  if (!word || word->empty()) return std::nullopt;
  const auto* const found =
      std::find_if(words.begin(), words.end(), [&word](const char* one) { return *word == one; });
  if (found == words.end())
    throw std::runtime_error(std::string(name) + " is " + json(*word).dump() + ", which is none");
  return static_cast<Value>(found - words.begin());
}

std::optional<PciIds> readPci(const json& drive) {
  const json& pci = member(drive, "pci");
  if (pci.is_null()) return std::nullopt;
  if (!pci.is_object()) throw std::runtime_error("pci is no object");
  return PciIds{.vendor = text(pci, "vendor").value_or(""),
                .device = text(pci, "device").value_or(""),
                .subVendor = text(pci, "subVendor").value_or(""),
                .subDevice = text(pci, "subDevice").value_or("")};
}

Outcome readState(const json& drive) {
  const std::string state = text(drive, "state").value_or("");
  if (state.empty()) return Outcome::kListed;
  const std::optional<Outcome> outcome = outcomeNamed(state);
  if (!outcome) throw std::runtime_error("state is " + json(state).dump() + ", which is none");
  return *outcome;
}

DriveVerdict readDrive(const json& drive) {
  if (!drive.is_object()) throw std::runtime_error("it is no object");
  return {.serial = text(drive, "serial"),
          .name = text(drive, "name"),
          .model = text(drive, "model"),
          .pci = readPci(drive),
          .address = text(drive, "address"),
          .before = text(drive, "before"),
          .after = text(drive, "after"),
          .staged = text(drive, "staged"),
          .wanted = text(drive, "wanted"),
          .state = readState(drive),
          .code = number(drive, "code"),
          .reason = text(drive, "reason").value_or(""),
          .identifiedBy = named<IdentifiedBy>(drive, "identifiedBy", kIdentifications)};
}

std::vector<std::string> readReasons(const json& object) {
  const json& values = member(object, "reasons");
  if (values.is_null()) return {};
  if (!values.is_array()) throw std::runtime_error("reasons is no array");
  std::vector<std::string> reasons;
  for (const json& value : values) {
    if (!value.is_string()) throw std::runtime_error("reasons holds something that is no text");
    reasons.push_back(value.get<std::string>());
  }
  return reasons;
}

std::vector<DriveVerdict> readDrives(const json& values) {
  std::vector<DriveVerdict> drives;
  drives.reserve(values.size());
  for (const json& value : values) {
    try {
      drives.push_back(readDrive(value));
    } catch (const std::runtime_error& error) {
      throw std::runtime_error("drive " + std::to_string(drives.size() + 1) + ": " + error.what());
    }
  }
  return drives;
}

/// The outcome alone says what a command ends with. A status that nothing ends with shows that something else
/// has written the file.
void checkStatus(const json& object) {
  const std::int32_t status = number(object, "exitStatus").value_or(kStatuses.front());
  if (status < kStatuses.front() || status > kStatuses.back())
    throw std::runtime_error("exitStatus is " + std::to_string(status) + ", with which nothing ends");
}

Verdict read(const json& object) {
  checkStatus(object);
  return {.run = text(object, "run"),
          .outcome = named<RunOutcome>(object, "outcome", kOutcomes).value_or(RunOutcome::kUndecided),
          .reasons = readReasons(object),
          .bootId = text(object, "bootId"),
          .wasInterrupted = flag(object, "interrupted"),
          .drives = readDrives(member(object, "drives"))};
}

Record toRecord(DriveVerdict drive) {
  const bool isNamed = drive.name && !drive.name->empty();
  return {.outcome = drive.state,
          .pci = std::move(drive.pci).value_or(PciIds{}),
          .name = std::move(isNamed ? drive.name : drive.model).value_or(""),
          .enumId = std::move(drive.serial).value_or(""),
          .revision = std::move(drive.before).value_or(""),
          .newRevision = std::move(drive.after).value_or(""),
          .messageId = drive.code.value_or(0),
          .message = std::move(drive.reason)};
}

}  // namespace

const char* nameOf(IdentifiedBy how) {
  return kIdentifications.at(static_cast<std::size_t>(how));
}

const char* nameOf(RunOutcome outcome) {
  return kOutcomes.at(static_cast<std::size_t>(outcome));
}

int exitStatusOf(RunOutcome outcome) {
  return kStatuses.at(static_cast<std::size_t>(outcome));
}

void conclude(Verdict& verdict) {
  const auto& drives = verdict.drives;
  const auto isRefused = [](const DriveVerdict& drive) {
    return drive.state == Outcome::kRefused || drive.state == Outcome::kUnhealthy;
  };
  const auto isGood = [](const DriveVerdict& drive) { return toneOf(drive.state) == Tone::kGood; };
  const auto isBad = [](const DriveVerdict& drive) { return isFailure(drive.state); };
  if (std::any_of(drives.begin(), drives.end(), isBad)) {
    verdict.outcome = RunOutcome::kFailed;
  } else if (std::any_of(drives.begin(), drives.end(), isRefused)) {
    verdict.outcome = RunOutcome::kRefused;
  } else if (!drives.empty() && std::all_of(drives.begin(), drives.end(), isGood)) {
    verdict.outcome = RunOutcome::kDone;
  } else {
    verdict.outcome = RunOutcome::kUndecided;
  }
}

ordered_json jsonOf(const Verdict& verdict) {
  ordered_json drives = ordered_json::array();
  for (const DriveVerdict& drive : verdict.drives) drives.push_back(driveJson(drive));
  return {{"format", kFormat},
          {"version", kVersion},
          {"run", orNull(verdict.run)},
          {"outcome", nameOf(verdict.outcome)},
          {"exitStatus", exitStatusOf(verdict.outcome)},
          {"reasons", verdict.reasons},
          {"bootId", orNull(verdict.bootId)},
          {"interrupted", verdict.wasInterrupted},
          {"drives", std::move(drives)}};
}

std::string textOf(const ordered_json& json) {
  return json.dump(2, ' ', false, ordered_json::error_handler_t::replace) + '\n';
}

std::string toJson(const Verdict& verdict) {
  return textOf(jsonOf(verdict));
}

VerdictReading readVerdict(const std::string& content) {
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
  try {
    return {.verdict = read(verdict)};
  } catch (const std::runtime_error& error) {
    return {.problem = error.what()};
  }
}

Document toDocument(Verdict verdict) {
  Document document{.kind = DocumentKind::kVerdict, .reasons = std::move(verdict.reasons)};
  document.records.reserve(verdict.drives.size());
  for (DriveVerdict& drive : verdict.drives) document.records.push_back(toRecord(std::move(drive)));
  return document;
}

}  // namespace tool
