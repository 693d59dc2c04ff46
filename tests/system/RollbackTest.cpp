// The rollback library fails in every way: only the debug log shows it.

#include <gmock/gmock.h>

#include <ostream>
#include <string>
#include <vector>

#include "ComponentFolder.h"
#include "Expected.h"

using nlohmann::json;
using testing::ElementsAre;
using Lines = std::vector<std::string>;

namespace {

enum class Calls { kConstructor, kAdded, kAll };

struct RollbackCase {
  const char* name;
  json script;
  Calls calls;       ///< how far the operations are called
  Lines log;         ///< from the constructed object to the leaving line, {payload} not yet put in
  const char* last;  ///< what the update says about it
};

void PrintTo(const RollbackCase& rollback, std::ostream* stream) {
  *stream << rollback.script;
}

constexpr char kEntering[] = "Entering CNVMePCISSDUpdate::populateRollPartition()";
constexpr char kLeaving[] = "Leaving CBackplanePassiveExecution::populateRollPartition()";
constexpr char kSuccess[] = "INFO: Populating the rollback partition is success";
constexpr char kFailed[] = "ERROR: Populating the rollback partition is failed with error code ";
constexpr char kNotZero[] =
    "CNVMePCISSDUpdate::populateRollPartition() pRollBackPopulator.PopulateRollbackPartition failure";
constexpr char kNotAdded[] = "CRollBackPopulator::::PopulateRollbackPartition addPayloadFiles Failed";
constexpr char kUncaught[] = "CRollBackPopulator::::PopulateRollbackPartition: UnCatched Exception";
constexpr char kUnknown[] =
    "ERROR: Caught an unknown exception in CBackplanePassiveExecution::populateRollPartition()";
constexpr char kPartitionStatus[] =
    "CRollBackPopulator::::PopulateRollbackPartition updateFormwarePartition retVal";

Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

const Lines kStart = {"CBackplaneExecution::PopulateRollbackPartition() start",
                      "CRollBackPopulator::::PopulateRollbackPartition:Populate File Size is:1",
                      "Payload File{payload}"};
const Lines kEnd = {"CRollBackPopulator::PopulateRollbackPartition->END",
                    "CRollBackPopulator::::PopulateRollbackPartition() END"};

Lines byteCaught(char code) {
  return {std::string("Error Code receivie from RBKL is ") + code,
          "ERROR: Caught exception in CBackplanePassiveExecution::populateRollPartition()"};
}

json returns(int value) {
  return {{"return", value}};
}
json throwsByte(int value) {
  return {{"throwByte", value}};
}
const json kThrowsException = {{"throwException", "the partition is busy"}};

constexpr int kSmallest = -2147483647 - 1;
constexpr int kLargest = 2147483647;

const RollbackCase kRollbacks[] = {
    {"Success", json::object(), Calls::kAll, kStart + Lines{kPartitionStatus} + kEnd, kSuccess},

    {"ConstructorThrows65", {{"constructor", throwsByte(65)}}, Calls::kConstructor, byteCaught('A'), "65"},
    {"ConstructorThrows255",
     {{"constructor", throwsByte(255)}},
     Calls::kConstructor,
     byteCaught('\xff'),
     "255"},
    {"ConstructorThrows0", {{"constructor", throwsByte(0)}}, Calls::kConstructor, byteCaught('\0'), kSuccess},
    {"ConstructorThrowsException",
     {{"constructor", kThrowsException}},
     Calls::kConstructor,
     {kUnknown},
     "-1"},

    {"AddReturns7",
     {{"addPayloadFiles", returns(7)}},
     Calls::kAdded,
     kStart + Lines{kNotAdded} + kEnd + Lines{kNotZero},
     "7"},
    {"AddReturnsMinus1",
     {{"addPayloadFiles", returns(-1)}},
     Calls::kAdded,
     kStart + Lines{kNotAdded} + kEnd + Lines{kNotZero},
     "-1"},
    {"AddReturnsTheSmallest",
     {{"addPayloadFiles", returns(kSmallest)}},
     Calls::kAdded,
     kStart + Lines{kNotAdded} + kEnd + Lines{kNotZero},
     "-2147483648"},
    {"AddReturnsTheLargest",
     {{"addPayloadFiles", returns(kLargest)}},
     Calls::kAdded,
     kStart + Lines{kNotAdded} + kEnd + Lines{kNotZero},
     "2147483647"},
    {"AddThrows0",
     {{"addPayloadFiles", throwsByte(0)}},
     Calls::kAdded,
     kStart + Lines{"CRollBackPopulator::PopulateRollbackPartition: Got Exception ->"} + kEnd,
     kSuccess},
    {"AddThrows20",
     {{"addPayloadFiles", throwsByte(20)}},
     Calls::kAdded,
     kStart + Lines{"PopulateRollbackPartition: Got Exception ->"} + kEnd + Lines{kNotZero},
     "20"},
    {"AddThrows255",
     {{"addPayloadFiles", throwsByte(255)}},
     Calls::kAdded,
     kStart + Lines{""} + kEnd + Lines{kNotZero},
     "255"},
    {"AddThrowsException",
     {{"addPayloadFiles", kThrowsException}},
     Calls::kAdded,
     kStart + Lines{kUncaught} + kEnd + Lines{kNotZero},
     "-1"},

    {"UpdateReturns1",
     {{"updateFirmwarePartition", returns(1)}},
     Calls::kAll,
     kStart + Lines{"RollBackPopulator::::PopulateRollbackPartition updateFormwarePartition retVal"} + kEnd +
         Lines{kNotZero},
     "1"},
    {"UpdateReturnsTheTextsLastIndex",
     {{"updateFirmwarePartition", returns(sizeof(kPartitionStatus) - 2)}},
     Calls::kAll,
     kStart + Lines{"l"} + kEnd + Lines{kNotZero},
     "77"},
    {"UpdateReturnsTheTextsLength",
     {{"updateFirmwarePartition", returns(sizeof(kPartitionStatus) - 1)}},
     Calls::kAll,
     kStart + Lines{""} + kEnd + Lines{kNotZero},
     "78"},
    {"UpdateReturnsMoreThanTheText",
     {{"updateFirmwarePartition", returns(79)}},
     Calls::kAll,
     kStart + Lines{""} + kEnd + Lines{kNotZero},
     "79"},
    {"UpdateReturnsMinus1",
     {{"updateFirmwarePartition", returns(-1)}},
     Calls::kAll,
     kStart + Lines{""} + kEnd + Lines{kNotZero},
     "-1"},
    {"UpdateReturnsTheSmallest",
     {{"updateFirmwarePartition", returns(kSmallest)}},
     Calls::kAll,
     kStart + Lines{""} + kEnd + Lines{kNotZero},
     "-2147483648"},
    {"UpdateReturnsTheLargest",
     {{"updateFirmwarePartition", returns(kLargest)}},
     Calls::kAll,
     kStart + Lines{""} + kEnd + Lines{kNotZero},
     "2147483647"},
    {"UpdateThrows62",
     {{"updateFirmwarePartition", throwsByte(62)}},
     Calls::kAll,
     kStart + Lines{">"} + kEnd + Lines{kNotZero},
     "62"},
    {"UpdateThrows63",
     {{"updateFirmwarePartition", throwsByte(63)}},
     Calls::kAll,
     kStart + Lines{""} + kEnd + Lines{kNotZero},
     "63"},
    {"UpdateThrowsException",
     {{"updateFirmwarePartition", kThrowsException}},
     Calls::kAll,
     kStart + Lines{kUncaught} + kEnd + Lines{kNotZero},
     "-1"},

    {"DestructorThrows66",
     {{"destructor", throwsByte(66)}},
     Calls::kAll,
     kStart + Lines{kPartitionStatus} + kEnd + byteCaught('B'),
     "66"},
    {"DestructorThrows0AfterAFailure",
     {{"destructor", throwsByte(0)}, {"addPayloadFiles", returns(7)}},
     Calls::kAdded,
     kStart + Lines{kNotAdded} + kEnd + Lines{kNotZero} + byteCaught('\0'),
     kSuccess},
    {"DestructorThrowsException",
     {{"destructor", kThrowsException}},
     Calls::kAll,
     kStart + Lines{kPartitionStatus} + kEnd + Lines{kUnknown},
     "-1"},
    {"DestructorThrowsAfterAThrow",
     {{"destructor", throwsByte(67)}, {"updateFirmwarePartition", kThrowsException}},
     Calls::kAll,
     kStart + Lines{kUncaught} + kEnd + Lines{kNotZero} + byteCaught('C'),
     "67"},
};

}  // namespace

