// `verify` and `log` on what real runs of the component leave, with the simulator's drives.

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ComponentFolder.h"
#include "TestSupport.h"
#include "ToolProcess.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

/// A component folder in which inventories and updates leave their documents and the update's log.
class Verify : public testing::Test {
 protected:
  void inventory(const std::string& name) { EXPECT_EQ(m_folder.run({"-i", "-o", path(name)}).exitStatus, 0); }
  void update() { m_folder.run({"-u", "-o", path("update.xml"), "-d", path("update.log")}); }

  /// The whole sequence: inventory, update, inventory.
  void updateBetweenInventories() {
    inventory("before.xml");
    update();
    inventory("after.xml");
  }

  std::string path(const std::string& name) const { return (m_folder / name).string(); }

  /// The verdict for the documents and these options.
  Json verify(const std::string& options = {}) {
    return verdictOf(tool("verify --json " + path("before.xml") + " " + path("update.xml") + " " +
                          path("after.xml") + " " + options));
  }

  std::string withLog() const { return "--log " + path("update.log"); }

  /// "SIM1:updated SIM2:failed".
  static std::string states(const Json& verdict) {
    std::string words;
    for (const Json& one : verdict["drives"]) {
      if (!words.empty()) words += ' ';
      words += (one["serial"].is_null() ? "?" : one["serial"].get<std::string>()) + ":" +
               one["state"].get<std::string>();
    }
    return words;
  }

  ComponentFolder m_folder;
};

TEST_F(Verify, EndsWithZeroAfterAnUpdateThatReachedEveryDrive) {
  m_folder.setDrives({drive(1), drive(2)});
  updateBetweenInventories();
  const Json verdict = verify("--to ' SMP90200 '");
  EXPECT_EQ(states(verdict), "SIM1:updated SIM2:updated");
  EXPECT_EQ(verdict["exitStatus"], 0);
}

TEST_F(Verify, NamesTheDriveThatRefusedByOrderAndByLog) {
  m_folder.setDrives({drive(1), drive(2, {{"updateResult", 263}}), drive(3)});
  updateBetweenInventories();
  const Json byOrder = verify();
  EXPECT_EQ(states(byOrder), "SIM1:updated SIM2:failed SIM3:updated");
  EXPECT_EQ(byOrder["drives"][1]["identifiedBy"], "order");
  EXPECT_TRUE(byOrder["drives"][1]["code"].is_null());
  const Json byLog = verify(withLog());
  EXPECT_EQ(byLog["drives"][1]["identifiedBy"], "log");
  EXPECT_EQ(byLog["drives"][1]["code"], 263);
  EXPECT_EQ(byLog["exitStatus"], 1);
}

TEST_F(Verify, CallsADriveUnchangedThatAnswered267AndShowsNothing) {
  m_folder.setDrives({drive(1, {{"updateResult", 267}, {"newRevision", "SMP10101"}})});
  updateBetweenInventories();
  EXPECT_EQ(states(verify(withLog())), "SIM1:unchanged");
}

TEST_F(Verify, TellsThatARefusedPayloadTouchedNothing) {
  m_folder.setDrives({drive(1), drive(2)});
  writeFile(m_folder / "payload/second.bin", "x");
  updateBetweenInventories();
  EXPECT_EQ(states(verify()), "SIM1:unchanged SIM2:unchanged") << "the documents alone do not tell";
  const Json verdict = verify(withLog());
  EXPECT_EQ(states(verdict), "SIM1:untouched SIM2:untouched");
  EXPECT_EQ(verdict["exitStatus"], 3);
}

TEST_F(Verify, FollowsADriveWhoseRevisionCannotBeRead) {
  m_folder.setDrives({drive(1), drive(2, {{"revisionResult", 5}})});
  updateBetweenInventories();
  EXPECT_EQ(states(verify(withLog())), "SIM1:updated SIM2:undecided");
}

TEST_F(Verify, ReadsDocumentsThatAMarkUpCharacterSpoils) {
  m_folder.settings.breaksDocuments = true;
  m_folder.setDrives({drive(1, {{"serial", "A&B"}}), drive(2)});
  updateBetweenInventories();
  const Json verdict = verify("--to SMP90200");
  EXPECT_EQ(states(verdict), "A&B:updated SIM2:updated");
  EXPECT_EQ(verdict["reasons"].size(), 3U) << "each document is marked";
  EXPECT_EQ(tool("report " + path("before.xml") + " -o " + path("page.html")).status, 0);
  EXPECT_THAT(readFile(path("page.html")), testing::HasSubstr("<tr class=\"warning\">"));
}

TEST_F(Verify, TellsFromTheLogAloneWhoFailed) {
  m_folder.setDrives({drive(1), drive(2, {{"updateResult", -16}})});
  update();
  const Answer answer = tool("log " + path("update.log"));
  EXPECT_EQ(answer.status, 1);
  EXPECT_EQ(states(verdictOf(tool("log --json " + path("update.log")))), "SIM1:undecided SIM2:failed");
  EXPECT_NE(answer.output.find("SIM2"), std::string::npos) << answer.output;
  EXPECT_NE(answer.output.find("failed: -EBUSY: another run is updating this drive"), std::string::npos)
      << answer.output;
}

