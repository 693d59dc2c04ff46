#include "Results.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "ReportPage.h"
#include "ResultText.h"
#include "SampleDocuments.h"
#include "TestSupport.h"

using namespace samples;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

const std::string kDrive = listed("S1");
const std::string kFailure = failed();
const std::string kComponent = component("12345", "Package, &quot;quoted&quot;");

class Results : public testing::Test {
 protected:
  tool::Results read(const std::vector<std::string>& documents) {
    std::vector<std::string> paths;
    for (const std::string& document : documents) {
      paths.push_back(std::to_string(paths.size() + 1) + ".xml");
      writeFile(paths.back(), document);
    }
    return tool::readResults(paths);
  }

  std::string problemOf(const std::string& document) {
    const tool::Results results = read({document});
    EXPECT_THAT(results.files, IsEmpty());
    return results.unreadable.empty() ? "" : results.unreadable.front().problem;
  }

  static std::string table(const tool::Results& results, const tool::Terminal& terminal = {}) {
    std::ostringstream out;
    tool::writeTable(out, results, terminal);
    return out.str();
  }

  static std::string page(const tool::Results& results) {
    std::ostringstream out;
    tool::writeReport(out, results);
    return out.str();
  }

  WorkingFolder m_folder;
};

TEST_F(Results, AnInventoryIsReadRecordByRecord) {
  const tool::Results results = read({inventory(kDrive + kFailure + kComponent)});
  ASSERT_EQ(results.files.size(), 1U);
  const auto& records = results.files[0].document.records;
  ASSERT_EQ(records.size(), 3U);
  EXPECT_EQ(records[0].outcome, tool::Outcome::kListed);
  EXPECT_EQ(records[0].pci.subDevice, "1001");
  EXPECT_EQ(records[0].revision, "R1");
  EXPECT_EQ(records[0].serialNumber(), "S1");
  EXPECT_EQ(records[1].outcome, tool::Outcome::kFailed);
  EXPECT_EQ(records[1].message, "It broke");
  EXPECT_EQ(records[1].messageId, 7);
  EXPECT_EQ(records[2].componentId, "12345");
  EXPECT_EQ(records[2].name, "Package, \"quoted\"");
}

TEST_F(Results, AnUpdateTellsOutcomesAndReboot) {
  const tool::Results results =
      read({update(updated("S1") + kFailure + updated("S2") + "<RebootRequired>1</RebootRequired>"),
            update(updated("S3"))});
  ASSERT_EQ(results.files.size(), 2U);
  const tool::Document& first = results.files[0].document;
  EXPECT_EQ(first.kind, tool::DocumentKind::kUpdate);
  EXPECT_TRUE(first.rebootRequired);
  EXPECT_FALSE(results.files[1].document.rebootRequired);
  EXPECT_EQ(first.records.at(1).outcome, tool::Outcome::kFailed);
  EXPECT_EQ(first.records.at(2).outcome, tool::Outcome::kSuccess);
  EXPECT_EQ(first.records.at(2).message, "Success");
  EXPECT_EQ(first.records.at(2).pci.vendor, "f101");
}

TEST_F(Results, TheTableShowsFailedRecordsFirstAndSumsUp) {
  EXPECT_EQ(
      table(
          read({inventory(kDrive + kFailure), update(updated("S2") + "<RebootRequired>1</RebootRequired>")})),
      "DOCUMENT  #  OUTCOME  REVISION  NAME  SERIAL NUMBER  PCI IDS              MESSAGE\n"
      "1.xml     2  failed                                                       It broke\n"
      "1.xml     1  listed   R1        One   S1             f101:a801 f1a0:1001\n"
      "2.xml     1  success  R1        One   S2             f101:a801 f1a0:1001  Success\n"
      "\n"
      "2 documents, 3 records: 1 listed, 1 success, 1 failed; revisions R1 x 2; reboot required in 1 document\n"
      "Revisions in update documents were read before flashing; take an inventory for the new ones.\n");
  EXPECT_EQ(table(read({inventory("")})), "1 document, 0 records: 0 failed\n");
}

TEST_F(Results, ColumnsStayAlignedAndTerminalsSafe) {
  EXPECT_EQ(
      table(read({inventory(
          R"(<Device componentID="1" display="Größe" ><Application version="1"/></Device>)"
          "<Device componentID=\"2\" display=\"a\xC2\x9B\x62\" ><Application version=\"22\"/></Device>")})),
      "DOCUMENT  #  OUTCOME  REVISION  NAME   COMPONENT\n"
      "1.xml     1  listed   1         Größe  1\n"
      "1.xml     2  listed   22        a.b    2\n"
      "\n"
      "1 document, 2 records: 2 listed, 0 failed; revisions 1 x 1, 22 x 1\n");
}

