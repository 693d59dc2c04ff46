#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "InventoryXMLWriter.h"
#include "TestSupport.h"
#include "UpdateXMLWriter.h"
#include "XMLWriter.h"

namespace {

bool g_noFileBuffers = false;

}  // namespace

// What makes opening a file throw: a stream allocates its buffer then, as an array of this size.
void* operator new[](std::size_t size) {
  if (g_noFileBuffers && size == BUFSIZ) throw std::bad_alloc();
  return ::operator new(size);
}
void operator delete[](void* array) noexcept {
  ::operator delete(array);
}
void operator delete[](void* array, std::size_t) noexcept {
  ::operator delete(array);
}

namespace {

using Devices = std::vector<CDeviceInfo*>;

/// While it lives, a file that is opened gets no buffer.
class NoFileBuffers {
 public:
  NoFileBuffers() { g_noFileBuffers = true; }
  ~NoFileBuffers() { g_noFileBuffers = false; }
  NoFileBuffers(const NoFileBuffers&) = delete;
  NoFileBuffers& operator=(const NoFileBuffers&) = delete;
};

/// While it lives, writing to standard output throws `Thrown`.
template <class Thrown>
class ThrowingStandardOutput : std::streambuf {
 public:
  explicit ThrowingStandardOutput(Thrown thrown)
      : m_thrown(std::move(thrown)), m_before(std::cout.rdbuf(this)), m_exceptions(std::cout.exceptions()) {
    std::cout.exceptions(std::ios::badbit);
  }
  ~ThrowingStandardOutput() override {
    std::cout.exceptions(m_exceptions);
    std::cout.rdbuf(m_before);
    std::cout.clear();
  }

 private:
  std::streamsize xsputn(const char*, std::streamsize) override { throw m_thrown; }
  int_type overflow(int_type) override { throw m_thrown; }

