#include "Policy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LocatedJson.h"
#include "PlanSamples.h"

namespace tool {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kChecksum[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

Policy parse(const std::string& content) {
  return parsePolicy(content, "p.json");
}

/// What is wrong with a policy; empty when nothing is.
std::string complaint(const std::string& content) {
  try {
    parse(content);
  } catch (const FileError& error) {
    return error.what();
  }
  return "";
}

/// A policy of one model, with these further keys.
std::string modelWith(const std::string& keys) {
  return R"({"models": [{"pci": {"vendor": "144d", "device": "a80", "subVendor": "1028", "subDevice": "0"})" +
         keys + "}]}";
}

TEST(Policy, AnEmptyOneLetsEveryDriveBeFlashed) {
  const Policy policy = parse("{}");
  EXPECT_EQ(policy.inUse, InUse::kRedundant);
  EXPECT_EQ(policy.expectDrives, std::nullopt);
  EXPECT_THAT(policy.serials, IsEmpty());
  const PolicyRule* const rule = policy.ruleFor(kModelA, "Model A");
  ASSERT_NE(rule, nullptr);
  EXPECT_EQ(rule->to, std::nullopt);
}

TEST(Policy, NullIsNoValue) {
  for (const char* const key : {"expectDrives", "models", "inUse", "serials"})
    EXPECT_NE(complaint("{\"" + std::string(key) + "\": null}").find(key), std::string::npos) << key;
}

TEST(Policy, TellsForEachModelWhatItIsToRun) {
  const Policy policy = parse(R"({
    "$schema": "policy.json",
    "models": [
      {"pci": {"vendor": "0x144D", "device": "0A80", "subVendor": "1028", "subDevice": "0000"},
       "model": " Model A ", "to": "NEW", "from": ["OLD", "OLDER   "], "payload": "a.bin",
       "sha256": "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD"}],
    "expectDrives": 4, "inUse": "allow", "serials": ["S1", " S2"]})");
  EXPECT_EQ(policy.expectDrives, 4U);
  EXPECT_EQ(policy.inUse, InUse::kAllow);
  EXPECT_THAT(policy.serials, ElementsAre("S1", "S2"));
  ASSERT_EQ(policy.rules.size(), 1U);
  const PolicyRule& rule = policy.rules[0];
  EXPECT_EQ(rule.pci, kModelA);
  EXPECT_EQ(rule.model, "Model A");
  EXPECT_EQ(rule.to, "NEW");
  EXPECT_THAT(rule.from, ElementsAre("OLD", "OLDER"));
  EXPECT_EQ(rule.payload, "a.bin");
  EXPECT_EQ(rule.sha256, kChecksum);
  EXPECT_EQ(rule.origin, "p.json:4");
}

TEST(Policy, ADriveOfNoListedModelHasNoRule) {
  const Policy policy = parse(modelWith(R"(, "to": "NEW")"));
  EXPECT_NE(policy.ruleFor(kModelA, "Model A"), nullptr);
  EXPECT_EQ(policy.ruleFor(kModelB, "Model A"), nullptr);
  EXPECT_EQ(policy.ruleFor(std::nullopt, "Model A"), nullptr);
  EXPECT_EQ(parse(R"({"models": []})").ruleFor(kModelA, ""), nullptr);
}

TEST(Policy, AModelNumberDecidesAmongThoseWithTheSameIds) {
  Policy policy;
  policy.rules = {{.pci = kModelA, .to = "ANY"}, {.pci = kModelA, .model = "Model A", .to = "ONE"}};
  EXPECT_EQ(policy.ruleFor(kModelA, "Model A")->to, "ONE");
  EXPECT_EQ(policy.ruleFor(kModelA, "Model X")->to, "ANY");
  EXPECT_EQ(policy.ruleFor(kModelA, ""), nullptr) << "it may be either";
}

TEST(Policy, AModelNumberThatNobodyKnowsIsNotCompared) {
  Policy policy;
  policy.rules = {{.pci = kModelA, .model = "Model A", .to = "ONE"}};
  EXPECT_EQ(policy.ruleFor(kModelA, "")->to, "ONE");
  EXPECT_EQ(policy.ruleFor(kModelA, "Model X"), nullptr);
}

TEST(Policy, WhatIsNotExactlyAsDescribedIsRefusedWithItsLine) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"", "p.json:1: is no JSON"},
      {"{\n\"inUse\": nonsense\n}", "p.json:2: is no JSON"},
      {"{\n\"expectDrives\": 3\n", "p.json:2: is no JSON"},
      {"[]", "p.json:1: the policy is no object"},
      {"{\n\n\"in_use\": \"allow\"}", "p.json:3: the policy has the key \"in_use\", which is not known"},
      {"{\"inUse\": \"allow\",\n \"inUse\": \"refuse\"}", "p.json:2: the key \"inUse\" is there twice"},
      {"{\"inUse\":\n\"never\"}", "p.json:2: inUse is not refuse, redundant or allow"},
      {"{\"inUse\": true}", "p.json:1: inUse is no text"},
      {"{\n\"expectDrives\": 0\n}", "p.json:2: expectDrives is no number of drives"},
      {"{\n\"expectDrives\": -1\n}", "p.json:2: expectDrives is no whole number"},
      {"{\n\"expectDrives\": 1.5\n}", "p.json:2: expectDrives is no whole number"},
      {"{\"expectDrives\": 5000000000}", "p.json:1: expectDrives is no number of drives"},
      {"{\"serials\": \"S1\"}", "p.json:1: serials is no array"},
      {"{\"serials\": [\"S1\",\n1]}", "p.json:2: serials holds what is no text"},
      {"{\"serials\": [\"S1\",\n\" S1\"]}", "p.json:2: serials has \"S1\" twice"},
      {"{\"serials\": [\" \"]}", "p.json:1: serials has an empty serial number"},
      {"{\"models\": [\n1]}", "p.json:2: model is no object"},
      {"{\"models\": [\n{}]}", "p.json:2: model has no \"pci\""},
      {"{\"models\": [{\"pci\":\n{\"vendor\": \"1\"}}]}", "p.json:2: pci has no \"device\""},
      {"{\"models\": [{\"pci\":\n{\"vendor\": \"12345\"}}]}",
       "p.json:2: vendor is no hexadecimal number of 16 bits"},
      {modelWith(""), "p.json:1: model has no \"to\""},
      {modelWith(R"(, "to": "NINECHARS")"), "p.json:1: to is no revision of one to eight characters"},
      {modelWith(R"(, "to": "N", "from": [""])"),
       "p.json:1: from has what is no revision of one to eight characters"},
      {modelWith(R"(, "to": "N", "payload": " ")"), "p.json:1: payload is empty"},
      {modelWith(",\"to\": \"N\",\n\"sha256\": \"abc\""),
       "p.json:2: sha256 is no checksum of 64 hexadecimal digits"},
      {modelWith(R"(, "to": "N", "sha265": "")"),
       "p.json:1: model has the key \"sha265\", which is not known"}};
  for (const auto& [content, expected] : cases) {
    const std::string problem = complaint(content);
    EXPECT_TRUE(problem.starts_with(expected)) << content << "\n" << problem;
  }
}

TEST(Policy, TheSameModelTwiceIsRefused) {
  const std::string model =
      R"({"pci": {"vendor": "1", "device": "2", "subVendor": "3", "subDevice": "4"}, "to": "N"})";
  const std::string twin =
      R"({"pci": {"vendor": "0x0001", "device": "2", "subVendor": "3", "subDevice": "4"}, "to": "M"})";
  EXPECT_EQ(complaint("{\"models\": [\n" + model + ",\n" + twin + "]}"),
            "p.json:3: the same model stands in p.json:2");
}

TEST(Policy, ValuesThatAreNestedTooDeepAreRefused) {
  EXPECT_EQ(complaint(std::string(100000, '[')), "p.json:1: values are nested too deep");
}

TEST(Policy, ChecksumsAreSixtyFourHexadecimalDigits) {
  EXPECT_EQ(parseSha256(kChecksum), kChecksum);
  EXPECT_EQ(parseSha256(std::string(kChecksum) + " "), std::nullopt);
  EXPECT_EQ(parseSha256(std::string(63, 'a') + "g"), std::nullopt);
  EXPECT_EQ(parseSha256(""), std::nullopt);
}

}  // namespace

}  // namespace tool
