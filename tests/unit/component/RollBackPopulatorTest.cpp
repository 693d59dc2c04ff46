#include "RollBackPopulator.h"

#include <limits>
#include <memory>
#include <new>
#include <stdexcept>

#include "CoreTest.h"
#include "UpdRollbackWrapper.h"

namespace {

constexpr char kStart[] = "CBackplaneExecution::PopulateRollbackPartition() start";
constexpr char kFileCount[] = "CRollBackPopulator::::PopulateRollbackPartition:Populate File Size is:";
constexpr char kAddFailed[] = "CRollBackPopulator::::PopulateRollbackPartition addPayloadFiles Failed";
constexpr char kUnknown[] = "CRollBackPopulator::::PopulateRollbackPartition: UnCatched Exception";
const std::string kStatusText =
    "CRollBackPopulator::::PopulateRollbackPartition updateFormwarePartition retVal";
const std::string kCodeText = "CRollBackPopulator::PopulateRollbackPartition: Got Exception ->";

Lines endLines() {
  return {"CRollBackPopulator::PopulateRollbackPartition->END",
          "CRollBackPopulator::::PopulateRollbackPartition() END"};
}

/// The rest of `text` from the offset `number` on; empty if the offset is outside it.
std::string advanced(const std::string& text, int number) {
  return number < 0 || static_cast<std::size_t>(number) >= text.size()
             ? ""
             : text.substr(static_cast<std::size_t>(number));
}

class RollBackPopulatorTest : public CoreTest {
 protected:
  int populate(const Lines& files) {
    rollback.calls.clear();
    logged();
    return CRollBackPopulator(wrapper.get()).PopulateRollbackPartition(files);
  }

  /// The lines before the library's first answer, for one file.
  static Lines beginLines() { return {kStart, kFileCount + std::string("1"), "Payload File/p/one"}; }