  Thrown m_thrown;
  std::streambuf* m_before;
  std::ios::iostate m_exceptions;
};

// --- The documents.

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

template <class Writer>
void writeThroughInterface(const Devices& devices, const std::string& name) {
  const std::unique_ptr<IDeviceXMLWriter> writer = std::make_unique<Writer>();
  EXPECT_TRUE(writer->GetXML(devices, name));
}

const DocumentForm kForms[] = {
    {
        .name = "inventory",
        .start = R"(<?xml version="1.0" encoding="UTF-8"?><SVMInventory lang="en">)",
        .end = R"(</SVMInventory>)",
        .drive = R"(<Device  vendorID="{vendor}" deviceID="{device}")"
                 R"( subVendorID="{subvendor}" subDeviceID="{subdevice}"  display="{display}" {enum}>)"
                 R"(<Application componentType="{type}"  version="{version}"  display="{name}"/></Device>)",
        .component = R"(<Device  componentID="{component}" display="{display}" {enum}>)"
                     R"(<Application componentType="{type}" version="{version}" display="{name}"/></Device>)",
        .failure = R"(<SPStatus result = "false" ><Message id="{id}" >{text}</Message></SPStatus>)",
        .write = writeThroughInterface<CInventoryXMLWriter>,
    },
    {
        .name = "update",
        .start = R"(<?xml version="1.0" encoding="UTF-8"?><SVMExecution lang="en">)",
        .end = R"(</SVMExecution>)",
        .drive = R"(<Device  vendorID="{vendor}" deviceID="{device}")"
                 R"( subVendorID="{subvendor}" subDeviceID="{subdevice}" display="{display}" {enum}>)"
                 R"(<Application componentType="{type}" version="{version}" display="{name}" >)"
                 R"(<SPStatus result = "true" ><Message id="{id}" >{text}</Message></SPStatus>)"
                 R"(</Application></Device>)",
        .component = R"(<Device  componentID="{component}" display="{display}" {enum}>)"
                     R"(<Application componentType="{type}" version="{version}" display="{name}" >)"
                     R"(<SPStatus result = "true" ><Message id="{id}" >{text}</Message></SPStatus>)"
                     R"(</Application></Device>)",
        .failure = R"(<SPStatus result = "false" ><Message id="{id}" >{text}</Message></SPStatus>)",
        .write = writeThroughInterface<CUpdateXMLWriter>,
    },
    {
        .name = "plain inventory",
        .start = R"(<?xml version="1.0" encoding="UTF-8"?><SVMInventory lang="en">)",
        .end = R"(</SVMInventory>)",
        .drive = "",
        .component = R"(<Device  componentID="{component}" display="{name}">)"
                     R"(<Application componentType="{type}" version="{version}" display="{name}"/></Device>)",
        .failure = R"(<SPStatus result = "false" ><Message id="{id}">{text}</Message></SPStatus>)",
        .write =
            [](const Devices& devices, const std::string& name) {
              CXMLWriter writer;
              writer.SetFileName(name);
              EXPECT_EQ(writer.writeInventoryXml(devices), 1);
            },
    },
    {
        .name = "plain update",
        .start = R"(<?xml version="1.0" encoding="UTF-8"?><SVMExecution lang="en">)",
        .end = R"(</SVMExecution>)",
        .drive = "",
        .component = R"(<Device  componentID="{component}" display="{name}">)"
                     R"(<Application componentType="{type}" version="{version}" display="{name}")"
                     R"( packageVersion="{version}">)"
                     R"(<SPStatus result = "true" ><Message id="{id}">{text}</Message></SPStatus>)"
                     R"(</Application></Device>)"
                     R"(<RebootRequired>1</RebootRequired>)",
        .failure = R"(<SPStatus result = "false" ><Message id="{id}">{text}</Message></SPStatus>)",
        .write =
            [](const Devices& devices, const std::string& name) {
              CXMLWriter writer;
              writer.SetFileName(name);
              EXPECT_EQ(writer.WriteUpdateXML(devices), 1);
            },
    },
};

const DocumentForm& kInventory = kForms[0];
const DocumentForm& kUpdate = kForms[1];
const DocumentForm& kPlainInventory = kForms[2];
const DocumentForm& kPlainUpdate = kForms[3];

/// What a name in a form's braces stands for.
std::string valueOf(std::string_view name, const CDeviceInfo& record) {
  using Value = std::string (*)(const CDeviceInfo&);
  static constexpr std::pair<std::string_view, Value> kValues[] = {
      {"vendor", [](const CDeviceInfo& device) { return device.getPCIInfo().vendorID; }},
      {"device", [](const CDeviceInfo& device) { return device.getPCIInfo().deviceID; }},
      {"subvendor", [](const CDeviceInfo& device) { return device.getPCIInfo().subVendorID; }},
      {"subdevice", [](const CDeviceInfo& device) { return device.getPCIInfo().subDeviceID; }},
      {"component", [](const CDeviceInfo& device) { return device.getComponentID(); }},
      {"display", [](const CDeviceInfo& device) { return device.getDisplay(); }},
      {"enum",
       [](const CDeviceInfo& device) {
         const std::string id = device.getEnumId();
         return id.empty() ? id : R"(enum = ")" + id + R"(" )";
       }},
      {"type", [](const CDeviceInfo& device) { return device.getComponentType(); }},
      {"version", [](const CDeviceInfo& device) { return device.getVersion(); }},
      {"name", [](const CDeviceInfo& device) { return device.getDeviceName(); }},
      {"id", [](const CDeviceInfo& device) { return std::to_string(device.getMessageID()); }},
      {"text", [](const CDeviceInfo& device) { return device.getErrorMsg(); }},
  };
  for (const auto& [known, value] : kValues) {
    if (name == known) return value(record);
  }
  throw std::invalid_argument("no value is called " + std::string(name));
}

std::string filled(std::string_view form, const CDeviceInfo& record) {
  std::string text;
  while (!form.empty()) {
    const std::size_t brace = form.find('{');
    text += form.substr(0, brace);
    if (brace == std::string_view::npos) break;
    const std::size_t end = form.find('}', brace);
    text += valueOf(form.substr(brace + 1, end - brace - 1), record);
    form.remove_prefix(end + 1);
  }
  return text;
}

/// The document that `form` makes of `records`, without the reboot element.
std::string documentOf(const DocumentForm& form, const std::vector<CDeviceInfo>& records) {
  std::string text = form.start;
  for (const CDeviceInfo& record : records) {
    if (record.getStatus() != 0) {
      text += filled(form.failure, record);
    } else if (record.getDeviceType() == CDeviceInfo::DEVICE_TYPE_PCI) {
      text += filled(form.drive, record);
    } else if (record.getDeviceType() == CDeviceInfo::DEVICE_TYPE_NONPCI) {
      text += filled(form.component, record);
    }
  }
  return text + form.end;
}

// --- The records.

CDeviceInfo successful(CDeviceInfo::eDeviceType type) {
  CDeviceInfo record;
  record.setDeviceType(type);
  record.setStatus(0);
  record.setComponentID("12345");
  record.setPCIInfo({"not shown", "a808", "a801", "144d", "1a2b", "not shown"});
  record.setDisplay("Example NVMe PCIe SSD 1.6TB");
  record.setComponentType("FRMW");
  record.setVersion("EXF0101");
  record.setCurrentVersion("not shown");
  record.setDeviceName("Example device name");
  record.setErrorMsg("Example success text");
  return record;
}

CDeviceInfo drive() {
  return successful(CDeviceInfo::DEVICE_TYPE_PCI);
}

CDeviceInfo component() {
  return successful(CDeviceInfo::DEVICE_TYPE_NONPCI);
}

CDeviceInfo failed(CDeviceInfo record, int status = 3, int messageID = 7) {
  record.setStatus(status);
  record.setMessageID(messageID);
  record.setErrorMsg("Example error text");
  return record;
}

CDeviceInfo withEnumId(CDeviceInfo record, std::string id) {
  record.setEnumId(std::move(id));
  return record;
}

CDeviceInfo withReboot(CDeviceInfo record) {
  record.setRebootRequired(true);
  return record;
}

/// A record whose every text is `text`.
CDeviceInfo allTexts(CDeviceInfo record, const std::string& text) {
  record.setComponentID(text);
  record.setPCIInfo({text, text, text, text, text, text});
  record.setDisplay(text);
  record.setComponentType(text);
  record.setVersion(text);
  record.setDeviceName(text);
  record.setErrorMsg(text);
  record.setEnumId(text);
  return record;
}

Devices pointersTo(std::vector<CDeviceInfo>& records) {
  Devices pointers;
  for (CDeviceInfo& record : records) pointers.push_back(&record);
  return pointers;
}

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

// --- What holds for every document.

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
    // Not as a pair of texts: a report of megabytes helps nobody.
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
    const std::string before = documentOf(kUpdate, records);
    form.write(pointersTo(records), "out.xml");
    EXPECT_EQ(documentOf(kUpdate, records), before) << form.name;
  }
}

