// The built executable: what it prints and how it ends.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "TestSupport.h"
#include "ToolProcess.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr char kInventory[] =
    R"(<SVMInventory><Device componentID="1" display="One"><Application version="R1"/></Device></SVMInventory>)";

class Tool : public testing::Test {
 protected:
  struct Outcome {
    int exitStatus;
    std::string output;      // standard output
    std::string complaints;  // standard error
  };

  /// Runs the tool with a shell's words as its arguments.
  static Outcome run(const std::string& arguments, const std::string& command = TOOL_EXECUTABLE,
                     const std::string& input = "/dev/null") {
    const int status = std::system((command + " " + arguments + " >out.txt 2>err.txt <" + input).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile("out.txt"), readFile("err.txt")};
  }

  static bool hasTerminals() {
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    const bool isOne = terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0;
    if (terminal >= 0) close(terminal);
    return isOne;
  }

  /// What a shell command writes to a terminal.
  static std::string onTerminal(const std::string& command, const std::string& environment = "TERM=xterm") {
    return run("", "env --unset=COLUMNS " + environment + " script -qec '" + command + "' /dev/null").output;
  }

  WorkingFolder m_folder;
};

constexpr char kNoTerminals[] = "this machine has no pseudo-terminals (/dev/pts)";

TEST_F(Tool, WrongUsageEndsWithTwoAndExplainsItself) {
  for (const char* const arguments : {"", "burn", "check", "check missing-folder", "check . .", "show",
                                      "show --json --csv a", "report a", "show --nonsense a"}) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.exitStatus, 2) << arguments;
    EXPECT_THAT(outcome.complaints, HasSubstr("Run with --help for more information.")) << arguments;
    EXPECT_THAT(outcome.output, IsEmpty()) << arguments;
  }
}

