#include <utility>

#include "DeviceInventoryInfoTest.h"
#include "InventoryXMLWriter.h"

namespace {

// ---- What the inventory writer writes ----

class InventoryRoundTripTest : public DeviceInventoryInfoTest {
 protected:
  static CDeviceInfo drive() {
    CDeviceInfo device;
    device.setDeviceType(CDeviceInfo::DEVICE_TYPE_PCI);
    device.setPCIInfo({"component", "a808", "a801", "144d", "144e", "name"});
    return withOutcome(device);
  }

  static CDeviceInfo component() {
    CDeviceInfo device;
    device.setDeviceType(CDeviceInfo::DEVICE_TYPE_NONPCI);
    device.setComponentID("12345");
    return withOutcome(device);
  }

  static CDeviceInfo failure(const std::string& message) {
    CDeviceInfo device = drive();
    device.setStatus(2);
    device.setErrorMsg(message);
    return device;
  }

  /// The records that are read back from the inventory writer's document of `devices`.
  Lines writtenAndRead(std::vector<CDeviceInfo> devices) const {
    std::vector<CDeviceInfo*> list;
    for (CDeviceInfo& device : devices) list.push_back(&device);
    EXPECT_TRUE(CInventoryXMLWriter().GetXML(list, path()));
    return read();
  }

 private:
  static CDeviceInfo withOutcome(CDeviceInfo device) {
    device.setStatus(0);
    device.setErrorMsg("Success");
    device.setMessageID(7);
    device.setComponentType("FRMW");
    device.setVersion("EXF0101");
    device.setDisplay("Example SSD");
    device.setDeviceName("Example device name");
    device.setEnumId("S1");
    device.setBDFInfo({1, 2, 3});
    return device;
  }
};

TEST_F(InventoryRoundTripTest, EmptyListReadsBackEmpty) {
  EXPECT_EQ(writtenAndRead({}), kNothing);
}

TEST_F(InventoryRoundTripTest, DriveKeepsIdsTypeAndVersionAndItsDisplayTurnsIntoTheName) {
  EXPECT_EQ(writtenAndRead({drive()}),
            Lines{"pci type=FRMW version=EXF0101 name=Example SSD pci=|a808|a801|144d|144e|"});
}

TEST_F(InventoryRoundTripTest, ComponentKeepsIdTypeAndVersionAndItsDisplayTurnsIntoTheName) {
  EXPECT_EQ(writtenAndRead({component()}),
            Lines{"nonpci id=12345 type=FRMW version=EXF0101 name=Example SSD"});
}

TEST_F(InventoryRoundTripTest, FailedRecordKeepsItsMessageAlone) {
  EXPECT_EQ(writtenAndRead({failure("Example error text")}),
            Lines{"unknown status=1 error=Example error text"});
}

TEST_F(InventoryRoundTripTest, FailedRecordMarksTheOthersAndIsNotReadBackBesideThem) {
  EXPECT_EQ(
      writtenAndRead({drive(), failure("E"), component(), failure("F")}),
      (Lines{"pci status=1 type=FRMW version=EXF0101 name=Example SSD error=E pci=|a808|a801|144d|144e|",
             "nonpci status=1 id=12345 type=FRMW version=EXF0101 name=Example SSD error=E"}));
}

TEST_F(InventoryRoundTripTest, RecordOfUnknownTypeIsNotWritten) {
  CDeviceInfo unknown = drive();
  unknown.setDeviceType(CDeviceInfo::DEVICE_TYPE_UNKNOWN);
  EXPECT_EQ(writtenAndRead({unknown}), kNothing);
}

TEST_F(InventoryRoundTripTest, RecordWithoutTextsReadsBackWithoutTexts) {
  CDeviceInfo drive;
  drive.setDeviceType(CDeviceInfo::DEVICE_TYPE_PCI);
  drive.setStatus(0);
  CDeviceInfo component = drive;
  component.setDeviceType(CDeviceInfo::DEVICE_TYPE_NONPCI);
  EXPECT_EQ(writtenAndRead({drive, component}), (Lines{"pci", "nonpci"}));
}

// The writer escapes nothing, and callers rely on its bytes. A special character makes the document
// unreadable or changes what is read back.
TEST_F(InventoryRoundTripTest, SpecialCharactersInAnAttributeAreNotProtected) {
  const std::vector<std::pair<std::string, Lines>> displays{
      {"a > b", {"nonpci name=a > b"}},
      {"it's", {"nonpci name=it's"}},
      {"a & b", kNothing},
      {"a&b;", kNothing},
      {"a < b", kNothing},
      {"1\" SSD", kNothing},
      {"SSD \"fast\"", kNothing},
      {"a\" vendorID=\"b", {"nonpci name=a"}},
      {"a\"/><Device componentID=\"9\" display=\"b", {"nonpci name=a", "nonpci id=9 name=b"}},
      {"a &amp; b", {"nonpci name=a & b"}},
      {"&#65;", {"nonpci name=A"}},
      {"two\nlines\tand tab", {"nonpci name=two lines and tab"}},
      {"  blanks  ", {"nonpci name=  blanks  "}},
      {"\xc3\xa9", {"nonpci name=\xc3\xa9"}},
      {"\xe9", kNothing},
      {"\x01", kNothing},
      {std::string("a\0b", 3), kNothing},
  };
  for (const auto& [display, expected] : displays) {
    CDeviceInfo component;
    component.setDeviceType(CDeviceInfo::DEVICE_TYPE_NONPCI);
    component.setStatus(0);
    component.setDisplay(display);
    EXPECT_EQ(writtenAndRead({component}), expected) << display;
  }
}

TEST_F(InventoryRoundTripTest, EveryWrittenAttributeIsAsUnprotected) {
  const std::vector<void (CDeviceInfo::*)(std::string)> setters{
      &CDeviceInfo::setComponentID, &CDeviceInfo::setComponentType, &CDeviceInfo::setVersion,
      &CDeviceInfo::setDisplay,     &CDeviceInfo::setDeviceName,    &CDeviceInfo::setEnumId};
  for (std::size_t i = 0; i < setters.size(); ++i) {
    for (const std::string value : {"a & b", "a < b", "a \" b"}) {
      CDeviceInfo device = component();
      (device.*setters[i])(value);
      EXPECT_EQ(writtenAndRead({device}), kNothing) << "setter " << i << ": " << value;
    }
  }
}

TEST_F(InventoryRoundTripTest, SpecialCharactersInAMessageAreNotProtected) {
  const std::vector<std::pair<std::string, Lines>> texts{
      {"a > b", {"unknown status=1 error=a > b"}},
      {"it's \"fast\"", {"unknown status=1 error=it's \"fast\""}},
      {"a & b", kNothing},
      {"a < b", kNothing},
      {"a ]]> b", kNothing},
      {"a &lt; b", {"unknown status=1 error=a < b"}},
      {"a <b/> c", {"unknown status=1 error=a "}},
      {"<b>a</b>", {"unknown status=1"}},
      {"<!--a-->b", {"unknown status=1 error=a"}},
      {"<![CDATA[a & b]]>", {"unknown status=1 error=a & b"}},
      {"two\nlines", {"unknown status=1 error=two\nlines"}},
      {"", {"unknown status=1"}},
  };
  for (const auto& [text, expected] : texts) {
    EXPECT_EQ(writtenAndRead({failure(text)}), expected) << text;
  }
}

}  // namespace
