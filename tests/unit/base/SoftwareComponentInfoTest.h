// What the tests of CSoftwareComponentInfo share: descriptors in pieces, and a reader's answers as lines of
// text.

#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "ReaderTestSupport.h"
#include "SoftwareComponentInfo.h"

/// A descriptor with this content in its list of supported devices.
inline std::string supporting(const std::string& devices) {
  return "<SoftwareComponent><SupportedDevices>" + devices + "</SupportedDevices></SoftwareComponent>";
}

/// A descriptor with one device that has this content.
inline std::string device(const std::string& content) {
  return supporting("<Device componentID=\"100\">" + content + "</Device>");
}

/// A PCIInfo with these ids, in the order in which `describe` gives them.
inline std::string pciInfo(const std::string& deviceID, const std::string& subDeviceID,
                           const std::string& vendorID, const std::string& subVendorID) {
  return "<PCIInfo deviceID=\"" + deviceID + "\" subDeviceID=\"" + subDeviceID + "\" vendorID=\"" + vendorID +
         "\" subVendorID=\"" + subVendorID + "\"/>";
}

/// Works in a scratch folder, which is where the readers look for the descriptor.
class SoftwareComponentInfoTest : public testing::Test {
 protected:
  /// Log lines of the class, given without its name.
  static Lines logged(std::initializer_list<std::string> lines) {
    return prefixed("CSoftwareComponentInfo::", lines);
  }

  static void write(const std::string& descriptor) { writeFile("package.xml", descriptor); }

  std::string path() const { return m_folder / "package.xml"; }

  static Lines supported() {
    Lines lines;
    for (const SPCIInfo& entry : CSoftwareComponentInfo().GetSupportedDevices()) {
      lines.push_back(describe(entry));
    }
    return lines;
  }

  static std::string marketingName(SPCIInfo drive) {
    return CSoftwareComponentInfo().getMarketingNameForPCIDevice(drive);
  }

  static Lines dependencies() { return take(CSoftwareComponentInfo().getDependencyInfo()); }

  /// A new reader's answers to all queries.
  static Lines answers() {
    CSoftwareComponentInfo reader;
    return Lines{"id " + reader.GetComponentID(), "type " + reader.GetComponentType(),
                 "version " + reader.GetComponentVersion(), "display " + reader.GetComponentDisplayString()} +
           reader.GetComponentIDS() + supported() + dependencies();
  }

  /// Makes each reading's content the descriptor and compares the answer of `query` with the expected one.
  template <class Query>
  static void expectReadings(Query query, const std::vector<Reading<Lines>>& readings) {
    for (const auto& [situation, content, expected] : readings) {
      write(content);
      EXPECT_EQ(query(), expected) << situation << ": " << content;
    }
  }

  WorkingFolder m_folder;
  QuietXml m_quiet;
};
