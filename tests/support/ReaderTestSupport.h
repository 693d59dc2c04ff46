// What the tests of the XML readers share: malformed and unusual documents, and records as lines of text.

#pragma once

#include <gtest/gtest.h>
#include <libxml/xmlerror.h>
#include <linux/capability.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "DeviceInfo.h"
#include "LibXml.h"
#include "TestSupport.h"

using Lines = std::vector<std::string>;
using Selection = libxml::Owned<xmlXPathObject>;

inline const Lines kNothing;

// ---- Documents ----

struct Document {
  std::string name;  ///< for the failure message
  std::string content;
};

/// A document, and the answer that a reader gives about it.
template <class Answer>
struct Reading {
  std::string situation;  ///< for the failure message
  std::string content;
  Answer expected;
};

inline std::string dataFile(const std::string& name) {
  return readFile(std::filesystem::path(TEST_DATA_DIRECTORY) / name);
}

inline std::string repeated(const std::string& text, int times) {
  std::string result;
  for (int i = 0; i < times; ++i) result += text;
  return result;
}

inline std::string nested(int depth) {
  return repeated("<n>", depth) + repeated("</n>", depth);
}

inline std::string withAttributeOf(std::size_t size) {
  return "<n a=\"" + std::string(size, 'a') + "\"/>";
}

/// The document with every `from` replaced by `to`.
inline std::string replaced(std::string document, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = document.find(from, at)) != std::string::npos; at += to.size()) {
    document.replace(at, from.size(), to);
  }
  return document;
}

/// The document with `content` at the end of its root.
inline std::string withinRoot(std::string document, const std::string& content) {
  return document.insert(document.rfind("</"), content);
}

/// The document with `doctype` before its root.
inline std::string withDoctype(std::string document, const std::string& doctype) {
  const std::size_t declarationEnd = document.starts_with("<?xml") ? document.find("?>") + 2 : 0;
  return document.insert(declarationEnd, "<!DOCTYPE any " + doctype + ">");
}

/// The document with nested entities, the last of which expands to a billion words.
inline std::string withLaughs(const std::string& document) {
  std::string subset = "[<!ENTITY l0 \"ha\">";
  for (int level = 1; level <= 9; ++level) {
    subset += "<!ENTITY l" + std::to_string(level) + " \"" +
              repeated("&l" + std::to_string(level - 1) + ";", 10) + "\">";
  }
  return withDoctype(document, subset + "]");
}

/// An ASCII document that declares UTF-8, as UTF-16 with a byte order mark.
inline std::string asUtf16(const std::string& document, bool bigEndian) {
  std::string result = bigEndian ? "\xfe\xff" : "\xff\xfe";
  for (const char character : replaced(document, "UTF-8", "UTF-16")) {
    result += bigEndian ? std::string{'\0', character} : std::string{character, '\0'};
  }
  return result;
}

/// The text as a gzip file of one stored block (RFC 1951, RFC 1952).
inline std::string gzipped(const std::string& text) {
  const auto number = [](std::uint32_t value, int bytes) {
    std::string result;
    for (int i = 0; i < bytes; ++i, value >>= 8) result += static_cast<char>(value & 0xff);
    return result;
  };
  std::uint32_t crc = 0xffffffff;
  for (const char character : text) {
    crc ^= static_cast<unsigned char>(character);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xedb88320U : 0U);
  }
  const auto size = static_cast<std::uint32_t>(text.size());
  EXPECT_LE(size, 0xffffU) << "does not fit one block";
  return std::string("\x1f\x8b\x08\0\0\0\0\0\0\x03\x01", 11) + number(size, 2) + number(~size, 2) + text +
         number(~crc, 4) + number(size, 4);
}