  ScriptedRollback rollback;
  /// Not a plain member, since its destructor may throw and a test's may not.
  const std::unique_ptr<UpdRollbackWrapper> wrapper = std::make_unique<UpdRollbackWrapper>();
};

TEST_F(RollBackPopulatorTest, FilesAreAddedInOrderAndThePartitionIsWritten) {
  EXPECT_EQ(populate({"/p/b", "/p/a"}), 0);
  EXPECT_EQ(rollback.calls, (Lines{"add /p/b true", "add /p/a true", "update"}));
  EXPECT_EQ(logged(),
            all({{kStart, kFileCount + std::string("2"), "Payload File/p/b", "Payload File/p/a", kStatusText},
                 endLines()}));
}

TEST_F(RollBackPopulatorTest, LinesNameTheirSource) {
  populate({});
  for (const LogLine& line : loggedWithSources()) {
    EXPECT_EQ(line.source, "cm_BackPlane/src/RollBackPopulator.cpp") << line.message;
  }
}

TEST_F(RollBackPopulatorTest, EmptyListWritesThePartition) {
  EXPECT_EQ(populate({}), 0);
  EXPECT_EQ(rollback.calls, Lines{"update"});
  EXPECT_EQ(logged(), all({{kStart, kFileCount + std::string("0"), kStatusText}, endLines()}));
}

TEST_F(RollBackPopulatorTest, WithoutWrapperTheResultIs1) {
  CRollBackPopulator populator(nullptr);
  EXPECT_EQ(logged(), Lines{"CRollBackPopulator::CRollBackPopulator() pUpdRollbackWrapper is NULL"});
  EXPECT_EQ(populator.PopulateRollbackPartition({"/p/one"}), 1);
  EXPECT_EQ(logged(), (Lines{kStart, "Update Rollback Wrapper Not initialized: exiting"}));
}

TEST_F(RollBackPopulatorTest, PopulatorNeitherMakesNorDestroysTheWrapper) {
  populate({"/p/one"});
  for (const std::string& call : rollback.calls)
    EXPECT_TRUE(call != "construct" && call != "destroy") << call;
}

TEST_F(RollBackPopulatorTest, RefusedFileEndsWithItsStatusAndNoPartition) {
  for (const int status :
       {7, 1, 255, 256, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    SCOPED_TRACE(status);
    rollback.add = returning(status);
    EXPECT_EQ(populate({"/p/one"}), status);
    EXPECT_EQ(rollback.calls, Lines{"add /p/one true"});
    EXPECT_EQ(logged(), all({beginLines(), {kAddFailed}, endLines()}));
  }
}

TEST_F(RollBackPopulatorTest, FileAfterARefusedOneIsNotAdded) {
  int added = 0;
  rollback.add = [&added] { return ++added == 2 ? 7 : 0; };
  EXPECT_EQ(populate({"/p/one", "/p/two", "/p/three"}), 7);
  EXPECT_EQ(rollback.calls, (Lines{"add /p/one true", "add /p/two true"}));
}

TEST_F(RollBackPopulatorTest, StatusOfThePartitionIsTheResultAndAdvancesItsText) {
  const int length = static_cast<int>(kStatusText.size());
  for (const int status : {0, 1, 7, 65, length - 1, length, length + 1, 255, 256, 100000, -1, -length,
                           std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    SCOPED_TRACE(status);
    rollback.update = returning(status);
    EXPECT_EQ(populate({"/p/one"}), status);
    EXPECT_EQ(logged(), all({beginLines(), {advanced(kStatusText, status)}, endLines()}));
  }
}

TEST_F(RollBackPopulatorTest, ThrownByteIsTheResultAndAdvancesItsText) {
  for (ScriptedRollback::Operation ScriptedRollback::*const thrower :
       {&ScriptedRollback::add, &ScriptedRollback::update}) {
    for (int code = 0; code < 256; ++code) {
      SCOPED_TRACE(code);
      rollback.*thrower = throwing(static_cast<unsigned char>(code));
      EXPECT_EQ(populate({"/p/one"}), code);
      EXPECT_EQ(logged(), all({beginLines(), {advanced(kCodeText, code)}, endLines()}));
    }
    rollback.*thrower = nullptr;
  }
}

TEST_F(RollBackPopulatorTest, FirstAndLastCharacterOfTheAdvancedTexts) {
  rollback.update = returning(1);
  populate({});
  EXPECT_EQ(logged()[2], "RollBackPopulator::::PopulateRollbackPartition updateFormwarePartition retVal");
  rollback.update = throwing(static_cast<unsigned char>(kCodeText.size() - 1));
  populate({});
  EXPECT_EQ(logged()[2], ">");
}

TEST_F(RollBackPopulatorTest, ByteThrownForAFileLeavesThePartition) {
  rollback.add = throwing(static_cast<unsigned char>(65));
  EXPECT_EQ(populate({"/p/one", "/p/two"}), 65);
  EXPECT_EQ(rollback.calls, Lines{"add /p/one true"});
}

TEST_F(RollBackPopulatorTest, AnythingElseThrownIsMinus1) {
  const std::vector<ScriptedRollback::Operation> throwers{throwing(std::runtime_error("message")),
                                                          throwing(65),
                                                          throwing('A'),
                                                          throwing(static_cast<signed char>(65)),
                                                          throwing(65U),
                                                          throwing("text"),
                                                          throwing(std::bad_alloc())};
  for (std::size_t i = 0; i < throwers.size(); ++i) {
    SCOPED_TRACE(i);
    rollback.add = throwers[i];
    rollback.update = nullptr;
    EXPECT_EQ(populate({"/p/one"}), -1);
    EXPECT_EQ(logged(), all({beginLines(), {kUnknown}, endLines()}));
    rollback.add = nullptr;
    rollback.update = throwers[i];
    EXPECT_EQ(populate({"/p/one"}), -1);
    EXPECT_EQ(logged(), all({beginLines(), {kUnknown}, endLines()}));
  }
}

}  // namespace
