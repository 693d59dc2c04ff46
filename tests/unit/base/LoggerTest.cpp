#include "Logger.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "TestSupport.h"

using namespace std::string_literals;

namespace {

using Messages = std::vector<std::string>;

constexpr std::size_t kStampSize = sizeof("[2026-01-31T12:00:00]") - 1;
constexpr char kSource[] = "src/A.cpp";
CLogger* const kInstanceAtStart = CLogger::m_ptrInstance;

/// Replaces the process's logger, and has a working folder for its files.
class Logger : public testing::Test {
 protected:
  Logger() : m_before(CLogger::m_ptrInstance) { CLogger::m_ptrInstance = &m_logger; }
  ~Logger() override { CLogger::m_ptrInstance = m_before; }

  void log(const std::string& source, unsigned int line, const std::string& message) {
    m_logger.log(std::string(source).data(), line, message);
  }
  void log(const std::string& message) { log(kSource, 1, message); }

  /// The messages that a log file holds.
  static Messages logged(const std::string& file) { return messages(readFile(file)); }

  WorkingFolder m_folder;
  CLogger m_logger;

 private:
  CLogger* m_before;
};

TEST_F(Logger, IsOffAndMakesNoFileUntilInitialized) {
  log("lost");
  LOG("lost");
  EXPECT_FALSE(m_logger.isEnabled());
  EXPECT_TRUE(std::filesystem::is_empty(m_folder.path()));
}

TEST_F(Logger, InitializeMakesAnEmptyFileAndSwitchesOn) {
  m_logger.Initialize("debug.log");
  EXPECT_TRUE(m_logger.isEnabled());
  EXPECT_EQ(readFile("debug.log"), "");
}

TEST_F(Logger, LinesHaveTheAgreedLayoutToTheByte) {
  const std::string path50 = "cm_CMBaseUtils/src/" + std::string(27, 'n') + ".cpp";
  const struct {
    std::string source;
    unsigned int line;
    std::string message;
    std::string written;  ///< after the time stamp
  } kCases[] = {
      {"src/NVMeAdapter.cpp", 42, "Entering CNVMeAdapter::Initialize()",
       " :                                src/NVMeAdapter.cpp:   42: Entering CNVMeAdapter::Initialize()\n"},
      {"", 0, "", " :                                                   :    0: \n"},
      {"a", 12345, " m ", " :                                                  a:12345:  m \n"},
      {"a b:c", 123456, "m", " :                                              a b:c:123456: m\n"},
      {"a", 4294967295, "m", " :                                                  a:4294967295: m\n"},
      {path50.substr(1), 7, "m", " :  " + path50.substr(1) + ":    7: m\n"},
      {path50, 7, "m", " : " + path50 + ":    7: m\n"},
      {"/" + path50, 7, "m", " : /" + path50 + ":    7: m\n"},
      {path50 + path50 + path50, 99999, "m", " : " + path50 + path50 + path50 + ":99999: m\n"},
      {"a", 1, "\0, \n and \r\n stay\0"s,
       " :                                                  a:    1: \0, \n and \r\n stay\0\n"s},
      {"a", 1, "\x01\x7f\xff", " :                                                  a:    1: \x01\x7f\xff\n"},
  };
  ASSERT_EQ(path50.size(), 50U);
  m_logger.Initialize("debug.log");
  std::size_t known = 0;
  for (const auto& [source, line, message, written] : kCases) {
    log(source, line, message);
    const std::string text = readFile("debug.log").substr(known);
    EXPECT_EQ(text.substr(kStampSize), written);
    known += text.size();
  }
}

TEST_F(Logger, ALongMessageIsWrittenWhole) {
  const std::string message(1'000'000, 'm');
  m_logger.Initialize("debug.log");
  log(message);
  EXPECT_EQ(logged("debug.log"), Messages{message});
}

TEST_F(Logger, StampsLinesWithTheLocalTime) {
  class Zone {
   public:
    explicit Zone(const char* zone) : m_before(std::getenv("TZ") == nullptr ? "" : std::getenv("TZ")) {
      setenv("TZ", zone, 1);
      tzset();
    }
    ~Zone() {
      m_before.empty() ? unsetenv("TZ") : setenv("TZ", m_before.c_str(), 1);
      tzset();
    }

   private:
    std::string m_before;
  };
  const Zone fiveAndAHalfHoursAhead("XYZ-05:30");
  const auto stamp = [](std::time_t utc) {
    const std::time_t shifted = utc + (5 * 60 + 30) * 60;
    std::array<char, 80> text{};
    std::strftime(text.data(), text.size(), "[%Y-%m-%dT%H:%M:%S]", std::gmtime(&shifted));
    return std::string(text.data());
  };
  m_logger.Initialize("debug.log");
  const std::time_t before = std::time(nullptr);
  log("m");
  const std::time_t after = std::time(nullptr);
  const std::string written = readFile("debug.log").substr(0, kStampSize);
  EXPECT_LE(stamp(before), written);
  EXPECT_LE(written, stamp(after));
}

TEST_F(Logger, EveryLineIsOnDiskWhenTheCallReturns) {
  m_logger.Initialize("debug.log");
  log("first");
  EXPECT_EQ(logged("debug.log"), Messages({"first"}));
  log("second");
  EXPECT_EQ(logged("debug.log"), Messages({"first", "second"}));
}

TEST_F(Logger, LinesGoBehindWhatOthersHaveAddedToTheFile) {
  m_logger.Initialize("debug.log");
  log("first");
  const std::string before = readFile("debug.log");
  std::ofstream("debug.log", std::ios::app) << "added by another\n";
  log("second");
  EXPECT_EQ(readFile("debug.log").substr(0, before.size() + 17), before + "added by another\n");
  EXPECT_EQ(logged("debug.log"), Messages({"first\nadded by another", "second"}));
}

TEST_F(Logger, AnEarlierFileIsEmptied) {
  writeFile("debug.log", "an earlier run's line\n");
  m_logger.Initialize("debug.log");
  EXPECT_EQ(readFile("debug.log"), "");
}

TEST_F(Logger, OfTwoRunsOnlyTheSecondOnesLinesRemain) {
  for (const char* message : {"first run, with a long message", "second run"}) {
    CLogger run;
    run.Initialize("debug.log");
    run.log(std::string(kSource).data(), 1, message);
  }
  EXPECT_EQ(logged("debug.log"), Messages{"second run"});
}

TEST_F(Logger, ASecondInitializeSilencesTheLogAndMakesNoFile) {
  for (const char* second : {"baseutils.log", "debug.log", "missing/folder.log"}) {
    SCOPED_TRACE(second);
    CLogger logger;
    CLogger::m_ptrInstance = &logger;
    logger.Initialize("debug.log");
    LOG("kept");
    logger.Initialize(second);
    LOG("lost");
    EXPECT_TRUE(logger.isEnabled());
    EXPECT_FALSE(std::filesystem::exists("baseutils.log"));
    EXPECT_EQ(logged("debug.log"), Messages{"kept"});
  }
}

TEST_F(Logger, AFileThatCannotBeOpenedLeavesTheLogOff) {
  std::filesystem::create_directory("folder");
  for (const char* name : {"folder", "missing/debug.log", ""}) {
    SCOPED_TRACE(name);
    m_logger.Initialize(name);
    EXPECT_FALSE(m_logger.isEnabled());
    log("lost");
  }
  EXPECT_TRUE(std::filesystem::is_empty("folder"));
  EXPECT_FALSE(std::filesystem::exists("missing"));
}

TEST_F(Logger, TheFirstFileThatOpensIsTheLog) {
  m_logger.Initialize("missing/debug.log");
  log("lost");
  m_logger.Initialize("debug.log");
  log("kept");
  EXPECT_EQ(logged("debug.log"), Messages{"kept"});
}

TEST_F(Logger, ANullSourceEndsTheLog) {
  m_logger.Initialize("debug.log");
  log("kept");
  m_logger.log(nullptr, 1, "lost");
  log("lost");
  EXPECT_EQ(logged("debug.log"), Messages{"kept"});
}

TEST_F(Logger, ANullSourceIsIgnoredWhileTheLogIsOff) {
  m_logger.log(nullptr, 1, "lost");
  m_logger.Initialize("debug.log");
  log("kept");
  EXPECT_EQ(logged("debug.log"), Messages{"kept"});
}

TEST_F(Logger, TheMacroBuildsItsMessageOnlyWhileTheLogIsOn) {
  int built = 0;
  const auto message = [&built] { return "message " + std::to_string(++built); };
  LOG(message());
  EXPECT_EQ(built, 0);
  m_logger.Initialize("debug.log");
  LOG(message());
  EXPECT_EQ(built, 1);
  EXPECT_EQ(logged("debug.log"), Messages{"message 1"});
}

TEST_F(Logger, TheMacroNamesItsOwnSourceAndLine) {
  m_logger.Initialize("debug.log");
  LOG("m");
  const std::string line = std::to_string(__LINE__ - 1);
  const std::string source = "tests/unit/base/LoggerTest.cpp";
  EXPECT_EQ(readFile("debug.log").substr(kStampSize), " : " + std::string(50 - source.size(), ' ') + source +
                                                          ":" + std::string(5 - line.size(), ' ') + line +
                                                          ": m\n");
}

TEST_F(Logger, SharedCodeLogsAsComingFromItsCaller) {
  m_logger.Initialize("debug.log");
  const SLogSite site{"src/Caller.cpp", 17};
  LOG_AT(site, "m");
  EXPECT_EQ(readFile("debug.log").substr(kStampSize),
            " :                                     src/Caller.cpp:   17: m\n");
}

TEST_F(Logger, ATraceScopeLogsItsBeginAndItsEnd) {
  m_logger.Initialize("debug.log");
  {
    const CTraceScope scope({"src/Caller.cpp", 17}, "CCaller::work()");
    LOG("inside");
  }
  const std::vector<LogLine> kExpected = {{"src/Caller.cpp", "Entering CCaller::work()"},
                                          {"tests/unit/base/LoggerTest.cpp", "inside"},
                                          {"src/Caller.cpp", "Leaving CCaller::work()"}};
  EXPECT_EQ(parseLog(readFile("debug.log")), kExpected);
}

TEST(LoggerInstance, IsMadeOnTheFirstCallAndStays) {
  EXPECT_EQ(kInstanceAtStart, nullptr);
  CLogger* const instance = CLogger::GetInstance();
  EXPECT_NE(instance, nullptr);
  EXPECT_EQ(CLogger::m_ptrInstance, instance);
  EXPECT_EQ(CLogger::GetInstance(), instance);
  EXPECT_FALSE(instance->isEnabled());
}

}  // namespace
