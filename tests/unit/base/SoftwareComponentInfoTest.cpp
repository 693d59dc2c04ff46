#include "SoftwareComponentInfoTest.h"

#include <libxml/parser.h>

#include <filesystem>

namespace {

const Lines kNoAnswers{"id ", "type ", "version ", "display "};

const Lines kDataFileAnswers{
    "id 101",
    "type FRMW",
    "version 2.5.0",
    "display Example SSD 100",
    "100",
    "101",
    "100|a808|a801|144d|144d|Example SSD 100 Gen4",
    "100|00a8|0001|144d|144d|Example SSD 100 Gen4",
    "101|A80A|A812|144d|144d|Example SSD 100 Gen4",
    ("nonpci dependency=2 parent=100 id=900 type=APAC version=1.1 path=tools/update release=R900 "
     "display=Example tool detail=Helps the update"),
    "pci parent=100 id=901 type=BIOS version=3.0 path=bios/3 release=R901 display=Example BIOS pci=|10||8086||",
    "pci parent=100 id=901 type=BIOS version=3.0 path=bios/3 release=R901 display=Example BIOS pci=|11||8086||"};

// ---- Construction ----

TEST_F(SoftwareComponentInfoTest, CompleteDescriptorAnswersEveryQuery) {
  write(dataFile("package.xml"));
  EXPECT_EQ(answers(), kDataFileAnswers);
}

TEST_F(SoftwareComponentInfoTest, ConstructionLogsTheEndOfParsing) {
  write(dataFile("package.xml"));
  EXPECT_EQ(logOf([] { const CSoftwareComponentInfo reader; }), logged({"Init() Exiting"}));
}

TEST_F(SoftwareComponentInfoTest, ConstructionWithoutDescriptorLogsNothing) {
  EXPECT_EQ(logOf([] { const CSoftwareComponentInfo reader; }), kNothing);
}

TEST_F(SoftwareComponentInfoTest, ConstructionReportsADescriptorThatDoesNotParse) {
  write("<SoftwareComponent>");
  EXPECT_EQ(logOf([] { const CSoftwareComponentInfo reader; }),
            logged({"Init() Document " + path() + " not parsed successfully ", "Init() Exiting"}));
}

TEST_F(SoftwareComponentInfoTest, ParsingAgainSeesTheFileAsItIsThen) {
  CSoftwareComponentInfo reader;
  write("<SoftwareComponent>");
  EXPECT_EQ(logOf([&reader] { reader.ParseXMl(); }),
            logged({"Init() Document " + path() + " not parsed successfully ", "Init() Exiting"}));
}

TEST_F(SoftwareComponentInfoTest, ConstructionTurnsKeepingOfBlanksOffEvenWithoutDescriptor) {
  xmlKeepBlanksDefault(1);
  const CSoftwareComponentInfo reader;
  EXPECT_EQ(xmlKeepBlanksDefault(0), 0);
}

TEST_F(SoftwareComponentInfoTest, LogNamesTheReadersSource) {
  write(dataFile("package.xml"));
  const LogCapture log;
  answers();
  for (const LogLine& line : log.lines()) {
    EXPECT_EQ(line.source, "cm_CMBaseUtils/src/SoftwareComponentInfo.cpp") << line.message;
  }
  EXPECT_FALSE(log.lines().empty());
}

// ---- The marker file ----

/// Replaces the process's logger by one that has not been started.
class MarkerFileTest : public SoftwareComponentInfoTest {
 protected:
  MarkerFileTest() : m_before(CLogger::m_ptrInstance) {
    CLogger::m_ptrInstance = &m_logger;
    write(dataFile("package.xml"));
  }
  ~MarkerFileTest() override { CLogger::m_ptrInstance = m_before; }

  static void writeMarker() { writeFile("enabledebug.txt", ""); }
  static Lines baseLog() { return messages(readFile("baseutils.log")); }

