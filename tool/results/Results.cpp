#include "Results.h"

#include <fcntl.h>
#include <libxml/tree.h>
#include <strings.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>

#include "DeviceInventoryInfo.h"
#include "LibXml.h"
#include "XmlErrors.h"

namespace tool {

namespace {

using Selection = libxml::Owned<xmlXPathObject>;

constexpr std::string_view kStandardInput = "-";

std::string shownName(const std::string& source) {
  return source == kStandardInput ? "standard input" : source;
}

[[noreturn]] void throwErrno() {
  throw std::system_error(errno, std::generic_category());
}

/// A file that is closed with its object.
class OpenFile {
 public:
  explicit OpenFile(int descriptor) : m_descriptor(descriptor) {
    if (descriptor < 0) throwErrno();
  }
  ~OpenFile() { close(m_descriptor); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int descriptor() const { return m_descriptor; }

 private:
  int m_descriptor;
};

/// A document by a path under which it can be read more than once. What comes from standard input or a pipe
/// is copied into memory for that.
class Document {
 public:
  /// Throws std::system_error when `source` cannot be read.
  explicit Document(const std::string& source)
      : m_file(source == kStandardInput ? dup(STDIN_FILENO) : open(source.c_str(), O_RDONLY | O_CLOEXEC)),
        m_path(source) {
    struct stat status {};
    if (fstat(m_file.descriptor(), &status) != 0) throwErrno();
    if (S_ISDIR(status.st_mode)) throw std::system_error(EISDIR, std::generic_category());
    if (S_ISREG(status.st_mode) && source != kStandardInput) return;
    m_copy.emplace(memfd_create("document", MFD_CLOEXEC));
    copy();
    m_path = "/proc/self/fd/" + std::to_string(m_copy->descriptor());
  }

  const std::string& path() const { return m_path; }

 private:
  void copy() const {
    std::array<char, 65536> buffer{};
    for (;;) {
      const ssize_t count = read(m_file.descriptor(), buffer.data(), buffer.size());
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) throwErrno();
      if (count == 0) return;
      for (ssize_t written = 0; written < count;) {
        const ssize_t more =
            write(m_copy->descriptor(), buffer.data() + written, static_cast<std::size_t>(count - written));
        if (more < 0) throwErrno();
        written += more;
      }
    }
  }

  OpenFile m_file;
  std::string m_path;
  std::optional<OpenFile> m_copy;
};

/// Printable ASCII as it is, every other byte as a dot: what is shown of a damaged line is anything.
std::string printable(std::string_view bytes) {
  std::string text(bytes);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '.');
  return text;
}

/// The text around a place, on lines of its own with a mark below the place. Documents are one long line, in
/// which a number alone is hard to find.
std::string excerpt(const std::string& content, const XmlError& error) {
  constexpr std::size_t kAround = 36;
  std::istringstream lines(content);
  std::string line;
  for (long i = 0; i < error.line && std::getline(lines, line);) ++i;
  const std::size_t place = std::min(static_cast<std::size_t>(std::max(error.column, 1L)) - 1, line.size());
  const std::size_t start = place - std::min(place, kAround);
  return "\n    " + printable(std::string_view(line).substr(start, 2 * kAround)) + "\n    " +
         std::string(place - start, ' ') + "^";
}

/// What mostly leads to documents like this one.
std::string likelyCause(std::string_view content) {
  constexpr std::string_view kDeclaration = "<?xml ";
  if (content.find(kDeclaration, 1) != std::string_view::npos)
    return "it holds two documents, as -i -u writes them to standard output: run them apart";
  if (content.find("</SVM") == std::string_view::npos) return "it is cut off, or no result document";
  return "mostly a value with &, <, \" or bytes that are no UTF-8, which documents hold unescaped";
}

std::string notWellFormed(const std::string& path, const std::optional<XmlError>& error) {
  if (!error) return "cannot be parsed";
  std::ostringstream bytes;
  bytes << std::ifstream(path, std::ios::binary).rdbuf();
  const std::string content = bytes.str();
  if (content.empty()) return "is empty";
  return "not well-formed at line " + std::to_string(error->line) + ", column " +
         std::to_string(error->column) + ": " + error->message + "; " + likelyCause(content) +
         excerpt(content, *error);
}

/// Reads a Device of an update document, which differs from an inventory's only in its name.
CDeviceInfo deviceOf(xmlNode* device) {
  CDeviceInfo record;
  record.setComponentID(libxml::attributeOrEmpty(device, "componentID"));
  SPCIInfo pci;
  pci.vendorID = libxml::attributeOrEmpty(device, "vendorID");
  pci.deviceID = libxml::attributeOrEmpty(device, "deviceID");
  pci.subVendorID = libxml::attributeOrEmpty(device, "subVendorID");
  pci.subDeviceID = libxml::attributeOrEmpty(device, "subDeviceID");
  record.setPCIInfo(pci);
  record.setDeviceName(libxml::attributeOrEmpty(device, "display"));
  if (const xmlNode* const application = libxml::firstChildNamed(device, "Application")) {
    record.setComponentType(libxml::attributeOrEmpty(application, "componentType"));
    record.setVersion(libxml::attributeOrEmpty(application, "version"));
  }
  return record;
}

void readStatus(const xmlNode* status, CDeviceInfo& record) {
  record.setStatus(strcasecmp(libxml::attributeOrEmpty(status, "result"), "false") == 0 ? 1 : 0);
  const xmlNode* const message = libxml::firstChildNamed(status, "Message");
  if (message == nullptr) return;
  const char* const text = libxml::firstText(message);
  record.setErrorMsg(text == nullptr ? "" : text);
  record.setMessageID(static_cast<int>(std::strtol(libxml::attributeOrEmpty(message, "id"), nullptr, 10)));
}

/// The reader parses the document and knows an inventory's devices; the rest, and update documents, are
/// selected from what it has parsed.
class Reading {
 public:
  /// Throws std::system_error when `source` cannot be read.
  explicit Reading(const std::string& source)
      : m_source(source), m_document(source), m_reader(m_document.path()) {}

