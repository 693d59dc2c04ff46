// What the result writers share: a document that is assembled in memory and written in one piece.
//
// A result document is one line of text, without line breaks, indentation or a newline at its end. Values are
// copied as records hold them: nothing is escaped and nothing is trimmed.

#pragma once

#include <string>
#include <string_view>

#include "DeviceInfo.h"
#include "OutputFile.h"

namespace result {

inline constexpr char kXmlDeclaration[] = R"(<?xml version="1.0" encoding="UTF-8"?>)";
inline constexpr char kInventoryStartTag[] = R"(<SVMInventory lang="en">)";
inline constexpr char kInventoryEndTag[] = "</SVMInventory>";
inline constexpr char kUpdateStartTag[] = R"(<SVMExecution lang="en">)";
inline constexpr char kUpdateEndTag[] = "</SVMExecution>";
/// How the drive documents end a message's start tag.
inline constexpr char kMessageTagEnd[] = R"(" >)";

/// What a record becomes in a document.
enum class Form {
  kFailure,    ///< a status other than 0, whatever the type: a bare status that does not name the record
  kComponent,  ///< a package component with status 0
  kDrive,      ///< a drive with status 0
  kNone,       ///< status 0 and an unknown type: nothing
};
Form formOf(const CDeviceInfo& record);

/// The attribute with the record's enumeration id, with the blanks that belong to it; empty without an id.
std::string enumAttribute(const CDeviceInfo& record);

/// A document in the making and the file that it goes to.
class Document {
 public:
  Document& operator<<(std::string_view text) {
    m_text += text;
    return *this;
  }

  /// Opens the file to write to, emptying an existing one. A failed open is not reported; the document then
  /// goes to standard output. Throws what the file throws.
  void open(const std::string& path) { m_file.open(path); }

  /// Appends a drive's Device start tag up to the last of its ids.
  void addPciStart(const CDeviceInfo& drive);

  /// Appends the status element with the record's message.
  void addStatus(bool success, const CDeviceInfo& record, std::string_view messageTagEnd);

  /// Appends the reboot element with `reboot` as 1 or 0.
  void addRebootRequired(bool reboot);

  /// Writes the text to the file, or to standard output when no file is open. True when it went to the file,
  /// which is complete once this object is destroyed. The text stays until `clear`. Throws what the stream
  /// throws.
  bool write();
  void clear() { m_text.clear(); }

  const std::string& text() const { return m_text; }

 private:
  std::string m_text;
  output::File m_file;
};

}  // namespace result
