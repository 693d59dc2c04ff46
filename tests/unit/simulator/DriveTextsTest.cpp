// Texts of the JSON files and the raw bytes of drives.

#include "DriveTexts.h"

#include <optional>
#include <string>

#include "SimulatorTest.h"

using simulator::addressOf;
using simulator::bytesOf;
using simulator::DriveAddress;
using simulator::hexadecimalOf;
using simulator::textOf;

TEST(DriveTexts, EveryByteHasACharacter) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  const std::string text = textOf(bytes);
  EXPECT_EQ(text.size(), 128U + 2 * 128U);
  EXPECT_EQ(bytesOf(text), bytes);
  EXPECT_EQ(textOf("\xe9"), "\u00e9");
  EXPECT_EQ(bytesOf("\u00ff"), "\xff");
}

TEST(DriveTexts, CharactersBeyondAByteAreRefused) {
  for (const char* const text : {"\u0100", "A\u20acB", "\U0001F600"}) {
    EXPECT_EQ(bytesOf(text), std::nullopt) << text;
  }
}

TEST(DriveTexts, AnAddressIsTwoDigitsForBusAndDevice) {
  EXPECT_EQ(textOf(DriveAddress{0x3b, 0, 0}), "3b:00.0");
  EXPECT_EQ(textOf(DriveAddress{1, 0x1f, 7}), "01:1f.7");
  EXPECT_EQ(textOf(DriveAddress{0xff, 0xff, 0xff}), "ff:ff.ff");
}

TEST(DriveTexts, AddressesAreReadWithOneOrTwoDigits) {
  EXPECT_EQ(addressOf("3b:00.0"), (DriveAddress{0x3b, 0, 0}));
  EXPECT_EQ(addressOf("3B:1f.7"), (DriveAddress{0x3b, 0x1f, 7}));
  EXPECT_EQ(addressOf("1:2.3"), (DriveAddress{1, 2, 3}));
  EXPECT_EQ(addressOf("ff:ff.ff"), (DriveAddress{0xff, 0xff, 0xff}));
}

TEST(DriveTexts, OddAddressesAreRefused) {
  for (const char* const text :
       {"", "3b", "3b:00", "3b.0", "3b.0:0", ":00.0", "3b:.0", "3b:00.", "03b:00.0", "3b:000.0", "3b:00.000",
        "3g:00.0", "3b:00.0 ", " 3b:00.0", "3b:00.0.1", "3b:0:0.1", "0000:3b:00.0", "-1:00.0", "+1:00.0"}) {
    EXPECT_EQ(addressOf(text), std::nullopt) << text;
  }
}

TEST(DriveTexts, HexadecimalNumbersHaveUpToSoManyDigits) {
  EXPECT_EQ(hexadecimalOf("0", 4), 0U);
  EXPECT_EQ(hexadecimalOf("aF01", 4), 0xaf01U);
  EXPECT_EQ(hexadecimalOf("ffff", 4), 0xffffU);
  for (const char* const text : {"", "0ffff", "0x1", "-1", " 1", "1 ", "g"}) {
    EXPECT_EQ(hexadecimalOf(text, 4), std::nullopt) << text;
  }
}
