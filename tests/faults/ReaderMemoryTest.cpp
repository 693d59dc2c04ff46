// The readers of XML files while memory runs out: each of their non-throwing allocations fails once, and so
// does each function of libxml2 that returns an object to them. Allocations inside libxml2 do not fail: its
// XPath evaluator crashes at some of them.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "DeviceInventoryInfo.h"
#include "PIEConfigInfo.h"
#include "SoftwareComponentInfo.h"
#include "TestSupport.h"

namespace {

/// Counts allocations of one kind and makes one of them fail.
struct Allocations {
  long count = 0;
  long failing = 0;

  void failAt(long number) { *this = {0, number}; }
  bool fails() { return ++count == failing; }
};

Allocations allocations;

/// The function of libxml2 that fails, null for none.
const char* failingFunction = nullptr;

/// Whether the function of this name is to fail now.
bool fails(const char* function) {
  return failingFunction != nullptr && std::strcmp(failingFunction, function) == 0;
}

template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

constexpr char kDescriptor[] = R"(<SoftwareComponent vendorVersion="2.0"><ComponentType value="FRMW"/>
  <SupportedDevices><Device componentID="1"><Display>Name</Display>
    <PCIInfo deviceID="a801" subDeviceID="1001" vendorID="f101" subVendorID="f1a0"/><Display>Name</Display>
    <Dependency componentID="2" version="1"><PCIInfo deviceID="b1"/><PCIInfo deviceID="b2"/></Dependency>
    <SoftDependency componentID="3"><Display>Monitor</Display></SoftDependency>
  </Device></SupportedDevices></SoftwareComponent>)";

constexpr char kInventory[] =
    R"(<SVMInventory><Device componentID="7" display="C"><Application version="1"/></Device>
  <Device vendorID="f101" display="D"><Application version="2"/></Device>
  <SPStatus result="false"><Message>E</Message></SPStatus></SVMInventory>)";

std::size_t emptied(std::vector<CDeviceInfo*> records) {
  for (const CDeviceInfo* record : records) delete record;
  return records.size();
}

class ReaderMemoryTest : public testing::Test {
 protected:
  ReaderMemoryTest() {
    writeFile("package.xml", kDescriptor);
    writeFile("inventory.xml", kInventory);
  }
  ~ReaderMemoryTest() override {
    allocations.failAt(0);
    failingFunction = nullptr;
  }

  /// Runs `use` with each allocation failing in turn until one run has had them all.
  static void failEach(const std::function<void()>& use) {
    for (long failing = 1;; ++failing) {
      SCOPED_TRACE("allocation " + std::to_string(failing));
      allocations.failAt(failing);
      use();
      const bool allHad = allocations.count < failing;
      allocations.failAt(0);
      if (allHad || HasFailure()) return;
    }
  }

  WorkingFolder m_folder;
};

TEST_F(ReaderMemoryTest, DependenciesEndBeforeTheRecordThatCannotBeMade) {
  CSoftwareComponentInfo reader;
  // One record for the dependency, one for each of its two identities, and one for the other dependency.
  const std::vector<std::size_t> expected{0, 0, 1, 2, 3};
  std::vector<std::size_t> listed;
  failEach([&] {
    const LogCapture log;
    listed.push_back(emptied(reader.getDependencyInfo()));
    const auto lines = log.messages();
    const std::string failed =
        "CSoftwareComponentInfo::getDependencyInfo() new  ( std::nothrow ) CDeviceInfo() failed";
    EXPECT_EQ(std::count(lines.begin(), lines.end(), failed), listed.size() == expected.size() ? 0 : 1);
  });
  EXPECT_EQ(listed, expected);
}

TEST_F(ReaderMemoryTest, InventoryDocumentEndsBeforeTheRecordThatCannotBeMade) {
  CDeviceInventoryInfo reader("inventory.xml");
  std::vector<std::size_t> listed;
  failEach([&] { listed.push_back(emptied(reader.GetDeviceInfo())); });
  EXPECT_EQ(listed, (std::vector<std::size_t>{0, 1, 2}));
}

TEST_F(ReaderMemoryTest, InventoryDocumentWithoutDevicesGivesNoRecordThatCannotBeMade) {
  writeFile("inventory.xml",
            R"(<SVMInventory><SPStatus result="false"><Message>E</Message></SPStatus></SVMInventory>)");
  CDeviceInventoryInfo reader("inventory.xml");
  std::vector<std::size_t> listed;
  failEach([&] { listed.push_back(emptied(reader.GetDeviceInfo())); });
  EXPECT_EQ(listed, (std::vector<std::size_t>{0, 1}));
}

TEST_F(ReaderMemoryTest, SelectionIsEmptyWhenItsContextCannotBeMade) {
  CSoftwareComponentInfo descriptor;
  CDeviceInventoryInfo inventory("inventory.xml");
  CPIEConfigInfo plugins;
  const libxml::Owned<xmlDoc> document(xmlParseFile("package.xml"));
  failingFunction = "xmlXPathNewContext";
  const LogCapture log;
  EXPECT_EQ(descriptor.GetNodeSet(document.get(), "//*"), nullptr);
  EXPECT_EQ(descriptor.getnodeset(document.get(), "//*"), nullptr);
  EXPECT_EQ(inventory.GetNodeSet("//*"), nullptr);
  EXPECT_EQ(plugins.GetNodeSet("//*"), nullptr);
  const std::vector<std::string> expected{
      "CSoftwareComponentInfo::GetNodeSet() Error in xmlXPathNewContext",
      "CIdentityModuleInventory::getnodeset :: Error in xmlXPathNewContext",
      "CDeviceInventoryInfo::GetNodeSet() Start",
      "CDeviceInventoryInfo::GetNodeSet() Error in xmlXPathNewContext",
      "CPIEConfigInfo::GetNodeSet() Start",
      "CPIEConfigInfo::GetNodeSet() Error in xmlXPathNewContext"};
  EXPECT_EQ(log.messages(), expected);
}

TEST_F(ReaderMemoryTest, ExtractionIsRefusedWhenTheBufferCannotBeMade) {
  failingFunction = "xmlBufferCreate";
  CSoftwareComponentInfo reader;
  std::istringstream input(kInventory);
  std::ostringstream output;
  EXPECT_FALSE(reader.GetInvFromVNL("7", output, input));
  EXPECT_EQ(output.str(), "");
}

TEST_F(ReaderMemoryTest, ExtractionOfAnElementWithoutTextSpoilsTheOutput) {
  failingFunction = "xmlBufferContent";
  CSoftwareComponentInfo reader;
  std::istringstream input(kInventory);
  std::ostringstream output;
  EXPECT_TRUE(reader.GetInvFromVNL("7", output, input));
  EXPECT_TRUE(output.fail());
  EXPECT_EQ(output.str(), "");
}

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  if (allocations.fails()) return nullptr;
  try {
    return ::operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

// The readers call these in place of libxml2's own.
xmlXPathContext* xmlXPathNewContext(xmlDoc* document) {
  return fails("xmlXPathNewContext") ? nullptr
                                     : next<decltype(xmlXPathNewContext)>("xmlXPathNewContext")(document);
}

xmlBuffer* xmlBufferCreate() {
  return fails("xmlBufferCreate") ? nullptr : next<decltype(xmlBufferCreate)>("xmlBufferCreate")();
}

const xmlChar* xmlBufferContent(const xmlBuffer* buffer) {
  return fails("xmlBufferContent") ? nullptr : next<decltype(xmlBufferContent)>("xmlBufferContent")(buffer);
}