TEST_F(Tool, HelpIsThereForEverySubcommand) {
  EXPECT_THAT(run("--help").output, AllOf(HasSubstr("check"), HasSubstr("show"), HasSubstr("report")));
  for (const char* const subcommand : {"check", "show", "report"}) {
    const Outcome outcome = run(std::string(subcommand) + " --help");
    EXPECT_EQ(outcome.exitStatus, 0) << subcommand;
    EXPECT_THAT(outcome.output, HasSubstr("Exit status: 0 ")) << subcommand;
  }
  EXPECT_THAT(run("--version").output, testing::MatchesRegex("nvmepcissd-tool [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(Tool, AnUnknownSubcommandIsNamedBesideThoseThereAre) {
  EXPECT_THAT(run("burn -o x").complaints, StartsWith("\"burn\" is no subcommand; there are check, "));
  EXPECT_THAT(run("show --columns colour a").complaints, HasSubstr("colour"));
}

/// Leaves out the findings that the simulator's folder always has, since it is no package.
constexpr char kOnlyTraps[] =
    "check --ignore simulator-part --ignore owner --ignore parent-writable --ignore support-library --ignore "
    "payload-text --ignore executable-missing --ignore rollback-missing ";

TEST_F(Tool, CheckReportsPlaceConsequenceAndRemedy) {
  std::filesystem::copy(SIMULATOR_FOLDER, "component", std::filesystem::copy_options::recursive);
  ASSERT_EQ(std::system("chmod -R go-w component && chmod 755 component/fwkitinstall.sh"), 0);
  const Outcome outcome = run(std::string(kOnlyTraps) + "component");
  EXPECT_EQ(outcome.exitStatus, 1);
  EXPECT_EQ(
      outcome.output,
      "component/package.xml:68: warning: deviceID=\"0a54\" has a leading zero [pciinfo-id-short]\n"
      "    at run time: drives give their ids without leading zeros and entries have four digits: the "
      "drive's display stays empty\n"
      "    to fix: write the four digits of the drive's id; when it is below 1000 (hexadecimal), no entry can "
      "name the drive: remove this one\n"
      "1 warning\n");
  const std::string text = run(std::string(kOnlyTraps) + "--json component").output;
  EXPECT_EQ(schemaComplaint(text, "check.json"), "");
  const nlohmann::json json = nlohmann::json::parse(text);
  ASSERT_EQ(json["findings"].size(), 1U);
  EXPECT_EQ(json["findings"][0]["file"], "component/package.xml");
  EXPECT_EQ(json["findings"][0]["line"], 68);
}

TEST_F(Tool, ACleanFolderEndsWithZeroAndIsLeftAsItWas) {
  std::filesystem::copy(SIMULATOR_FOLDER, "component", std::filesystem::copy_options::recursive);
  ASSERT_EQ(std::system("sed -i 's/\"0a54\"/\"1a54\"/' component/package.xml && chmod -R go-w component && "
                        "chmod 755 component/fwkitinstall.sh && ls -lR component >before.txt"),
            0);
  const Outcome outcome = run(std::string(kOnlyTraps) + "component");
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_EQ(outcome.output, "no findings\n");
  EXPECT_EQ(std::system("ls -lR component | cmp - before.txt"), 0);
}

TEST_F(Tool, ShowEndsWithOneWhenADocumentCannotBeRead) {
  writeFile("good.xml", kInventory);
  writeFile("bad.xml", "<SVMInventory><Device display=\"<\"/></SVMInventory>");
  EXPECT_EQ(run("show good.xml").exitStatus, 0);
  const Outcome outcome = run("show good.xml bad.xml missing.xml");
  EXPECT_EQ(outcome.exitStatus, 1);
  EXPECT_THAT(outcome.complaints, AllOf(StartsWith("bad.xml: not well-formed at line 1, column "),
                                        HasSubstr("\nmissing.xml: cannot be read: ")));
  EXPECT_THAT(outcome.output,
              AllOf(HasSubstr("good.xml  1  listed"), HasSubstr("; 2 documents unreadable;")));
  EXPECT_EQ(schemaComplaint(run("show --json good.xml bad.xml missing.xml").output, "show.json"), "");
}

TEST_F(Tool, ShowPassesOverWhatIsNoDocumentInAFolder) {
  std::filesystem::create_directory("folder");
  writeFile("folder/good.xml", kInventory);
  writeFile("folder/package.xml", "<SoftwareComponent/>");
  EXPECT_THAT(run("show folder").output, HasSubstr("\n1 file of other kinds passed over in folders\n"));
  const std::string csv = run("show --csv folder").output;
  EXPECT_THAT(csv, StartsWith("document,kind,"));
  EXPECT_THAT(csv, HasSubstr("\r\nfolder/good.xml,inventory,"));
}

TEST_F(Tool, ShowFitsTheTerminal) {
  if (!hasTerminals()) GTEST_SKIP() << kNoTerminals;
  writeFile("a-file-with-a-name-that-takes-up-the-better-part-of-a-line-and-more.xml", kInventory);
  const std::string show = "; " TOOL_EXECUTABLE " show *.xml ";
  EXPECT_THAT(onTerminal("stty cols 120" + show), HasSubstr(" 1  listed   R1"));
  EXPECT_THAT(onTerminal("stty cols 80" + show),
              HasSubstr("...the-better-part-of-a-line-and-more.xml  1  listed"));
  EXPECT_THAT(onTerminal("stty cols 120; export COLUMNS=80" + show),
              HasSubstr("...the-better-part-of-a-line"));
  EXPECT_THAT(onTerminal("stty cols 80" + show + "--full"), HasSubstr("a-file-with-a-name-that"));
}

TEST_F(Tool, ShowTellsAFailedRecordOnRequest) {
  writeFile("good.xml", kInventory);
  writeFile(
      "failed.xml",
      R"(<SVMExecution><SPStatus result="false"><Message id="7">No</Message></SPStatus></SVMExecution>)");
  EXPECT_EQ(run("show good.xml failed.xml").exitStatus, 0);
  EXPECT_EQ(run("show --fail-on-failed good.xml").exitStatus, 0);
  const Outcome outcome =
      run("show --failed --fail-on-failed --columns message,document good.xml failed.xml");
  EXPECT_EQ(outcome.exitStatus, 1);
  EXPECT_THAT(outcome.output,
              StartsWith("MESSAGE  DOCUMENT\nNo       failed.xml\n\n2 documents, 2 records: "));
}

TEST_F(Tool, NamesOfFilesAreNotObeyedByTerminals) {
  std::filesystem::create_directory("component");
  writeFile("component/a\033[31mb", "x");
  ASSERT_EQ(std::system("chmod -R 777 component"), 0);
  EXPECT_THAT(
      run("check component").output,
      AllOf(HasSubstr("component/a.[31mb: error: may be written by everybody"), Not(HasSubstr("\033"))));
  EXPECT_THAT(run("show \"$(printf 'a\\033[31mb')\"").complaints, StartsWith("a.[31mb: cannot be read: "));
}

TEST_F(Tool, ShowUsesColourOnATerminalOnly) {
  writeFile("good.xml", kInventory);
  EXPECT_THAT(run("show good.xml").output, Not(HasSubstr("\033")));
  if (!hasTerminals()) GTEST_SKIP() << kNoTerminals;
  const std::string show = TOOL_EXECUTABLE " show good.xml";
  EXPECT_THAT(onTerminal(show), HasSubstr("\033["));
  EXPECT_THAT(onTerminal(show, "TERM=xterm NO_COLOR=1"), Not(HasSubstr("\033")));
}

TEST_F(Tool, ShowReadsFromStandardInputAndPipes) {
  writeFile("good.xml", kInventory);
  EXPECT_THAT(run("show -", TOOL_EXECUTABLE, "good.xml").output, HasSubstr("standard input  1  listed   R1"));
  ASSERT_EQ(std::system("mkfifo pipe && (cat good.xml >pipe &)"), 0);
  EXPECT_THAT(run("show pipe").output, HasSubstr("pipe      1  listed   R1"));
  // The message has the place in the document, although a pipe can be read only once.
  writeFile("bad.xml", "<SVMInventory lang=\"&\"></SVMInventory>");
  ASSERT_EQ(std::system("(cat bad.xml >pipe &)"), 0);
  EXPECT_THAT(run("show pipe").complaints, HasSubstr("\n    <SVMInventory lang=\"&\"></SVMInventory>\n"));
}

TEST_F(Tool, ReportWritesThePage) {
  writeFile("good.xml", kInventory);
  const Outcome outcome = run("report good.xml -o page.html");
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_THAT(outcome.output, IsEmpty());
  EXPECT_THAT(readFile("page.html"), AllOf(StartsWith("<!DOCTYPE html>"), HasSubstr("</html>\n")));
  EXPECT_EQ(run("report good.xml -o page.html").exitStatus, 0) << "its own page is replaced";
  EXPECT_EQ(run("report good.xml -o missing/page.html").exitStatus, 1);
  EXPECT_EQ(run("report good.xml -o /dev/full").exitStatus, 1);
  EXPECT_THAT(run("report good.xml -o -").output, StartsWith("<!DOCTYPE html>"));
}

TEST_F(Tool, ReportReplacesNothingButItsOwnPages) {
  writeFile("good.xml", kInventory);
  writeFile("notes.txt", "mine");
  writeFile("empty", "");
  std::filesystem::create_directory("folder");
  for (const char* const other : {"notes.txt", "empty", "folder", "good.xml", "./folder/../good.xml"}) {
    const Outcome outcome = run("report good.xml -o " + std::string(other));
    EXPECT_EQ(outcome.exitStatus, 1) << other;
    EXPECT_THAT(outcome.complaints, HasSubstr(": cannot be written: ")) << other;
  }
  EXPECT_EQ(readFile("notes.txt"), "mine");
  EXPECT_EQ(readFile("good.xml"), kInventory);
  // A page of its own that is among what it was told to read.
  ASSERT_EQ(run("report good.xml -o page.xml").exitStatus, 0);
  EXPECT_THAT(run("report good.xml page.xml -o page.xml").complaints,
              HasSubstr("cannot be written: is one of the documents"));
}

TEST_F(Tool, OutputThatCannotBeWrittenIsAFailure) {
  writeFile("good.xml", kInventory);
  const int status =
      std::system((std::string(TOOL_EXECUTABLE) + " show good.xml >/dev/full 2>err.txt").c_str());
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_EQ(readFile("err.txt"), "standard output: cannot be written\n");
}

}  // namespace
