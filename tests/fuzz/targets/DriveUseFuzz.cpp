// What uses a drive, by the kernel's tables: the first byte says how many bytes of the rest are the table of
// swap areas (in units of 8); what follows is the table of mounts. The drive has one namespace with two
// partitions.

#include <algorithm>
#include <string>

#include "DriveUse.h"
#include "FuzzHost.h"
#include "FuzzSupport.h"

namespace {

using nvme_linux::DriveUse;

class TableHost : public fuzz::Host {
 public:
  explicit TableHost(fuzz::Input input) {
    const auto swaps = input.take(std::size_t{8} * input.byte());
    m_swaps.assign(swaps.begin(), swaps.end());
    m_mounts.assign(input.rest().begin(), input.rest().end());
  }

  std::optional<std::string> mounts() override { return m_mounts; }
  std::optional<std::string> swaps() override { return m_swaps; }
  std::vector<std::string> entries(const std::string& folder) override {
    if (folder == "class/nvme/nvme0") return {"nvme0n1", "nvme0c1n", "power"};
    if (folder == "class/block/nvme0n1") return {"nvme0n1p1", "nvme0n1p2", "holders"};
    if (folder == "class/block/nvme0n1p2/holders") return {"dm-0"};
    return {};
  }
  std::optional<std::string> text(const std::string& path) override {
    if (path.ends_with("/partition")) return "1";
    if (path == "class/block/nvme0n1/dev") return "259:0";
    if (path == "class/block/nvme0n1p1/dev") return "259:1";
    if (path == "class/block/dm-0/dev") return "253:0";
    if (path == "class/block/dm-0/dm/name") return "data";
    if (path == "class/block/dm-0/dm/uuid") return "LVM-data";
    return std::nullopt;
  }

  bool areSwapsNamed() const { return m_swaps.find("partition") != std::string::npos; }

 private:
  std::string m_mounts;
  std::string m_swaps;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  TableHost host(fuzz::Input(data, size));
  bool isComplete = false;
  const std::vector<DriveUse> uses = nvme_linux::usesOf(host, {"nvme0"}, isComplete);
  PROMISE(isComplete);
  // The volume holds data even when nothing uses it.
  PROMISE(!uses.empty() && !nvme_linux::areAllRedundant(uses));
  for (const DriveUse& use : uses) {
    PROMISE(use.device.starts_with("nvme0n1") && use.text().starts_with(use.device));
    PROMISE((use.kind == DriveUse::Kind::kRootFileSystem) == (use.place == "/"));
    PROMISE(use.kind != DriveUse::Kind::kSwap || host.areSwapsNamed());
    PROMISE(use.kind == DriveUse::Kind::kMounted || use.place.empty() || use.place == "/");
  }
  return 0;
}
