// What the tests of the NVMe classes share: a scripted world around them and the log lines that they all
// meet.

#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "AllocationFault.h"
#include "DeviceInfo.h"
#include "FakeDriveLibrary.h"
#include "FakePlatform.h"
#include "NVMeAdapter.h"
#include "ScriptedRollback.h"
#include "TestSupport.h"

using Lines = std::vector<std::string>;

/// One list after another.
Lines all(std::initializer_list<Lines> parts);

/// The lines of an `Initialize` that puts the support library in place, then those of opening the drive
/// library under its first name, then those of both.
Lines installLines();
Lines openLines();
Lines initializeLines();

/// The adapter's lines of a discovery of these drives, of which all revisions can be read and none has a
/// name.
Lines discoveryLines(const std::vector<FakeDrive>& drives);

/// The lines of `DeleteInstance` on an initialised adapter, and without an adapter.
Lines tearDownLines();
Lines nothingToTearDownLines();

/// The text that tells a drive's discovery, before it is advanced by the drive's number.
inline const std::string kFoundText = "Found a NVMePCISSD with drive number ";

/// Everything that a record says, for comparison.
std::string describe(const CDeviceInfo& record);
Lines describe(const std::vector<CDeviceInfo*>& records);

/// Records with their last holder.
class Records {
 public:
  Records() = default;
  explicit Records(std::vector<CDeviceInfo*> records) : list(std::move(records)) {}
  ~Records() { replace({}); }
  Records(const Records&) = delete;
  Records& operator=(const Records&) = delete;

  /// Deletes the records for others.
  void replace(std::vector<CDeviceInfo*> records);

  std::vector<CDeviceInfo*> list;
};

/// A run in a working folder of its own, with a component folder for the executable's, a drive library that
/// the loader finds in the working folder, and a support library that installs well.
class CoreTest : public testing::Test {
 protected:
  CoreTest();
  ~CoreTest() override;

  CNVMeAdapter& initializedAdapter();

  /// Drives that differ in address, serial number and revision.
  void addDrives(std::size_t number);

  /// The messages since the last call, without those trace lines whose words are nobody's business and
  /// without those of the device record and the descriptor reader.
  Lines logged();
  /// Likewise, with the lines of device record and descriptor reader, and with their sources.
  std::vector<LogLine> loggedWithSources();

  WorkingFolder work;
  ScratchFolder component;
  FakePlatform platform{component.path().string() + "/"};
  FakeDriveLibrary library;
  LogCapture log;

 private:
  IPlatformImpl* m_platformBefore;
  std::size_t m_seen = 0;
};
