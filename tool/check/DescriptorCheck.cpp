#include "DescriptorCheck.h"

#include <libxml/parser.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <system_error>
#include <utility>

#include "DescriptorEntries.h"
#include "LibXml.h"
#include "XmlErrors.h"

namespace tool {

namespace {

constexpr std::size_t kIdDigits = 4;

/// Besides a drive maker's, a package may ship this one, for which the descriptor decides more than names.
constexpr char kOwnLibrary[] = "the libnvme.so that comes with nvmepcissd";

std::string inQuotes(const std::string& text) {
  return '"' + text + '"';
}

std::string onLine(long line) {
  return "line " + std::to_string(line);
}

/// The document itself, the parent of the root, has no name.
std::string elementName(const xmlNode* node) {
  return node->type == XML_ELEMENT_NODE ? reinterpret_cast<const char*>(node->name) : "no Device";
}

/// What is equal for entries that match the same drives.
std::string identity(const descriptor::Entry& entry) {
  std::string ids;
  for (std::size_t i = 0; i < descriptor::kIdNames.size(); ++i)
    ids += descriptor::zeroFilled(entry.id(descriptor::Id(i))) + ':';
  std::transform(ids.begin(), ids.end(), ids.begin(), [](unsigned char c) { return std::tolower(c); });
  return ids;
}

/// Why no drive's id reads like this one; empty when one may. Drives give their ids without leading zeros.
std::string unmatchable(const std::string& id) {
  const auto isHexadecimal = [](unsigned char c) { return std::isxdigit(c) != 0; };
  if (!std::all_of(id.begin(), id.end(), isHexadecimal)) return "is not hexadecimal";
  if (id.size() > kIdDigits) return "is longer than four digits";
  return id.starts_with('0') ? "has a leading zero" : "";
}

/// What a run does without any entry, and who tells.
std::string withoutNames(const std::string& complaint = {}) {
  return "every drive is shown without a name" + complaint + "; with " + kOwnLibrary +
         " none is listed or flashed";
}

/// The node behind `node` in document order; null at the end.
const xmlNode* following(const xmlNode* node) {
  // What an entity holds is no child of the reference to it.
  if (node->type == XML_ELEMENT_NODE && node->children != nullptr) return node->children;
  while (node->next == nullptr) {
    node = node->parent;
    if (node->type != XML_ELEMENT_NODE) return nullptr;
  }
  return node->next;
}

/// Looks at every device with its entries, in document order.
class Reading {
 public:
  Reading(std::filesystem::path file, xmlDoc* document) : m_file(std::move(file)), m_document(document) {}

  Findings run() {
    const libxml::Owned<xmlXPathObject> devices = libxml::select(m_document, descriptor::kDevices);
    const auto nodes = libxml::nodes(devices);
    const std::vector<descriptor::Entry> entries = descriptor::entries(nodes);
    auto entry = entries.begin();
    for (const xmlNode* device : nodes) {
      const auto first = entry;
      while (entry != entries.end() && entry->device() == device) ++entry;
      readDevice(device, {first, entry});
    }
    reportUnread({nodes.begin(), nodes.end()});
    std::stable_sort(m_findings.begin(), m_findings.end(),
                     [](const Finding& left, const Finding& right) { return left.line < right.line; });
    return std::move(m_findings);
  }

 private:
  struct Named {
    long line;
    std::string name;
  };

  void report(const xmlNode* at, std::string problem, std::string atRunTime, std::string remedy) {
    m_findings.push_back({m_file, lineOf(at), std::move(problem), std::move(atRunTime), std::move(remedy)});
  }

  static long lineOf(const xmlNode* node) { return xmlGetLineNo(node); }

  void readDevice(const xmlNode* device, std::span<const descriptor::Entry> entries) {
    if (*libxml::attributeOrEmpty(device, "componentID") == '\0') {
      report(device, "Device has no componentID", "its component id reads as an empty text",
             "add componentID=\"...\"" + misspelt(device, "componentID"));
    }
    for (const descriptor::Entry& entry : entries) readEntry(entry);
    for (const xmlNode* child = device->children; child != nullptr; child = child->next) {
      if (libxml::isNamed(child, "Display")) checkName(child);
    }
    if (entries.empty()) {
      report(device, "Device has no PCIInfo", "no drive ever matches it, and its Display is never used",
             "add a PCIInfo with the drive's four ids before the Display");
    } else {
      reportUnusedNames(device);
    }
  }

  /// One Display names all of the PCIInfo elements before it, as far as the Display before.
  void reportUnusedNames(const xmlNode* device) {
    for (const xmlNode* child = device->children; child != nullptr; child = child->next) {
      if (!libxml::isNamed(child, "Display") || libxml::firstText(child) == nullptr) continue;
      if (m_namesTold.contains(child)) continue;
      report(child, "Display " + inQuotes(libxml::firstText(child)) + " is never used",
             "no drive is shown under it: there is no PCIInfo between it and the Display or Device before it",
             "remove it, or move it after the PCIInfo that it names");
    }
  }