TEST_F(Verify, TellsFromTheLogOfAnInventoryThatNothingWasFlashed) {
  m_folder.setDrives({drive(1)});
  m_folder.run({"-i", "-o", path("before.xml"), "-d", path("inventory.log")});
  EXPECT_EQ(states(verdictOf(tool("log --json " + path("inventory.log")))), "SIM1:untouched");
  const std::string whole = readFile(path("inventory.log"));
  const std::size_t lastLine = whole.rfind('\n', whole.size() - 2);
  writeFile(path("cut.log"), whole.substr(0, lastLine / 2));
  EXPECT_THAT(verdictOf(tool("log --json " + path("cut.log")))["reasons"].dump(),
              testing::HasSubstr("the log ends before the run does"));
  update();
  const Json verdict = verdictOf(
      tool("verify --json " + path("before.xml") + " " + path("update.xml") + " --log " + path("none.log")));
  EXPECT_THAT(verdict["reasons"].dump(), testing::HasSubstr("none.log: cannot be read: No such file"));
}

TEST_F(Verify, KnowsEachOfThreeHundredDrives) {
  m_folder.setDrives({drive(1, {{"serial", "S{n}"}, {"repeat", 300}})});
  updateBetweenInventories();
  const Json verdict = verify(withLog());
  EXPECT_EQ(verdict["drives"].size(), 300U);
  EXPECT_EQ(verdict["exitStatus"], 0);
}

struct Trouble {
  const char* name;
  std::function<void(ComponentFolder&)> make;
  const char* reason;  ///< how one of the verdict's reasons begins
};

const Trouble kTroubles[] = {
    {"install script", [](ComponentFolder& folder) { fs::remove(folder / "fwkitinstall.sh"); },
     "install script: fwkitinstall.sh did not put"},
    {"no drive library", [](ComponentFolder& folder) { fs::remove(folder / "libnvme.so"); },
     "drive library: libnvme.so could not be loaded"},
    {"failed discovery",
     [](ComponentFolder& folder) {
       folder.setDrives({drive(1)}, {{"discoveryResult", 5}});
     },
     "discovery: the drive library could not list the drives"},
    {"no drives", [](ComponentFolder& folder) { folder.setDrives({}); }, "discovery: no drive was found"},
    {"two payload files", [](ComponentFolder& folder) { writeFile(folder / "payload/.second", "x"); },
     "payload: the payload folder does not hold exactly one entry"},
    {"failing rollback",
     [](ComponentFolder& folder) {
       folder.setRollback({{"addPayloadFiles", {{"return", 5}}}});
     },
     "rollback: the payload was not kept for rollback"},
    {"no document", [](ComponentFolder& folder) { fs::create_directory(folder / "update.xml"); },
     "document: the output file could not be opened"},
};

TEST_F(Verify, TellsFromTheLogWhatWentWrongAroundTheDrives) {
  for (const auto& [name, make, reason] : kTroubles) {
    ComponentFolder folder;
    folder.setDrives({drive(1)});
    make(folder);
    folder.run({"-u", "-o", (folder / "update.xml").string(), "-d", (folder / "update.log").string()});
    const Json verdict = verdictOf(tool("log --json " + (folder / "update.log").string()));
    EXPECT_THAT(verdict["reasons"].get<std::vector<std::string>>(),
                testing::Contains(testing::StartsWith(reason)))
        << name;
  }
}

TEST_F(Verify, TellsDrivesThatShareASerialNumberByTheirOrder) {
  const Json same{{"serial", "SAME"}};
  Json refusing = same;
  refusing["updateResult"] = 263;
  m_folder.setDrives({drive(1, same), drive(2, refusing), drive(3, same)});
  updateBetweenInventories();
  EXPECT_EQ(states(verify()), "SAME:updated SAME:failed SAME:updated");
  EXPECT_EQ(states(verify(withLog())), "SAME:updated SAME:failed SAME:updated");
}

TEST_F(Verify, TakesDocumentsInTheWrongOrderForWrongUsage) {
  m_folder.setDrives({drive(1)});
  updateBetweenInventories();
  EXPECT_EQ(tool("verify " + path("update.xml") + " " + path("before.xml") + " 2>&1").status, 2);
  EXPECT_EQ(tool("verify " + path("before.xml") + " " + path("update.xml") + " --to '' 2>&1").status, 2);
}

TEST_F(Verify, DecidesNothingFromFilesOfAnotherKind) {
  m_folder.setDrives({drive(1)});
  updateBetweenInventories();
  const std::string broken = path("broken.xml");
  writeFile(broken, "<SVMExecution>\n<Device");
  const Json verdict =
      verdictOf(tool("verify --json " + path("before.xml") + " " + broken + " --log " + broken));
  EXPECT_EQ(verdict["exitStatus"], 3);
  ASSERT_EQ(verdict["reasons"].size(), 2U);
  EXPECT_NE(verdict["reasons"][0].get<std::string>().find("broken.xml: not well-formed at line 2"),
            std::string::npos)
      << verdict["reasons"][0];
  EXPECT_EQ(verdictOf(tool("log --json " + broken))["exitStatus"], 3);
  EXPECT_EQ(verdictOf(tool("log --json " + path("none.log")))["exitStatus"], 3);
  EXPECT_EQ(verdictOf(tool("verify --json " + path("none.xml") + " " + path("update.xml")))["exitStatus"], 3);
}

}  // namespace
