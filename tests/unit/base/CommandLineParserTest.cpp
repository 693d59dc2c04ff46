#include "CommandLineParser.h"

#include <gtest/gtest.h>

#include <iostream>
#include <ostream>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace {

const std::string kUsage =
    "\nUsage: -h\n\tProvides detailed help information\n\nUsage: -i [-o <output filename>] [-debug]\n"
    "\tProvides inventory information of all identified devices.\n\t-o Specifies the output filename.\n"
    "\t-d Specifies to create a debug log file.\n\nUsage: -u [-s <image folder>] [-f] [-o <output filename>] "
    "[-debug [filename]]\n===========================================================================\n";

/// What a parser holds.
struct State {
  bool inventory = false;
  bool update = false;
  bool force = false;
  bool debug = false;
  std::string output = {};
  std::string log = "debug.log";
  bool operator==(const State&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const State& state) {
  return stream << (state.inventory ? "inventory " : "") << (state.update ? "update " : "")
                << (state.force ? "force " : "") << (state.debug ? "debug " : "") << "output '"
                << state.output << "' log '" << state.log << "'";
}

State stateOf(const CCommandLineParser& parser) {
  return {parser.isInventory(), parser.isUpdate(),          parser.isForceMode(),
          parser.isDebug(),     parser.getOutputFileName(), parser.getDebugFilename()};
}

enum Answer { kGoesOn, kGoesOnWithUsage, kRefusedWithUsage };

struct CommandLine {
  std::vector<std::string> words;  ///< after the program's name
  Answer answer;
  State state;
};

const CommandLine kCommandLines[] = {
    // one option
    {{"-i"}, kGoesOn, {.inventory = true}},
    {{"-u"}, kGoesOn, {.update = true}},
    {{"-f"}, kGoesOn, {.force = true}},
    {{"-h"}, kGoesOnWithUsage, {}},
    {{"-o", "out.xml"}, kGoesOn, {.output = "out.xml"}},
    {{"-d"}, kGoesOn, {.debug = true}},
    {{"-d", "my.log"}, kGoesOn, {.debug = true, .log = "my.log"}},
    // no combination is rejected
    {{"-i", "-u"}, kGoesOn, {.inventory = true, .update = true}},
    {{"-f", "-d"}, kGoesOn, {.force = true, .debug = true}},
    {{"-d", "-i"}, kGoesOn, {.inventory = true, .debug = true}},
    {{"-d", "my.log", "-i"}, kGoesOn, {.inventory = true, .debug = true, .log = "my.log"}},
    {{"-u", "-o", "out.xml", "-f", "-d", "my.log", "-i"},
     kGoesOn,
     {.inventory = true, .update = true, .force = true, .debug = true, .output = "out.xml", .log = "my.log"}},
    // -o takes any word as its value, -d only one that does not begin with a dash
    {{"-o", "-i"}, kGoesOn, {.output = "-i"}},
    {{"-o", "-o"}, kGoesOn, {.output = "-o"}},
    {{"-o", "-h", "-i"}, kGoesOn, {.inventory = true, .output = "-h"}},
    {{"-o", ""}, kGoesOn, {}},
    {{"-o", "a file"}, kGoesOn, {.output = "a file"}},
    {{"-d", ""}, kGoesOn, {.debug = true, .log = ""}},
    {{"-d", "i"}, kGoesOn, {.debug = true, .log = "i"}},
    {{"-d", "-o", "out.xml"}, kGoesOn, {.debug = true, .output = "out.xml"}},
    {{"-d", "-"}, kRefusedWithUsage, {.debug = true}},
    {{"-d", "-x"}, kRefusedWithUsage, {.debug = true}},
    // a repeated option overwrites its value
    {{"-i", "-i"}, kGoesOn, {.inventory = true}},
    {{"-o", "first", "-o", "second"}, kGoesOn, {.output = "second"}},
    {{"-d", "first", "-d", "second"}, kGoesOn, {.debug = true, .log = "second"}},
    {{"-d", "first", "-d"}, kGoesOn, {.debug = true, .log = "first"}},
    {{"-d", "-d"}, kGoesOn, {.debug = true}},
    // -h ends the parsing; what was set stays set
    {{"-i", "-h", "-x"}, kGoesOnWithUsage, {.inventory = true}},
    {{"-h", "-u"}, kGoesOnWithUsage, {}},
    {{"-h", "-o"}, kGoesOnWithUsage, {}},
    {{"-h", "-h"}, kGoesOnWithUsage, {}},
    {{"-d", "-h"}, kGoesOnWithUsage, {.debug = true}},
    {{"-o", "out.xml", "-u", "-f", "-h"},
     kGoesOnWithUsage,
     {.update = true, .force = true, .output = "out.xml"}},
    // a missing value
    {{"-o"}, kRefusedWithUsage, {}},
    {{"-i", "-o"}, kRefusedWithUsage, {.inventory = true}},
    {{"-o", "out.xml", "-o"}, kRefusedWithUsage, {.output = "out.xml"}},
    // no option at all
    {{}, kRefusedWithUsage, {}},
    // words that are not exactly an option
    {{""}, kRefusedWithUsage, {}},
    {{"-"}, kRefusedWithUsage, {}},
    {{"--"}, kRefusedWithUsage, {}},
    {{"i"}, kRefusedWithUsage, {}},
    {{"-I"}, kRefusedWithUsage, {}},
    {{"--i"}, kRefusedWithUsage, {}},
    {{"-ii"}, kRefusedWithUsage, {}},
    {{"-i "}, kRefusedWithUsage, {}},
    {{" -i"}, kRefusedWithUsage, {}},
    {{"-iu"}, kRefusedWithUsage, {}},
    {{"-oout.xml"}, kRefusedWithUsage, {}},
    {{"-help"}, kRefusedWithUsage, {}},
    {{"--help"}, kRefusedWithUsage, {}},
    {{"-?"}, kRefusedWithUsage, {}},
    {{"-debug"}, kRefusedWithUsage, {}},
    {{"-debug", "my.log"}, kRefusedWithUsage, {}},
    {{"-s"}, kRefusedWithUsage, {}},
    {{"-s", "images"}, kRefusedWithUsage, {}},
    {{"-u", "-s", "images"}, kRefusedWithUsage, {.update = true}},
    {{"file"}, kRefusedWithUsage, {}},
    {{"-i", "file", "-u"}, kRefusedWithUsage, {.inventory = true}},
    {{"-o", "out.xml", "more"}, kRefusedWithUsage, {.output = "out.xml"}},
    {{"-d", "my.log", "more"}, kRefusedWithUsage, {.debug = true, .log = "my.log"}},
};

class CommandLineParser : public testing::Test {
 protected:
  /// Parses the words after a program name and keeps what was printed.
  bool parse(std::vector<std::string> words) {
    std::string program = "nvmepcissd";
    std::vector<char*> arguments = {program.data()};
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    return parse(static_cast<int>(words.size()) + 1, arguments.data());
  }

