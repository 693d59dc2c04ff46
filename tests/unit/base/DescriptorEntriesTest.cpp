#include "DescriptorEntries.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>

#include <string>

namespace {

using descriptor::Entry;
using descriptor::kDeviceId;
using descriptor::kSubDeviceId;
using descriptor::kSubVendorId;
using descriptor::kVendorId;

std::string orNull(const char* text) {
  return text == nullptr ? "(null)" : text;
}

/// A descriptor with these Device elements, one per line from line 2 on.
class DescriptorEntriesTest : public testing::Test {
 protected:
  std::vector<Entry> entriesOf(const std::string& devices) {
    const std::string text =
        "<SoftwareComponent><SupportedDevices>\n" + devices + "\n</SupportedDevices></SoftwareComponent>";
    m_document.reset(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                   XML_PARSE_NOBLANKS | XML_PARSE_BIG_LINES));
    EXPECT_NE(m_document, nullptr) << text;
    const auto devicesFound = libxml::select(m_document.get(), descriptor::kDevices);
    return descriptor::entries(libxml::nodes(devicesFound));
  }

  /// The four ids of an entry as written, separated by blanks.
  static std::string idsOf(const Entry& entry) {
    return orNull(entry.id(kDeviceId)) + " " + orNull(entry.id(kSubDeviceId)) + " " +
           orNull(entry.id(kVendorId)) + " " + orNull(entry.id(kSubVendorId));
  }

 private:
  libxml::Owned<xmlDoc> m_document;
};

TEST_F(DescriptorEntriesTest, NoDevicesGiveNoEntries) {
  EXPECT_TRUE(entriesOf("<Device componentID='1'/>").empty());
  EXPECT_TRUE(entriesOf("").empty());
  EXPECT_TRUE(descriptor::entries({}).empty());
}

TEST_F(DescriptorEntriesTest, IdsAreTextsAsWritten) {
  const auto entries = entriesOf(
      "<Device><PCIInfo deviceID='A8' subDeviceID='' vendorID=' 0x1' subVendorID='12345'/></Device>");
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(idsOf(entries[0]), "A8   0x1 12345");
}

TEST_F(DescriptorEntriesTest, IdThatNoEntryHasHadIsNull) {
  const auto entries = entriesOf("<Device><PCIInfo vendorID='1'/><PCIInfo deviceID='2'/></Device>");
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(idsOf(entries[0]), "(null) (null) 1 (null)");
  EXPECT_EQ(entries[0].idOrigin(kDeviceId), nullptr);
  EXPECT_EQ(idsOf(entries[1]), "2 (null) 1 (null)");
}

TEST_F(DescriptorEntriesTest, MissingIdIsInheritedAcrossDevicesFromWhereItWasWritten) {
  const auto entries = entriesOf(
      "<Device><PCIInfo deviceID='1' subDeviceID='2' vendorID='3' subVendorID='4'/></Device>\n"
      "<Device><PCIInfo vendorID='5'/></Device>\n"
      "<Device><PCIInfo deviceID='6'/></Device>");
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(idsOf(entries[2]), "6 2 5 4");
  EXPECT_EQ(entries[2].idOrigin(kDeviceId), entries[2].pciInfo);
  EXPECT_EQ(xmlGetLineNo(entries[2].idOrigin(kVendorId)), 3);
  EXPECT_EQ(xmlGetLineNo(entries[2].idOrigin(kSubVendorId)), 2);
}

TEST_F(DescriptorEntriesTest, FirstDisplayWithTextAfterTheEntryNamesIt) {
  const auto entries = entriesOf(
      "<Device><Display>before</Display><PCIInfo/><Display/><display>first</display>"
      "<Display>second</Display></Device>");
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_STREQ(entries[0].name(), "first");
  EXPECT_TRUE(entries[0].hasOwnDisplay);
  EXPECT_EQ(entries[0].displaysPassed, 2U);
}

TEST_F(DescriptorEntriesTest, OneDisplayNamesEveryEntryBeforeIt) {
  const auto entries = entriesOf("<Device><PCIInfo/><pciinfo/><Display>both</Display></Device>");
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_STREQ(entries[0].name(), "both");
  EXPECT_EQ(entries[0].display, entries[1].display);
}

TEST_F(DescriptorEntriesTest, MissingNameIsInheritedAcrossDevices) {
  const auto entries = entriesOf(
      "<Device><PCIInfo/></Device>\n"
      "<Device><PCIInfo/><Display>name</Display><PCIInfo/></Device>\n"
      "<Device><PCIInfo/><Display/></Device>");
  ASSERT_EQ(entries.size(), 4U);
  EXPECT_EQ(entries[0].display, nullptr);
  EXPECT_STREQ(entries[0].name(), "");
  for (const std::size_t inherited : {2U, 3U}) {
    EXPECT_FALSE(entries[inherited].hasOwnDisplay);
    EXPECT_STREQ(entries[inherited].name(), "name");
    EXPECT_EQ(xmlGetLineNo(entries[inherited].display), 3);
  }
  EXPECT_EQ(entries[3].displaysPassed, 1U);
}

TEST_F(DescriptorEntriesTest, EntryKnowsItsDevice) {
  const auto entries = entriesOf(
      "<Device componentID='7'><PCIInfo/></Device><Device componentID='8'/>"
      "<Device componentID='9'><PCIInfo/></Device>");
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_STREQ(libxml::attribute(entries[0].device(), "componentID"), "7");
  EXPECT_STREQ(libxml::attribute(entries[1].device(), "componentID"), "9");
}

TEST_F(DescriptorEntriesTest, PCIInfoOfADependencyIsNoEntry) {
  EXPECT_TRUE(entriesOf("<Device><Dependency><PCIInfo deviceID='1'/></Dependency></Device>").empty());
}

TEST_F(DescriptorEntriesTest, AttributeDefaultOfTheDocumentTypeIsNotAnId) {
  const std::string text =
      "<!DOCTYPE SoftwareComponent [<!ATTLIST PCIInfo vendorID CDATA '144d'>]>"
      "<SoftwareComponent><SupportedDevices><Device><PCIInfo/></Device></SupportedDevices></SoftwareComponent>";
  const libxml::Owned<xmlDoc> document(xmlParseMemory(text.data(), static_cast<int>(text.size())));
  const auto devices = libxml::select(document.get(), descriptor::kDevices);
  const auto entries = descriptor::entries(libxml::nodes(devices));
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].id(kVendorId), nullptr);
}

TEST(ZeroFilledTest, FillsShortIdsAndKeepsLongOnes) {
  EXPECT_EQ(descriptor::zeroFilled(nullptr), "");
  EXPECT_EQ(descriptor::zeroFilled(""), "0000");
  EXPECT_EQ(descriptor::zeroFilled("A8"), "00A8");
  EXPECT_EQ(descriptor::zeroFilled("144d"), "144d");
  EXPECT_EQ(descriptor::zeroFilled("0x144d"), "0x144d");
}

}  // namespace