TEST_F(Results, ATableThatIsTooWideBecomesBlocks) {
  const tool::Results results = read({inventory(kDrive + kFailure)});
  const std::string wide = table(results);
  const std::size_t title = wide.find('\n') + 1;
  const std::size_t width = wide.find('\n', title) - title;  // the line with the longest message
  EXPECT_EQ(table(results, {.columns = width}), wide);
  EXPECT_EQ(table(results, {.columns = width - 1}),
            "DOCUMENT       1.xml\n"
            "#              2\n"
            "OUTCOME        failed\n"
            "MESSAGE        It broke\n"
            "\n"
            "DOCUMENT       1.xml\n"
            "#              1\n"
            "OUTCOME        listed\n"
            "REVISION       R1\n"
            "NAME           One\n"
            "SERIAL NUMBER  S1\n"
            "PCI IDS        f101:a801 f1a0:1001\n"
            "\n"
            "1 document, 2 records: 1 listed, 1 failed; revisions R1 x 1\n");
}

TEST_F(Results, ARevisionIsTheSameWithAndWithoutPadding) {
  const std::string padded = listed("S2", "One", "R1      ");
  const tool::Results results = read({inventory(padded + kDrive + padded)});
  EXPECT_EQ(tool::summarize(results).revisions,
            (std::vector<std::pair<std::string, std::size_t>>{{"R1", 3}}));
  EXPECT_THAT(table(results), HasSubstr("; revisions R1 x 3\n"));
  std::ostringstream json;
  tool::writeJson(json, results);
  EXPECT_THAT(json.str(), HasSubstr("\"revision\": \"R1      \""));
}

TEST_F(Results, ThePageObeysNoCharacterThatATerminalWouldObey) {
  const std::string html = page(read(
      {inventory(
           "<Device componentID=\"1\" display=\"a\u202Eb\u009Bc\"><Application version=\"1\"/></Device>"),
       "<SVMInventory><Device display=\"<\"/>"}));
  EXPECT_THAT(html, HasSubstr(">a.b.c<"));
  EXPECT_THAT(html, Not(HasSubstr("\u202E")));
  EXPECT_THAT(html, testing::ContainsRegex("<pre>[^\n]*Device display=[^\n]*\n *\\^\n</pre>"));
}

TEST_F(Results, ColourIsUsedOnlyWhenAskedFor) {
  const tool::Results results = read({inventory(kDrive + kFailure)});
  EXPECT_THAT(table(results), Not(HasSubstr("\033")));
  EXPECT_THAT(table(results, {.colour = true}), HasSubstr("\033[31m1.xml     2  failed"));
}

TEST_F(Results, JsonHoldsEverything) {
  std::ostringstream out;
  tool::writeJson(out, read({inventory(kDrive + kFailure), "<broken"}));
  const nlohmann::json json = nlohmann::json::parse(out.str());
  EXPECT_EQ(json["summary"],
            (nlohmann::json{{"documents", 1}, {"records", 2}, {"failed", 1}, {"unreadable", 1}}));
  EXPECT_EQ(json["documents"][0]["kind"], "inventory");
  EXPECT_EQ(json["documents"][0]["records"][0]["enum"], "Serial Number: S1");
  EXPECT_EQ(json["documents"][0]["records"][1]["message"], "It broke");
  EXPECT_EQ(json["unreadable"][0]["document"], "2.xml");
}

TEST_F(Results, CsvQuotesWhatItMust) {
  std::ostringstream out;
  tool::writeCsv(out, read({inventory(kComponent + kFailure)}));
  EXPECT_EQ(
      out.str(),
      "document,kind,position,outcome,failed,messageId,message,name,componentId,vendorId,deviceId,subVendorId,"
      "subDeviceId,enum,serialNumber,componentType,revision\r\n"
      "1.xml,inventory,2,failed,true,7,It broke,,,,,,,,,,\r\n"
      "1.xml,inventory,1,listed,false,0,,\"Package, \"\"quoted\"\"\",12345,,,,,,,APP,3.1\r\n");
}

TEST_F(Results, CsvKeepsSpreadsheetsFromRunningValues) {
  const auto fieldFor = [&](const std::string& name) {
    std::ostringstream out;
    tool::writeCsv(out, read({inventory("<Device componentID=\"1\" display=\"" + name +
                                        "\" ><Application version=\"1\"/></Device>")}));
    const std::string text = out.str();
    const std::string before = "1.xml,inventory,1,listed,false,0,,";
    const std::size_t start = text.find(before) + before.size();
    return text.substr(start, text.find(",1,,,,,,,", start) - start);
  };
  EXPECT_EQ(fieldFor("=1+2"), "'=1+2");
  EXPECT_EQ(fieldFor("+1"), "'+1");
  EXPECT_EQ(fieldFor("-1"), "'-1");
  EXPECT_EQ(fieldFor("@A1,x"), "\"'@A1,x\"");
  EXPECT_EQ(fieldFor("&#9;x"), "'\tx");
  EXPECT_EQ(fieldFor("1-2"), "1-2");
  EXPECT_EQ(fieldFor("two&#10;lines"), "\"two\nlines\"");
}

