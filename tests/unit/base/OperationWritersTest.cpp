// The two writers that operations use: their log, and what they do about exceptions.

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "AllocationFault.h"
#include "InventoryXMLWriter.h"
#include "ResultDocumentForms.h"
#include "ThrowingStandardOutput.h"
#include "UpdateXMLWriter.h"

namespace {

using Lines = std::vector<std::string>;

/// One of the two writers, and its log lines in the order of a call.
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

const OperationWriter kOperationWriters[] = {
    {
        .form = kInventoryForm,
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
        .form = kUpdateForm,
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
      const AllocationFault fault(AllocationFault::kThrowsBadAlloc, BUFSIZ);  // the file's buffer
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

}  // namespace
