// What the tests of CDeviceInventoryInfo share: a document, and what a reader finds in it as lines of text.

#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DeviceInventoryInfo.h"
#include "ReaderTestSupport.h"

class DeviceInventoryInfoTest : public testing::Test {
 protected:
  void write(const std::string& content) const { writeFile(path(), content); }

  /// The records that a new reader finds.
  Lines read() const { return take(CDeviceInventoryInfo(path()).GetDeviceInfo()); }

  void expectReadings(const std::vector<Reading<Lines>>& readings) const {
    for (const auto& [situation, content, expected] : readings) {
      write(content);
      EXPECT_EQ(read(), expected) << situation << ": " << content;
    }
  }

  /// Writes a file with this content and reads it with the test's reader.
  Lines load(const std::string& content) {
    write(content);
    return take(m_reader.GetDeviceInfo());
  }

  /// "fine", or "failed: " and the message, which stays "before" if the status has none.
  std::string status() {
    std::string message = "before";
    return m_reader.GetInventoryStatus(message) ? "fine" : "failed: " + message;
  }

  std::string path() const { return m_folder / "inventory.xml"; }

  ScratchFolder m_folder;
  QuietXml m_quiet;
  CDeviceInventoryInfo m_reader{path()};
};
