// `plan` on simulated drives, and `drives` on those of this machine, whatever they are.

#include <gmock/gmock.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ComponentFolder.h"
#include "TestSupport.h"
#include "ToolProcess.h"

namespace {

using Json = nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// Two drives that run SMP10101 and could be flashed to SMP90200.
class PlanCommand : public testing::Test {
 protected:
  PlanCommand() { m_folder.setDrives({drive(1), drive(2)}); }

  Answer run(const std::string& options) const {
    std::string environment;
    for (const auto& [name, value] : m_folder.settings.environment) environment += name + "='" + value + "' ";
    return tool("plan " + m_folder.path().string() + " " + options, environment + withOwnLocks());
  }

  /// The plan, after which nothing has been flashed.
  Json plan(const std::string& options) const {
    Json json = verdictOf(run("--json " + options));
    EXPECT_THAT(m_folder.flashCalls(), IsEmpty());
    return json;
  }

  /// The message for wrong usage, which is all that there is.
  std::string complaint(const std::string& options) const {
    const Answer answer = run(options + " 2>&1");
    EXPECT_EQ(answer.status, 2) << options;
    return answer.output;
  }

  std::string policyFile(const std::string& content) const {
    writeFile(m_folder / "policy.json", content);
    return (m_folder / "policy.json").string();
  }

  static std::string states(const Json& plan) {
    std::string words;
    for (const Json& one : plan["drives"])
      words += (words.empty() ? "" : " ") + one["state"].get<std::string>();
    return words;
  }

  ComponentFolder m_folder;
};

TEST_F(PlanCommand, TellsForEachDriveWhatAnUpdateWouldDo) {
  m_folder.setDrives({drive(1), drive(2, {{"revision", "SMP90200"}})});
  const Json json = plan("--to SMP90200");
  EXPECT_EQ(states(json), "flash current");
  EXPECT_EQ(json["exitStatus"], 0);
  EXPECT_EQ(json["outcome"], "done");
  const Json& first = json["drives"][0];
  EXPECT_EQ(first["serial"], "SIM1");
  EXPECT_EQ(first["name"], "Sample Drive");
  EXPECT_EQ(first["before"], "SMP10101");
  EXPECT_EQ(first["wanted"], "SMP90200");
  for (const char* const unknown : {"slots", "nextSlot", "health", "use", "redundant", "node", "after"})
    EXPECT_TRUE(first.at(unknown).is_null()) << unknown;
}

TEST_F(PlanCommand, ShowsAPersonATableAndOneSentence) {
  const Answer answer = run("--to SMP90200");
  EXPECT_EQ(answer.status, 0);
  EXPECT_THAT(answer.output, HasSubstr("SIM2"));
  EXPECT_THAT(answer.output, HasSubstr("2 drives: 2 flash."));
}

TEST_F(PlanCommand, OneDriveThatMustNotBeFlashedRefusesTheServer) {
  const Json json = plan("--serial SIM1");
  EXPECT_EQ(states(json), "refused refused");
  EXPECT_EQ(json["exitStatus"], 4);
  EXPECT_EQ(json["outcome"], "refused");
  EXPECT_THAT(json["reasons"].at(0).get<std::string>(), HasSubstr("drive 2 (SIM2) must not be flashed"));
}

TEST_F(PlanCommand, GatesRefuseTheWholeRun) {
  const std::string wrong(64, '0');
  for (const auto& [options, reason] : std::vector<std::pair<std::string, std::string>>{
           {"--expect-drives 3", "the policy expects 3 drives"},
           {"--payload-sha256 " + wrong, "the payload firmware.bin is not the one"}}) {
    const Json json = plan(options);
    EXPECT_EQ(states(json), "refused refused") << options;
    EXPECT_EQ(json["exitStatus"], 4);
    EXPECT_THAT(json["reasons"].at(0).get<std::string>(), StartsWith(reason));
  }
  m_folder.setDrives({});
  EXPECT_EQ(plan("")["exitStatus"], 4);
}

TEST_F(PlanCommand, APolicyFileTellsModelsApart) {
  const Json pci = plan("")["drives"][0]["pci"];
  const Json policy{
      {"models",
       {{{"pci", pci}, {"to", "SMP90200"}, {"from", {"SMP10101", "SMP10102"}}, {"payload", "firmware.bin"}}}},
      {"expectDrives", 2}};
  EXPECT_EQ(schemaComplaint(policy.dump(), "policy.json"), "");
  const Json json = plan("--policy " + policyFile(policy.dump()));
  EXPECT_EQ(states(json), "flash flash");
  EXPECT_EQ(json["exitStatus"], 0);
}

TEST_F(PlanCommand, APolicyWithAMistakeIsWrongUsage) {
  const std::string file = policyFile("{\n  \"expectDrive\": 2\n}\n");
  EXPECT_EQ(complaint("--policy " + file),
            file + ":2: the policy has the key \"expectDrive\", which is not known\n");
  EXPECT_THAT(complaint("--policy " + file + "x"), HasSubstr("cannot be read: No such file or directory"));
  EXPECT_THAT(complaint("--policy " + file + " --to NEW"), HasSubstr("excludes"));
}

TEST_F(PlanCommand, OptionsThatCannotBeMeantAreWrongUsage) {
  for (const char* const options :
       {"--to NINECHARS", "--to ''", "--from ''", "--payload-sha256 abc", "--in-use never",
        "--expect-drives 0", "--expect-drives -1", "--serial ' '"})
    complaint(options);
}

TEST_F(PlanCommand, AFolderWithAnErrorIsRefused) {
  std::filesystem::remove(m_folder.executable());
  const Json json = plan("");
  EXPECT_EQ(json["exitStatus"], 4);
  EXPECT_THAT(json["reasons"].at(0).get<std::string>(), HasSubstr("the executable is missing"));
}

TEST(PolicySchema, TheExampleIsAsDescribed) {
  EXPECT_EQ(schemaComplaint(readFile(SCHEMA_FOLDER "/examples/policy.json"), "policy.json"), "");
  EXPECT_NE(schemaComplaint("{\"expectDrive\": 2}", "policy.json"), "");
}

TEST(DrivesCommand, AnswersWhateverDrivesThereAre) {
  const Json json = verdictOf(tool("drives --json"));
  EXPECT_EQ(json["exitStatus"], 0);
  EXPECT_EQ(json["outcome"], "done");
  EXPECT_EQ(tool("drives").status, 0);
  EXPECT_EQ(tool("drives no-such-folder 2>&1").status, 2);
}

}  // namespace
