#include "XMLWriter.h"

#include <stdexcept>

#include "ResultDocumentForms.h"
#include "ThrowingStandardOutput.h"

namespace {

class PlainWriter : public ResultDocuments {
 protected:
  /// What a writer prints to standard output after these steps.
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
  for (const DocumentForm* form : {&kPlainInventoryForm, &kPlainUpdateForm}) {
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
      written(kPlainInventoryForm, {record}),
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?><SVMInventory lang=\"en\"><SPStatus result = \"false\" >"
      "<Message id=\"5\">E</Message></SPStatus></SVMInventory>");
  EXPECT_EQ(
      written(kPlainUpdateForm, {record}),
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
  EXPECT_EQ(readFile("out.xml"),
            documentOf(kPlainInventoryForm, first) + documentOf(kPlainUpdateForm, second));
}

TEST_F(PlainWriter, AFileThatOpensAfterOneThatDidNotTakesTheDocument) {
  {
    CXMLWriter writer;
    writer.SetFileName("missing/out.xml");
    writer.SetFileName("out.xml");
    EXPECT_EQ(writer.writeInventoryXml({}), 1);
  }
  EXPECT_EQ(readFile("out.xml"), documentOf(kPlainInventoryForm, {}));
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
