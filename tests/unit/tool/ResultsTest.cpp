#include "Results.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "ResultText.h"
#include "SampleDocuments.h"
#include "TestSupport.h"

using namespace samples;
using testing::EndsWith;
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
  static tool::Results read(const std::vector<std::string>& documents) {
    return tool::readResults(write(documents));
  }

  static std::string problemOf(const std::string& document) {
    const tool::Results results = read({document});
    EXPECT_THAT(results.files, IsEmpty());
    return results.unreadable.empty() ? "" : results.unreadable.front().problem;
  }

  static std::string summary(const tool::Results& results) {
    std::ostringstream out;
    tool::writeSummary(out, results, false);
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

TEST_F(Results, ARevisionIsTheSameWithAndWithoutPadding) {
  const std::string padded = listed("S2", "One", "R1      ");
  const tool::Results results = read({inventory(padded + kDrive + padded)});
  EXPECT_EQ(tool::summarize(results).revisions,
            (std::vector<std::pair<std::string, std::size_t>>{{"R1", 3}}));
  EXPECT_THAT(summary(results), HasSubstr("; revisions R1 x 3\n"));
  std::ostringstream json;
  tool::writeJson(json, results, false);
  EXPECT_THAT(json.str(), HasSubstr("\"revision\": \"R1      \""));
}

TEST_F(Results, JsonHoldsEverything) {
  std::ostringstream out;
  tool::writeJson(out, read({inventory(kDrive + kFailure), "<broken"}), false);
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
  const tool::Results results = read({inventory(kComponent + kFailure)});
  tool::writeCsv(out, tool::rowsOf(results));
  EXPECT_EQ(
      out.str(),
      "document,kind,position,outcome,failed,messageId,message,name,componentId,vendorId,deviceId,subVendorId,"
      "subDeviceId,enum,serialNumber,componentType,revision,newRevision\r\n"
      "1.xml,inventory,2,failed,true,7,It broke,,,,,,,,,,,\r\n"
      "1.xml,inventory,1,listed,false,0,,\"Package, \"\"quoted\"\"\",12345,,,,,,,APP,3.1,\r\n");
}

TEST_F(Results, CsvKeepsSpreadsheetsFromRunningValues) {
  const auto fieldFor = [&](const std::string& name) {
    std::ostringstream out;
    const tool::Results results = read({inventory("<Device componentID=\"1\" display=\"" + name +
                                                  "\" ><Application version=\"1\"/></Device>")});
    tool::writeCsv(out, tool::rowsOf(results));
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
  EXPECT_THAT(summary(results), HasSubstr("\n1.xml: not well-formed at line 1, column "));
  EXPECT_THAT(summary(results), HasSubstr("; read all the same, by the form in which nvmepcissd writes\n"));
  std::ostringstream json;
  tool::writeJson(json, results, false);
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
              HasSubstr("; its first record does not begin like one of nvmepcissd"));
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
  EXPECT_THAT(problemOf(inventory("\xFF")), HasSubstr("not proper UTF-8"));
  const tool::Results missing = tool::readResults({"missing.xml"});
  EXPECT_EQ(missing.unreadable.at(0).problem, "cannot be read: No such file or directory");
}

TEST_F(Results, AFolderGivesItsDocumentsInOrderAndPassesOverTheRest) {
  writeFile("rack/b/update.xml", update(updated("S1")));
  writeFile("rack/a.xml", inventory(kDrive));
  writeFile("rack/package.xml", "<SoftwareComponent/>");
  writeFile("rack/plan.json", "[1]");
  writeFile("rack/cut.xml", inventory(kDrive).substr(0, 100));
  writeFile("rack/notes.txt", "x");
  const tool::Results results = tool::readResults({"rack"});
  ASSERT_EQ(results.files.size(), 2U);
  EXPECT_EQ(results.files[0].source, "rack/a.xml");
  EXPECT_EQ(results.files[1].source, "rack/b/update.xml");
  EXPECT_EQ(results.passedOver, 2U);
  ASSERT_EQ(results.unreadable.size(), 1U);
  EXPECT_EQ(results.unreadable[0].source, "rack/cut.xml");
  EXPECT_TRUE(tool::isAmong(results, "rack/../rack/a.xml"));
  EXPECT_FALSE(tool::isAmong(results, "rack/notes.txt"));

  std::filesystem::create_directory("nothing");
  EXPECT_EQ(tool::readResults({"nothing"}).unreadable.at(0).problem, "holds no .xml and no .json file");
}

TEST_F(Results, NoDrivesIsAWarning) {
  EXPECT_EQ(
      summary(read({inventory("")})),
      "1 document, 0 records: 0 failed\n"
      "WARNING: 1.xml: no drives; nobody can tell why: a server without drives, a missing drive library and a "
      "failed discovery look the same\n");
  std::ostringstream coloured;
  tool::writeSummary(coloured, read({inventory("")}), true);
  EXPECT_THAT(coloured.str(), StartsWith("\033[33m1 document"));
  EXPECT_THAT(coloured.str(), Not(HasSubstr("\033[32m")));
}

TEST_F(Results, AVerdictSaysWhyThereAreNoDrives) {
  EXPECT_THAT(summary(read({verdict("", R"("lost", "no\u001b answer")")})),
              EndsWith("WARNING: 1.xml: no drives: lost; no. answer\n"));
}

TEST_F(Results, TheMostFrequentRevisionComesFirst) {
  EXPECT_THAT(summary(read({inventory(listed("S1", "One", "R3") + listed("S2", "One", "R1") +
                                      listed("S3", "One", "R2") + listed("S4", "One", "R2"))})),
              HasSubstr("; revisions R2 x 2, R1 x 1, R3 x 1\n"));
}

TEST_F(Results, OldRevisionsAreCountedApart) {
  EXPECT_THAT(summary(read({inventory(listed("S1", "One", "R2")), update(updated("S1", "One", "R1"))})),
              HasSubstr("; revisions R2 x 1; revisions before updates R1 x 1\n"));
}

}  // namespace
