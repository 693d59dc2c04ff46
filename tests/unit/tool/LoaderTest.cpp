#include "Loader.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "BoundedRun.h"
#include "ElfFile.h"
#include "PackageFolder.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using End = tool::LoaderAnswer::End;

namespace {

class Loader : public PackageFolder {
 protected:
  tool::LoaderAnswer ask(const std::vector<std::string>& names, const std::string& searchPath = {}) const {
    return tool::askLoader(folder(), names, searchPath);
  }
};

TEST_F(Loader, WhatAPreloadedFileNeedsIsListed) {
  const tool::LoaderAnswer answer = ask({"./libnvme.so"});
  EXPECT_EQ(answer.end, End::kListed);
  EXPECT_EQ(answer.libraries.at("./libnvme.so"), "./libnvme.so");
  EXPECT_TRUE(fs::exists(answer.libraries.at("libc.so.6")));
  EXPECT_THAT(answer.refusals, IsEmpty());
}

TEST_F(Loader, IsAmongTheFilesByItsOwnName) {
  const tool::LoaderAnswer answer = ask({"./libnvme.so"});
  const fs::path loader = tool::readElf("/bin/true").interpreter;
  EXPECT_EQ(answer.libraries.at(loader.filename()), loader) << "programs for AArch64 need it";
}

TEST_F(Loader, EverythingMissingIsListedAndNotOnlyTheFirst) {
  useLibrary("needy.so");
  addLibrary("needy.so", "second.so");
  const tool::LoaderAnswer missing = ask({"./libnvme.so", "./second.so", "libno.such"});
  EXPECT_EQ(missing.end, End::kListed);
  EXPECT_EQ(missing.libraries.at("libtool_test_helper.so"), "");
  EXPECT_TRUE(missing.libraries.contains("./second.so"));
  EXPECT_THAT(missing.refusals.at("libno.such"), HasSubstr("cannot open shared object file"));
  EXPECT_EQ(ask({"./libnvme.so"}, kLibraries).libraries.at("libtool_test_helper.so"),
            kLibraries / "libtool_test_helper.so");
}

TEST_F(Loader, AMissingVersionIsToldWithWhoRequiresIt) {
  useLibrary("versioned.so");
  addLibrary("older/libversioned_helper.so", "libversioned_helper.so");
  const tool::LoaderAnswer answer = ask({"./libnvme.so"});
  ASSERT_EQ(answer.missingVersions.size(), 1U);
  EXPECT_EQ(answer.missingVersions[0].version, "HELPER_2");
  EXPECT_EQ(answer.missingVersions[0].library, "libversioned_helper.so");
  EXPECT_EQ(answer.missingVersions[0].requiredBy, "./libnvme.so");
}

TEST_F(Loader, AFileThatIsNoLibraryIsRefusedInTheLoadersWords) {
  write("libnvme.so", "not a library");
  EXPECT_EQ(ask({"./libnvme.so"}).refusals.at("./libnvme.so"), "file too short");
  useLibrary("needy.so");
  write("libtool_test_helper.so", "not a library");
  const tool::LoaderAnswer stopped = ask({"./libnvme.so"}, ".");
  EXPECT_EQ(stopped.end, End::kStopped);
  EXPECT_EQ(stopped.reason, "./libtool_test_helper.so: file too short");
}

TEST_F(Loader, ALoaderThatCrashesOrHangsIsTold) {
  const std::string whole = readFile(kLibraries / "whole.so");
  write("libnvme.so", whole.substr(0, whole.find("NVMEDiscoverDrives")));
  EXPECT_EQ(ask({"./libnvme.so"}).end, End::kCrashed);
  fs::remove(folder() / "libnvme.so");
  ASSERT_EQ(mkfifo((folder() / "libnvme.so").c_str(), 0600), 0);
  EXPECT_EQ(tool::askLoader(folder(), {"./libnvme.so"}, {}, 200ms).end, End::kHung);
}

/// The same files in a process that opens them leave all their marks, and the auditor leaves one in a process
/// that uses it: so they would be seen here.
TEST_F(Loader, NothingOfAPreloadedFileIsRun) {
  useLibrary("marking.so");
  addLibrary("auditor.so", "auditor.so");
  EXPECT_EQ(ask({"./libnvme.so", "./auditor.so"}).end, End::kListed);
  const auto hasRun = [this](const char* what) { return fs::exists(folder() / what); };
  for (const char* const mark : {"ran-constructor", "ran-indirect-function", "ran-auditor"})
    EXPECT_FALSE(hasRun(mark)) << mark;

  tool::runBounded({"/bin/true"}, {"LD_PRELOAD=./libnvme.so", "LD_BIND_NOW=1"}, folder(), 10s);
  EXPECT_TRUE(hasRun("ran-constructor"));
  EXPECT_TRUE(hasRun("ran-indirect-function"));
  tool::runBounded({"/bin/true"}, {"LD_AUDIT=./auditor.so"}, folder(), 10s);
  EXPECT_TRUE(hasRun("ran-auditor"));
}

TEST(BoundedRun, OutputAndStatusAreThoseOfTheProgram) {
  const tool::BoundedRun run =
      tool::runBounded({"/bin/sh", "-c", "pwd; echo $A >&2; exit 3"}, {"A=b"}, "/usr", 10s);
  EXPECT_EQ(run.end, tool::BoundedRun::End::kExited);
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.output, "/usr\nb\n");
  const tool::BoundedRun killed = tool::runBounded({"/bin/sh", "-c", "kill -9 $$"}, {}, "/", 10s);
  EXPECT_EQ(killed.end, tool::BoundedRun::End::kSignalled);
  EXPECT_EQ(killed.status, SIGKILL);
}

TEST(BoundedRun, OfALongOutputTheFirstMebibyteIsKept) {
  const tool::BoundedRun run = tool::runBounded(
      {"/bin/sh", "-c", "head -c 1048576 /dev/zero; head -c 2000000 /dev/urandom; exit 3"}, {}, "/", 60s);
  EXPECT_EQ(run.status, 3) << "it was not stopped";
  EXPECT_TRUE(run.output == std::string(1U << 20U, '\0')) << run.output.size();
}

TEST(BoundedRun, AProgramThatTakesTooLongIsEndedWithItsChildren) {
  const ScratchFolder folder;
  for (const char* const command : {"sleep 60", "exec >&- 2>&-; sleep 60", "while :; do echo x; done"}) {
    const tool::BoundedRun run = tool::runBounded(
        {"/bin/sh", "-c", std::string("echo $$ >group; ") + command}, {}, folder.path(), 300ms);
    EXPECT_EQ(run.end, tool::BoundedRun::End::kTimedOut) << command;
    const pid_t group = std::stoi(readFile(folder / "group"));
    for (int waits = 0; kill(-group, 0) == 0 && waits < 5000; ++waits) usleep(1000);
    EXPECT_NE(kill(-group, 0), 0) << command;
    EXPECT_LE(run.output.size(), 1U << 20U);
  }
}

TEST(BoundedRun, AProgramThatIsNotThereIsNotStarted) {
  for (const char* const path : {"/no/such/program", "/etc/passwd", "/"}) {
    EXPECT_EQ(tool::runBounded({path}, {}, "/", 10s).end, tool::BoundedRun::End::kNotStarted) << path;
  }
  EXPECT_EQ(tool::runBounded({"/bin/true"}, {}, "/no/such/folder", 10s).status, ENOENT);
}

}  // namespace
