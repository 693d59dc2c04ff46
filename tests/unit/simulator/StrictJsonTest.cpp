// JSON files are read exactly as they are meant or refused with a message that names file and key.

#include "StrictJson.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "SimulatorTest.h"

using nlohmann::json;
using simulator::JsonObject;
using testing::StartsWith;

namespace {

constexpr auto kLowest = std::numeric_limits<std::int64_t>::min();
constexpr auto kHighest = std::numeric_limits<std::int64_t>::max();

/// What is wrong with a file of this text; empty when nothing is.
std::string readText(const std::string& text) {
  const ScratchFolder folder;
  writeFile(folder / "file.json", text);
  const std::string message = messageOf(
      [&] { simulator::readObject(folder / "file.json", [](JsonObject& object) { object.text("known"); }); });
  const std::string file = (folder / "file.json").string() + ": ";
  if (message.empty()) return "";
  EXPECT_THAT(message, StartsWith(file));
  return message.substr(file.size());
}

}  // namespace

TEST(StrictJson, AbsentOptionalKeysGiveNothing) {
  const json value = json::object();
  JsonObject object(value, "");
  EXPECT_EQ(object.integer("key", 0, 1), std::nullopt);
  EXPECT_EQ(object.flag("key"), std::nullopt);
  EXPECT_EQ(object.text("key"), std::nullopt);
  EXPECT_EQ(object.find("key"), nullptr);
}

TEST(StrictJson, PresentKeysGiveTheirValues) {
  const json value = {{"number", -5},
                      {"highest", static_cast<std::uint64_t>(kHighest)},
                      {"flag", true},
                      {"text", "words"},
                      {"list", {1, 2}}};
  JsonObject object(value, "");
  EXPECT_EQ(object.integer("number", -5, -5), -5);
  EXPECT_EQ(object.integer("highest", 0, kHighest), kHighest);
  EXPECT_EQ(object.flag("flag"), true);
  EXPECT_EQ(object.text("text"), "words");
  EXPECT_EQ(object.requiredText("text"), "words");
  EXPECT_EQ(object.require("list"), json({1, 2}));
  EXPECT_NO_THROW(object.finish());
}

TEST(StrictJson, RequiredKeysMustBeThere) {
  const json value = json::object();
  JsonObject object(value, "drives[2]");
  EXPECT_EQ(messageOf([&] { object.requiredText("serial"); }), "drives[2].serial: is missing");
  EXPECT_EQ(messageOf([&] { object.require("drives"); }), "drives[2].drives: is missing");
}

TEST(StrictJson, KeysThatNobodyAskedForAreRefused) {
  const json value = {{"serial", "1"}, {"seriel", "2"}};
  JsonObject object(value, "drives[0]");
  object.text("serial");
  EXPECT_EQ(messageOf([&] { object.finish(); }), "drives[0].seriel: is not known here");
}

TEST(StrictJson, OnlyObjectsAreRead) {
  const json value = json::array();
  EXPECT_EQ(messageOf([&] { JsonObject(value, ""); }), "the outermost value: must be an object");
  EXPECT_EQ(messageOf([&] { JsonObject(value, "drives[1]"); }), "drives[1]: must be an object");
}

TEST(StrictJson, NumbersOutOfRangeAreRefused) {
  const json value = {{"below", 2}, {"lowest", 3}, {"highest", 5}, {"above", 6}};
  JsonObject object(value, "");
  EXPECT_EQ(object.integer("lowest", 3, 5), 3);
  EXPECT_EQ(object.integer("highest", 3, 5), 5);
  for (const char* const key : {"below", "above"}) {
    EXPECT_EQ(messageOf([&] { object.integer(key, 3, 5); }),
              std::string(key) + ": must be a whole number from 3 to 5");
  }
}

TEST(StrictJson, TheLargestNumbersKeepTheirSign) {
  const json value = {{"lowest", kLowest}, {"highest", kHighest}, {"beyond", std::uint64_t{1} << 63}};
  JsonObject object(value, "");
  EXPECT_EQ(object.integer("lowest", kLowest, kHighest), kLowest);
  EXPECT_EQ(object.integer("highest", kLowest, kHighest), kHighest);
  EXPECT_THAT(messageOf([&] { object.integer("beyond", kLowest, kHighest); }),
              StartsWith("beyond: must be a whole number"));
}

TEST(StrictJson, ValuesOfAnotherKindAreRefused) {
  for (const json& value : {json("1"), json(1.0), json(true), json(nullptr), json::array({1})}) {
    const json outer = {{"key", value}};
    JsonObject object(outer, "");
    EXPECT_EQ(messageOf([&] { object.integer("key", 0, 9); }), "key: must be a whole number from 0 to 9")
        << value;
    if (!value.is_boolean()) {
      EXPECT_EQ(messageOf([&] { object.flag("key"); }), "key: must be true or false") << value;
    }
    if (!value.is_string()) {
      EXPECT_EQ(messageOf([&] { object.text("key"); }), "key: must be a text") << value;
      EXPECT_EQ(messageOf([&] { object.requiredText("key"); }), "key: must be a text") << value;
    }
  }
}

TEST(StrictJson, FilesAreOneObjectAndNothingElse) {
  EXPECT_EQ(readText(R"({})"), "");
  EXPECT_EQ(readText(R"({"known": "x"})"), "");
  EXPECT_EQ(readText(R"({"known": 1})"), "known: must be a text");
  EXPECT_EQ(readText(R"({"unknown": 1})"), "unknown: is not known here");
  EXPECT_EQ(readText(R"([])"), "the outermost value: must be an object");
}

TEST(StrictJson, FilesThatAreNoJsonAreRefused) {
  for (const char* const text : {"", "{", "{}}", "{\"known\": \"x\",}", "{\"known\": \"\xff\"}", "known"}) {
    EXPECT_THAT(readText(text), StartsWith("[json.exception.parse_error")) << text;
  }
}

TEST(StrictJson, AMissingFileIsNamed) {
  const ScratchFolder folder;
  const auto read = [&] { simulator::readObject(folder / "none.json", [](JsonObject&) { FAIL(); }); };
  EXPECT_EQ(messageOf(read), (folder / "none.json").string() + ": No such file or directory");
}
