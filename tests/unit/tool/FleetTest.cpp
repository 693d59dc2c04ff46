#include "Fleet.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "SampleDocuments.h"
#include "ServerName.h"
#include "TestSupport.h"

using namespace samples;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(ServerName, IsWhatThePathHasBesideTheKindOfDocument) {
  const std::pair<const char*, const char*> cases[] = {
      {"/data/node1.xml", "data/node1"},
      {"/data/node1-before.xml", "data/node1"},
      {"/data/update_node1.xml", "data/node1"},
      {"/data/Node1.Inventory.xml", "data/Node1"},
      {"/data/node1/update.xml", "data/node1"},
      {"/data/after/node1.xml", "data/node1"},
      {"/data/node1/before-update.xml", "data/node1"},
      {"/data/node1/runs/update-7/verdict.json", "data/node1"},
      {"/data/node1/x/../inventory.xml", "data/node1"},
      {"/var/lib/nvmepcissd/runs/7/verdict.json", ""},
      {"/update.xml", ""},
      {"/data/updates/a-b.xml", "data/updates/a-b"},
  };
  for (const auto& [document, server] : cases) EXPECT_EQ(tool::serverPath(document), server) << document;
}

TEST(ServerName, TakesAsManyNamesAsItNeeds) {
  EXPECT_THAT(tool::serverNames({"x/rack1/node1", "x/rack2/node1", "x/node2", ""}, "here"),
              ElementsAre("rack1/node1", "rack2/node1", "node2", "here"));
  EXPECT_THAT(tool::serverNames({"node1", "x/node1"}, "here"), ElementsAre("node1", "x/node1"));
  EXPECT_THAT(tool::serverNames({}, "here"), IsEmpty());
}

class Fleet : public testing::Test {
 protected:
  /// Writes a document of a certain age in seconds.
  void document(const std::string& path, const std::string& content, std::time_t age) {
    writeFile(path, content);
    const timespec times[2] = {{1000000 - age, 0}, {1000000 - age, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }

  const std::vector<tool::Server>& servers() {
    m_results = tool::readResults({"fleet"});
    m_servers = tool::serversOf(m_results);
    return m_servers;
  }

  const std::vector<tool::DriveState>& drives() {
    EXPECT_EQ(servers().size(), 1U);
    return m_servers.at(0).drives;
  }

  WorkingFolder m_folder;
  tool::Results m_results;
  std::vector<tool::Server> m_servers;
};

TEST_F(Fleet, CountsADriveOnceWithItsNewestState) {
  document("fleet/node1/inventory.xml", inventory(listed("S1", "One", "R1") + listed("S2", "One", "R1")), 30);
  document("fleet/node1/update.xml", update(updated("S1", "One", "R1") + failed("It broke")), 20);
  document("fleet/node1/inventory-2.xml", inventory(listed("S1", "One", "R2  ") + listed("S2", "One", "R1")),
           10);
  document("fleet/node2.xml", inventory(listed("S1")), 10);
  ASSERT_EQ(servers().size(), 3U);  // "2" is another server: a number is no word for a document
  document("fleet/node1/after.xml", inventory(listed("S1", "One", "R2  ") + listed("S2", "One", "R1")), 10);
  std::filesystem::remove("fleet/node1/inventory-2.xml");
  ASSERT_EQ(servers().size(), 2U);
  EXPECT_EQ(m_servers[0].name, "node1");
  EXPECT_EQ(m_servers[1].name, "node2");
  const auto& drives = m_servers[0].drives;
  ASSERT_EQ(drives.size(), 2U);
  EXPECT_EQ(drives[0].outcome, tool::Outcome::kSuccess);
  EXPECT_EQ(drives[0].revision, "R2");
  EXPECT_FALSE(drives[0].isRevisionOld);
  EXPECT_EQ(drives[1].serial, "S2");  // told by the place of the failed record
  EXPECT_EQ(drives[1].outcome, tool::Outcome::kFailed);
  EXPECT_EQ(drives[1].message, "It broke");
  EXPECT_EQ(drives[1].revision, "R1");
}

TEST_F(Fleet, KnowsARevisionFromBeforeAnUpdateAsOld) {
  document("fleet/node1/inventory.xml", inventory(listed("S1")), 20);
  document("fleet/node1/update.xml", update(updated("S1")), 10);
  ASSERT_EQ(drives().size(), 1U);
  EXPECT_TRUE(drives()[0].isRevisionOld);
  document("fleet/node1/inventory.xml", inventory(listed("S1", "One", "R2")), 5);
  EXPECT_FALSE(drives()[0].isRevisionOld);
  EXPECT_EQ(drives()[0].revision, "R2");
}

TEST_F(Fleet, LetsNamesDecideBeforeTimesWithinAFolder) {
  // As a copy leaves them: all of one time, or the other way round.
  document("fleet/node1/after.xml", inventory(listed("S1", "One", "R2")), 30);
  document("fleet/node1/update.xml", update(updated("S1")), 20);
  document("fleet/node1/before.xml", inventory(listed("S1")), 10);
  ASSERT_EQ(drives().size(), 1U);
  EXPECT_EQ(drives()[0].revision, "R2");
  EXPECT_FALSE(drives()[0].isRevisionOld);
}

TEST_F(Fleet, TellsDrivesOfOneSerialNumberApartByTheirOrder) {
  document("fleet/node1/before.xml", inventory(listed("S1") + listed("S1") + listed("", "", "R7")), 20);
  document("fleet/node1/after.xml",
           inventory(listed("S1", "One", "R2") + listed("S1") + listed("", "", "R8")), 10);
  ASSERT_EQ(drives().size(), 3U);
  EXPECT_EQ(drives()[0].revision, "R2");
  EXPECT_EQ(drives()[1].revision, "R1");
  EXPECT_EQ(drives()[2].revision, "R8");
}

TEST_F(Fleet, GuessesNoDriveForAFailedRecord) {
  document("fleet/node1/inventory.xml", inventory(listed("S1") + listed("S2") + listed("S3")), 20);
  document("fleet/node1/update.xml", update(failed() + updated("S1") + updated("S3")), 10);
  ASSERT_EQ(drives().size(), 4U);
  EXPECT_FALSE(drives()[3].isIdentified);
  EXPECT_EQ(drives()[3].outcome, tool::Outcome::kFailed);
  EXPECT_EQ(drives()[3].position, 1U);
  EXPECT_EQ(drives()[1].outcome, tool::Outcome::kListed);
}

TEST_F(Fleet, TakesAVerdictForTheNewestOfItsFolder) {
  document("fleet/node1/update.xml", update(updated("S1")), 10);
  document(
      "fleet/node1/verdict.json",
      R"({"version": 1, "drives": [{"serial": "S1", "pci": {"vendor": "f101", "device": "a801", "subVendor": "f1a0",
               "subDevice": "1001"}, "before": "R1", "after": "R2", "state": "updated"}]})",
      20);
  ASSERT_EQ(drives().size(), 1U);
  EXPECT_EQ(drives()[0].outcome, tool::Outcome::kUpdated);
  EXPECT_EQ(drives()[0].revision, "R2");
  EXPECT_FALSE(drives()[0].isRevisionOld);
}

}  // namespace
