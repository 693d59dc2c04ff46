#include "Identity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>

namespace nvme_linux {

namespace {

/// The data structure with one byte set.
Identity withByte(std::size_t offset, std::uint8_t value) {
  std::array<std::uint8_t, Identity::kLength> data{};
  data.at(offset) = value;
  return parseIdentity(data);
}

TEST(IdentityTest, TextsAreTakenAsTheyStand) {
  std::array<std::uint8_t, Identity::kLength> data{};
  const std::string texts = "S---------19--------M---------------------------------------R-------";
  std::copy(texts.begin(), texts.end(), data.begin() + 4);
  const Identity identity = parseIdentity(data);
  EXPECT_EQ(textOf(identity.serial), "S---------19--------");
  EXPECT_EQ(textOf(identity.model), "M---------------------------------------");
  EXPECT_EQ(textOf(identity.revision), "R-------");
}

TEST(IdentityTest, FirmwareCommandsAndSlots) {
  for (unsigned int bits = 0; bits <= 0xFF; ++bits) {
    EXPECT_EQ(withByte(256, static_cast<std::uint8_t>(bits)).takesFirmware, (bits & 4) != 0) << bits;
    const Identity identity = withByte(260, static_cast<std::uint8_t>(bits));
    EXPECT_EQ(identity.isFirstSlotReadOnly, (bits & 1) != 0) << bits;
    EXPECT_EQ(identity.slots, bits / 2 % 8) << bits;
    EXPECT_EQ(identity.detectsOverlaps, (bits & 32) != 0) << bits;
  }
}

TEST(IdentityTest, UnitsAreThoseOfEachField) {
  using std::chrono::milliseconds;
  EXPECT_EQ(withByte(270, 3).activationTime, milliseconds(300));
  EXPECT_EQ(withByte(271, 1).activationTime, milliseconds(25600));
  EXPECT_EQ(withByte(319, 0).granularity, 0U);
  EXPECT_EQ(withByte(319, 3).granularity, 3U * 4096);
  EXPECT_EQ(withByte(319, 0xFE).granularity, 254U * 4096);
  EXPECT_EQ(withByte(319, 0xFF).granularity, 4U);
  EXPECT_EQ(withByte(77, 0).maximumTransfer, 0U);
  EXPECT_EQ(withByte(77, 1).maximumTransfer, 8192U);
  EXPECT_EQ(withByte(77, 15).maximumTransfer, 4096U << 15);
  EXPECT_EQ(withByte(77, 16).maximumTransfer, 0U);
  EXPECT_EQ(withByte(77, 0xFF).maximumTransfer, 0U);
}

TEST(PrintableTest, CutsThePaddingAndHidesWhatIsNoText) {
  EXPECT_EQ(printable(std::string("REV 1   ")), "REV 1");
  EXPECT_EQ(printable(std::string("A\0\0\0", 4)), "A");
  EXPECT_EQ(printable(std::string("\x1b[2J\xff\x7f~", 7)), "?[2J??~");
  EXPECT_EQ(printable(std::string("        ")), "");
}

}  // namespace

}  // namespace nvme_linux