class Rollback : public testing::TestWithParam<RollbackCase> {
 protected:
  Lines expectedLog() const {
    Lines lines = Lines{kEntering} + GetParam().log + Lines{kLeaving, lastLine()};
    for (std::string& line : lines) {
      if (line == "Payload File{payload}") line = "Payload File" + component.payload().string();
    }
    return lines;
  }

  std::string lastLine() const {
    return GetParam().last == std::string(kSuccess) ? kSuccess : kFailed + std::string(GetParam().last);
  }

  Lines expectedCalls() const {
    Lines calls = {"constructor"};
    if (GetParam().calls == Calls::kConstructor) return calls;
    calls.push_back("addPayloadFiles\t" + component.payload().string() + "\ttrue");
    if (GetParam().calls == Calls::kAll) calls.push_back("updateFirmwarePartition");
    calls.push_back("destructor");
    return calls;
  }

  ComponentFolder component;
};

// Promise: rollback-only-in-the-log
TEST_P(Rollback, OutcomeIsOnlyLogged) {
  component.setDrives({drive(1)});
  component.setRollback(GetParam().script);
  EXPECT_EQ(component.run({"-u", "-d"}), (Outcome{0, updateDocument({updated({})}), ""}));
  EXPECT_EQ(messagesBetween(readFile(component / "debug.log"), kEntering, lastLine()), expectedLog());
  EXPECT_EQ(component.rollbackCalls(), expectedCalls());
}