 private:
  CLogger m_logger;
  CLogger* m_before;
};

TEST_F(MarkerFileTest, LogStaysOffWithoutMarker) {
  CSoftwareComponentInfo().GetComponentID();
  EXPECT_FALSE(std::filesystem::exists("baseutils.log"));
}

TEST_F(MarkerFileTest, FirstConstructionEmptiesAndStartsTheLogBeforeItsFirstLine) {
  writeMarker();
  writeFile("baseutils.log", "lines of an earlier run\n");
  const CSoftwareComponentInfo reader;
  EXPECT_EQ(baseLog(), logged({"Init() Exiting"}));
}

TEST_F(MarkerFileTest, SecondConstructionSilencesTheLogForGood) {
  writeMarker();
  CSoftwareComponentInfo reader;
  reader.GetComponentID();
  const Lines firstLines = logged({"Init() Exiting", "GetNodeSet() Exiting", "ParseXmlUsingXpath() Exiting"});
  EXPECT_EQ(baseLog(), firstLines);
  const CSoftwareComponentInfo second;
  reader.GetComponentID();
  const CSoftwareComponentInfo third;
  EXPECT_EQ(baseLog(), firstLines);
}

TEST_F(MarkerFileTest, LogThatIsOpenAlreadyIsSilencedAndNoSecondOneMade) {
  CLogger::GetInstance()->Initialize("debug.log");
  CSoftwareComponentInfo().GetComponentID();
  const std::string before = readFile("debug.log");
  writeMarker();
  CSoftwareComponentInfo().GetComponentID();
  EXPECT_EQ(readFile("debug.log"), before);
  EXPECT_EQ(messages(before),
            logged({"Init() Exiting", "GetNodeSet() Exiting", "ParseXmlUsingXpath() Exiting"}));
  EXPECT_FALSE(std::filesystem::exists("baseutils.log"));
}

TEST_F(MarkerFileTest, MarkerThatComesLaterStartsTheLogWithTheNextReader) {
  CSoftwareComponentInfo reader;
  writeMarker();
  reader.GetComponentID();
  EXPECT_FALSE(std::filesystem::exists("baseutils.log"));
  const CSoftwareComponentInfo second;
  EXPECT_EQ(baseLog(), logged({"Init() Exiting"}));
}

// ---- Bad descriptors ----

TEST_F(SoftwareComponentInfoTest, MalformedDescriptorIsReportedAndAnswersNothing) {
  for (const auto& [name, content] : malformedDocuments(dataFile("package.xml"))) {
    write(content);
    EXPECT_EQ(logOf([] { const CSoftwareComponentInfo reader; }),
              logged({"Init() Document " + path() + " not parsed successfully ", "Init() Exiting"}))
        << name;
    EXPECT_EQ(answers(), kNoAnswers) << name;
  }
}

TEST_F(SoftwareComponentInfoTest, DescriptorCutOffAnywhereAnswersNothing) {
  for (const auto& [name, content] : beginningsOf(dataFile("package.xml"))) {
    write(content);
    EXPECT_EQ(supported(), kNothing) << name;
  }
}

TEST_F(SoftwareComponentInfoTest, OtherFormsOfTheDescriptorAnswerTheSame) {
  for (const auto& [name, content] : otherFormsOf(dataFile("package.xml"))) {
    write(content);
    EXPECT_EQ(answers(), kDataFileAnswers) << name;
  }
}

TEST_F(SoftwareComponentInfoTest, ForeignDescriptorAnswersNothing) {
  for (const auto& [name, content] : foreignDocuments(dataFile("package.xml"), "SoftwareComponent")) {
    write(content);
    EXPECT_EQ(logOf([] { const CSoftwareComponentInfo reader; }), logged({"Init() Exiting"})) << name;
    EXPECT_EQ(answers(), kNoAnswers) << name;
  }
}

TEST_F(SoftwareComponentInfoTest, UnreadableDescriptorAnswersNothing) {
  const WithoutFilePrivileges unprivileged;
  for (const auto& [name, opens, make] : unreadableFiles()) {
    const WorkingFolder folder;
    make("package.xml");
    const std::string descriptor = folder / "package.xml";
    const Lines parsed =
        logged({"Init() Document " + descriptor + " not parsed successfully ", "Init() Exiting"});
    EXPECT_EQ(logOf([] { const CSoftwareComponentInfo reader; }), opens ? parsed : kNothing) << name;
    EXPECT_EQ(answers(), kNoAnswers) << name;
  }
}

TEST_F(SoftwareComponentInfoTest, FileThatTheDescriptorNamesIsNeverRead) {
  const GuardedFile guarded(m_folder / "guarded.txt");
  for (const auto& [name, content] : documentsThatName(guarded.path(), dataFile("package.xml"))) {
    write(content);
    EXPECT_EQ(answers(), kDataFileAnswers) << name;
    EXPECT_FALSE(guarded.wasOpened()) << name;
  }
  EXPECT_EQ(readFile(guarded.path()), GuardedFile::content());
  EXPECT_TRUE(guarded.wasOpened()) << "the guard must notice a reader";
}

TEST_F(SoftwareComponentInfoTest, ExternalEntityAsANameIsNoText) {
  const GuardedFile guarded(m_folder / "guarded.txt");
  write(withDoctype(device("<PCIInfo/><Display>&e;</Display>"),
                    "[<!ENTITY e SYSTEM \"" + guarded.path().string() + "\">]"));
  EXPECT_EQ(supported(), Lines{"100|||||"});
  EXPECT_FALSE(guarded.wasOpened());
}

}  // namespace
