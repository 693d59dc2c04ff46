// The stand-in of the rollback library: the script of failures, and the class of the built librbkl.so.0.

#include <dlfcn.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "RollbackScript.h"
#include "SimulatorTest.h"
#include "UpdRollbackWrapper.h"

namespace fs = std::filesystem;
using simulator::RollbackScript;

namespace {

RollbackScript read(const std::string& text) {
  const ScratchFolder folder;
  writeFile(folder / "script.json", text);
  return simulator::readRollbackScript(folder / "script.json");
}

/// What an action comes to: what it returns, or what it throws.
std::string outcomeOf(const std::function<int()>& action) {
  try {
    return std::to_string(action());
  } catch (unsigned char byte) {
    return "byte " + std::to_string(byte);
  } catch (const std::runtime_error& error) {
    return std::string("exception ") + error.what();
  }
}

std::string scripted(const std::string& operation, const std::string& entry) {
  return outcomeOf(read("{\"" + operation + "\": " + entry + "}").at(operation));
}

std::string complaint(const std::string& text) {
  const std::string message = messageOf([&] { read(text); });
  return message.substr(message.find(": ") + 2);
}

}  // namespace

TEST(RollbackScript, IsEmptyWithoutEntries) {
  EXPECT_TRUE(read("{}").empty());
}

TEST(RollbackScript, EveryOperationThrows) {
  for (const char* const operation :
       {"constructor", "addPayloadFiles", "updateFirmwarePartition", "destructor"}) {
    EXPECT_EQ(scripted(operation, R"({"throwByte": 0})"), "byte 0");
    EXPECT_EQ(scripted(operation, R"({"throwByte": 255})"), "byte 255");
    EXPECT_EQ(scripted(operation, R"({"throwException": "busy"})"), "exception busy");
  }
}

TEST(RollbackScript, OperationsWithAResultReturnIt) {
  for (const char* const operation : {"addPayloadFiles", "updateFirmwarePartition"}) {
    EXPECT_EQ(scripted(operation, R"({"return": -2147483648})"), "-2147483648");
    EXPECT_EQ(scripted(operation, R"({"return": 2147483647})"), "2147483647");
  }
}

