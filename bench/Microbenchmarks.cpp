// The parts that a run's cost is made of.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "InventoryXMLWriter.h"
#include "Logger.h"
#include "SoftwareComponentInfo.h"

namespace {

/// A working directory with a descriptor of `entries` devices, removed at the end.
class DescriptorFolder {
 public:
  explicit DescriptorFolder(std::int64_t entries) {
    std::string name = (std::filesystem::temp_directory_path() / "nvmepcissd-bench-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    m_path = name;
    std::filesystem::current_path(m_path);
    std::ofstream file("package.xml");
    file << "<SoftwareComponent><SupportedDevices>\n";
    for (std::int64_t i = 0; i < entries; ++i) {
      file << "<Device componentID=\"" << 100000 + i << "\"><PCIInfo deviceID=\"" << std::hex << 0xa000 + i
           << std::dec
           << "\" subDeviceID=\"1000\" vendorID=\"f101\" subVendorID=\"f1a0\"/><Display>Sample NVMe SSD " << i
           << "</Display></Device>\n";
    }
    file << "</SupportedDevices></SoftwareComponent>\n";
  }
  ~DescriptorFolder() {
    std::filesystem::current_path("/");
    std::filesystem::remove_all(m_path);
  }
  DescriptorFolder(const DescriptorFolder&) = delete;
  DescriptorFolder& operator=(const DescriptorFolder&) = delete;

 private:
  std::filesystem::path m_path;
};

void descriptorQuery(benchmark::State& state) {
  const DescriptorFolder folder(state.range(0));
  CSoftwareComponentInfo reader;
  for (auto _ : state) benchmark::DoNotOptimize(reader.GetSupportedDevices());
  state.SetComplexityN(state.range(0));
}
BENCHMARK(descriptorQuery)->Range(20, 2000)->Complexity(benchmark::oN);

void marketingName(benchmark::State& state) {
  const DescriptorFolder folder(state.range(0));
  CSoftwareComponentInfo reader;
  SPCIInfo drive{"", "a003", "1000", "f101", "f1a0", ""};
  for (auto _ : state) benchmark::DoNotOptimize(reader.getMarketingNameForPCIDevice(drive));
}
BENCHMARK(marketingName)->Arg(20)->Arg(200);

void documentWriter(benchmark::State& state) {
  std::vector<std::unique_ptr<CDeviceInfo>> records;
  std::vector<CDeviceInfo*> list;
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    list.push_back(records.emplace_back(std::make_unique<CDeviceInfo>()).get());
    list.back()->setDeviceType(CDeviceInfo::DEVICE_TYPE_PCI);
    list.back()->setStatus(0);
    list.back()->setPCIInfo(0xa003, 0x1000, 0xf101, 0xf1a0);
    list.back()->setDisplay("Sample NVMe SSD 1.6TB");
    list.back()->setEnumId("Serial Number: SIM0000000000001");
  }
  for (auto _ : state) {
    CInventoryXMLWriter writer;
    benchmark::DoNotOptimize(writer.GetXML(list, "/dev/null"));
  }
}
BENCHMARK(documentWriter)->Arg(8)->Arg(300);

void logLine(benchmark::State& state) {
  CLogger logger;
  if (state.range(0) != 0) logger.Initialize("/dev/null");
  CLogger* const before = std::exchange(CLogger::m_ptrInstance, &logger);
  const std::string name = "Sample NVMe SSD 1.6TB";
  for (auto _ : state) LOG("Setting the Display name to Marketing name: " + name);
  CLogger::m_ptrInstance = before;
}
BENCHMARK(logLine)->ArgName("on")->Arg(0)->Arg(1);

}  // namespace

BENCHMARK_MAIN();
