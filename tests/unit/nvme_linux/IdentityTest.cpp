#include "Identity.h"

#include <gtest/gtest.h>

namespace nvme_linux {

namespace {

TEST(PrintableTest, CutsThePaddingAndHidesWhatIsNoText) {
  EXPECT_EQ(printable(std::string("REV 1   ")), "REV 1");
  EXPECT_EQ(printable(std::string("A\0\0\0", 4)), "A");
  EXPECT_EQ(printable(std::string("\x1b[2J\xff\x7f~", 7)), "?[2J??~");
  EXPECT_EQ(printable(std::string("        ")), "");
}

}  // namespace

}  // namespace nvme_linux
