#include "PlatformLayer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "LinuxImpl.h"

using testing::ElementsAre;
using testing::Ref;
using testing::Return;

namespace {

IPlatformImpl* const kImplementationAtStart = CPlatformLayer::m_pPlatformImpl;

// --- The table of operations.

/// The index of a virtual operation in its class's table. A pointer to member holds the offset into the
/// table, plus one on machines that mark virtual operations there.
template <class Member>
std::size_t slotOf(Member member) {
  const auto words = std::bit_cast<std::array<std::size_t, 2>>(member);
  return words[0] / sizeof(void*);
}

template <class Platform>
std::vector<std::size_t> slotsOf() {
  return {slotOf(&Platform::InstallMoxi),
          slotOf(&Platform::UninstallMoxi),
          slotOf(&Platform::LoadLibrary),
          slotOf(&Platform::FreeLibrary),
          slotOf(&Platform::GetProcAddress),
          slotOf(&Platform::ExecuteCmd),
          slotOf(&Platform::Sleep),
          slotOf(&Platform::getCurrentDirectory),
          slotOf(&Platform::getCurrentProcessDirectory),
          slotOf(&Platform::setCurrentDirectory),
          slotOf(&Platform::GetFileList),
          slotOf(&Platform::IsFileExits),
          slotOf(&Platform::IsFileExistsAbs)};
}

TEST(PlatformTable, HoldsTheThirteenOperationsInTheirAgreedOrderAndNoDestructor) {
  EXPECT_THAT(slotsOf<IPlatformImpl>(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12));
  EXPECT_THAT(slotsOf<CLinuxImpl>(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12));
  EXPECT_TRUE(std::is_abstract_v<IPlatformImpl>);
  EXPECT_FALSE(std::has_virtual_destructor_v<IPlatformImpl>);
  EXPECT_FALSE(std::has_virtual_destructor_v<CLinuxImpl>);
  EXPECT_EQ(sizeof(CLinuxImpl), sizeof(void*)) << "nothing but the pointer to the table";
}

// --- The facade.

class MockPlatform : public IPlatformImpl {
 public:
  virtual ~MockPlatform() = default;

  MOCK_METHOD(bool, InstallMoxi, (), (override));
  MOCK_METHOD(bool, UninstallMoxi, (), (override));
  MOCK_METHOD(void*, LoadLibrary, (const std::string&), (override));
  MOCK_METHOD(void, FreeLibrary, (void*), (override));
  MOCK_METHOD(void*, GetProcAddress, (void*, const std::string&), (override));
  MOCK_METHOD(int, ExecuteCmd, (const std::string&, bool, const long&), (override));
  MOCK_METHOD(unsigned int, Sleep, (int), (override));
  MOCK_METHOD(std::string, getCurrentDirectory, (), (override));
  MOCK_METHOD(std::string, getCurrentProcessDirectory, (), (override));
  MOCK_METHOD(bool, setCurrentDirectory, (const std::string&), (override));
  MOCK_METHOD(std::vector<std::string>, GetFileList, (std::string&), (override));
  MOCK_METHOD(bool, IsFileExits, (const std::string&), (override));
  MOCK_METHOD(bool, IsFileExistsAbs, (const std::string&), (override));
};

/// Puts a platform behind the facade that accepts only the calls that a test expects.
class PlatformFacade : public testing::Test {
 protected:
  PlatformFacade() : m_before(CPlatformLayer::m_pPlatformImpl) {
    CPlatformLayer::m_pPlatformImpl = &m_platform;
  }
  ~PlatformFacade() override { CPlatformLayer::m_pPlatformImpl = m_before; }

  testing::StrictMock<MockPlatform> m_platform;