INSTANTIATE_TEST_SUITE_P(Update, Rollback, testing::ValuesIn(kRollbacks), kByName);

TEST(RollbackLibrary, RefusingAPartitionIsOnlyLogged) {
  ComponentFolder component;
  component.setDrives({drive(1)});
  writeFile(component.partition(), "no folder");
  EXPECT_EQ(component.run({"-u"}), (Outcome{0, updateDocument({updated({})}), ""}));
  EXPECT_THAT(component.rollbackCalls(), ElementsAre("constructor"));
}

TEST(RollbackLibrary, ItsObjectMayBeSmallerThanCallersBelieve) {
  ComponentFolder component;
  component.setDrives({drive(1)});
  std::filesystem::copy_file(SMALL_ROLLBACK_LIBRARY, component / "librbkl.so.0",
                             std::filesystem::copy_options::overwrite_existing);
  EXPECT_EQ(component.run({"-u", "-o", "result.xml"}), (Outcome{0, "destroyed after 2 calls\n", ""}));
  EXPECT_EQ(readFile(component / "result.xml"), updateDocument({updated({})}));
}

// Promise: status-no-rollback-library
TEST(RollbackLibrary, IsTakenFromTheLoadersPathFirst) {
  ComponentFolder component;
  component.setDrives({drive(1)});
  std::filesystem::rename(component / "librbkl.so.0", component.loaderFolder() / "librbkl.so.0");
  writeFile(component / "librbkl.so.0", "no library\n");
  EXPECT_EQ(component.run({"-u"}), (Outcome{0, updateDocument({updated({})}), ""}));
  EXPECT_THAT(component.rollbackCalls(), testing::SizeIs(4));
}

// Promise: status-no-rollback-library
TEST(RollbackLibrary, MissingOneKeepsTheProgramFromStarting) {
  ComponentFolder component;
  std::filesystem::remove(component / "librbkl.so.0");
  writeFile(component.loaderFolder() / "librbkl.so.0", "no library\n");  // hides the machine's own
  EXPECT_EQ(component.run({"-h"}), (Outcome{127, "", ""}));
}
