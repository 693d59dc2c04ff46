#include "Salvage.h"

#include <gmock/gmock.h>

#include <random>

#include "DeviceInfo.h"
#include "DocumentReader.h"
#include "InventoryXMLWriter.h"
#include "SampleDocuments.h"
#include "TestSupport.h"
#include "UpdateXMLWriter.h"

using namespace samples;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

std::vector<tool::Record> recordsOf(const std::string& content) {
  const tool::Salvage result = tool::salvage(content);
  EXPECT_EQ(result.refusal, "") << content;
  return result.document ? result.document->records : std::vector<tool::Record>{};
}

std::string refusalOf(const std::string& content) {
  const tool::Salvage result = tool::salvage(content);
  EXPECT_FALSE(result.document.has_value()) << content;
  return result.refusal;
}

constexpr const char* kValues[] = {"A & B",        "<",     "2.5\" SSD",
                                   "a\"",          "\"",    "\"\"",
                                   "</",           "<!--",  "]]>",
                                   "&amp;",        "&#0;",  "<Device",
                                   "\" enum=\"",   "a > b", "\xFF\xFE",
                                   "\x01\x1B[31m", "",      "\" display=\"",
                                   "><",           "/>",    "Gr\303\266\303\237e"};

TEST(Salvage, TakesEveryValueAsItStands) {
  for (const std::string value : kValues) {
    const auto listedRecord = recordsOf(inventory(listed("S1", value, "R1") + listed("S2")));
    ASSERT_EQ(listedRecord.size(), 2U);
    EXPECT_EQ(listedRecord[0].name, value);
    EXPECT_EQ(listedRecord[0].pci.subDevice, "1001");
    EXPECT_EQ(listedRecord[0].componentType, "FRMW");
    EXPECT_EQ(listedRecord[0].revision, "R1");
    EXPECT_EQ(recordsOf(inventory(listed(value))).at(0).serialNumber(), value);

    const auto updatedRecord = recordsOf(update(failed(value, "-3") + updated(value, value, "R2", value)));
    ASSERT_EQ(updatedRecord.size(), 2U);
    EXPECT_EQ(updatedRecord[0].outcome, tool::Outcome::kFailed);
    EXPECT_EQ(updatedRecord[0].message, value);
    EXPECT_EQ(updatedRecord[0].messageId, -3);
    EXPECT_EQ(updatedRecord[1].outcome, tool::Outcome::kSuccess);
    EXPECT_EQ(updatedRecord[1].serialNumber(), value);
    EXPECT_EQ(updatedRecord[1].name, value);
    EXPECT_EQ(updatedRecord[1].revision, "R2");
    EXPECT_EQ(updatedRecord[1].message, value);
  }
}

TEST(Salvage, ReadsComponentsAndTheRebootElement) {
  const tool::Salvage result = tool::salvage(update(updated("S1", "A & B") + kReboot));
  ASSERT_TRUE(result.document.has_value());
  EXPECT_TRUE(result.document->rebootRequired);
  EXPECT_EQ(result.document->kind, tool::DocumentKind::kUpdate);
  const auto records = recordsOf(inventory(component("1 & 2", "<b>")));
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].componentId, "1 & 2");
  EXPECT_EQ(records[0].name, "<b>");
  EXPECT_EQ(records[0].pciText(), "");
  EXPECT_THAT(recordsOf(inventory("")), IsEmpty());
  EXPECT_EQ(recordsOf(inventory(listed("&")) + "\n").size(), 1U);
}

struct Refused {
  const char* what;
  std::string content;
  const char* reason;
};