  bool parse(int argc, char** argv) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const bool result = m_parser.parseCLI(argc, argv);
    m_printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    return result;
  }

  CCommandLineParser m_parser;
  std::string m_printed;
};

std::string shown(const CommandLine& line) {
  std::string text = "nvmepcissd";
  for (const std::string& word : line.words) text += " '" + word + "'";
  return text;
}

TEST_F(CommandLineParser, GivesEveryCommandLineItsAnswerFlagsAndNames) {
  for (const CommandLine& line : kCommandLines) {
    SCOPED_TRACE(shown(line));
    m_parser = {};
    EXPECT_EQ(parse(line.words), line.answer != kRefusedWithUsage);
    EXPECT_EQ(stateOf(m_parser), line.state);
    EXPECT_EQ(m_printed, line.answer == kGoesOn ? "" : kUsage);
  }
}

TEST_F(CommandLineParser, HoldsTheDefaultsBeforeParsing) {
  EXPECT_EQ(stateOf(m_parser), State{});
}

TEST_F(CommandLineParser, RefusesToGoOnWithoutArguments) {
  char name[] = "nvmepcissd";
  char option[] = "-i";
  char* arguments[] = {name, option, nullptr};
  for (const int count : {1, 0, -1, -2147483647 - 1}) {
    SCOPED_TRACE(count);
    EXPECT_FALSE(parse(count, arguments));
    EXPECT_EQ(m_printed, kUsage);
    EXPECT_EQ(stateOf(m_parser), State{});
  }
}

TEST_F(CommandLineParser, RefusesANullArgumentVectorWhateverItsCount) {
  for (const int count : {0, 1, 2, 100}) {
    SCOPED_TRACE(count);
    EXPECT_FALSE(parse(count, nullptr));
    EXPECT_EQ(m_printed, kUsage);
  }
}

TEST_F(CommandLineParser, LooksAtNoWordBeyondTheCount) {
  char name[] = "nvmepcissd";
  char output[] = "-o";
  char debug[] = "-d";
  char value[] = "value";
  char* outputOnly[] = {name, output, value, nullptr};
  EXPECT_FALSE(parse(2, outputOnly));
  EXPECT_EQ(stateOf(m_parser), State{});

  m_parser = {};
  char* debugOnly[] = {name, debug, value, nullptr};
  EXPECT_TRUE(parse(2, debugOnly));
  EXPECT_EQ(stateOf(m_parser), State{.debug = true});
}

TEST_F(CommandLineParser, UsageTextIsTheAgreedOneToTheByte) {
  testing::internal::CaptureStdout();
  m_parser.printUsage();
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(printed, kUsage);
  EXPECT_EQ(printed.size(), 381U);
  EXPECT_EQ(printed.substr(printed.size() - 77), "\n" + std::string(75, '=') + "\n");
}

TEST_F(CommandLineParser, UsageTextIsNotFlushed) {
  struct FlushCounter : std::stringbuf {
    int sync() override { return ++flushes, 0; }
    int flushes = 0;
  } buffer;
  std::streambuf* const before = std::cout.rdbuf(&buffer);
  m_parser.printUsage();
  std::cout.rdbuf(before);
  EXPECT_EQ(buffer.str(), kUsage);
  EXPECT_EQ(buffer.flushes, 0);
}

TEST_F(CommandLineParser, IsDestroyedThroughItsOwnTable) {
  EXPECT_TRUE(std::has_virtual_destructor_v<CCommandLineParser>);
}

}  // namespace
