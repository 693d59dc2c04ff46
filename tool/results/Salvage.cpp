#include "Salvage.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>
#include <utility>
#include <vector>

namespace tool {

namespace {

// The fixed texts that the component writes, doubled blanks included. They repeat what its writers have: the
// fuzz target `salvage` reads back with these what the writers wrote.
constexpr std::string_view kDeclaration = R"(<?xml version="1.0" encoding="UTF-8"?>)";
constexpr std::string_view kReboot = "<RebootRequired>1</RebootRequired>";

constexpr std::string_view kDriveStart = R"(<Device  vendorID=")";
constexpr std::string_view kComponentStart = R"(<Device  componentID=")";
constexpr std::string_view kFailureStart = R"(<SPStatus result = "false" ><Message id=")";

constexpr std::string_view kEnum = R"(" enum = ")";
constexpr std::string_view kApplication = R"(" ><Application componentType=")";
constexpr std::string_view kSuccess = R"(" ><SPStatus result = "true" ><Message id=")";
constexpr std::string_view kMessageText = R"(" >)";
constexpr std::string_view kMessageEnd = "</Message></SPStatus>";

/// Where the forms of a Device differ.
struct DeviceForm {
  std::string_view display;  ///< what precedes the name in the Device start tag
  std::string_view version;
  std::string_view applicationDisplay;
  std::string_view end;
};

struct DocumentForm {
  DocumentKind kind;
  std::string_view start;
  std::string_view end;
  DeviceForm drive;
  DeviceForm component;
};

constexpr DeviceForm kUpdatedDevice{R"(" display=")", R"(" version=")", R"(" display=")",
                                    "</Message></SPStatus></Application></Device>"};

constexpr std::array<DocumentForm, 2> kForms{{
    {DocumentKind::kInventory,
     R"(<SVMInventory lang="en">)",
     "</SVMInventory>",
     {R"("  display=")", R"("  version=")", R"("  display=")", R"("/></Device>)"},
     {R"(" display=")", R"(" version=")", R"(" display=")", R"("/></Device>)"}},
    {DocumentKind::kUpdate, R"(<SVMExecution lang="en">)", "</SVMExecution>", kUpdatedDevice, kUpdatedDevice},
}};

/// Why a document is refused.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

bool standsOnce(std::string_view text, std::string_view part) {
  const std::size_t place = text.find(part);
  return place != std::string_view::npos && text.rfind(part) == place;
}

/// The texts before and after `delimiter`, which must occur in `text` exactly once, overlaps counted.
std::pair<std::string_view, std::string_view> split(std::string_view text, std::string_view delimiter) {
  const std::size_t place = text.find(delimiter);
  if (place == std::string_view::npos)
    throw Refusal("is not as nvmepcissd writes it: no " + std::string(delimiter));
  if (text.rfind(delimiter) != place)
    throw Refusal("can be read in more than one way: it holds " + std::string(delimiter) + " twice");
  return {text.substr(0, place), text.substr(place + delimiter.size())};
}

/// Removes `end` from the end of `text`, the only place where it may occur.
std::string_view withoutEnd(std::string_view text, std::string_view end) {
  const auto [before, after] = split(text, end);
  if (!after.empty()) throw Refusal("is not as nvmepcissd writes it: text after " + std::string(end));
  return before;
}

/// Removes a PCI id and the `delimiter` after it from the front of `text`. An id cannot hold a delimiter, so
/// later occurrences belong to other values.
std::string takeId(std::string_view& text, std::string_view delimiter) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  constexpr std::size_t kMostDigits = 4;
  const std::size_t length = std::min(text.find_first_not_of(kDigits), text.size());
  if (length == 0 || length > kMostDigits || !text.substr(length).starts_with(delimiter))
    throw Refusal("is not as nvmepcissd writes it: a PCI id of other than one to four hexadecimal digits");
  std::string id(text.substr(0, length));
  text.remove_prefix(length + delimiter.size());
  return id;
}

/// Reads a message. `text` begins after the quote that opens its id and ends with its text.
void readMessage(std::string_view text, Record& record) {
  const std::string_view id = text.substr(0, text.find('"'));
  const std::string_view rest = text.substr(id.size());
  const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), record.messageId);
  if (error != std::errc() || end != id.data() + id.size() || !rest.starts_with(kMessageText))
    throw Refusal("is not as nvmepcissd writes it: a message id that is no number");
  record.message = rest.substr(kMessageText.size());
}

Record readFailure(std::string_view text) {
  Record record{.outcome = Outcome::kFailed};
  readMessage(withoutEnd(text.substr(kFailureStart.size()), kMessageEnd), record);
  return record;
}