/// Documents that do not parse, made from `good`, which parses and ends with its root's end tag.
inline std::vector<Document> malformedDocuments(const std::string& good) {
  const std::string endTag = good.substr(good.rfind("</"));
  const std::string open = good.substr(0, good.rfind("</"));
  const std::string loop = R"([<!ENTITY a "&b;"><!ENTITY b "&a;">])";
  return {
      {"empty file", ""},
      {"blanks only", " \n\t "},
      {"no XML", "vendorVersion=1.0"},
      {"XML declaration only", R"(<?xml version="1.0" encoding="UTF-8"?>)"},
      {"blank before the XML declaration", " " + good},
      {"end tag of the root missing", open},
      {"end tag of another element", open + "</Other>"},
      {"second root", good + "<Other/>"},
      {"text after the root", good + "text"},
      {"attribute given twice", withinRoot(good, R"(<n a="" a=""/>)")},
      {"attribute without quotes", withinRoot(good, "<n a=1/>")},
      {"raw ampersand", withinRoot(good, "a & b")},
      {"raw angle bracket in an attribute", withinRoot(good, R"(<n a="<"/>)")},
      {"unknown entity", withinRoot(good, "&unknown;")},
      {"entities that name each other", withinRoot(withDoctype(good, loop), "&a;")},
      {"entity with a raw ampersand",
       withinRoot(withDoctype(good, R"([<!ENTITY a "&#38;">])"), "<n>&a;</n>")},
      {"a billion laughs in a text", withinRoot(withLaughs(good), "<n>&l9;</n>")},
      {"a billion laughs in an attribute", withinRoot(withLaughs(good), R"(<n a="&l9;"/>)")},
      {"DOCTYPE without an end", good.substr(0, good.find("?>") + 2) + "<!DOCTYPE any [ <n/>"},
      {"10,000 elements deep", withinRoot(good, nested(10'000))},
      {"attribute of 10 MB", withinRoot(good, withAttributeOf(10 << 20))},
      {"bytes that are no UTF-8", withinRoot(good, "<n>\xc3\x28\xff</n>")},
      {"unknown encoding", replaced(good, "UTF-8", "no-such-encoding")},
      {"UTF-16 announced, UTF-8 used", replaced(good, "UTF-8", "UTF-16")},
      {"UTF-16 cut off", asUtf16(open, false)},
      {"NUL byte in a text", withinRoot(good, std::string("<n>a\0b</n>", 10))},
      {"NUL byte in an attribute", withinRoot(good, std::string("<n a=\"\0\"/>", 10))},
      {"NUL byte at the start", '\0' + good},
      {"NUL bytes only", std::string(64, '\0')},
      {"gzip of a document without its end", gzipped(open)},
      {"gzip mark and nothing else", "\x1f\x8b\x08"},
  };
}

/// Documents with the same content as `good`, written in other ways.
inline std::vector<Document> otherFormsOf(const std::string& good) {
  const std::string entities = R"([<!ENTITY a "x"><!ENTITY b "&a;&a;"><!ATTLIST n a CDATA "&b;">])";
  return {
      {"UTF-16, little endian", asUtf16(good, false)},
      {"UTF-16, big endian", asUtf16(good, true)},
      {"UTF-8 with a byte order mark", "\xef\xbb\xbf" + good},
      {"line ends CR LF", replaced(good, "\n", "\r\n")},
      {"one line", replaced(good, "\n", "")},
      {"comments and instructions around", replaced(good, "?>", "?><!-- a --><?n a?>") + "<!-- b --><?n b?>"},
      {"DOCTYPE with internal entities", withinRoot(withDoctype(good, entities), R"(<n a="&b;">&b;</n>)")},
      {"200 elements deep", withinRoot(good, nested(200))},
      {"attribute of 9 MB", withinRoot(good, withAttributeOf(9'000'000))},
      {"gzip", gzipped(good)},
  };
}

/// Documents that parse but hold no `root` elements for a reader to find.
inline std::vector<Document> foreignDocuments(const std::string& good, const std::string& root) {
  std::string otherCase = root;
  otherCase.back() = static_cast<char>(std::toupper(otherCase.back()));
  return {
      {"other root without content", "<Other/>"},
      {"name in another letter case", replaced(good, root, otherCase)},
      {"elements of a namespace", replaced(good, "<" + root, "<" + root + R"( xmlns="urn:example")")},
      {"everything in a comment", "<Other><!-- " + replaced(good, "?>", "") + " --></Other>"},
      {"everything in a CDATA section", "<Other><![CDATA[" + good + "]]></Other>"},
  };
}

/// Documents with the same content as `good` that name `file` where a careless parser would read it.
inline std::vector<Document> documentsThatName(const std::filesystem::path& file, const std::string& good) {
  const std::string uri = "SYSTEM \"file://" + file.string() + "\"";
  return {
      {"external entity in a text", withinRoot(withDoctype(good, "[<!ENTITY e " + uri + ">]"), "<n>&e;</n>")},
      {"external DOCTYPE", withDoctype(good, uri)},
      {"external parameter entity", withDoctype(good, "[<!ENTITY % e " + uri + "> %e;]")},
      {"inclusion", withinRoot(good, R"(<i:include xmlns:i="http://www.w3.org/2001/XInclude" href=")" +
                                         file.string() + R"(" parse="text"/>)")},
  };
}

/// Every prefix of `document` that ends before the last character of its last tag.
inline std::vector<Document> beginningsOf(const std::string& document) {
  std::vector<Document> beginnings;
  for (std::size_t size = 0; size < document.rfind('>'); ++size) {
    beginnings.push_back({"first " + std::to_string(size) + " bytes", document.substr(0, size)});
  }
  return beginnings;
}

// ---- Files that cannot be read ----

struct UnreadableFile {
  const char* name;
  bool opens;  ///< opening succeeds and only reading fails
  std::function<void(const std::filesystem::path&)> make;
};

/// Files that cannot be read. The last one is unreadable only while a `WithoutFilePrivileges` lives.
inline std::vector<UnreadableFile> unreadableFiles() {
  namespace fs = std::filesystem;
  return {
      {"missing file", false, [](const fs::path&) {}},
      {"directory", true, [](const fs::path& path) { fs::create_directory(path); }},
      {"link to nowhere", false, [](const fs::path& path) { fs::create_symlink("nowhere", path); }},
      {"link to itself", false, [](const fs::path& path) { fs::create_symlink(path, path); }},
      {"file without permissions", false,
       [](const fs::path& path) {
         writeFile(path, "<SVMInventory/>");
         fs::permissions(path, fs::perms::none);
       }},
  };
}

/// While this lives, file permissions apply to root too.
class WithoutFilePrivileges {
 public:
  WithoutFilePrivileges() {
    EXPECT_EQ(syscall(SYS_capget, &m_header, m_before.data()), 0);
    auto reduced = m_before;
    reduced[0].effective &= ~(CAP_TO_MASK(CAP_DAC_OVERRIDE) | CAP_TO_MASK(CAP_DAC_READ_SEARCH));
    EXPECT_EQ(syscall(SYS_capset, &m_header, reduced.data()), 0);
  }
  ~WithoutFilePrivileges() { EXPECT_EQ(syscall(SYS_capset, &m_header, m_before.data()), 0); }
  WithoutFilePrivileges(const WithoutFilePrivileges&) = delete;
  WithoutFilePrivileges& operator=(const WithoutFilePrivileges&) = delete;

 private:
  __user_cap_header_struct m_header{_LINUX_CAPABILITY_VERSION_3, 0};
  std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> m_before{};
};

/// A file that reports whether it has been opened.
class GuardedFile {
 public:
  explicit GuardedFile(std::filesystem::path path) : m_path(std::move(path)) {
    writeFile(m_path, content());
    EXPECT_GE(inotify_add_watch(m_watch, m_path.c_str(), IN_OPEN), 0);
  }
  ~GuardedFile() { close(m_watch); }
  GuardedFile(const GuardedFile&) = delete;
  GuardedFile& operator=(const GuardedFile&) = delete;

  static std::string content() { return "<!-- to be read by nobody -->"; }
  const std::filesystem::path& path() const { return m_path; }

  /// True when the file has been opened since the last call.
  bool wasOpened() const {
    std::array<char, 4096> events{};
    return read(m_watch, events.data(), events.size()) > 0;
  }

 private:
  std::filesystem::path m_path;
  int m_watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
};

// ---- Surroundings ----

/// While this lives, libxml2 prints no messages.
class QuietXml {
 public:
  QuietXml() { xmlSetGenericErrorFunc(nullptr, &ignore); }
  ~QuietXml() { xmlSetGenericErrorFunc(nullptr, nullptr); }
  QuietXml(const QuietXml&) = delete;
  QuietXml& operator=(const QuietXml&) = delete;

 private:
  static void ignore(void* /*context*/, const char* /*format*/, ...) {}
};

/// The lines of the debug log that `action` writes.
template <class Action>
Lines logOf(Action action) {
  const LogCapture log;
  action();
  return log.messages();
}

/// `texts` with `prefix` before each.
inline Lines prefixed(const std::string& prefix, std::initializer_list<std::string> texts) {
  Lines lines;
  for (const std::string& text : texts) lines.push_back(prefix + text);
  return lines;
}

inline Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// ---- Answers as text ----

/// The names of the selected nodes; none for a null selection.
inline Lines namesOf(const Selection& selection) {
  Lines names;
  for (const xmlNode* node : libxml::nodes(selection)) {
    names.emplace_back(reinterpret_cast<const char*>(node->name));
  }
  return names;
}

inline std::string textOrNull(const char* text) {
  return text == nullptr ? "(null)" : text;
}

/// Component, device, subdevice, vendor, subvendor id and display name, with bars between them.
inline std::string describe(const SPCIInfo& pci) {
  return pci.componentID + '|' + pci.deviceID + '|' + pci.subDeviceID + '|' + pci.vendorID + '|' +
         pci.subVendorID + '|' + pci.displayName;
}

/// All fields of a record that differ from those of a new one.
inline std::string describe(CDeviceInfo record) {
  const std::string site = CDeviceInfo().getFilePath();
  const _BDFInfo bdf = record.getBDFInfo();
  const std::string pci = describe(record.getPCIInfo());
  const std::array<std::pair<const char*, std::string>, 15> texts{
      {{"parent", record.getParentComponentID()},
       {"id", record.getComponentID()},
       {"type", record.getComponentType()},
       {"version", record.getVersion()},
       {"path", record.getFilePath().substr(site.size())},
       {"release", record.getReleaseID()},
       {"name", record.getDeviceName()},
       {"display", record.getDisplay()},
       {"detail", record.getDetail()},
       {"current", record.getCurrentVersion()},
       {"enum", record.getEnumId()},
       {"error", record.getErrorMsg()},
       {"bdf", std::string(bdf.bus + bdf.device + bdf.function == 0 ? "" : "set")},
       {"reboot", std::string(record.getRebootRequired() ? "set" : "")},
       {"pci", pci == describe(SPCIInfo{}) ? "" : pci}}};
  const std::array<std::tuple<const char*, int, int>, 4> numbers{
      {{"dependency", record.getDependencyType(), CDeviceInfo::DEPENDENCY_HARD},
       {"message", record.getMessageID(), 0},
       {"update", record.getUpdateStatus(), 0},
       {"status", record.getStatus(), -1}}};
  static constexpr std::array<const char*, 3> kTypes{"unknown", "pci", "nonpci"};

  std::string line = kTypes.at(static_cast<std::size_t>(record.getDeviceType()));
  for (const auto& [name, value, initial] : numbers) {
    if (value != initial) line += ' ' + std::string(name) + '=' + std::to_string(value);
  }
  for (const auto& [name, value] : texts) {
    if (!value.empty()) line += ' ' + std::string(name) + '=' + value;
  }
  return line;
}

/// Describes the records of a list and deletes them.
inline Lines take(const std::vector<CDeviceInfo*>& list) {
  Lines lines;
  for (CDeviceInfo* record : list) lines.push_back(describe(*std::unique_ptr<CDeviceInfo>(record)));
  return lines;
}
