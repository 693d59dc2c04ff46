// The payload beside the executable: what counts as one, and what happens unless there is exactly one.

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "ComponentFolder.h"
#include "Expected.h"

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

struct PayloadCase {
  const char* name;
  std::function<void(const fs::path& folder)> change;  ///< from a folder with the one file firmware.bin
};

class PayloadTest : public testing::TestWithParam<PayloadCase> {
 protected:
  PayloadTest() {
    component.setDrives({drive(1), drive(2, {{"revisionResult", 1}})});
    GetParam().change(component / "payload");
  }

  std::vector<std::string> log() const { return messages(readFile(component / "debug.log")); }

  ComponentFolder component;
};

class RefusedPayload : public PayloadTest {};

// Promise: refused-payload-looks-like-success
TEST_P(RefusedPayload, LeavesTheDrivesAsDiscoveryFoundThem) {
  EXPECT_EQ(component.run({"-u", "-d"}),
            (Outcome{0, updateDocument({updated({}), failed(kRevisionUnreadable)}), ""}));
  EXPECT_THAT(log(), Contains("ERROR: Zero or more than one payload file found"));
  EXPECT_THAT(component.driveCalls(), ElementsAre("NVMEDiscoverDrives\t0", "NVMEGetDriveInfo\t41:42.43\t0",
                                                  "NVMEGetDriveInfo\t42:42.43\t1"));
  EXPECT_THAT(component.rollbackCalls(), IsEmpty());
  EXPECT_FALSE(fs::exists(component.partition()));
}

INSTANTIATE_TEST_SUITE_P(
    Payload, RefusedPayload,
    testing::Values(
        PayloadCase{"MissingFolder", [](const fs::path& folder) { fs::remove_all(folder); }},
        PayloadCase{"EmptyFolder", [](const fs::path& folder) { fs::remove(folder / "firmware.bin"); }},
        PayloadCase{"TwoFiles", [](const fs::path& folder) { writeFile(folder / "second", "2"); }},
        PayloadCase{"FileAndEmptyFolder",
                    [](const fs::path& folder) { fs::create_directory(folder / "more"); }},
        PayloadCase{"HiddenFileBeside", [](const fs::path& folder) { writeFile(folder / ".note", ""); }},
        PayloadCase{"DanglingLinkBeside",
                    [](const fs::path& folder) { fs::create_symlink("nowhere", folder / "link"); }},
        PayloadCase{"AFileInPlaceOfTheFolder",
                    [](const fs::path& folder) {
                      fs::remove_all(folder);
                      writeFile(folder, "firmware");
                    }},
        PayloadCase{"DifferentlySpelledFolder",
                    [](const fs::path& folder) { fs::rename(folder, folder.parent_path() / "Payload"); }}),
    kByName);

/// A single entry of any kind is the payload; the library decides whether it can use it.
class UnusablePayload : public PayloadTest {};

// Promise: firmware-is-not-read, refused-payload-looks-like-success
TEST_P(UnusablePayload, IsTriedOnEveryDriveAndRefusedByTheLibrary) {
  const std::string path = component / "payload" / ComponentFolder::namesIn(component / "payload").at(0);
  EXPECT_EQ(component.run({"-u", "-d"}),
            (Outcome{0, updateDocument({failed(kUpdateFailed), failed(kUpdateFailed)}), ""}));
  EXPECT_THAT(log(), Contains("Payload file name is: " + path));
  EXPECT_THAT(log(), Contains("ERROR INFO: API return value = 1003"));
  EXPECT_THAT(component.flashCalls(), ElementsAre("NVMEUpdateFirmware\t41:42.43\t" + path + "\t1003",
                                                  "NVMEUpdateFirmware\t42:42.43\t" + path + "\t1003"));
  EXPECT_THAT(component.rollbackCalls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Payload, UnusablePayload,
    testing::Values(PayloadCase{"SingleFolder",
                                [](const fs::path& folder) {
                                  fs::remove(folder / "firmware.bin");
                                  writeFile(folder / "more" / "firmware.bin", "firmware");
                                }},
                    PayloadCase{"EmptyFile",
                                [](const fs::path& folder) { writeFile(folder / "firmware.bin", ""); }},
                    PayloadCase{"DanglingLink",
                                [](const fs::path& folder) {
                                  fs::remove(folder / "firmware.bin");
                                  fs::create_symlink("nowhere", folder / "firmware.bin");
                                }}),
    kByName);

class UsablePayload : public PayloadTest {};

// Promise: firmware-is-not-read
TEST_P(UsablePayload, IsFlashedAndKeptForRollbackUnderItsName) {
  const std::string name = ComponentFolder::namesIn(component / "payload").at(0);
  EXPECT_EQ(component.run({"-u", "-d"}),
            (Outcome{0, updateDocument({updated({}), failed(kRevisionUnreadable)}), ""}));
  EXPECT_THAT(component.flashCalls(), testing::SizeIs(2));
  EXPECT_THAT(component.flashCalls(), testing::Each(testing::EndsWith("/" + name + "\t0")));
  EXPECT_THAT(ComponentFolder::namesIn(component.partition()), ElementsAre(name));
  EXPECT_EQ(readFile(component.partition() / name), readFile(component / "payload" / name));
}

namespace {

PayloadCase renamed(const char* name, const char* fileName) {
  return {name,
          [fileName](const fs::path& folder) { fs::rename(folder / "firmware.bin", folder / fileName); }};
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(
    Payload, UsablePayload,
    testing::Values(renamed("PlainName", "firmware.img"), renamed("HiddenName", ".firmware"),
                    renamed("NameWithBlanks", " two  words "),
                    renamed("NameOfShellWords", "$(touch x);'&|*\""),
                    renamed("NameThatIsNoText", "\xff\xfe\x01"),
                    PayloadCase{"LinkToAFileElsewhere",
                                [](const fs::path& folder) {
                                  fs::rename(folder / "firmware.bin", folder.parent_path() / "elsewhere.bin");
                                  fs::create_symlink("../elsewhere.bin", folder / "firmware.bin");
                                }},
                    PayloadCase{"FolderIsALink",
                                [](const fs::path& folder) {
                                  fs::rename(folder, folder.parent_path() / "other");
                                  fs::create_directory_symlink("other", folder);
                                }}),
    kByName);

// Promise: payload-beside-the-executable, folder-of-the-executable
TEST(Payload, IsTakenFromBesideTheRealExecutable) {
  ComponentFolder component;
  component.setDrives({drive(1)});
  const fs::path work = component.moveWorkingFolder();
  writeFile(work / "payload" / "decoy.bin", "in the working folder\n");
  const fs::path links = component.folderBeside("links");
  writeFile(links / "payload" / "decoy.bin", "beside the link\n");
  fs::create_symlink(component.executable(), links / "update");
  component.settings.executable = links / "update";

  EXPECT_EQ(component.run({"-u"}), (Outcome{0, updateDocument({updated({})}), ""}));
  const std::string payload = component.payload();
  EXPECT_THAT(component.flashCalls(), ElementsAre("NVMEUpdateFirmware\t41:42.43\t" + payload + "\t0"));
  EXPECT_THAT(component.rollbackCalls(), Contains("addPayloadFiles\t" + payload + "\ttrue"));
}
