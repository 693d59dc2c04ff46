// Scenario files: every key, its default, and each way in which one is refused.

#include "DriveScenario.h"

#include <chrono>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "SimulatorTest.h"

using nlohmann::json;
using simulator::Drive;
using simulator::DriveAddress;
using simulator::DriveScenario;
using simulator::ListShape;
using simulator::Revision;

namespace {

constexpr Revision kFirst = {'S', 'M', 'P', '1', '0', '1', '0', '0'};
constexpr Revision kNew = {'S', 'M', 'P', '9', '0', '2', '0', '0'};

/// A drive with the required keys alone, `changes` apart. Null in `changes` removes a key.
json drive(const json& changes = json::object()) {
  json result = {{"vendorId", "f101"}, {"deviceId", "a801"},    {"subVendorId", "f1a0"},
                 {"subDeviceId", "1"}, {"address", "3b:00.0"},  {"model", "SAMPLE S1"},
                 {"serial", "SIM1"},   {"revision", "SMP10100"}};
  result.merge_patch(changes);
  return result;
}

json scenario(const std::vector<json>& drives, const json& changes = json::object()) {
  json result = {{"drives", drives}};
  result.merge_patch(changes);
  return result;
}

DriveScenario read(const json& content) {
  const ScratchFolder folder;
  writeFile(folder / "scenario.json", content.dump());
  return simulator::readDriveScenario(folder / "scenario.json");
}

/// What is wrong with the scenario, without the file's name.
std::string complaint(const json& content) {
  const std::string message = messageOf([&] { read(content); });
  const std::string file = "scenario.json: ";
  const std::size_t at = message.find(file);
  return at == std::string::npos ? message : message.substr(at + file.size());
}

std::string text(const auto& field) {
  return {field.begin(), field.end()};
}

}  // namespace

TEST(DriveScenario, GivesDefaultsForWhatIsLeftOut) {
  const DriveScenario result = read(scenario({drive()}));
  EXPECT_EQ(result.discoveryResult, 0);
  EXPECT_EQ(result.list, ListShape::kWhole);
  ASSERT_EQ(result.drives.size(), 1U);
  const Drive& first = result.drives.front();
  EXPECT_EQ(first.newRevision, std::nullopt);
  EXPECT_EQ(first.revisionResult, 0);
  EXPECT_EQ(first.updateResult, 0);
  EXPECT_EQ(first.updateTime, std::chrono::milliseconds(0));
  EXPECT_TRUE(first.isListed);
}

TEST(DriveScenario, FillsTheRecord) {
  const Drive first = read(scenario({drive()})).drives.at(0);
  EXPECT_EQ(first.record.vendorId, 0xf101);
  EXPECT_EQ(first.record.deviceId, 0xa801);
  EXPECT_EQ(first.record.subVendorId, 0xf1a0);
  EXPECT_EQ(first.record.subDeviceId, 1);
  EXPECT_EQ(first.record.address, (DriveAddress{0x3b, 0, 0}));
  EXPECT_EQ(text(first.record.model), "SAMPLE S1" + std::string(31, ' '));
  EXPECT_EQ(text(first.record.serial), "SIM1" + std::string(16, ' '));
  EXPECT_EQ(first.revision, kFirst);
  for (const std::uint8_t byte : first.record.unused) EXPECT_EQ(byte, 0xA5);
}