// --- Whole examples, spelt out.

TEST_F(ResultDocuments, InventoryOfADriveAComponentAndAFailureReadsSo) {
  EXPECT_EQ(
      written(kInventory, {drive(), withEnumId(drive(), "3"), component(), failed(drive())}),
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
  EXPECT_EQ(written(kUpdate, {withReboot(drive()), failed(drive())}),
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
      {"a wish behind a failure", {failed(drive()), withReboot(drive())}, true},
      {"a wish of unknown type", {withReboot(unknown)}, false},
      {"a wish before one of unknown type", {withReboot(component()), unknown}, true},
  };
  for (const auto& [what, records, reboot] : kCases) {
    std::string expected = documentOf(kUpdate, records);
    if (reboot) expected.insert(expected.size() - 15, "<RebootRequired>1</RebootRequired>");
    EXPECT_EQ(written(kUpdate, records), expected) << what;
  }
}

TEST_F(ResultDocuments, NoOtherDocumentHeedsTheRebootFlag) {
  for (const DocumentForm& form : kForms) {
    if (&form == &kUpdate) continue;
    const std::vector<CDeviceInfo> records = {withReboot(drive()), component(), withReboot(component())};
    EXPECT_EQ(written(form, records), documentOf(form, records)) << form.name;
  }
}

// --- What the two writers of the operations log, and what they do about exceptions.

using Lines = std::vector<std::string>;

/// One of the two writers, and its log lines in the order in which a call may write them.
struct OperationWriter {
  const DocumentForm& form;
  std::unique_ptr<IDeviceXMLWriter> (*make)();
  void (*print)(IDeviceXMLWriter&);
  const char* source;
  Lines constructed;
  Lines entering;
  Lines opened;
  Lines openThrew;
  Lines headers;
  Lines records;        ///< for `oneOfEach`
  Lines recordsFooter;  ///< for `oneOfEach`
  Lines emptyFooter;
  Lines printEntering;
  Lines copied;
  Lines printThrew;
  Lines printExiting;
  Lines exiting;
  Lines destroyed;
};

template <class Writer>
std::unique_ptr<IDeviceXMLWriter> makeWriter() {
  return std::make_unique<Writer>();
}

template <class Writer>
void printAgain(IDeviceXMLWriter& writer) {
  dynamic_cast<Writer&>(writer).print();
}

/// A component, a drive that asks for a reboot, a failed drive and a record of unknown type.
std::vector<CDeviceInfo> oneOfEach() {
  return {component(), withReboot(drive()), failed(drive()), successful(CDeviceInfo::DEVICE_TYPE_UNKNOWN)};
}

const OperationWriter kOperationWriters[] = {
    {
        .form = kInventory,
        .make = makeWriter<CInventoryXMLWriter>,
        .print = printAgain<CInventoryXMLWriter>,
        .source = "cm_CMBaseUtils/src/InventoryXMLWriter.cpp",
        .constructed = {"CInventoryXMLWriter::CInventoryXMLWriter() In Constructor Method"},
        .entering = {"CInventoryXMLWriter::GetXML() Entering"},
        .opened = {"CInventoryXMLWriter::GetXML() udpate xml file opened"},
        .openThrew = {"CInventoryXMLWriter::GetXML() exception caught during file opening std::bad_alloc"},
        .headers = {"CInventoryXMLWriter::addXMLHeader() In addXMLHeader Method",
                    "CInventoryXMLWriter::addInventoryHeader() In addInventoryHeader Method"},
        .records = {"CInventoryXMLWriter::GetXML() Found one Non PCI Device",
                    "CInventoryXMLWriter::GetXML() Found one PCI Device",
                    "CInventoryXMLWriter::GetXML() Update failed for one Device"},
        .recordsFooter = {"CInventoryXMLWriter::addInventoryFooter() In addInventoryFooter Method"},
        .emptyFooter = {"CInventoryXMLWriter::addInventoryFooter() In addInventoryFooter Method"},
        .printEntering = {"CInventoryXMLWriter::print() Entering"},
        .copied = {"CInventoryXMLWriter::print() copying the contents to Inventory XML file"},
        .printThrew =
            {"CInventoryXMLWriter::GetXML() exception caught during file is_open function out of paper"},
        .printExiting = {"CInventoryXMLWriter::print() Exiting"},
        .exiting = {"CInventoryXMLWriter::GetXML() Exiting"},
        .destroyed = {"CInventoryXMLWriter::CInventoryXMLWriter() In Destructor Method"},
    },
    {
        .form = kUpdate,
        .make = makeWriter<CUpdateXMLWriter>,
        .print = printAgain<CUpdateXMLWriter>,
        .source = "cm_CMBaseUtils/src/UpdateXMLWriter.cpp",
        .constructed = {"CUpdateXMLWriter::CUpdateXMLWriter() In Constructor Method"},
        .entering = {"CUpdateXMLWriter::GetXML() Entering"},
        .opened = {"CUpdateXMLWriter::GetXML() udpate xml file opened"},
        .openThrew = {"CInventoryXMLWriter::GetXML() exception caught during file opening std::bad_alloc"},
        .headers = {"CUpdateXMLWriter::addXMLHeader() In addXMLHeader Method",
                    "CUpdateXMLWriter::addUpdateHeader() In addUpdateHeader Method"},
        .records = {"CUpdateXMLWriter::GetXML() Found one Non PCI Device",
                    "CUpdateXMLWriter::GetXML() Found one PCI Device",
                    "CUpdateXMLWriter::GetXML() Update failed for one Device"},
        .recordsFooter = {"CUpdateXMLWriter::addRebootRequiredStatus() In addRebootRequiredStatus Method",
                          "CUpdateXMLWriter::addRebootRequiredStatus() Device need reboot",
                          "CUpdateXMLWriter::addUpdateFooter() In addUpdateFooter Method"},
        .emptyFooter = {"CUpdateXMLWriter::addRebootRequiredStatus() In addRebootRequiredStatus Method",
                        "CUpdateXMLWriter::addUpdateFooter() In addUpdateFooter Method"},
        .printEntering = {"CUpdateXMLWriter::print() Entering"},
        .copied = {"CUpdateXMLWriter::print() copying the contents to Update XML file"},
        .printThrew =
            {"CUpdateXMLWriter::print() exception caught during file is_open function out of paper"},
        .printExiting = {"CUpdateXMLWriter::print() Exiting"},
        .exiting = {"CUpdateXMLWriter::GetXML() Exiting"},
        .destroyed = {"CUpdateXMLWriter::~CUpdateXMLWriter() In Destructor Method"},
    },
};

std::vector<LogLine> linesOf(const OperationWriter& writer, const std::vector<Lines>& parts) {
  std::vector<LogLine> lines;
  for (const Lines& part : parts) {
    for (const std::string& message : part) lines.push_back({writer.source, message});
  }
  return lines;
}

class OperationWriters : public ResultDocuments {};

TEST_F(OperationWriters, LogEachStepOfADocumentThatGoesToAFile) {
  for (const OperationWriter& w : kOperationWriters) {
    const LogCapture log;
    written(w.form, oneOfEach());
    EXPECT_EQ(log.lines(),
              linesOf(w, {w.constructed, w.entering, w.opened, w.headers, w.records, w.recordsFooter,
                          w.printEntering, w.copied, w.printExiting, w.exiting, w.destroyed}));
  }
}

TEST_F(OperationWriters, LogNoOpeningAndNoCopyingWithoutAFileName) {
  for (const OperationWriter& w : kOperationWriters) {
    const LogCapture log;
    printed(w.form, {}, "");
    EXPECT_EQ(log.lines(), linesOf(w, {w.constructed, w.entering, w.headers, w.emptyFooter, w.printEntering,
                                       w.printExiting, w.exiting, w.destroyed}));
  }
}

TEST_F(OperationWriters, CallAFileThatDidNotOpenOpenedAllTheSame) {
  for (const OperationWriter& w : kOperationWriters) {
    const LogCapture log;
    printed(w.form, {}, "missing/out.xml");
    EXPECT_EQ(log.lines(), linesOf(w, {w.constructed, w.entering, w.opened, w.headers, w.emptyFooter,
                                       w.printEntering, w.printExiting, w.exiting, w.destroyed}));
  }
}

TEST_F(OperationWriters, WriteNothingAndFailWhenOpeningThrows) {
  for (const OperationWriter& w : kOperationWriters) {
    const LogCapture log;
    const auto writer = w.make();
    std::vector<CDeviceInfo> records = oneOfEach();
    testing::internal::CaptureStdout();
    {
      const NoFileBuffers noMemory;
      EXPECT_FALSE(writer->GetXML(pointersTo(records), "out.xml"));
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(readFile("out.xml"), "");
    EXPECT_EQ(log.lines(), linesOf(w, {w.constructed, w.entering, w.openThrew}));
  }
}

TEST_F(OperationWriters, SucceedWithALineInTheLogWhenPrintingThrows) {
  for (const OperationWriter& w : kOperationWriters) {
    const LogCapture log;
    const auto writer = w.make();
    const ThrowingStandardOutput output(std::runtime_error("out of paper"));
    EXPECT_TRUE(writer->GetXML({}, ""));
    EXPECT_EQ(log.lines(), linesOf(w, {w.constructed, w.entering, w.headers, w.emptyFooter, w.printEntering,
                                       w.printThrew, w.exiting}));
  }
}

TEST_F(OperationWriters, KeepADocumentWhosePrintingThrewForTheNextPrint) {
  for (const OperationWriter& w : kOperationWriters) {
    const auto writer = w.make();
    {
      const ThrowingStandardOutput output(std::runtime_error("out of paper"));
      writer->GetXML({}, "");
    }
    testing::internal::CaptureStdout();
    w.print(*writer);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), documentOf(w.form, {}));
  }
}

