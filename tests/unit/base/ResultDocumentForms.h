// What the tests of the result writers share: the exact form of every document, and records to write.

#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DeviceInfo.h"
#include "TestSupport.h"

using Devices = std::vector<CDeviceInfo*>;

/// A kind of document: its exact text, and its writer. A name in braces stands for a value of the record.
struct DocumentForm {
  const char* name;
  const char* start;
  const char* end;
  const char* drive;
  const char* component;
  const char* failure;
  /// Writes `devices` to the file `name` with a new writer, which must report success.
  void (*write)(const Devices& devices, const std::string& name);
};

extern const DocumentForm kForms[4];
inline const DocumentForm& kInventoryForm = kForms[0];
inline const DocumentForm& kUpdateForm = kForms[1];
inline const DocumentForm& kPlainInventoryForm = kForms[2];
inline const DocumentForm& kPlainUpdateForm = kForms[3];

/// The document that `form` makes of `records`, without the reboot element.
std::string documentOf(const DocumentForm& form, const std::vector<CDeviceInfo>& records);

/// A successful record. The fields that no document shows hold "not shown".
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
  /// What `form`'s writer writes to the file "out.xml".
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
