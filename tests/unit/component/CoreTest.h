// What the tests of the NVMe classes share: scripted surroundings, and the log lines that they all expect.

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

/// The lists joined in order.
Lines all(std::initializer_list<Lines> parts);

/// The lines of installing the support library, of opening the drive library under its first name, and of
/// an `Initialize`, which does both.
Lines installLines();
Lines openLines();
Lines initializeLines();

/// The adapter's lines for discovering these drives, all with a readable revision and without a name.
Lines discoveryLines(const std::vector<FakeDrive>& drives);

/// The lines of `DeleteInstance` on an initialised adapter, and without an adapter.
Lines tearDownLines();
Lines nothingToTearDownLines();

/// The log text of a discovered drive. Its first characters are cut off, as many as the drive's number.
inline const std::string kFoundText = "Found a NVMePCISSD with drive number ";

/// All fields of a record, for comparison.
std::string describe(const CDeviceInfo& record);
Lines describe(const std::vector<CDeviceInfo*>& records);

/// Owns records.
class Records {
 public:
  Records() = default;
  explicit Records(std::vector<CDeviceInfo*> records) : list(std::move(records)) {}
  ~Records() { replace({}); }
  Records(const Records&) = delete;
  Records& operator=(const Records&) = delete;

  /// Deletes the records and takes these.
  void replace(std::vector<CDeviceInfo*> records);

  std::vector<CDeviceInfo*> list;
};

/// Gives each test a working folder, a component folder that stands for the executable's, a drive library
/// that the loader finds in the working folder, and a support library that can be installed.
class CoreTest : public testing::Test {
 protected:
  CoreTest();
  ~CoreTest() override;

  CNVMeAdapter& initializedAdapter();

  /// Drives that differ in address, serial number and revision.
  void addDrives(std::size_t number);

  /// The messages since the last call, without trace lines whose words nobody compares and without those of
  /// the device record and the descriptor reader.
  Lines logged();
  /// The same with the lines of the device record and the descriptor reader, and with all sources.
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