const Refused kRefused[] = {
    {"nothing", "", "it does not begin like a document"},
    {"another document", "<PIEConfig/>", "it does not begin like a document"},
    {"text before the records", inventory("&" + listed("S1")), "its first record does not begin like"},
    {"two documents", inventory("") + update(""), "it holds two documents"},
    {"a NUL byte", inventory(listed(std::string("a\0b", 3))), "it holds a NUL byte"},
    {"an enumeration id in a name", inventory(listed("S1", R"(x" enum = "y)")),
     "record 1 can be read in more than one way"},
    {"a name that ends like an empty enumeration id",
     inventory(
         R"(<Device  vendorID="f101" deviceID="a801" subVendorID="f1a0" subDeviceID="1001"  )"
         R"(display="A" enum = "" ><Application componentType="FRMW"  version=""  display=""/></Device>)"),
     "record 1 is not as nvmepcissd writes it: an enumeration id without a value"},
    {"a version in a name's device", inventory(listed("S1", "One", R"(R1"  version="R2)")),
     "record 1 can be read in more than one way"},
    {"overlapping delimiters", inventory(listed("S1", "One", R"("  version=)")),
     "record 1 can be read in more than one way"},
    {"an application in a serial number",
     inventory(listed("S1") + listed(R"(x" ><Application componentType="y)")),
     "record 2 can be read in more than one way"},
    {"the end of a record in a name", inventory(listed("S1", R"(x"/></Device>)")),
     "record 1 can be read in more than one way"},
    {"a record in a name", inventory(listed("S1", "x" + failed("y"))),
     "record 1 is not as nvmepcissd writes it"},
    {"the end of a message in a message", update(failed("x</Message></SPStatus>y")),
     "record 1 can be read in more than one way"},
    {"the end of the document in a message", update(failed("x</SVMExecution>y")),
     "it can be read in more than one way"},
    {"a component's display in its id", inventory(component(R"(1" display="2)", "x")),
     "record 1 can be read in more than one way"},
    {"a missing blank", inventory(R"(<Device vendorID="1")"), "its first record does not begin like"},
    {"an update's drive in an inventory", inventory(updated("S1")),
     "record 1 is not as nvmepcissd writes it"},
    {"a PCI id that is none",
     inventory(
         R"(<Device  vendorID="&" deviceID="a801" subVendorID="f1a0" subDeviceID="1001"  display="" ><Application componentType=""  version=""  display=""/></Device>)"),
     "record 1 is not as nvmepcissd writes it: a PCI id"},
    {"a message id that is none", update(failed("x", "7a")), "a message id that is no number"},
    {"a message id without end",
     inventory(R"(<SPStatus result = "false" ><Message id="7</Message></SPStatus>)"),
     "a message id that is no number"},
    {"a message id that is too large", update(failed("x", "99999999999")), "a message id that is no number"},
    {"text after a record", inventory(listed("S1") + "&"), "text after"},
    {"a reboot in an inventory", inventory(listed("S1") + kReboot), "text after"},
};

TEST(Salvage, GuessesNothing) {
  for (const auto& [what, content, reason] : kRefused)
    EXPECT_THAT(refusalOf(content), HasSubstr(reason)) << what;
}

TEST(Salvage, RefusesADocumentThatIsCutOffAnywhere) {
  const std::string whole = update(updated("S & 1") + failed("<") + updated("S2") + kReboot);
  for (std::size_t length = 0; length < whole.size(); ++length)
    EXPECT_FALSE(tool::salvage(whole.substr(0, length)).document.has_value()) << length;
  EXPECT_EQ(recordsOf(whole).size(), 3U);
}

/// Values of parts that the forms are made of: what is accepted is what was written.
TEST(Salvage, NeverMisreadsAValue) {
  constexpr const char* kParts[] = {"\"",         " ",           ">",
                                    "<",          "&",           "x",
                                    "enum = ",    "display=",    "  version=\"",
                                    "/>",         "</Device>",   "<Device  ",
                                    "</Message>", "</SPStatus>", "<SPStatus result = \"false\" >",
                                    "\" >"};
  std::mt19937 random(7);
  const auto value = [&] {
    std::string text;
    for (auto parts = random() % 5; parts > 0; --parts) text += kParts[random() % std::size(kParts)];
    return text;
  };
  int accepted = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string name = value();
    const std::string serial = value();
    const std::string revision = value();
    const std::string message = value();
    const tool::Salvage before = tool::salvage(inventory(listed(serial, name, revision) + failed(message)));
    const tool::Salvage after =
        tool::salvage(update(updated(serial, name, revision, message) + failed(message) + kReboot));
    for (const tool::Salvage& read : {before, after}) {
      if (!read.document) continue;
      ++accepted;
      ASSERT_EQ(read.document->records.size(), 2U);
      const tool::Record& drive = read.document->records[0];
      ASSERT_EQ(drive.name, name);
      ASSERT_EQ(drive.serialNumber(), serial);
      ASSERT_EQ(drive.revision, revision);
      ASSERT_EQ(drive.message, read.document->kind == tool::DocumentKind::kUpdate ? message : "");
      ASSERT_EQ(read.document->records[1].message, message);
    }
  }
  EXPECT_GT(accepted, 10000);
}

/// Every document of the writers is read back as the records that they were given.
TEST(Salvage, ReadsWhatTheWritersWrite) {
  const WorkingFolder folder;
  for (const std::string value : kValues) {
    CDeviceInfo drive;
    drive.setDeviceType(CDeviceInfo::DEVICE_TYPE_PCI);
    drive.setPCIInfo({.componentID = "",
                      .deviceID = "2",
                      .subDeviceID = "4",
                      .vendorID = "1",
                      .subVendorID = "3",
                      .displayName = ""});
    drive.setStatus(0);
    drive.setDisplay(value);
    drive.setEnumId("Serial Number: " + value);
    drive.setVersion(value);
    drive.setComponentType(value);
    drive.setErrorMsg(value);
    drive.setRebootRequired(true);
    CDeviceInfo component = drive;
    component.setDeviceType(CDeviceInfo::DEVICE_TYPE_NONPCI);
    component.setComponentID(value);
    CDeviceInfo failure = drive;
    failure.setStatus(1);
    const std::vector<CDeviceInfo*> devices{&drive, &failure, &component};
    ASSERT_TRUE(CInventoryXMLWriter().GetXML(devices, "inventory.xml"));
    ASSERT_TRUE(CUpdateXMLWriter().GetXML(devices, "update.xml"));
    for (const char* const file : {"inventory.xml", "update.xml"}) {
      // A value that is also one of the form's texts is the one thing that may be refused.
      if (value == "\" display=\"") continue;
      const auto records = recordsOf(readFile(file));
      ASSERT_EQ(records.size(), 3U) << file;
      EXPECT_EQ(records[0].name, value);
      EXPECT_EQ(records[0].serialNumber(), value);
      EXPECT_EQ(records[0].revision, value);
      EXPECT_EQ(records[0].pciText(), "1:2 3:4");
      EXPECT_EQ(records[1].message, value);
      EXPECT_EQ(records[2].componentId, value);
    }
  }
}

TEST(Salvage, ReadsAWellFormedDocumentAsTheParserDoes) {
  for (const std::string& content : {inventory(listed("S1") + failed() + component("5", "C")),
                                     update(updated("S1") + failed() + kReboot)}) {
    const tool::Reading parsed = tool::readDocument(content);
    ASSERT_TRUE(parsed.document.has_value()) << parsed.problem;
    EXPECT_EQ(parsed.problem, "");
    EXPECT_EQ(recordsOf(content), parsed.document->records);
  }
}

TEST(Salvage, IsMarkedByItsPlace) {
  const tool::Reading reading = tool::readDocument(inventory(listed("S1", "A & B")));
  ASSERT_TRUE(reading.document.has_value());
  EXPECT_THAT(reading.problem, StartsWith("not well-formed at line 1, column "));
  EXPECT_EQ(reading.document->records.at(0).name, "A & B");
}

}  // namespace