  void readEntry(const descriptor::Entry& entry) {
    for (std::size_t i = 0; i < descriptor::kIdNames.size(); ++i) readId(entry, descriptor::Id(i));
    readName(entry);
    reportTwin(entry);
  }

  void readId(const descriptor::Entry& entry, descriptor::Id which) {
    const std::string name = descriptor::kIdNames.at(which);
    const std::string id = descriptor::zeroFilled(entry.id(which));
    const xmlNode* const origin = entry.idOrigin(which);
    if (origin == entry.pciInfo) {
      if (const std::string reason = unmatchable(id); !reason.empty())
        reportUnmatchable(entry.pciInfo, name, entry.id(which), id, reason);
      return;
    }
    report(entry.pciInfo, "PCIInfo has no " + name,
           origin == nullptr ? "the id stays empty: no drive matches this entry"
                             : "it inherits " + inQuotes(id) + " from " + onLine(lineOf(origin)) + "; " +
                                   kOwnLibrary + " lists and flashes the drives with that id",
           "add " + name + "=\"....\" with the four hexadecimal digits of the drive's id" +
               misspelt(entry.pciInfo, name));
  }

  void reportUnmatchable(const xmlNode* pciInfo, const std::string& name, const std::string& written,
                         const std::string& id, const std::string& reason) {
    const bool filled = written != id;
    report(
        pciInfo, name + "=" + inQuotes(written) + " " + (filled ? "has fewer than four digits" : reason),
        (filled ? "it is filled with zeros to " + inQuotes(id) + "; a" : std::string("a")) +
            " drive's id is up to four hexadecimal digits without leading zeros, so the name is never found and the "
            "drive's display stays empty",
        id.starts_with('0') && id.size() == kIdDigits
            ? std::string(
                  "write the four digits of the drive's id; when it is below 1000 (hexadecimal), no entry "
                  "can name the drive: keep this one if the package ships ") +
                  kOwnLibrary + ", which compares ids as numbers and lists no other drives, else remove it"
            : "write the four hexadecimal digits of the drive's id, without 0x");
  }

  void readName(const descriptor::Entry& entry) {
    if (entry.hasOwnDisplay) {
      m_namesTold.insert(entry.display);
      return;
    }
    const std::string drives = "drives that match " + onLine(lineOf(entry.pciInfo)) + " are shown ";
    const std::string consequence = entry.display == nullptr
                                        ? drives + "without a name"
                                        : drives + "under the name " + inQuotes(entry.name()) +
                                              ", carried over from " + onLine(lineOf(entry.display));
    if (entry.displaysPassed > 0) {
      report(lastDisplay(entry), "Display is empty", consequence,
             "give the Display the drive's marketing name as its text");
    } else if (const xmlNode* const before = libxml::firstChildNamed(entry.device(), "Display")) {
      m_namesTold.insert(before);
      report(before, "Display is before its PCIInfo (" + onLine(lineOf(entry.pciInfo)) + ")", consequence,
             "move the Display after the last PCIInfo that it names");
    } else {
      report(entry.pciInfo, "PCIInfo has no Display after it in its Device", consequence,
             "add a Display with the drive's marketing name after the PCIInfo");
    }
  }

  static const xmlNode* lastDisplay(const descriptor::Entry& entry) {
    const xmlNode* last = nullptr;
    for (const xmlNode* sibling = entry.pciInfo; sibling != nullptr; sibling = sibling->next) {
      if (libxml::isNamed(sibling, "Display")) last = sibling;
    }
    return last;
  }

  void reportTwin(const descriptor::Entry& entry) {
    const Named current{lineOf(entry.pciInfo), entry.name()};
    const auto [place, isFirst] = m_named.try_emplace(identity(entry), current);
    if (isFirst) return;
    const Named before = std::exchange(place->second, current);
    report(entry.pciInfo, "PCIInfo has the same four ids as " + onLine(before.line),
           current.name == before.name ? "no difference: both give the name " + inQuotes(current.name)
                                       : "the last one wins: drives with these ids are shown as " +
                                             inQuotes(current.name) + ", never as " + inQuotes(before.name),
           "remove one of the two");
  }