/// Reads the Device start tag from its first value up to the last one.
void readIdentity(std::string_view text, bool isDrive, std::string_view display, Record& record) {
  if (isDrive) {
    record.pci.vendor = takeId(text, R"(" deviceID=")");
    record.pci.device = takeId(text, R"(" subVendorID=")");
    record.pci.subVendor = takeId(text, R"(" subDeviceID=")");
    record.pci.subDevice = takeId(text, display);
  } else {
    const auto [id, rest] = split(text, display);
    record.componentId = id;
    text = rest;
  }
  if (text.find(kEnum) != std::string_view::npos) {
    const auto [name, enumId] = split(text, kEnum);
    if (enumId.empty()) throw Refusal("is not as nvmepcissd writes it: an enumeration id without a value");
    record.enumId = enumId;
    text = name;
  }
  record.name = text;
}

Record readDevice(std::string_view text, const DocumentForm& document) {
  const bool isDrive = text.starts_with(kDriveStart);
  const DeviceForm& form = isDrive ? document.drive : document.component;
  Record record;
  text.remove_prefix(isDrive ? kDriveStart.size() : kComponentStart.size());
  auto [identity, application] = split(withoutEnd(text, form.end), kApplication);
  readIdentity(identity, isDrive, form.display, record);
  if (document.kind == DocumentKind::kUpdate) {
    const auto [attributes, message] = split(application, kSuccess);
    readMessage(message, record);
    record.outcome = Outcome::kSuccess;
    application = attributes;
  }
  const auto [type, versionOn] = split(application, form.version);
  const auto [version, name] = split(versionOn, form.applicationDisplay);
  static_cast<void>(name);  // empty for drives; the tool shows the Device's name
  record.componentType = type;
  record.revision = version;
  return record;
}

/// The places where records begin. All of `body` belongs to one of them.
std::vector<std::size_t> startsOfRecords(std::string_view body) {
  std::vector<std::size_t> starts;
  for (std::size_t place = body.find('<'); place != std::string_view::npos;
       place = body.find('<', place + 1)) {
    const std::string_view rest = body.substr(place);
    if (rest.starts_with(kDriveStart) || rest.starts_with(kComponentStart) || rest.starts_with(kFailureStart))
      starts.push_back(place);
  }
  if (!body.empty() && (starts.empty() || starts.front() != 0))
    throw Refusal("its first record does not begin like one of nvmepcissd");
  return starts;
}

std::vector<Record> readRecords(std::string_view body, const DocumentForm& form) {
  std::vector<std::size_t> starts = startsOfRecords(body);
  starts.push_back(body.size());
  std::vector<Record> records;
  for (std::size_t i = 0; i + 1 < starts.size(); ++i) {
    const std::string_view text = body.substr(starts[i], starts[i + 1] - starts[i]);
    try {
      records.push_back(text.starts_with(kFailureStart) ? readFailure(text) : readDevice(text, form));
    } catch (const Refusal& refusal) {
      throw Refusal("record " + std::to_string(i + 1) + " " + refusal.what());
    }
  }
  return records;
}

const DocumentForm& formOf(std::string_view content) {
  const auto* const form =
      std::find_if(kForms.begin(), kForms.end(), [content](const DocumentForm& candidate) {
        return content.starts_with(std::string(kDeclaration) + std::string(candidate.start));
      });
  if (form == kForms.end()) throw Refusal("it does not begin like a document of nvmepcissd");
  return *form;
}

Document read(std::string_view content) {
  if (content.find('\0') != std::string_view::npos) throw Refusal("it holds a NUL byte");
  // The component ends a document without a line end. Editors and shells add one.
  while (!content.empty() && (content.back() == '\n' || content.back() == '\r')) content.remove_suffix(1);
  const DocumentForm& form = formOf(content);
  if (!standsOnce(content, kDeclaration))
    throw Refusal("it holds two documents, as -i -u writes them to standard output: run them apart");
  if (!content.ends_with(form.end)) throw Refusal("it is cut off");
  if (!standsOnce(content, form.start) || !standsOnce(content, form.end))
    throw Refusal("it can be read in more than one way: it holds its root element's tags twice");

  std::string_view body = content.substr(kDeclaration.size() + form.start.size());
  body.remove_suffix(form.end.size());
  Document document{.kind = form.kind};
  if (form.kind == DocumentKind::kUpdate && body.ends_with(kReboot)) {
    document.rebootRequired = true;
    body.remove_suffix(kReboot.size());
  }
  document.records = readRecords(body, form);
  return document;
}

}  // namespace

Salvage salvage(std::string_view content) {
  try {
    return {.document = read(content)};
  } catch (const Refusal& refusal) {
    return {.refusal = refusal.what()};
  }
}

}  // namespace tool
