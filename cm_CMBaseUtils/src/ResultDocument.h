// What the result writers share: a document that is put together in memory and written in one piece.
//
// A result document is one line of text, without line breaks, indentation or a newline at its end. Values are
// copied as records hold them: nothing is escaped and nothing is trimmed.

#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "DeviceInfo.h"
#include "Logger.h"
#include "OutputFile.h"

inline constexpr char kXmlDeclaration[] = R"(<?xml version="1.0" encoding="UTF-8"?>)";
inline constexpr char kInventoryStartTag[] = R"(<SVMInventory lang="en">)";
inline constexpr char kInventoryEndTag[] = "</SVMInventory>";
inline constexpr char kUpdateStartTag[] = R"(<SVMExecution lang="en">)";
inline constexpr char kUpdateEndTag[] = "</SVMExecution>";
/// How the drive documents end a message's start tag.
inline constexpr char kMessageTagEnd[] = R"(" >)";

/// The trace texts of a writer; a null pointer stands for no line.
struct SResultTexts {
  const char* opened = nullptr;
  const char* openThrew = nullptr;  ///< followed by the exception's text
  const char* printStart = nullptr;
  const char* copied = nullptr;
  const char* printThrew = nullptr;  ///< followed by the exception's text
  const char* printDone = nullptr;
  const char* nonPciDevice = nullptr;
  const char* pciDevice = nullptr;
  const char* failedDevice = nullptr;
};

/// How a writer puts down one record.
struct SResultForms {
  std::function<void(const CDeviceInfo&)> nonPci;  ///< a package component with status 0
  std::function<void(const CDeviceInfo&)> pci;     ///< a drive with status 0
  const char* messageTagEnd;                       ///< what ends the start tag of a failed record's message
};

/// A result document in the making and the file that it goes to. The functions that log do so as coming from
/// the `site` of the writer that calls them.
class CResultDocument {
 public:
  /// `texts` must outlive the document.
  explicit CResultDocument(const SResultTexts& texts) : m_texts(texts) {}

  CResultDocument& operator<<(std::string_view text) {
    m_text += text;
    return *this;
  }

  /// Opens the file to print to, emptying an existing one. A file that cannot be opened is reported by
  /// nobody: the document goes to standard output instead. False only when opening threw.
  bool open(const std::string& path, const SLogSite& site);

  /// Appends one fragment a record, in list order. A record with a status other than 0, whatever its type, is
  /// a bare status element that does not identify it; one with status 0 and an unknown type adds nothing.
  void addDevices(const std::vector<CDeviceInfo*>& devices, const SResultForms& forms, const SLogSite& site);

  /// Appends a drive's Device start tag up to the last of its ids.
  void addPciStart(const CDeviceInfo& device);

  /// Appends the status element with the record's message.
  void addStatus(bool result, const CDeviceInfo& device, const char* messageTagEnd);

  /// Appends the reboot element with `reboot` as 1 or 0.
  void addRebootRequired(bool reboot);

  /// Writes the document to the file, or to standard output when none is open, and empties it. The file is
  /// neither flushed nor closed before the end of this object. When writing throws, the document is kept.
  void print(const SLogSite& site);

  const std::string& text() const { return m_text; }

 private:
  const SResultTexts& m_texts;
  std::string m_text;
  COutputFile m_file;
};

/// The attribute of a device element with the record's enumeration id, the blanks around it included; empty
/// without an id.
std::string enumAttribute(const CDeviceInfo& device);
