// What `drives` answers to a person and to a program.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "DriveJson.h"
#include "DriveText.h"

namespace tool {

namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class DriveAnswers : public ::testing::Test {
 protected:
  DriveFacts& drive() { return m_list.drives.at(0); }

  Verdict verdict(bool isRoot = true) const { return describe(m_list, isRoot); }

  json asJson() const {
    std::vector<const DriveFacts*> facts;
    for (const DriveFacts& each : m_list.drives) facts.push_back(&each);
    return json::parse(toJson(verdict(), facts))["drives"].at(0);
  }

  std::string asText() const {
    std::ostringstream text;
    writeDrives(text, m_list, verdict());
    return text.str();
  }

  DriveList m_list{.drives = {{.controller = "nvme1",
                               .address = "0000:41:00.0",
                               .pci = PciIds{"144d", "a80", "1028", "0"},
                               .serial = "SN-0001",
                               .model = "Model A",
                               .revision = "NOW",
                               .slots = DriveSlots{.revisions = {"NOW", "", "NEXT"}, .running = 1, .next = 3},
                               .criticalWarning = 0,
                               .uses = {{.kind = nvme_linux::DriveUse::Kind::kMounted,
                                         .device = "nvme1n1",
                                         .layers = {"md0"},
                                         .place = "/srv",
                                         .redundantThrough = "md0"}},
                               .areUsesComplete = true,
                               .isInPackage = true}}};
};

TEST_F(DriveAnswers, AProgramGetsEveryFact) {
  EXPECT_EQ(asJson(), json::parse(R"({
    "serial": "SN-0001", "name": null, "model": "Model A",
    "pci": {"vendor": "144d", "device": "a80", "subVendor": "1028", "subDevice": "0"},
    "address": "0000:41:00.0", "before": "NOW", "after": null, "staged": "NEXT", "wanted": null,
    "state": "staged", "code": null, "reason": "it has taken firmware that runs after a reset",
    "identifiedBy": null, "node": "/dev/nvme1", "slots": ["NOW", null, "NEXT"], "runningSlot": 1,
    "nextSlot": 3, "health": {"criticalWarning": 0, "warnings": []},
    "use": [{"kind": "mounted", "device": "nvme1n1", "layers": ["md0"], "place": "/srv",
             "redundantThrough": "md0",
             "text": "nvme1n1 through md0: mounted on /srv; md0 has another healthy leg"}],
    "redundant": true, "inPackage": true})"));
}

TEST_F(DriveAnswers, WhatNeedsRootIsNull) {
  drive() = {.controller = "nvme1", .address = "0000:41:00.0"};
  const json answer = asJson();
  EXPECT_EQ(answer["node"], "/dev/nvme1");
  for (const char* const member : {"serial", "pci", "before", "state", "slots", "runningSlot", "nextSlot",
                                   "health", "use", "redundant", "inPackage"})
    EXPECT_TRUE(answer.at(member).is_null()) << member;
  EXPECT_THAT(verdict(false).reasons,
              ElementsAre("1 of 1 drives are not fully known: slots, health and use need root"));
  EXPECT_THAT(verdict(true).reasons, ElementsAre(HasSubstr("do not answer")));
}

TEST_F(DriveAnswers, UsesThatAreKnownAreToldThoughThereMayBeMore) {
  drive().areUsesComplete = false;
  EXPECT_EQ(asJson()["use"].size(), 1U);
  EXPECT_TRUE(asJson()["redundant"].is_null());
  EXPECT_THAT(asText(), HasSubstr("  use      and what is not known\n"));
}

TEST_F(DriveAnswers, AnUnusedDriveHasAnEmptyList) {
  drive().uses.clear();
  EXPECT_EQ(asJson()["use"], json::array());
  EXPECT_EQ(asJson()["redundant"], true);
  EXPECT_THAT(asText(), HasSubstr("  use      nothing\n"));
}

TEST_F(DriveAnswers, AProgramGetsTheKindOfEachUse) {
  using Kind = nvme_linux::DriveUse::Kind;
  for (const auto& [kind, name] :
       {std::pair{Kind::kMounted, "mounted"}, std::pair{Kind::kRootFileSystem, "root"},
        std::pair{Kind::kSwap, "swap"}, std::pair{Kind::kMd, "md"}, std::pair{Kind::kLvm, "lvm"},
        std::pair{Kind::kDm, "dm"}, std::pair{Kind::kHolder, "holder"},
        std::pair{Kind::kUnknown, "unknown"}}) {
    drive().uses = {{.kind = kind, .device = "nvme1n1"}};
    EXPECT_EQ(asJson()["use"][0]["kind"], name);
    EXPECT_TRUE(asJson()["use"][0]["place"].is_null()) << name;
  }
}

TEST_F(DriveAnswers, ADriveThatTheKernelDoesNotKnowHasNullFacts) {
  const Verdict unknown{.drives = {{.serial = "S1"}}};
  const std::vector<const DriveFacts*> facts{nullptr};
  const json answer = json::parse(toJson(unknown, facts))["drives"].at(0);
  EXPECT_EQ(answer["serial"], "S1");
  EXPECT_TRUE(answer.at("node").is_null());
  EXPECT_TRUE(answer.at("slots").is_null());
}

TEST_F(DriveAnswers, AnIllDriveIsUnhealthyRatherThanStaged) {
  drive().criticalWarning = 1;
  EXPECT_EQ(verdict().drives[0].state, Outcome::kUnhealthy);
  EXPECT_EQ(verdict().drives[0].reason, "its SMART log has a critical warning: spare below its threshold");
  EXPECT_EQ(verdict().outcome, RunOutcome::kDone) << "to look is no failure";
  drive().criticalWarning = 0;
  drive().slots = DriveSlots{.revisions = {"NOW"}, .running = 1, .next = 0, .isUpdateInProgress = true};
  EXPECT_EQ(verdict().drives[0].state, Outcome::kUnhealthy);
}

TEST_F(DriveAnswers, APersonGetsAParagraph) {
  EXPECT_EQ(asText(),
            "0000:41:00.0  /dev/nvme1\n"
            "  drive    Model A, serial number SN-0001\n"
            "  runs     NOW\n"
            "  slots    slot 1 NOW (runs), slot 2 empty, slot 3 NEXT (runs after a reset)\n"
            "  health   no critical warning\n"
            "  use      nvme1n1 through md0: mounted on /srv; md0 has another healthy leg\n"
            "  package  names it\n");
}

TEST_F(DriveAnswers, APersonIsToldWhatIsNotKnown) {
  drive() = {.controller = "nvme1"};
  EXPECT_THAT(asText(), HasSubstr("-  /dev/nvme1\n"
                                  "  drive    -, serial number -\n"
                                  "  runs     -\n"
                                  "  slots    not known\n"
                                  "  health   not known\n"
                                  "  use      not known\n"));
}

TEST_F(DriveAnswers, APersonIsToldWhyADriveIsLeftAlone) {
  drive().siblings = {"nvme2"};
  drive().slots = DriveSlots{.revisions = {"NEXT"},
                             .running = 1,
                             .next = 1,
                             .isUpdateInProgress = true,
                             .isRunningSlotStaged = true};
  drive().criticalWarning = 1;
  drive().uses.clear();
  drive().isInPackage = false;
  EXPECT_THAT(asText(), HasSubstr("0000:41:00.0  /dev/nvme1, port of one drive with nvme2\n"
                                  "  drive    Model A, serial number SN-0001\n"
                                  "  runs     NOW\n"
                                  "  slots    slot 1 NEXT (runs after a reset)\n"
                                  "  update   in progress\n"
                                  "  health   critical warning: spare below its threshold\n"
                                  "  use      nothing\n"
                                  "  package  does not name it\n"));
  drive().slots = DriveSlots{};
  EXPECT_THAT(asText(), HasSubstr("  slots    no slot is known\n"));
}

TEST_F(DriveAnswers, AServerWithoutDrivesIsNoFailure) {
  m_list.drives.clear();
  EXPECT_EQ(verdict().outcome, RunOutcome::kDone);
  EXPECT_THAT(verdict().drives, IsEmpty());
  EXPECT_EQ(asText(), "note: the kernel knows no NVMe PCIe drive\n");
}

TEST_F(DriveAnswers, NothingThatADriveSaysReachesATerminalAsACommand) {
  drive().serial = "S\033[2J";
  EXPECT_THAT(asText(), HasSubstr("serial number S.[2J\n"));
}

}  // namespace

}  // namespace tool