TEST(DriveScenario, TakesEveryOptionOfADrive) {
  const json options = {{"newRevision", "SMP90200"},
                        {"revisionResult", -2147483648LL},
                        {"updateResult", 2147483647},
                        {"updateMilliseconds", 600000},
                        {"nullEntry", true}};
  const Drive first = read(scenario({drive(options)})).drives.at(0);
  EXPECT_EQ(first.newRevision, kNew);
  EXPECT_EQ(first.revisionResult, std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(first.updateResult, std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(first.updateTime, std::chrono::minutes(10));
  EXPECT_FALSE(first.isListed);
}

TEST(DriveScenario, TakesEveryOptionOfTheServer) {
  const DriveScenario result = read(scenario({}, {{"description", "text"}, {"discoveryResult", -7}}));
  EXPECT_EQ(result.discoveryResult, -7);
  EXPECT_TRUE(result.drives.empty());
}

TEST(DriveScenario, KnowsEveryShapeOfTheList) {
  const std::vector<std::pair<const char*, ListShape>> shapes = {{"whole", ListShape::kWhole},
                                                                 {"null", ListShape::kNull},
                                                                 {"untouched", ListShape::kUntouched},
                                                                 {"uncounted", ListShape::kUncounted}};
  for (const auto& [name, shape] : shapes) {
    EXPECT_EQ(read(scenario({}, {{"list", name}})).list, shape) << name;
  }
  EXPECT_EQ(complaint(scenario({}, {{"list", "Whole"}})),
            "list: must be whole, null, untouched or uncounted");
}

TEST(DriveScenario, ADrivesNewRevisionComesBeforeTheServers) {
  const json own = drive({{"newRevision", "SMP90200"}, {"address", "3c:00.0"}});
  const auto drives = read(scenario({drive(), own}, {{"newRevision", "SMP8"}})).drives;
  EXPECT_EQ(drives.at(0).newRevision, (Revision{'S', 'M', 'P', '8', ' ', ' ', ' ', ' '}));
  EXPECT_EQ(drives.at(1).newRevision, kNew);
}

TEST(DriveScenario, FieldsHoldAnyByteAndAnyPadding) {
  const json changes = {{"model", {{"text", "A\u0000\u00ff"}, {"padding", "\u0000"}}},
                        {"serial", {{"text", ""}, {"padding", "x"}}},
                        {"revision", "<&\"'>\u00ff\n\t"}};
  // A literal cannot hold the NUL: the model's text is set byte by byte.
  json odd = drive(changes);
  odd["model"]["text"] = std::string("A\0\u00ff", 4);
  odd["model"]["padding"] = std::string(1, '\0');
  const Drive first = read(scenario({odd})).drives.at(0);
  EXPECT_EQ(text(first.record.model), std::string("A\0\xff", 3) + std::string(37, '\0'));
  EXPECT_EQ(text(first.record.serial), std::string(20, 'x'));
  EXPECT_EQ(text(first.revision), "<&\"'>\xff\n\t");
}

TEST(DriveScenario, FieldsAreFilledToTheLastByte) {
  const json full = {
      {"model", std::string(40, 'm')}, {"serial", std::string(20, 's')}, {"revision", "12345678"}};
  const Drive first = read(scenario({drive(full)})).drives.at(0);
  EXPECT_EQ(text(first.record.model), std::string(40, 'm'));
  EXPECT_EQ(text(first.record.serial), std::string(20, 's'));
}

TEST(DriveScenario, RepeatsADriveWithItsOwnAddressAndSerialNumber) {
  const json repeated = {{"repeat", 300}, {"serial", "SIM{n}"}, {"address", "fe:1f.2"}};
  const auto drives = read(scenario({drive(repeated)})).drives;
  ASSERT_EQ(drives.size(), 300U);
  EXPECT_EQ(text(drives[0].record.serial), "SIM1" + std::string(16, ' '));
  EXPECT_EQ(text(drives[299].record.serial), "SIM300" + std::string(14, ' '));
  EXPECT_EQ(drives[1].record.address, (DriveAddress{0xff, 0x1f, 2}));
  EXPECT_EQ(drives[2].record.address, (DriveAddress{0x00, 0x20, 2}));
  std::set<DriveAddress> addresses;
  for (const Drive& each : drives) addresses.insert(each.record.address);
  EXPECT_EQ(addresses.size(), 300U);
}

TEST(DriveScenario, AddressesCountOnIntoTheFunction) {
  const auto drives = read(scenario({drive({{"repeat", 2}, {"address", "ff:ff.0"}})})).drives;
  EXPECT_EQ(drives.at(1).record.address, (DriveAddress{0, 0, 1}));
}

TEST(DriveScenario, ASerialNumberThatIsNotRepeatedStaysAsItIs) {
  EXPECT_EQ(text(read(scenario({drive({{"serial", "SIM{n}"}})})).drives.at(0).record.serial).substr(0, 7),
            "SIM{n} ");
  EXPECT_EQ(text(read(scenario({drive({{"serial", "{n}"}, {"repeat", 1}})})).drives.at(0).record.serial)
                .substr(0, 2),
            "1 ");
}

struct RefusedDrive {
  json changes;
  const char* complaint;
};

TEST(DriveScenario, OddDrivesAreRefused) {
  const json tooLong = {{"text", std::string(21, 's')}, {"padding", " "}};
  const std::vector<RefusedDrive> cases = {
      {{{"vendorId", nullptr}}, "vendorId: is missing"},
      {{{"model", nullptr}}, "model: is missing"},
      {{{"address", nullptr}}, "address: is missing"},
      {{{"vendorId", "f1010"}}, "vendorId: must be one to four hexadecimal digits"},
      {{{"deviceId", ""}}, "deviceId: must be one to four hexadecimal digits"},
      {{{"subVendorId", "0x1"}}, "subVendorId: must be one to four hexadecimal digits"},
      {{{"subDeviceId", 1}}, "subDeviceId: must be a text"},
      {{{"address", "3b:00"}}, "address: must be bus:device.function in hexadecimal digits"},
      {{{"model", std::string(41, 'm')}}, "model: is longer than 40 characters"},
      {{{"serial", tooLong}}, "serial: is longer than 20 characters"},
      {{{"revision", "SMP101000"}}, "revision: is longer than 8 characters"},
      {{{"newRevision", "SMP902000"}}, "newRevision: is longer than 8 characters"},
      {{{"serial", "\u20ac"}}, "serial: holds a character beyond U+00FF"},
      {{{"serial", {{"text", "1"}}}}, "serial.padding: is missing"},
      {{{"serial", {{"text", "1"}, {"padding", ""}}}}, "serial.padding: must be a single character"},
      {{{"serial", {{"text", "1"}, {"padding", "ab"}}}}, "serial.padding: must be a single character"},
      {{{"serial", {{"text", "1"}, {"padding", " "}, {"width", 3}}}}, "serial.width: is not known here"},
      {{{"revisionResult", 2147483648LL}},
       "revisionResult: must be a whole number from -2147483648 to 2147483647"},
      {{{"updateResult", 0.5}}, "updateResult: must be a whole number from -2147483648 to 2147483647"},
      {{{"updateMilliseconds", 600001}}, "updateMilliseconds: must be a whole number from 0 to 600000"},
      {{{"updateMilliseconds", -1}}, "updateMilliseconds: must be a whole number from 0 to 600000"},
      {{{"nullEntry", 1}}, "nullEntry: must be true or false"},
      {{{"repeat", 0}}, "repeat: must be a whole number from 1 to 65536"},
      {{{"repeat", 65537}}, "repeat: must be a whole number from 1 to 65536"},
      {{{"repeat", 2}, {"address", "ff:ff.ff"}}, "repeat: runs past the last address"},
      {{{"seriel", "SIM1"}}, "seriel: is not known here"},
  };
  for (const RefusedDrive& refused : cases) {
    EXPECT_EQ(complaint(scenario({drive({{"address", "01:00.0"}}), drive(refused.changes)})),
              std::string("drives[1].") + refused.complaint)
        << refused.changes;
  }
}

TEST(DriveScenario, NoTwoDrivesHaveOneAddress) {
  EXPECT_EQ(complaint(scenario({drive(), drive()})), "drives[1].address: 3b:00.0 is taken already");
  EXPECT_EQ(complaint(scenario({drive({{"repeat", 3}}), drive({{"address", "3d:00.0"}})})),
            "drives[1].address: 3d:00.0 is taken already");
}

TEST(DriveScenario, ARepeatedSerialNumberMustFitToTheLast) {
  const json repeated = {{"repeat", 10}, {"serial", std::string(19, 's') + "{n}"}};
  EXPECT_EQ(complaint(scenario({drive(repeated)})), "drives[0].serial: is longer than 20 characters");
}

TEST(DriveScenario, OddServersAreRefused) {
  EXPECT_EQ(complaint(json::object()), "drives: is missing");
  EXPECT_EQ(complaint({{"drives", json::object()}}), "drives: must be an array");
  EXPECT_EQ(complaint(scenario({json(1)})), "drives[0]: must be an object");
  EXPECT_EQ(complaint(scenario({}, {{"drive", 1}})), "drive: is not known here");
  EXPECT_EQ(complaint(scenario({}, {{"description", 1}})), "description: must be a text");
  EXPECT_EQ(complaint(scenario({}, {{"newRevision", "SMP902000"}})),
            "newRevision: is longer than 8 characters");
  EXPECT_EQ(complaint(json::array()), "the outermost value: must be an object");
}

TEST(DriveScenario, TheStagedOnesAreWellFormed) {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(SIMULATOR_FOLDER "/scenarios")) {
    EXPECT_EQ(messageOf([&] { simulator::readDriveScenario(entry.path()); }), "") << entry.path();
    ++count;
  }
  EXPECT_EQ(count, 11U);
}

TEST(DriveScenario, TellsWhatAFlashComesTo) {
  const Drive plain = read(scenario({drive()})).drives[0];
  EXPECT_EQ(plain.activation, simulator::Activation::kFlash);
  EXPECT_EQ(plain.goneAfter, simulator::GoneAfter::kNothing);
  EXPECT_EQ(plain.criticalWarning, 0);
  EXPECT_FALSE(plain.updateHangs);

  const DriveScenario odd = read(scenario(
      {drive(
          {{"activation", "never"}, {"goneAfter", "reset"}, {"criticalWarning", 63}, {"updateHangs", true}})},
      {{"discoveryHangs", true}}));
  EXPECT_EQ(odd.drives[0].activation, simulator::Activation::kNever);
  EXPECT_EQ(odd.drives[0].goneAfter, simulator::GoneAfter::kReset);
  EXPECT_EQ(odd.drives[0].criticalWarning, 63);
  EXPECT_TRUE(odd.drives[0].updateHangs);
  EXPECT_TRUE(odd.discoveryHangs);
}

TEST(DriveScenario, RefusesOtherWordsForWhatAFlashComesTo) {
  EXPECT_EQ(complaint(scenario({drive({{"activation", "boot"}})})),
            "drives[0].activation: must be flash, reset or never");
  EXPECT_EQ(complaint(scenario({drive({{"goneAfter", ""}})})),
            "drives[0].goneAfter: must be nothing, flash or reset");
  EXPECT_EQ(complaint(scenario({drive({{"criticalWarning", 64}})})),
            "drives[0].criticalWarning: must be a whole number from 0 to 63");
}
