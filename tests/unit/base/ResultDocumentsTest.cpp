#include <filesystem>
#include <type_traits>

#include "InventoryXMLWriter.h"
#include "ResultDocumentForms.h"

namespace {

// --- Every document.

TEST_F(ResultDocuments, HaveTheirFormsWhole) {
  const auto unknown = [] { return successful(CDeviceInfo::DEVICE_TYPE_UNKNOWN); };
  const struct {
    const char* what;
    std::vector<CDeviceInfo> records;
  } kCases[] = {
      {"no record", {}},
      {"a drive", {drive()}},
      {"a component", {component()}},
      {"a record of unknown type", {unknown()}},
      {"a drive with an enumeration id", {withEnumId(drive(), "Serial Number: S3XYZ")}},
      {"a component with an enumeration id", {withEnumId(component(), "3")}},
      {"an enumeration id of a blank", {withEnumId(drive(), " "), withEnumId(component(), " ")}},
      {"failures of every type", {failed(drive()), failed(component()), failed(unknown())}},
      {"a failure with an enumeration id", {failed(withEnumId(drive(), "3"))}},
      {"not yet reported", {failed(drive(), -1, 0)}},
      {"statuses far from 0", {failed(drive(), 2147483647), failed(component(), -2147483647 - 1)}},
      {"message ids", {failed(drive(), 1, -5), failed(drive(), 1, 2147483647), failed(drive(), 1, 1234567)}},
      {"the lowest message id", {failed(component(), 1, -2147483647 - 1)}},
      {"all in list order", {failed(drive()), component(), unknown(), drive(), failed(component()), drive()}},
      {"the same record twice", {component(), component()}},
      {"empty values", {allTexts(drive(), ""), allTexts(component(), ""), allTexts(failed(drive()), "")}},
      {"unescaped values",
       {allTexts(drive(), R"( a & b < c > "d" 'e' &amp; {name} )"), allTexts(component(), R"(<a href="">&)"),
        allTexts(failed(drive()), R"(</Message>&<!-- ]]>)")}},
      {"untrimmed and foreign bytes",
       {allTexts(drive(), "  \xc3\xa4\xff\x01  "), allTexts(component(), " \t ")}},
  };
  for (const DocumentForm& form : kForms) {
    for (const auto& [what, records] : kCases) {
      EXPECT_EQ(written(form, records), documentOf(form, records)) << form.name << " of " << what;
    }
  }
}

TEST_F(ResultDocuments, TakeTheMessageIdOfASuccess) {
  CDeviceInfo record = component();
  record.setMessageID(-42);
  for (const DocumentForm& form : kForms) EXPECT_EQ(written(form, {record}), documentOf(form, {record}));
}

TEST_F(ResultDocuments, HoldTenThousandRecordsOnOneLine) {
  std::vector<CDeviceInfo> records;
  for (int number = 0; number < 10'000; ++number) {
    CDeviceInfo record =
        successful(number % 2 == 0 ? CDeviceInfo::DEVICE_TYPE_PCI : CDeviceInfo::DEVICE_TYPE_NONPCI);
    record = withEnumId(record, "Serial Number: " + std::to_string(number));
    records.push_back(number % 5 == 0 ? failed(record, number + 1, number) : record);
  }
  for (const DocumentForm& form : kForms) {
    const std::string document = written(form, records);
    // Not EXPECT_EQ, which would print megabytes.
    EXPECT_TRUE(document == documentOf(form, records)) << form.name;
    EXPECT_EQ(document.find_first_of("\n\r"), std::string::npos) << form.name;
  }
}

TEST_F(ResultDocuments, ReplaceAnEarlierFile) {
  for (const DocumentForm& form : kForms) {
    writeFile("out.xml", std::string(10'000, 'x'));
    EXPECT_EQ(written(form, {component()}), documentOf(form, {component()})) << form.name;
  }
}

TEST_F(ResultDocuments, GoToTheFileAloneWhenItOpens) {
  for (const DocumentForm& form : kForms) EXPECT_EQ(printed(form, {component()}, "out.xml"), "") << form.name;
}

TEST_F(ResultDocuments, GoToStandardOutputWithoutAFileThatOpens) {
  std::filesystem::create_directory("folder");
  writeFile("file", "kept");
  for (const DocumentForm& form : kForms) {
    for (const char* name : {"", "missing/out.xml", "folder", "file/out.xml"}) {
      EXPECT_EQ(printed(form, {drive(), component(), failed(drive())}, name),
                documentOf(form, {drive(), component(), failed(drive())}))
          << form.name << " to '" << name << "'";
    }
  }
  EXPECT_FALSE(std::filesystem::exists("missing"));
  EXPECT_EQ(readFile("file"), "kept");
}

TEST_F(ResultDocuments, LeaveTheRecordsAsTheyAre) {
  for (const DocumentForm& form : kForms) {
    std::vector<CDeviceInfo> records = {withEnumId(component(), "3")};
    const std::string before = documentOf(kUpdateForm, records);
    form.write(pointersTo(records), "out.xml");
    EXPECT_EQ(documentOf(kUpdateForm, records), before) << form.name;
  }
}

// --- Whole examples.

TEST_F(ResultDocuments, InventoryOfADriveAComponentAndAFailureReadsSo) {
  EXPECT_EQ(
      written(kInventoryForm, {drive(), withEnumId(drive(), "3"), component(), failed(drive())}),
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?><SVMInventory lang=\"en\">"
      "<Device  vendorID=\"144d\" deviceID=\"a808\" subVendorID=\"1a2b\" subDeviceID=\"a801\"  "
      "display=\"Example NVMe PCIe SSD 1.6TB\" >"
      "<Application componentType=\"FRMW\"  version=\"EXF0101\"  display=\"Example device name\"/></Device>"
      "<Device  vendorID=\"144d\" deviceID=\"a808\" subVendorID=\"1a2b\" subDeviceID=\"a801\"  "
      "display=\"Example NVMe PCIe SSD 1.6TB\" enum = \"3\" >"
      "<Application componentType=\"FRMW\"  version=\"EXF0101\"  display=\"Example device name\"/></Device>"
      "<Device  componentID=\"12345\" display=\"Example NVMe PCIe SSD 1.6TB\" >"
      "<Application componentType=\"FRMW\" version=\"EXF0101\" display=\"Example device name\"/></Device>"
      "<SPStatus result = \"false\" ><Message id=\"7\" >Example error text</Message></SPStatus>"
      "</SVMInventory>");
}

TEST_F(ResultDocuments, UpdateWithARebootAndAFailureReadsSo) {
  EXPECT_EQ(written(kUpdateForm, {withReboot(drive()), failed(drive())}),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?><SVMExecution lang=\"en\">"
            "<Device  vendorID=\"144d\" deviceID=\"a808\" subVendorID=\"1a2b\" subDeviceID=\"a801\" "
            "display=\"Example NVMe PCIe SSD 1.6TB\" >"
            "<Application componentType=\"FRMW\" version=\"EXF0101\" display=\"Example device name\" >"
            "<SPStatus result = \"true\" ><Message id=\"0\" >Example success text</Message></SPStatus>"
            "</Application></Device>"
            "<SPStatus result = \"false\" ><Message id=\"7\" >Example error text</Message></SPStatus>"
            "<RebootRequired>1</RebootRequired></SVMExecution>");
}

// --- The reboot element.

TEST_F(ResultDocuments, AnUpdateAsksForOneRebootWhenASuccessfulRecordDoes) {
  const CDeviceInfo unknown = successful(CDeviceInfo::DEVICE_TYPE_UNKNOWN);
  const struct {
    const char* what;
    std::vector<CDeviceInfo> records;
    bool reboot;
  } kCases[] = {
      {"no record", {}, false},
      {"no wish", {drive(), component()}, false},
      {"a drive's wish", {withReboot(drive())}, true},
      {"a component's wish", {withReboot(component())}, true},
      {"the first's wish", {withReboot(drive()), drive()}, true},
      {"the last's wish", {component(), withReboot(drive())}, true},
      {"everybody's wish", {withReboot(drive()), withReboot(component()), withReboot(drive())}, true},
      {"failed records' wishes", {withReboot(failed(drive())), withReboot(failed(component()))}, false},
      {"a failed record's wish beside a success", {drive(), withReboot(failed(drive()))}, false},
      {"a wish before a failure", {withReboot(drive()), failed(drive())}, true},
      {"a wish after a failure", {failed(drive()), withReboot(drive())}, true},
      {"a wish of unknown type", {withReboot(unknown)}, false},
      {"a wish before one of unknown type", {withReboot(component()), unknown}, true},
  };
  for (const auto& [what, records, reboot] : kCases) {
    std::string expected = documentOf(kUpdateForm, records);
    if (reboot) expected.insert(expected.size() - 15, "<RebootRequired>1</RebootRequired>");
    EXPECT_EQ(written(kUpdateForm, records), expected) << what;
  }
}

TEST_F(ResultDocuments, NoOtherDocumentHeedsTheRebootFlag) {
  for (const DocumentForm& form : kForms) {
    if (&form == &kUpdateForm) continue;
    const std::vector<CDeviceInfo> records = {withReboot(drive()), component(), withReboot(component())};
    EXPECT_EQ(written(form, records), documentOf(form, records)) << form.name;
  }
}

// --- The interface, and the inventory writer's copy.

TEST(ResultWriterInterface, IsAbstractAndDestroysThroughItsTable) {
  EXPECT_TRUE(std::is_abstract_v<IDeviceXMLWriter>);
  EXPECT_TRUE(std::has_virtual_destructor_v<IDeviceXMLWriter>);
}

TEST_F(ResultDocuments, TheInventoryWriterKeepsACopyOfItsLastDocument) {
  CInventoryXMLWriter writer;
  EXPECT_EQ(writer.getDocument(), "");
  std::vector<CDeviceInfo> records = {drive(), failed(drive())};
  writer.GetXML(pointersTo(records), "out.xml");
  EXPECT_EQ(writer.getDocument(), documentOf(kInventoryForm, records));
}

}  // namespace