  /// What becomes of the text itself, once it is used as a name.
  void checkName(const xmlNode* display) {
    const char* const text = libxml::firstText(display);
    if (text == nullptr) return;  // told with the entry that goes without a name
    const std::string name = text;
    const xmlNode* const first = display->children;
    const bool plain = (first->type == XML_TEXT_NODE || first->type == XML_CDATA_SECTION_NODE);
    if (!plain || first->next != nullptr) {
      report(display, "Display holds more than a text",
             "only its first part counts: the name is " + inQuotes(name),
             "leave comments, elements and sections out of the Display");
    }
    if (name.find_first_of("&<\"") != std::string::npos) {
      report(
          display, "the name " + inQuotes(name) + " holds a character that XML reserves (&, < or \")",
          "names are not escaped: a result document with this drive is not well-formed, and readers refuse it",
          "write the name without &, < and \"");
    }
    constexpr char kBlanks[] = " \t\r\n";
    if (name.find_first_not_of(kBlanks) == std::string::npos) {
      report(display, "Display holds only blanks", "drives that it names are shown with a blank name",
             "give the Display the drive's marketing name as its text");
    } else if (name.find_first_of("\t\r\n") != std::string::npos || name.front() == ' ' ||
               name.back() == ' ') {
      report(display, "the name has line breaks, tabs or blanks around it",
             "it goes into the result documents as it is, line breaks included",
             "write <Display>name</Display> on one line, without blanks around the name");
    }
  }

  /// Elements that look as if they were meant to be read, but stand where nothing looks for them.
  void reportUnread(const std::set<const xmlNode*>& read) {
    bool lookalike = false;
    const xmlNode* const root = xmlDocGetRootElement(m_document);
    for (const xmlNode* element = root; element != nullptr; element = following(element)) {
      if (libxml::isNamed(element, "Device") && !read.contains(element)) {
        lookalike = true;
        report(
            element, "this " + elementName(element) + " is never read: " + misplacement(element),
            "no drive gets its name from it",
            "write <Device> in <SupportedDevices> in <SoftwareComponent>, with these letters and without a namespace");
      } else if (libxml::isNamed(element, "PCIInfo") && !hasReader(element)) {
        report(element, "this PCIInfo is never read: it is in " + elementName(element->parent),
               "no drive matches it", "move it into its Device, before the Display");
      }
    }
    if (read.empty() && !lookalike) {
      report(root, "no Device in SoftwareComponent/SupportedDevices", withoutNames(),
             "list the supported drives, one Device for each model");
    }
  }

  static bool hasReader(const xmlNode* pciInfo) {
    return libxml::isNamed(pciInfo->parent, "Device") || libxml::isNamed(pciInfo->parent, "Dependency") ||
           libxml::isNamed(pciInfo->parent, "SoftDependency");
  }

  static std::string misplacement(const xmlNode* element) {
    if (element->ns != nullptr)
      return "it is in the namespace " + inQuotes(reinterpret_cast<const char*>(element->ns->href));
    if (elementName(element) != "Device") return "the name is not written \"Device\"";
    return "it is not in SoftwareComponent/SupportedDevices";
  }

  /// A hint for the remedy when the attribute is there in other letters.
  static std::string misspelt(const xmlNode* element, const std::string& name) {
    for (const xmlAttr* attribute = element->properties; attribute != nullptr; attribute = attribute->next) {
      const char* const written = reinterpret_cast<const char*>(attribute->name);
      if (strcasecmp(written, name.c_str()) == 0 && written != name) {
        return std::string("; it is written ") + written + " there";
      }
    }
    return {};
  }

  std::filesystem::path m_file;
  xmlDoc* m_document;
  std::map<std::string, Named> m_named;  // by identity: the last entry so far
  std::set<const xmlNode*> m_namesTold;  // the Displays that name an entry, or were reported
  Findings m_findings;
};

constexpr char kNoNoise[] = "; nothing reports it";
constexpr char kNoise[] = "; only libxml2 complains, on standard error, twice for every drive";

/// Why nothing can be read from `file`, as nothing is where there is.
std::optional<Finding> unreadable(const std::filesystem::path& file) {
  constexpr char kRemedy[] = "put a package.xml that the component can read into the component folder";
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(file, error);
  if (std::filesystem::is_directory(status))
    return Finding{file, 0, "descriptor is a folder", withoutNames(kNoise), kRemedy};
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    return Finding{file, 0, "descriptor is not a regular file",
                   "a run reads whatever it gives as the descriptor; a pipe may block the run for ever",
                   kRemedy};
  }
  if (access(file.c_str(), R_OK) == 0) return std::nullopt;
  return Finding{file, 0, std::string("descriptor cannot be read: ") + std::strerror(errno),
                 withoutNames(kNoNoise), kRemedy};
}

}  // namespace

Findings checkDescriptor(const std::filesystem::path& file) {
  if (const std::optional<Finding> finding = unreadable(file)) return {*finding};
  const XmlErrors errors;
  // The options make the tree that the component's own parsing makes, and keep line numbers besides.
  const libxml::Owned<xmlDoc> document(
      xmlReadFile(file.c_str(), nullptr, XML_PARSE_NOBLANKS | XML_PARSE_NONET | XML_PARSE_BIG_LINES));
  if (document == nullptr) {
    const XmlError error = errors.first().value_or(XmlError{0, 0, "it cannot be parsed"});
    return {{file, error.line, "descriptor is not well-formed: " + error.message, withoutNames(kNoise),
             "fix the XML; xmllint shows the place as well"}};
  }
  return Reading(file, document.get()).run();
}

}  // namespace tool
