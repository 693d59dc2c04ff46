#include "DriveScenario.h"

#include <algorithm>
#include <array>
#include <limits>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "DriveTexts.h"
#include "StrictJson.h"

namespace simulator {

namespace {

constexpr std::int64_t kMostRepeats = 65'536;
constexpr std::int64_t kAllWarnings = 0x3f;

/// In the serial number of a repeated drive, stands for the drive's number, counted from 1.
constexpr std::string_view kNumberPlace = "{n}";

/// A field's bytes, and the character that fills up the rest of the field.
struct PaddedText {
  std::string bytes;
  char padding = ' ';
};

std::string readBytes(JsonObject& object, const std::string& key) {
  auto bytes = bytesOf(object.requiredText(key));
  if (!bytes) object.refuse(key, "holds a character beyond U+00FF");
  return *std::move(bytes);
}

/// A field is a text, padded with blanks, or an object that also names the padding.
PaddedText readPadded(JsonObject& object, const std::string& key) {
  const nlohmann::json& value = object.require(key);
  if (!value.is_object()) return {readBytes(object, key)};

  JsonObject field(value, object.nameOf(key));
  const std::string bytes = readBytes(field, "text");
  const std::string padding = readBytes(field, "padding");
  if (padding.size() != 1) field.refuse("padding", "must be a single character");
  field.finish();
  return {bytes, padding.front()};
}

void fill(std::span<char> field, const PaddedText& text, const JsonObject& object, const std::string& key) {
  if (text.bytes.size() > field.size()) {
    object.refuse(key, "is longer than " + std::to_string(field.size()) + " characters");
  }
  std::fill(std::copy(text.bytes.begin(), text.bytes.end(), field.begin()), field.end(), text.padding);
}

Revision readRevision(JsonObject& object, const std::string& key) {
  Revision revision;
  fill(revision, readPadded(object, key), object, key);
  return revision;
}

std::optional<Revision> readOptionalRevision(JsonObject& object, const std::string& key) {
  if (object.find(key) == nullptr) return std::nullopt;
  return readRevision(object, key);
}

std::uint16_t readId(JsonObject& object, const std::string& key) {
  const auto id = hexadecimalOf(object.requiredText(key), 4);
  if (!id) object.refuse(key, "must be one to four hexadecimal digits");
  return static_cast<std::uint16_t>(*id);
}

std::int32_t readResult(JsonObject& object, const std::string& key) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(object.integer(key, Limits::min(), Limits::max()).value_or(0));
}

DriveAddress readAddress(JsonObject& object) {
  const auto address = addressOf(object.requiredText("address"));
  if (!address) object.refuse("address", "must be bus:device.function in hexadecimal digits");
  return *address;
}

/// The words that a key may hold, and what they mean. The first one is the default.
template <class Meaning, std::size_t kCount>
using Words = std::array<std::pair<std::string_view, Meaning>, kCount>;

constexpr Words<ListShape, 4> kListShapes = {{
    {"whole", ListShape::kWhole},
    {"null", ListShape::kNull},
    {"untouched", ListShape::kUntouched},
    {"uncounted", ListShape::kUncounted},
}};

constexpr Words<Activation, 3> kActivations = {{
    {"flash", Activation::kFlash},
    {"reset", Activation::kReset},
    {"never", Activation::kNever},
}};

constexpr Words<GoneAfter, 3> kGoneAfter = {{
    {"nothing", GoneAfter::kNothing},
    {"flash", GoneAfter::kFlash},
    {"reset", GoneAfter::kReset},
}};

template <class Meaning, std::size_t kCount>
Meaning readWord(JsonObject& object, const std::string& key, const Words<Meaning, kCount>& words) {
  const std::optional<std::string> text = object.text(key);
  if (!text) return words.front().second;
  std::string choices;
  for (std::size_t i = 0; i < kCount; ++i) {
    if (words[i].first == *text) return words[i].second;
    choices += (i == 0 ? "" : i + 1 == kCount ? " or " : ", ");
    choices += words[i].first;
  }
  object.refuse(key, "must be " + choices);
}

/// The address `steps` further on: buses first, as servers spread their drives, then devices and functions.
std::optional<DriveAddress> addressAfter(const DriveAddress& first, std::size_t steps) {
  const std::size_t place =
      (std::size_t{first.function} << 16 | std::size_t{first.device} << 8 | first.bus) + steps;
  // Three bytes hold an address.
  if (place >> 24 != 0) return std::nullopt;
  return DriveAddress{static_cast<std::uint8_t>(place), static_cast<std::uint8_t>(place >> 8),
                      static_cast<std::uint8_t>(place >> 16)};
}

PaddedText numbered(PaddedText text, std::size_t number) {
  const std::size_t place = text.bytes.find(kNumberPlace);
  if (place != std::string::npos) text.bytes.replace(place, kNumberPlace.size(), std::to_string(number));
  return text;
}

/// Reads what all repetitions of a drive have in common.
Drive readCommon(JsonObject& object, const std::optional<Revision>& newRevision) {
  Drive drive = {};
  // Callers must not rely on unused bytes. They are not zero, so that a test notices one that does.
  drive.record.unused.fill(0xA5);
  drive.record.vendorId = readId(object, "vendorId");
  drive.record.deviceId = readId(object, "deviceId");
  drive.record.subVendorId = readId(object, "subVendorId");
  drive.record.subDeviceId = readId(object, "subDeviceId");
  fill(drive.record.model, readPadded(object, "model"), object, "model");
  drive.revision = readRevision(object, "revision");
  drive.newRevision = readOptionalRevision(object, "newRevision");
  if (!drive.newRevision) drive.newRevision = newRevision;
  drive.revisionResult = readResult(object, "revisionResult");
  drive.updateResult = readResult(object, "updateResult");
  drive.updateTime =
      std::chrono::milliseconds(object.integer("updateMilliseconds", 0, kLongestUpdate.count()).value_or(0));
  drive.updateHangs = object.flag("updateHangs").value_or(false);
  drive.activation = readWord(object, "activation", kActivations);
  drive.goneAfter = readWord(object, "goneAfter", kGoneAfter);
  drive.criticalWarning =
      static_cast<std::uint8_t>(object.integer("criticalWarning", 0, kAllWarnings).value_or(0));
  drive.isListed = !object.flag("nullEntry").value_or(false);
  return drive;
}

/// Appends the drives that one entry describes; `taken` has the addresses of those before it.
void appendDrives(JsonObject& object, const std::optional<Revision>& newRevision,
                  std::set<DriveAddress>& taken, std::vector<Drive>& drives) {
  const Drive common = readCommon(object, newRevision);
  const DriveAddress first = readAddress(object);
  const PaddedText serial = readPadded(object, "serial");
  const auto repeat = object.integer("repeat", 1, kMostRepeats);
  object.finish();

  for (std::size_t i = 0; i < static_cast<std::size_t>(repeat.value_or(1)); ++i) {
    Drive& drive = drives.emplace_back(common);
    const auto address = addressAfter(first, i);
    if (!address) object.refuse("repeat", "runs past the last address");
    if (!taken.insert(*address).second) object.refuse("address", textOf(*address) + " is taken already");
    drive.record.address = *address;
    fill(drive.record.serial, repeat ? numbered(serial, i + 1) : serial, object, "serial");
  }
}

void readDrives(JsonObject& object, const std::optional<Revision>& newRevision, std::vector<Drive>& drives) {
  const nlohmann::json& list = object.require("drives");
  if (!list.is_array()) object.refuse("drives", "must be an array");
  // Calls name a drive by its address alone, so that two at one address could not be told apart.
  std::set<DriveAddress> taken;
  for (std::size_t i = 0; i < list.size(); ++i) {
    JsonObject entry(list[i], "drives[" + std::to_string(i) + "]");
    appendDrives(entry, newRevision, taken, drives);
  }
}

}  // namespace

DriveScenario readDriveScenario(const std::filesystem::path& path) {
  DriveScenario scenario{};
  readObject(path, [&](JsonObject& object) {
    // For people; asked for so that it is a known key.
    object.text("description");
    scenario.discoveryResult = readResult(object, "discoveryResult");
    scenario.discoveryHangs = object.flag("discoveryHangs").value_or(false);
    scenario.list = readWord(object, "list", kListShapes);
    readDrives(object, readOptionalRevision(object, "newRevision"), scenario.drives);
  });
  return scenario;
}

}  // namespace simulator