TEST_F(Results, ADocumentThatIsNotWellFormedIsReadWhereItsFormIsClear) {
  const tool::Results results =
      read({inventory(listed("S1", "A & B")), update(updated("<2>") + failed("\""))});
  ASSERT_EQ(results.files.size(), 2U);
  EXPECT_EQ(results.files[0].document.records.at(0).name, "A & B");
  EXPECT_EQ(results.files[1].document.records.at(0).serialNumber(), "<2>");
  EXPECT_THAT(table(results), HasSubstr("\n1.xml: not well-formed at line 1, column "));
  EXPECT_THAT(page(results), HasSubstr("<strong>2.xml</strong>: not well-formed at line 1, column "));
  std::ostringstream json;
  tool::writeJson(json, results);
  EXPECT_EQ(nlohmann::json::parse(json.str())["documents"][0]["wellFormed"], false);
}

TEST_F(Results, RecordsBelowOtherElementsAreRead) {
  const tool::Results results =
      read({"<SVMExecution><Server>" + updated("S1") + failed() + kReboot + "</Server></SVMExecution>"});
  ASSERT_EQ(results.files.size(), 1U);
  EXPECT_EQ(results.files[0].document.records.size(), 2U);
  EXPECT_TRUE(results.files[0].document.rebootRequired);
}

TEST_F(Results, TheLikelyCauseIsTold) {
  EXPECT_THAT(problemOf(inventory("") + update("")),
              HasSubstr("; it holds two documents, as -i -u writes them"));
  EXPECT_THAT(problemOf(inventory(kDrive).substr(0, 200)), HasSubstr("; it is cut off"));
  EXPECT_THAT(problemOf(inventory("<Device display=\"&\"/>")),
              HasSubstr("; it begins otherwise than nvmepcissd begins a document"));
  EXPECT_THAT(problemOf(inventory(listed("S1", R"(&" enum = ")"))),
              HasSubstr("; record 1 can be read in more than one way"));
}

TEST_F(Results, ADocumentThatIsNotWellFormedIsToldWithLineAndColumn) {
  const std::string spoilt = inventory(kDrive + R"(<Device  display="A & B" ><Application/></Device>)");
  const std::size_t column = spoilt.find("& B") + 2;
  const std::string problem = problemOf(spoilt);
  EXPECT_THAT(problem, StartsWith("not well-formed at line 1, column " + std::to_string(column) + ": "));
  const std::size_t lines = problem.find('\n');
  std::istringstream excerpt(problem.substr(lines + 1));
  std::string text;
  std::string mark;
  std::getline(excerpt, text);
  std::getline(excerpt, mark);
  EXPECT_EQ(text.substr(mark.find('^') - 1, 3), "& B");
}

TEST_F(Results, WhatIsNoResultDocumentIsToldSo) {
  EXPECT_THAT(problemOf("<PIEConfig/>"),
              StartsWith("is not a result document: its root element is PIEConfig"));
  EXPECT_EQ(problemOf(""), "is empty");
  EXPECT_EQ(tool::readResults({m_folder.path()}).unreadable.at(0).problem, "cannot be read: Is a directory");
  EXPECT_THAT(problemOf(inventory("\xFF")), HasSubstr("not proper UTF-8"));
  const tool::Results missing = tool::readResults({"missing.xml"});
  EXPECT_EQ(missing.unreadable.at(0).problem, "cannot be read: No such file or directory");
}

TEST_F(Results, ThePageEscapesEveryValueAndLoadsNothing) {
  const tool::Results results = read({inventory(
      R"(<Device componentID="1" display="&lt;script&gt;x&lt;/script&gt;" enum="&quot;&apos;&amp;"><Application version="&lt;b>"/></Device>)"
      "<SPStatus result=\"false\"><Message>&lt;img src=x></Message></SPStatus>")});
  const std::string html = page(results);
  EXPECT_THAT(html, HasSubstr("&lt;script&gt;x&lt;/script&gt;"));
  EXPECT_THAT(html, HasSubstr("&quot;&#39;&amp;"));
  EXPECT_THAT(html, Not(HasSubstr("<img")));
  EXPECT_THAT(html, Not(HasSubstr("<script>x")));
  EXPECT_THAT(html, Not(HasSubstr("<b>")));
  for (const char* const loading : {"<link", "href=", "http:", "https:", "@import", "url("}) {
    EXPECT_THAT(html, Not(HasSubstr(loading)));
  }
}

TEST_F(Results, ThePageHasARowARecordAndBarsThatAddUp) {
  const std::string html = page(read({inventory(kDrive + kDrive + kFailure), "<broken"}));
  const auto count = [&html](const std::string& what) {
    std::size_t times = 0;
    for (std::size_t place = 0; (place = html.find(what, place)) != std::string::npos; ++place) ++times;
    return times;
  };
  EXPECT_EQ(count("<tr class=\"listed\">"), 2U);
  EXPECT_EQ(count("<tr class=\"failed\">"), 1U);
  EXPECT_LT(html.find("<tr class=\"failed\">"), html.find("<tr class=\"listed\">"));
  EXPECT_THAT(html, HasSubstr("width:67%\"></span></span><span class=\"number\">2</span>"));
  EXPECT_THAT(html, HasSubstr("<strong>2.xml</strong>: not well-formed"));
}

}  // namespace
