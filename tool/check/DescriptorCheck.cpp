#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <set>
#include <span>
#include <system_error>
#include <utility>

#include "Checks.h"
#include "DescriptorEntries.h"
#include "LibXml.h"
#include "TerminalText.h"
#include "XmlErrors.h"

namespace tool {

namespace {

/// Stands in the sample descriptor (init/package.xml) for each value that somebody has yet to fill in.
constexpr char kToFillIn[] = "FILL-IN";

constexpr std::size_t kIdDigits = 4;

std::string inQuotes(const std::string& text) {
  return '"' + text + '"';
}

/// Where the element's start tag ends; `startElement` has noted it.
long lineOf(const xmlNode* node) {
  // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): no caller has a null node
  const long line = static_cast<long>(reinterpret_cast<std::intptr_t>(node->_private));
  return line > 0 ? line : xmlGetLineNo(node);
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

/// What a run does without any entry.
std::string withoutNames(bool hasOwnLibrary) {
  return hasOwnLibrary ? "the package's drive library lists and flashes no drive"
                       : "every drive is shown without a name";
}

/// The node after `node` in document order; null at the end.
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
  Reading(std::filesystem::path file, xmlDoc* document, bool hasOwnLibrary)
      : m_hasOwnLibrary(hasOwnLibrary), m_file(std::move(file)), m_document(document) {}

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
    reportToFillIn();
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

  void report(KindId kind, const xmlNode* at, std::string problem, std::string consequence,
              std::string remedy) {
    m_findings.push_back(
        {kind, m_file, lineOf(at), std::move(problem), std::move(consequence), std::move(remedy)});
  }

  void readDevice(const xmlNode* device, std::span<const descriptor::Entry> entries) {
    if (*libxml::attributeOrEmpty(device, "componentID") == '\0') {
      report("device-no-component-id", device, "Device has no componentID",
             "its component id reads as an empty text",
             "add componentID=\"...\"" + misspelt(device, "componentID"));
    }
    for (const descriptor::Entry& entry : entries) readEntry(entry);
    for (const xmlNode* child = device->children; child != nullptr; child = child->next) {
      if (libxml::isNamed(child, "Display")) checkName(child);
    }
    if (entries.empty()) {
      report("device-no-pciinfo", device, "Device has no PCIInfo",
             "no drive ever matches it, and its Display is never used",
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
      report("display-unused", child, "Display " + inQuotes(libxml::firstText(child)) + " is never used",
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
    const std::string remedy = "add " + name +
                               "=\"....\" with the four hexadecimal digits of the drive's id" +
                               misspelt(entry.pciInfo, name);
    if (origin == nullptr) {
      report("pciinfo-id-missing", entry.pciInfo, "PCIInfo has no " + name,
             "the id stays empty: no drive matches this entry", remedy);
    } else if (origin != entry.pciInfo) {
      report("pciinfo-id-inherited", entry.pciInfo, "PCIInfo has no " + name,
             "it inherits " + inQuotes(id) + " from " + onLine(lineOf(origin)) +
                 (m_hasOwnLibrary ? "; the package's drive library flashes the drives with that id"
                                  : "; drives with that id are shown under its name"),
             remedy);
    } else {
      checkId(entry.pciInfo, name, entry.id(which), id);
    }
  }

  void checkId(const xmlNode* pciInfo, const std::string& name, const std::string& written,
               const std::string& id) {
    if (written.find(kToFillIn) != std::string::npos) return;  // told with its element
    const std::string reason = unmatchable(id);
    if (reason.empty()) return;
    if (!isNumber(written)) {
      report("pciinfo-id-unmatchable", pciInfo,
             name + "=" + inQuotes(written) + " " + (written.empty() ? "is empty" : reason),
             "a drive's id is up to four hexadecimal digits: no drive is shown under the name of this entry",
             "write the four hexadecimal digits of the drive's id, without 0x");
    } else if (!m_hasOwnLibrary) {
      // With our own library the drive is listed and flashed; that it has no name cannot be helped.
      report(
          "pciinfo-id-short", pciInfo,
          name + "=" + inQuotes(written) +
              (written == id ? " has a leading zero" : " has fewer than four digits"),
          "drives give their ids without leading zeros and entries have four digits: the drive's display stays "
          "empty",
          "write the four digits of the drive's id; when it is below 1000 (hexadecimal), no entry can name the "
          "drive: remove this one");
    }
  }

  /// As both the component and our own drive library would take it, if only it had four digits.
  static bool isNumber(const std::string& id) {
    return !id.empty() && id.size() <= kIdDigits &&
           std::all_of(id.begin(), id.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
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
      report("display-empty", lastDisplay(entry), "Display is empty", consequence,
             "give the Display the drive's marketing name as its text");
    } else if (const xmlNode* const before = libxml::firstChildNamed(entry.device(), "Display")) {
      m_namesTold.insert(before);
      report("display-before-pciinfo", before,
             "Display is before its PCIInfo (" + onLine(lineOf(entry.pciInfo)) + ")", consequence,
             "move the Display after the last PCIInfo that it names");
    } else {
      report("display-missing", entry.pciInfo, "PCIInfo has no Display after it in its Device", consequence,
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
    report("pciinfo-repeated", entry.pciInfo, "PCIInfo has the same four ids as " + onLine(before.line),
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
    if (name.find(kToFillIn) != std::string::npos) return;  // told with its element
    checkCharacters(display, name);
    const xmlNode* const first = display->children;
    const bool plain = (first->type == XML_TEXT_NODE || first->type == XML_CDATA_SECTION_NODE);
    if (!plain || first->next != nullptr) {
      report("display-not-plain", display, "Display holds more than a text",
             "only its first part counts: the name is " + inQuotes(name),
             "leave comments, elements and sections out of the Display");
    }
    if (name.find_first_of("&<\"") != std::string::npos) {
      report(
          "display-reserved", display,
          "the name " + inQuotes(name) + " holds a character that XML reserves (&, < or \")",
          "names are not escaped: a result document with this drive is not well-formed, and readers refuse it",
          "write the name without &, < and \"");
    }
    constexpr char kBlanks[] = " \t\r\n";
    if (name.find_first_not_of(kBlanks) == std::string::npos) {
      report("display-blank", display, "Display holds only blanks",
             "drives that it names are shown with a blank name",
             "give the Display the drive's marketing name as its text");
    } else if (name.find_first_of("\t\r\n") != std::string::npos || name.front() == ' ' ||
               name.back() == ' ') {
      report("display-layout", display, "the name has line breaks, tabs or blanks around it",
             "it goes into the result documents as it is, line breaks included",
             "write <Display>name</Display> on one line, without blanks around the name");
    }
  }

  void checkCharacters(const xmlNode* display, const std::string& name) {
    constexpr std::size_t kLongest = 120;
    if (hasInvisible(name) && name.find_first_of("\t\r\n") == std::string::npos) {
      report("name-invisible", display,
             "the name holds characters that cannot be seen, or that turn the direction",
             "it goes into the result documents as it is, where it looks like another one",
             "write the name again, by hand");
    }
    if (name.size() > kLongest) {
      report("name-too-long", display, "the name has " + std::to_string(name.size()) + " bytes",
             "it goes into the result documents as it is", "give the drive's marketing name alone");
    }
  }

  /// Values that somebody has yet to fill in, once for each element.
  void reportToFillIn() {
    const xmlNode* const root = xmlDocGetRootElement(m_document);
    for (const xmlNode* element = root; element != nullptr; element = following(element)) {
      std::string places;
      for (const xmlAttr* attribute = element->type == XML_ELEMENT_NODE ? element->properties : nullptr;
           attribute != nullptr; attribute = attribute->next) {
        const char* const value = libxml::value(attribute);
        if (value != nullptr && std::strstr(value, kToFillIn) != nullptr)
          places += std::string(places.empty() ? "" : ", ") + reinterpret_cast<const char*>(attribute->name);
      }
      const char* const text = element->type == XML_ELEMENT_NODE ? libxml::firstText(element) : nullptr;
      if (text != nullptr && std::strstr(text, kToFillIn) != nullptr)
        places += places.empty() ? "text" : ", text";
      if (places.empty()) continue;
      report("to-fill-in", element, elementName(element) + " is to be filled in: " + places,
             "it is read as it is: no drive has such ids, or drives are shown under such a name",
             std::string("write the real values in place of ") + kToFillIn);
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
            "device-misplaced", element,
            "this " + elementName(element) + " is never read: " + misplacement(element),
            "no drive gets its name from it",
            "write <Device> in <SupportedDevices> in <SoftwareComponent>, with these letters and without a namespace");
      } else if (libxml::isNamed(element, "PCIInfo") && !hasReader(element)) {
        report("pciinfo-misplaced", element,
               "this PCIInfo is never read: it is in " + elementName(element->parent), "no drive matches it",
               "move it into its Device, before the Display");
      }
    }
    if (read.empty() && !lookalike) {
      report("descriptor-no-device", root, "no Device in SoftwareComponent/SupportedDevices",
             withoutNames(m_hasOwnLibrary), "list the supported drives, one Device for each model");
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

  bool m_hasOwnLibrary;
  std::filesystem::path m_file;
  xmlDoc* m_document;
  std::map<std::string, Named> m_named;  // by identity: the last entry so far
  std::set<const xmlNode*> m_namesTold;  // the Displays that name an entry, or were reported
  Findings m_findings;
};

constexpr char kNoNoise[] = "; nothing reports it";
constexpr char kNoise[] = "; only libxml2 complains, on standard error, twice for every drive";
constexpr char kRemedy[] = "put a package.xml that the component can read into the component folder";

/// Why nothing can be read from `file`, as nothing is where there is.
std::optional<Finding> unreadable(const std::filesystem::path& file, const std::string& consequence) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(file, error);
  if (!std::filesystem::exists(status)) {
    return Finding{"descriptor-missing", file, 0, "descriptor is missing", consequence + kNoNoise, kRemedy};
  }
  if (std::filesystem::is_directory(status)) {
    return Finding{"descriptor-not-file", file, 0, "descriptor is a folder", consequence + kNoise, kRemedy};
  }
  if (!std::filesystem::is_regular_file(status)) {
    return Finding{"descriptor-not-file",
                   file,
                   0,
                   "descriptor is not a regular file",
                   "a run reads whatever it gives as the descriptor; a pipe may block the run for ever",
                   kRemedy};
  }
  if (access(file.c_str(), R_OK) == 0) return std::nullopt;
  return Finding{
      "descriptor-unreadable", file,   0, std::string("descriptor cannot be read: ") + std::strerror(errno),
      consequence + kNoNoise,  kRemedy};
}

/// Notes the line of every element: a node has room for lines up to 65,535 only.
void startElement(void* context, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                  int namespaces, const xmlChar** namespaceList, int attributes, int defaulted,
                  const xmlChar** attributeList) {
  xmlSAX2StartElementNs(context, name, prefix, uri, namespaces, namespaceList, attributes, defaulted,
                        attributeList);
  auto* const parser = static_cast<xmlParserCtxt*>(context);
  if (parser->node != nullptr && parser->input != nullptr)
    // libxml2 leaves this member to its users; a number is kept in it.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    parser->node->_private = reinterpret_cast<void*>(static_cast<std::intptr_t>(parser->input->line));
}

struct ParserDeleter {
  void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};

/// The options make the tree that the component's own parsing makes. Null when the file is not well-formed.
libxml::Owned<xmlDoc> parse(const std::filesystem::path& file) {
  const std::unique_ptr<xmlParserCtxt, ParserDeleter> parser(xmlNewParserCtxt());
  if (parser == nullptr) throw std::bad_alloc();
  parser->sax->startElementNs = startElement;
  return libxml::Owned<xmlDoc>(
      xmlCtxtReadFile(parser.get(), file.c_str(), nullptr, XML_PARSE_NOBLANKS | XML_PARSE_NONET));
}

}  // namespace

Findings checkDescriptor(const std::filesystem::path& file, bool hasOwnLibrary) {
  const std::string consequence = withoutNames(hasOwnLibrary);
  if (const std::optional<Finding> finding = unreadable(file, consequence)) return {*finding};
  const XmlErrors errors;
  const libxml::Owned<xmlDoc> document = parse(file);
  if (document == nullptr) {
    const XmlError error = errors.first().value_or(XmlError{0, 0, "it cannot be parsed"});
    return {{"descriptor-malformed", file, error.line, "descriptor is not well-formed: " + error.message,
             consequence + kNoise, "correct the XML; xmllint shows the place as well"}};
  }
  return Reading(file, document.get(), hasOwnLibrary).run();
}

}  // namespace tool