TEST(RollbackScript, OddEntriesAreRefused) {
  const std::vector<std::pair<const char*, const char*>> cases = {
      {R"({"construct": {"throwByte": 1}})", "construct: is not known here"},
      {R"({"constructor": 1})", "constructor: must be an object"},
      {R"({"constructor": {}})", "constructor.throwByte or throwException: is missing"},
      {R"({"constructor": {"return": 1}})", "constructor.return: is not known here"},
      {R"({"addPayloadFiles": {}})", "addPayloadFiles.return, throwByte or throwException: is missing"},
      {R"({"addPayloadFiles": {"return": 2147483648}})",
       "addPayloadFiles.return: must be a whole number from -2147483648 to 2147483647"},
      {R"({"addPayloadFiles": {"return": 1, "throwByte": 1}})", "addPayloadFiles.return: is not known here"},
      {R"({"destructor": {"throwByte": 256}})", "destructor.throwByte: must be a whole number from 0 to 255"},
      {R"({"destructor": {"throwByte": -1}})", "destructor.throwByte: must be a whole number from 0 to 255"},
      {R"({"destructor": {"throwException": 1}})", "destructor.throwException: must be a text"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(complaint(text), expected) << text;
}

class SimulatedRollback : public testing::Test {
 protected:
  std::string calls() const { return readFile(folder / "calls"); }
  void writeScript(const std::string& text) const {
    writeFile("script.json", text);
    setenv("RBKL_SIMULATOR_SCENARIO", "script.json", 1);
  }
  static int add(UpdRollbackWrapper& wrapper, const fs::path& file) {
    return wrapper.addPayloadFiles(file.string(), true);
  }
  /// Constructs an object and destroys it again.
  static std::string lifeOfAnObject() {
    return outcomeOf([] {
      const UpdRollbackWrapper wrapper;
      return 0;
    });
  }

  void SetUp() override { writeFile("payload.bin", "firmware"); }
  void TearDown() override { unsetenv("RBKL_SIMULATOR_SCENARIO"); }

  WorkingFolder folder;
  Environment environment{"RBKL_SIMULATOR_CALLS", folder / "calls"};
};

TEST_F(SimulatedRollback, CopiesTheRegisteredFiles) {
  writeFile("other.bin", std::string(100'000, 'o'));
  UpdRollbackWrapper wrapper;
  EXPECT_EQ(add(wrapper, folder / "payload.bin"), 0);
  EXPECT_EQ(wrapper.addPayloadFiles(folder / "other.bin", false), 0);
  EXPECT_TRUE(fs::is_empty("rollback-partition"));
  EXPECT_EQ(wrapper.updateFirmwarePartition(), 0);
  EXPECT_EQ(readFile("rollback-partition/payload.bin"), "firmware");
  EXPECT_EQ(readFile("rollback-partition/other.bin"), std::string(100'000, 'o'));
}

TEST_F(SimulatedRollback, RecordsItsCalls) {
  {
    UpdRollbackWrapper wrapper;
    add(wrapper, folder / "payload.bin");
    wrapper.addPayloadFiles("none", false);
    wrapper.updateFirmwarePartition();
  }
  EXPECT_EQ(calls(), "constructor\naddPayloadFiles\t" + (folder / "payload.bin").string() +
                         "\ttrue\naddPayloadFiles\tnone\tfalse\nupdateFirmwarePartition\ndestructor\n");
}

TEST_F(SimulatedRollback, TakesThePartitionsPlaceFromTheEnvironment) {
  const Environment elsewhere("RBKL_SIMULATOR_PARTITION", folder / "a" / "b");
  UpdRollbackWrapper wrapper;
  EXPECT_EQ(add(wrapper, "payload.bin"), 0);
  EXPECT_EQ(wrapper.updateFirmwarePartition(), 0);
  EXPECT_EQ(readFile("a/b/payload.bin"), "firmware");
  EXPECT_FALSE(fs::exists("rollback-partition"));
}

TEST_F(SimulatedRollback, RefusesFilesThatCannotBeRead) {
  UpdRollbackWrapper wrapper;
  EXPECT_EQ(add(wrapper, folder / "none.bin"), 103);
  EXPECT_EQ(add(wrapper, folder.path()), 103);
  EXPECT_EQ(add(wrapper, ""), 103);
}

TEST_F(SimulatedRollback, RefusesASecondFileOfOneName) {
  writeFile("other/payload.bin", "other");
  UpdRollbackWrapper wrapper;
  EXPECT_EQ(add(wrapper, "payload.bin"), 0);
  EXPECT_EQ(add(wrapper, "other/payload.bin"), 104);
  EXPECT_EQ(wrapper.updateFirmwarePartition(), 0);
  EXPECT_EQ(readFile("rollback-partition/payload.bin"), "firmware");
}

TEST_F(SimulatedRollback, KeepsWhatItHadOfAFileThatCannotBeCopied) {
  writeFile("rollback-partition/payload.bin", "old");
  UpdRollbackWrapper wrapper;
  writeFile("first.bin", "first");
  EXPECT_EQ(add(wrapper, "first.bin"), 0);
  EXPECT_EQ(add(wrapper, "payload.bin"), 0);
  fs::remove("payload.bin");
  EXPECT_EQ(wrapper.updateFirmwarePartition(), 105);
  EXPECT_EQ(readFile("rollback-partition/first.bin"), "first");
  EXPECT_EQ(readFile("rollback-partition/payload.bin"), "old");
}

TEST_F(SimulatedRollback, ThrowsWhereThereIsNoPartition) {
  writeFile("rollback-partition", "no folder");
  EXPECT_EQ(lifeOfAnObject(), "byte 102");
  EXPECT_EQ(calls(), "constructor\n");
}

TEST_F(SimulatedRollback, ThrowsWhereTheScriptIsMissingOrMalformed) {
  writeScript("{");
  EXPECT_EQ(lifeOfAnObject(), "byte 101");
  fs::remove("script.json");
  EXPECT_EQ(lifeOfAnObject(), "byte 101");
  EXPECT_FALSE(fs::exists("calls"));
}

TEST_F(SimulatedRollback, DoesAsTheScriptSaysInPlaceOfItsWork) {
  writeScript(R"({"addPayloadFiles": {"return": 7}, "updateFirmwarePartition": {"throwByte": 65}})");
  UpdRollbackWrapper wrapper;
  EXPECT_EQ(add(wrapper, "payload.bin"), 7);
  EXPECT_EQ(outcomeOf([&] { return wrapper.updateFirmwarePartition(); }), "byte 65");
  EXPECT_TRUE(fs::is_empty("rollback-partition"));
}

TEST_F(SimulatedRollback, ThrowsFromTheConstructorBeforeThePartitionIsMade) {
  writeScript(R"({"constructor": {"throwException": "busy"}})");
  EXPECT_EQ(lifeOfAnObject(), "exception busy");
  EXPECT_FALSE(fs::exists("rollback-partition"));
}

TEST_F(SimulatedRollback, ThrowsFromTheDestructorAndLeaksNothing) {
  writeScript(R"({"destructor": {"throwByte": 66}})");
  EXPECT_EQ(lifeOfAnObject(), "byte 66");
  EXPECT_EQ(calls(), "constructor\ndestructor\n");
}

TEST_F(SimulatedRollback, ExportsTheClassAlone) {
  void* const library = dlopen("librbkl.so.0", RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr);
  EXPECT_NE(dlsym(library, "_ZN18UpdRollbackWrapper23updateFirmwarePartitionEv"), nullptr);
  EXPECT_NE(dlsym(library, "_ZTV18UpdRollbackWrapper"), nullptr);
  EXPECT_EQ(dlsym(library, "_ZN9simulator18readRollbackScriptERKNSt10filesystem7__cxx114pathE"), nullptr);
  dlclose(library);
}
