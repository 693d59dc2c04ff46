#include "DocumentReader.h"

#include <libxml/parser.h>
#include <strings.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <string_view>
#include <utility>

#include "LibXml.h"
#include "Salvage.h"
#include "Verdict.h"
#include "XmlErrors.h"

namespace tool {

namespace {

/// Printable ASCII as it is, every other byte as a dot: what is shown of a damaged line is anything.
std::string printable(std::string_view bytes) {
  std::string text(bytes);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '.');
  return text;
}

/// The text around a place, on lines of its own with a mark below the place. Documents are one long line, in
/// which a number alone is hard to find.
std::string excerpt(std::string_view content, const XmlError& error) {
  // Both halves fit a terminal of 80 columns.
  constexpr std::size_t kAround = 36;
  for (long line = 1; line < error.line && content.find('\n') != std::string_view::npos; ++line)
    content.remove_prefix(content.find('\n') + 1);
  content = content.substr(0, content.find('\n'));
  const std::size_t place =
      std::min(static_cast<std::size_t>(std::max(error.column, 1L)) - 1, content.size());
  const std::size_t start = place - std::min(place, kAround);
  return "\n    " + printable(content.substr(start, 2 * kAround)) + "\n    " +
         std::string(place - start, ' ') + "^";
}

std::string placeOf(const XmlError& error) {
  return "not well-formed at line " + std::to_string(error.line) + ", column " +
         std::to_string(error.column) + ": " + error.message;
}

void readStatus(const xmlNode* status, Record& record) {
  // Anything but "false" is a success, in any case of letters, as in the component's own reader.
  const bool failed = strcasecmp(libxml::attributeOrEmpty(status, "result"), "false") == 0;
  record.outcome = failed ? Outcome::kFailed : Outcome::kSuccess;
  const xmlNode* const message = libxml::firstChildNamed(status, "Message");
  if (message == nullptr) return;
  const char* const text = libxml::firstText(message);
  record.message = text == nullptr ? "" : text;
  const std::string_view id = libxml::attributeOrEmpty(message, "id");
  // An id that is no number leaves 0, which means none.
  std::from_chars(id.data(), id.data() + id.size(), record.messageId);
}

Record readDevice(const xmlNode* device) {
  Record record{.componentId = libxml::attributeOrEmpty(device, "componentID"),
                .pci = {.vendor = libxml::attributeOrEmpty(device, "vendorID"),
                        .device = libxml::attributeOrEmpty(device, "deviceID"),
                        .subVendor = libxml::attributeOrEmpty(device, "subVendorID"),
                        .subDevice = libxml::attributeOrEmpty(device, "subDeviceID")},
                .name = libxml::attributeOrEmpty(device, "display"),
                .enumId = libxml::attributeOrEmpty(device, "enum")};
  if (const xmlNode* const application = libxml::firstChildNamed(device, "Application")) {
    record.componentType = libxml::attributeOrEmpty(application, "componentType");
    record.revision = libxml::attributeOrEmpty(application, "version");
    if (const xmlNode* const status = libxml::firstChildNamed(application, "SPStatus"))
      readStatus(status, record);
  }
  return record;
}

bool isOne(const char* text) {
  constexpr char kBlanks[] = " \t\r\n";
  const std::string_view value = text == nullptr ? "" : text;
  const std::size_t start = value.find_first_not_of(kBlanks);
  return start != std::string_view::npos && value[start] == '1' &&
         value.find_first_not_of(kBlanks, start + 1) == std::string_view::npos;
}

/// Records may stand below elements of other names, which tools that wrap or merge documents add.
// NOLINTNEXTLINE(misc-no-recursion): libxml2 bounds the depth of a document
void readChildren(const xmlNode* parent, Document& document) {
  for (const xmlNode* node = parent->children; node != nullptr; node = node->next) {
    if (node->type != XML_ELEMENT_NODE) continue;
    if (libxml::isNamed(node, "Device")) {
      document.records.push_back(readDevice(node));
    } else if (libxml::isNamed(node, "SPStatus")) {
      readStatus(node, document.records.emplace_back());
    } else if (libxml::isNamed(node, "RebootRequired")) {
      document.rebootRequired |= isOne(libxml::firstText(node));
    } else {
      readChildren(node, document);
    }
  }
}

Reading readTree(xmlDoc* tree) {
  const xmlNode* const root = xmlDocGetRootElement(tree);
  const std::string name = root == nullptr ? "" : reinterpret_cast<const char*>(root->name);
  Document document;
  if (name == "SVMExecution") {
    document.kind = DocumentKind::kUpdate;
  } else if (name != "SVMInventory") {
    return {.problem = "is not a result document: its root element is " + name +
                       ", not SVMInventory or SVMExecution",
            .foreign = true};
  }
  readChildren(root, document);
  return {.document = std::move(document)};
}

Reading readJson(const std::string& content) {
  VerdictReading reading = readVerdict(content);
  if (!reading.verdict) return {.problem = std::move(reading.problem), .foreign = reading.foreign};
  return {.document = toDocument(*std::move(reading.verdict))};
}

Reading readByForm(const std::string& content, const std::optional<XmlError>& error) {
  if (!error) return {.problem = "cannot be parsed"};
  Salvage salvaged = salvage(content);
  if (salvaged.document) return {std::move(salvaged.document), placeOf(*error)};
  return {.problem = placeOf(*error) + "; " + salvaged.refusal + excerpt(content, *error)};
}

}  // namespace

Reading readDocument(const std::string& content) {
  if (content.empty()) return {.problem = "is empty"};
  if (content.size() > INT_MAX) return {.problem = "is larger than 2 GiB"};
  const std::size_t start = std::min(content.find_first_not_of(" \t\r\n"), content.size() - 1);
  // An array is no verdict either, but "is not a verdict" helps more than an error of the XML parser.
  if (content[start] == '{' || content[start] == '[') return readJson(content);
  const XmlErrors errors;
  // Without XML_PARSE_NOENT libxml2 expands no entity, so that a document can neither name files nor grow.
  const libxml::Owned<xmlDoc> tree(
      xmlReadMemory(content.data(), static_cast<int>(content.size()), nullptr, nullptr, XML_PARSE_NONET));
  return tree == nullptr ? readByForm(content, errors.first()) : readTree(tree.get());
}

}  // namespace tool
