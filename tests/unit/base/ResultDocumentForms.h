// What the tests of the result writers share: the forms of the documents, letter by letter, and records to
// write.

#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DeviceInfo.h"
#include "TestSupport.h"

using Devices = std::vector<CDeviceInfo*>;

/// A document: its form, letter by letter, and who writes it. A name in braces stands for a record's value.
struct DocumentForm {
  const char* name;
  const char* start;
  const char* end;
  const char* drive;
  const char* component;
  const char* failure;
  /// Writes `devices` to the file `name` with a writer of its own; what the writer returns must be success.
  void (*write)(const Devices& devices, const std::string& name);
};

extern const DocumentForm kForms[4];
inline const DocumentForm& kInventoryForm = kForms[0];
inline const DocumentForm& kUpdateForm = kForms[1];
inline const DocumentForm& kPlainInventoryForm = kForms[2];
inline const DocumentForm& kPlainUpdateForm = kForms[3];

/// The document that `form` makes of `records`, without the reboot element.
std::string documentOf(const DocumentForm& form, const std::vector<CDeviceInfo>& records);

// --- The records.

CDeviceInfo successful(CDeviceInfo::eDeviceType type);
CDeviceInfo drive();
CDeviceInfo component();
CDeviceInfo failed(CDeviceInfo record, int status = 3, int messageID = 7);
CDeviceInfo withEnumId(CDeviceInfo record, std::string id);
CDeviceInfo withReboot(CDeviceInfo record);

/// A record whose every text is `text`.
CDeviceInfo allTexts(CDeviceInfo record, const std::string& text);

/// A component, a drive that asks for a reboot, a failed drive and a record of unknown type.
std::vector<CDeviceInfo> oneOfEach();

Devices pointersTo(std::vector<CDeviceInfo>& records);

class ResultDocuments : public testing::Test {
 protected:
  /// What `form`'s writer puts into the file "out.xml".
  static std::string written(const DocumentForm& form, std::vector<CDeviceInfo> records) {
    form.write(pointersTo(records), "out.xml");
    return readFile("out.xml");
  }
  /// What `form`'s writer prints to standard output for the file name `name`.
  static std::string printed(const DocumentForm& form, std::vector<CDeviceInfo> records,
                             const std::string& name) {
    testing::internal::CaptureStdout();
    form.write(pointersTo(records), name);
    return testing::internal::GetCapturedStdout();
  }

  WorkingFolder m_folder;
};
