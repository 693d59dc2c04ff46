// How the update operation sets up the rollback populator, and how it handles every failure.

#include <filesystem>
#include <stdexcept>

#include "CoreTest.h"
#include "NVMePCISSDUpdate.h"
#include "PlatformLayer.h"
#include "UpdRollbackWrapper.h"

namespace {

constexpr char kEntering[] = "Entering CNVMePCISSDUpdate::populateRollPartition()";
constexpr char kLeaving[] = "Leaving CBackplanePassiveExecution::populateRollPartition()";
constexpr char kFailure[] =
    "CNVMePCISSDUpdate::populateRollPartition() pRollBackPopulator.PopulateRollbackPartition failure";
constexpr char kCode[] = "Error Code receivie from RBKL is ";
constexpr char kCaught[] = "ERROR: Caught exception in CBackplanePassiveExecution::populateRollPartition()";
constexpr char kUnknown[] =
    "ERROR: Caught an unknown exception in CBackplanePassiveExecution::populateRollPartition()";

class RollbackPartitionTest : public CoreTest {
 protected:
  int populate() {
    Lines files{"/p/one", "/p/two"};
    rollback.calls.clear();
    logged();
    return operation.populateRollbackPartition(files);
  }

  /// The operation's own lines; the populator's are tested elsewhere.
  Lines loggedByOperation() {
    Lines lines;
    for (LogLine& line : loggedWithSources()) {
      if (line.source == "src/NVMePCISSDUpdate.cpp") lines.push_back(std::move(line.message));
    }
    return lines;
  }

  static Lines allCalls() { return {"construct", "add /p/one true", "add /p/two true", "update", "destroy"}; }

  static std::string codeLine(int code) { return std::string(kCode) + static_cast<char>(code); }