TEST_F(OperationWriters, ForgetADocumentOnceItIsPrinted) {
  for (const OperationWriter& w : kOperationWriters) {
    const auto writer = w.make();
    testing::internal::CaptureStdout();
    writer->GetXML({}, "");
    w.print(*writer);
    writer->GetXML({}, "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), documentOf(w.form, {}) + documentOf(w.form, {}));
  }
}

TEST_F(OperationWriters, LetWhatIsNoStandardExceptionReachTheCaller) {
  for (const OperationWriter& w : kOperationWriters) {
    const auto writer = w.make();
    const ThrowingStandardOutput output(42);
    EXPECT_THROW(writer->GetXML({}, ""), int);
  }
}

// --- The interface, and what each writer has of its own.

TEST(ResultWriterInterface, IsAbstractAndDestroysThroughItsTable) {
  EXPECT_TRUE(std::is_abstract_v<IDeviceXMLWriter>);
  EXPECT_TRUE(std::has_virtual_destructor_v<IDeviceXMLWriter>);
}

TEST_F(ResultDocuments, TheInventoryWriterKeepsACopyOfItsLastDocument) {
  CInventoryXMLWriter writer;
  EXPECT_EQ(writer.getDocument(), "");
  std::vector<CDeviceInfo> records = {drive(), failed(drive())};
  writer.GetXML(pointersTo(records), "out.xml");
  EXPECT_EQ(writer.getDocument(), documentOf(kInventory, records));
}

class PlainWriter : public ResultDocuments {
 protected:
  /// What the writer's steps print to standard output.
  template <class Steps>
  static std::string printedBy(Steps steps) {
    CXMLWriter writer;
    testing::internal::CaptureStdout();
    steps(writer);
    writer.Print();
    return testing::internal::GetCapturedStdout();
  }
};

TEST_F(PlainWriter, LogsNothing) {
  const LogCapture log;
  for (const DocumentForm* form : {&kPlainInventory, &kPlainUpdate}) {
    written(*form, oneOfEach());
    printed(*form, oneOfEach(), "");
    printed(*form, oneOfEach(), "missing/out.xml");
  }
  EXPECT_EQ(log.text(), "");
}

TEST_F(PlainWriter, EachPieceIsAsItStands) {
  const struct {
    void (*add)(CXMLWriter&);
    const char* text;
  } kCases[] = {
      {[](CXMLWriter&) {}, ""},
      {[](CXMLWriter& writer) { writer.AddXMLHeader(); }, R"(<?xml version="1.0" encoding="UTF-8"?>)"},
      {[](CXMLWriter& writer) { writer.AddUpdateHeader(); }, R"(<SVMExecution lang="en">)"},
      {[](CXMLWriter& writer) { writer.AddUpdateFooter(); }, "</SVMExecution>"},
      {[](CXMLWriter& writer) { writer.AddUpdateFooter(true); }, "<RebootRequired>1</RebootRequired>"},
      {[](CXMLWriter& writer) { writer.AddUpdateFooter(false); }, "<RebootRequired>0</RebootRequired>"},
      {[](CXMLWriter& writer) { writer.AddInventoryHeader(); }, R"(<SVMInventory lang="en">)"},
      {[](CXMLWriter& writer) { writer.AddInventoryFooter(); }, "</SVMInventory>"},
  };
  for (const auto& [add, text] : kCases) EXPECT_EQ(printedBy(add), text);
}

TEST_F(PlainWriter, AFailureReadsSoInEitherDocument) {
  CDeviceInfo record = failed(drive(), 3, 5);
  record.setErrorMsg("E");
  EXPECT_EQ(
      written(kPlainInventory, {record}),
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?><SVMInventory lang=\"en\"><SPStatus result = \"false\" >"
      "<Message id=\"5\">E</Message></SPStatus></SVMInventory>");
  EXPECT_EQ(
      written(kPlainUpdate, {record}),
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?><SVMExecution lang=\"en\"><SPStatus result = \"false\" >"
      "<Message id=\"5\">E</Message></SPStatus></SVMExecution>");
}

TEST_F(PlainWriter, PrintsNothingTwice) {
  const auto printThenAdd = [](CXMLWriter& writer) {
    writer.AddInventoryHeader();
    writer.Print();
    writer.AddInventoryFooter();
  };
  EXPECT_EQ(printedBy(printThenAdd), R"(<SVMInventory lang="en"></SVMInventory>)");
}

TEST_F(PlainWriter, ASecondDocumentLandsBehindTheFirst) {
  std::vector<CDeviceInfo> first = {component()};
  std::vector<CDeviceInfo> second = {failed(component()), component()};
  {
    CXMLWriter writer;
    writer.SetFileName("out.xml");
    EXPECT_EQ(writer.writeInventoryXml(pointersTo(first)), 1);
    EXPECT_EQ(writer.WriteUpdateXML(pointersTo(second)), 1);
  }
  EXPECT_EQ(readFile("out.xml"), documentOf(kPlainInventory, first) + documentOf(kPlainUpdate, second));
}

TEST_F(PlainWriter, AFileThatOpensAfterOneThatDidNotTakesTheDocument) {
  {
    CXMLWriter writer;
    writer.SetFileName("missing/out.xml");
    writer.SetFileName("out.xml");
    EXPECT_EQ(writer.writeInventoryXml({}), 1);
  }
  EXPECT_EQ(readFile("out.xml"), documentOf(kPlainInventory, {}));
}

TEST_F(PlainWriter, NamingAFileEmptiesItAtOnce) {
  writeFile("out.xml", "an earlier document");
  CXMLWriter writer;
  writer.SetFileName("out.xml");
  EXPECT_EQ(readFile("out.xml"), "");
}

TEST_F(PlainWriter, Returns1AlsoWhenItsDestinationFails) {
  const ThrowingStandardOutput output(std::runtime_error("out of paper"));
  CXMLWriter writer;
  EXPECT_EQ(writer.writeInventoryXml({}), 1);
  EXPECT_EQ(writer.WriteUpdateXML({}), 1);
}

}  // namespace
