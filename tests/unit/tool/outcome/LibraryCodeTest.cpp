#include "LibraryCode.h"

#include <gmock/gmock.h>

using testing::HasSubstr;
using testing::StartsWith;
using tool::describeCode;

namespace {

TEST(LibraryCode, NamesWhatItKnowsAndSaysWhatToDo) {
  EXPECT_THAT(describeCode(263),
              StartsWith("263 Invalid Firmware Image: the drive refused the payload; check"));
  EXPECT_THAT(describeCode(-16), StartsWith("-EBUSY: another run is updating this drive; wait"));
}

/// Those that the results of our own drive library list, in nvme_linux/README.md.
TEST(LibraryCode, HasAdviceForEveryResultOfOurOwnLibrary) {
  for (const int code : {262, 263, 274, 275,  276, 286, -1,  -11, -104, -16,  -19,
                         -22, -27, -61, -124, -30, -52, -71, -95, -110, -114, -121})
    EXPECT_THAT(describeCode(code), testing::Not(HasSubstr("list of results"))) << code;
}

TEST(LibraryCode, SendsToTheMakersListForOthers) {
  EXPECT_EQ(describeCode(5), "5: see the list of results of the drive library");
  EXPECT_EQ(describeCode(0), "0: see the list of results of the drive library");
  EXPECT_EQ(describeCode(-125), "-ECANCELED: see the list of results of the drive library");
  EXPECT_EQ(describeCode(-2147483647 - 1), "-2147483648: see the list of results of the drive library");
}

}  // namespace