  ScriptedRollback rollback;
  CNVMePCISSDUpdate operation;
};

TEST_F(RollbackPartitionTest, SuccessWholeLog) {
  EXPECT_EQ(populate(), 0);
  EXPECT_EQ(rollback.calls, allCalls());
  EXPECT_EQ(logged(), (Lines{kEntering, "CBackplaneExecution::PopulateRollbackPartition() start",
                             "CRollBackPopulator::::PopulateRollbackPartition:Populate File Size is:2",
                             "Payload File/p/one", "Payload File/p/two",
                             "CRollBackPopulator::::PopulateRollbackPartition updateFormwarePartition retVal",
                             "CRollBackPopulator::PopulateRollbackPartition->END",
                             "CRollBackPopulator::::PopulateRollbackPartition() END", kLeaving}));
}

TEST_F(RollbackPartitionTest, WorkingDirectoryIsTheExecutablesAfterwards) {
  EXPECT_EQ(populate(), 0);
  EXPECT_EQ(std::filesystem::current_path(), component.path());
}

TEST_F(RollbackPartitionTest, WorkingDirectoryOfThePlatformItselfIsTheRunningProgramsFolder) {
  CLinuxImpl linuxPlatform;
  CPlatformLayer::m_pPlatformImpl = &linuxPlatform;
  EXPECT_EQ(populate(), 0);
  CPlatformLayer::m_pPlatformImpl = &platform;
  EXPECT_EQ(std::filesystem::current_path(), std::filesystem::canonical("/proc/self/exe").parent_path());
}

// Promise: working-directory-changes
TEST_F(RollbackPartitionTest, WorkingDirectoryHasChangedBeforeTheLibraryIsUsed) {
  std::filesystem::path seen;
  rollback.constructor = [&seen]() -> int {
    seen = std::filesystem::current_path();
    throw 1;
  };
  EXPECT_EQ(populate(), -1);
  EXPECT_EQ(seen, component.path());
  EXPECT_EQ(std::filesystem::current_path(), component.path());
}

TEST_F(RollbackPartitionTest, DirectoryThatCannotBeChangedKeepsTheLibraryOut) {
  platform.setCurrentDirectoryFails = true;
  EXPECT_EQ(populate(), -1);
  EXPECT_EQ(logged(),
            (Lines{kEntering, "ERROR: SetCurrentDirectory failed: Unable to set current Directory"}));
  EXPECT_EQ(rollback.calls, Lines{});
  EXPECT_EQ(std::filesystem::current_path(), work.path());
}

TEST_F(RollbackPartitionTest, StatusOfAFileOrThePartitionIsReturnedAndTheWrapperDestroyed) {
  for (ScriptedRollback::Operation ScriptedRollback::*const failing :
       {&ScriptedRollback::add, &ScriptedRollback::update}) {
    for (const int status : {7, 1, -1, -1000, 1000000}) {
      SCOPED_TRACE(status);
      rollback.*failing = returning(status);
      EXPECT_EQ(populate(), status);
      EXPECT_EQ(loggedByOperation(), (Lines{kEntering, kFailure, kLeaving}));
      EXPECT_EQ(rollback.calls.back(), "destroy");
    }
    rollback.*failing = nullptr;
  }
}

TEST_F(RollbackPartitionTest, WhatThePopulatorCatchesIsAStatusHere) {
  struct Case {
    ScriptedRollback::Operation operation;
    int status;
  };
  for (ScriptedRollback::Operation ScriptedRollback::*const failing :
       {&ScriptedRollback::add, &ScriptedRollback::update}) {
    for (const Case& example : {Case{throwing(static_cast<unsigned char>(65)), 65},
                                Case{throwing(static_cast<unsigned char>(255)), 255},
                                Case{throwing(std::runtime_error("message")), -1}, Case{throwing(5), -1}}) {
      SCOPED_TRACE(example.status);
      rollback.*failing = example.operation;
      EXPECT_EQ(populate(), example.status);
      EXPECT_EQ(loggedByOperation(), (Lines{kEntering, kFailure, kLeaving}));
      EXPECT_EQ(rollback.calls.back(), "destroy");
    }
    rollback.*failing = nullptr;
  }
}

TEST_F(RollbackPartitionTest, Byte0ThrownForAFilePassesForSuccess) {
  rollback.add = throwing(static_cast<unsigned char>(0));
  EXPECT_EQ(populate(), 0);
  EXPECT_EQ(loggedByOperation(), (Lines{kEntering, kLeaving}));
}

TEST_F(RollbackPartitionTest, ByteOfTheConstructorIsReturnedAndShownAsACharacter) {
  for (int code = 0; code < 256; ++code) {
    SCOPED_TRACE(code);
    rollback.constructor = throwing(static_cast<unsigned char>(code));
    EXPECT_EQ(populate(), code);
    EXPECT_EQ(logged(), (Lines{kEntering, codeLine(code), kCaught, kLeaving}));
    EXPECT_EQ(rollback.calls, Lines{"construct"});
  }
}

TEST_F(RollbackPartitionTest, ByteOfTheDestructorIsReturnedAndShownAsACharacter) {
  for (int code = 0; code < 256; ++code) {
    SCOPED_TRACE(code);
    rollback.destructor = throwing(static_cast<unsigned char>(code));
    EXPECT_EQ(populate(), code);
    EXPECT_EQ(loggedByOperation(), (Lines{kEntering, codeLine(code), kCaught, kLeaving}));
    EXPECT_EQ(rollback.calls, allCalls());
  }
}

TEST_F(RollbackPartitionTest, ByteOf65ShowsTheLetterA) {
  rollback.constructor = throwing(static_cast<unsigned char>(65));
  EXPECT_EQ(populate(), 65);
  EXPECT_EQ(logged()[1], "Error Code receivie from RBKL is A");
}

TEST_F(RollbackPartitionTest, DestructorsByteReplacesTheStatus) {
  rollback.add = returning(7);
  rollback.destructor = throwing(static_cast<unsigned char>(66));
  EXPECT_EQ(populate(), 66);
  EXPECT_EQ(loggedByOperation(), (Lines{kEntering, kFailure, codeLine(66), kCaught, kLeaving}));
}

TEST_F(RollbackPartitionTest, AnythingElseThatConstructorOrDestructorThrowsIsMinus1) {
  const std::vector<ScriptedRollback::Operation> throwers{throwing(std::runtime_error("message")),
                                                          throwing(65), throwing('A'), throwing("text")};
  for (std::size_t i = 0; i < throwers.size(); ++i) {
    SCOPED_TRACE(i);
    rollback.constructor = throwers[i];
    rollback.destructor = nullptr;
    EXPECT_EQ(populate(), -1);
    EXPECT_EQ(loggedByOperation(), (Lines{kEntering, kUnknown, kLeaving}));
    EXPECT_EQ(rollback.calls, Lines{"construct"});
    rollback.constructor = nullptr;
    rollback.destructor = throwers[i];
    EXPECT_EQ(populate(), -1);
    EXPECT_EQ(loggedByOperation(), (Lines{kEntering, kUnknown, kLeaving}));
    EXPECT_EQ(rollback.calls, allCalls());
  }
}

TEST_F(RollbackPartitionTest, WrapperThatCannotBeAllocatedIsMinus1) {
  const AllocationFault fault(AllocationFault::kThrowsBadAlloc, sizeof(UpdRollbackWrapper));
  EXPECT_EQ(populate(), -1);
  EXPECT_EQ(loggedByOperation(), (Lines{kEntering, kUnknown, kLeaving}));
  EXPECT_EQ(rollback.calls, Lines{});
}

}  // namespace