  /// Nothing, with `problem` set, when the document cannot be shown.
  std::optional<ResultFile> run(std::string& problem) {
    const XmlErrors errors;
    for (CDeviceInfo* device : m_reader.GetDeviceInfo()) m_inventory.emplace_back(device);
    const Selection root(m_reader.GetNodeSet("/*"));
    if (root == nullptr) {
      problem = notWellFormed(m_document.path(), errors.first());
      return std::nullopt;
    }
    const std::string name = reinterpret_cast<const char*>(libxml::nodes(root).front()->name);
    if (name == "SVMInventory")
      return read(DocumentKind::kInventory, "//SVMInventory//Device | /SVMInventory/SPStatus");
    if (name == "SVMExecution")
      return read(DocumentKind::kUpdate, "/SVMExecution/Device | /SVMExecution/SPStatus");
    problem = "is not a result document: its root element is " + name + ", not SVMInventory or SVMExecution";
    return std::nullopt;
  }

 private:
  ResultFile read(DocumentKind kind, const char* records) {
    ResultFile file{.source = shownName(m_source), .kind = kind};
    const Selection selection(m_reader.GetNodeSet(records));
    std::size_t inventoryIndex = 0;
    for (xmlNode* node : libxml::nodes(selection)) {
      if (libxml::isNamed(node, "SPStatus")) {
        readStatus(node, file.records.emplace_back());
        continue;
      }
      CDeviceInfo& record = file.records.emplace_back(
          kind == DocumentKind::kInventory ? *m_inventory.at(inventoryIndex++) : deviceOf(node));
      record.setEnumId(libxml::attributeOrEmpty(node, "enum"));
      // The reader marks every device of a document with a failure in it as failed; here each stands for
      // itself.
      record.setStatus(0);
      record.setErrorMsg("");
      const xmlNode* const application = libxml::firstChildNamed(node, "Application");
      const xmlNode* const status =
          application == nullptr ? nullptr : libxml::firstChildNamed(application, "SPStatus");
      if (status != nullptr) readStatus(status, record);
    }
    const Selection reboot(m_reader.GetNodeSet("/SVMExecution/RebootRequired[normalize-space() = '1']"));
    file.rebootRequired = reboot != nullptr;
    return file;
  }

  std::string m_source;
  Document m_document;
  CDeviceInventoryInfo m_reader;
  std::vector<std::unique_ptr<CDeviceInfo>> m_inventory;
};

/// A revision comes with the blanks that drives fill it up with, or without.
std::string withoutPadding(const std::string& text) {
  const std::size_t start = text.find_first_not_of(' ');
  return start == std::string::npos ? "" : text.substr(start, text.find_last_not_of(' ') + 1 - start);
}

}  // namespace

Results readResults(const std::vector<std::string>& sources) {
  Results results;
  for (const std::string& source : sources) {
    std::string problem;
    try {
      if (std::optional<ResultFile> file = Reading(source).run(problem)) {
        results.files.push_back(*std::move(file));
        continue;
      }
    } catch (const std::system_error& error) {
      problem = "cannot be read: " + error.code().message();
    }
    results.unreadable.push_back({shownName(source), problem});
  }
  return results;
}

bool isFailed(const CDeviceInfo& record) {
  return record.getStatus() != 0;
}

std::string pciIds(const CDeviceInfo& record) {
  const SPCIInfo pci = record.getPCIInfo();
  if (pci.vendorID.empty() && pci.deviceID.empty()) return {};
  return pci.vendorID + ":" + pci.deviceID + " " + pci.subVendorID + ":" + pci.subDeviceID;
}

std::string serialNumber(const CDeviceInfo& record) {
  constexpr std::string_view kLabel = "Serial Number: ";
  const std::string id = record.getEnumId();
  return id.starts_with(kLabel) ? id.substr(kLabel.size()) : id;
}

std::vector<ResultRow> rowsOf(const Results& results) {
  std::vector<ResultRow> rows;
  for (const ResultFile& file : results.files) {
    for (std::size_t i = 0; i < file.records.size(); ++i) rows.push_back({&file, &file.records[i], i + 1});
  }
  std::stable_partition(rows.begin(), rows.end(), [](const ResultRow& row) { return isFailed(*row.record); });
  return rows;
}

ResultSummary summarize(const Results& results) {
  ResultSummary summary;
  std::map<std::string, std::size_t> revisions;
  for (const ResultFile& file : results.files) {
    if (file.rebootRequired) summary.reboots.push_back(file.source);
    for (const CDeviceInfo& record : file.records) {
      ++summary.records;
      if (isFailed(record)) {
        ++summary.failed;
      } else {
        ++revisions[withoutPadding(record.getVersion())];
      }
    }
  }
  summary.revisions.assign(revisions.begin(), revisions.end());
  std::stable_sort(summary.revisions.begin(), summary.revisions.end(),
                   [](const auto& left, const auto& right) { return left.second > right.second; });
  return summary;
}

const char* kindName(DocumentKind kind) {
  return kind == DocumentKind::kInventory ? "inventory" : "update";
}

const char* outcomeName(const ResultRow& row) {
  if (isFailed(*row.record)) return "failed";
  return row.file->kind == DocumentKind::kInventory ? "listed" : "success";
}

}  // namespace tool