 private:
  IPlatformImpl* m_before;
};

TEST_F(PlatformFacade, ForwardsInstallAndUninstallWithEitherResult) {
  for (const bool result : {true, false}) {
    EXPECT_CALL(m_platform, InstallMoxi()).WillOnce(Return(result));
    EXPECT_EQ(CPlatformLayer::InstallMoxi(), result);
    EXPECT_CALL(m_platform, UninstallMoxi()).WillOnce(Return(result));
    EXPECT_EQ(CPlatformLayer::UninstallMoxi(), result);
  }
}

TEST_F(PlatformFacade, ForwardsTheLibraryOperations) {
  int library = 0;
  int function = 0;
  EXPECT_CALL(m_platform, LoadLibrary("libx.so")).WillOnce(Return(&library)).WillOnce(Return(nullptr));
  EXPECT_EQ(CPlatformLayer::Load_Library("libx.so"), &library);
  EXPECT_EQ(CPlatformLayer::Load_Library("libx.so"), nullptr);
  EXPECT_CALL(m_platform, GetProcAddress(&library, "symbol")).WillOnce(Return(&function));
  EXPECT_EQ(CPlatformLayer::GetProcAddress(&library, "symbol"), &function);
  EXPECT_CALL(m_platform, FreeLibrary(&library));
  CPlatformLayer::FreeLibrary(&library);
}

TEST_F(PlatformFacade, ForwardsCommandsAndSleep) {
  EXPECT_CALL(m_platform, ExecuteCmd("do this", true, 7L)).WillOnce(Return(768));
  EXPECT_EQ(CPlatformLayer::ExecuteCmd("do this", true, 7), 768);
  EXPECT_CALL(m_platform, ExecuteCmd("and that", false, -1L)).WillOnce(Return(-1));
  EXPECT_EQ(CPlatformLayer::ExecuteCmd("and that", false, -1), -1);
  EXPECT_CALL(m_platform, Sleep(5)).WillOnce(Return(3U));
  EXPECT_EQ(CPlatformLayer::Sleep(5), 3U);
}

TEST_F(PlatformFacade, ForwardsTheDirectoryOperations) {
  EXPECT_CALL(m_platform, getCurrentDirectory()).WillOnce(Return("/here/"));
  EXPECT_EQ(CPlatformLayer::getCurrentDirectory(), "/here/");
  EXPECT_CALL(m_platform, getCurrentProcessDirectory()).WillOnce(Return("/bin/"));
  EXPECT_EQ(CPlatformLayer::getCurrentProcessDirectory(), "/bin/");
  for (const bool result : {true, false}) {
    EXPECT_CALL(m_platform, setCurrentDirectory("/there")).WillOnce(Return(result));
    EXPECT_EQ(CPlatformLayer::setCurrentDirectory("/there"), result);
  }
  std::string directory = "payload";
  const std::vector<std::string> files = {"payload/b", "payload/a"};
  EXPECT_CALL(m_platform, GetFileList(Ref(directory))).WillOnce(Return(files));
  EXPECT_EQ(CPlatformLayer::GetFileList(directory), files);
}

TEST_F(PlatformFacade, ForwardsTheFileQuestions) {
  for (const bool result : {true, false}) {
    EXPECT_CALL(m_platform, IsFileExits("package.xml")).WillOnce(Return(result));
    EXPECT_EQ(CPlatformLayer::IsFileExits("package.xml"), result);
    EXPECT_CALL(m_platform, IsFileExistsAbs("/package.xml")).WillOnce(Return(result));
    EXPECT_EQ(CPlatformLayer::IsFileExistsAbs("/package.xml"), result);
  }
}

TEST(PlatformImplementation, IsMadeOnTheFirstCallAndStays) {
  EXPECT_EQ(kImplementationAtStart, nullptr);
  IPlatformImpl* const implementation = CPlatformLayer::GetPlatform();
  EXPECT_NE(dynamic_cast<CLinuxImpl*>(implementation), nullptr);
  EXPECT_EQ(CPlatformLayer::m_pPlatformImpl, implementation);
  EXPECT_EQ(CPlatformLayer::GetPlatform(), implementation);
}

}  // namespace
