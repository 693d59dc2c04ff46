#include "DriveUse.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <set>
#include <sstream>
#include <string_view>

namespace nvme_linux {

namespace {

/// More layers than anybody stacks. Ends the search if sysfs describes a cycle.
constexpr std::size_t kMostLayers = 16;

struct Mount {
  std::string number;  ///< of the device, "major:minor"; btrfs has a number of its own there
  std::string place;
  std::string type;
  std::string source;
};

/// Blanks and the like are written as "\040" in the kernel's tables.
std::string unescaped(std::string_view text) {
  constexpr std::size_t kEscape = 4;
  std::string plain;
  while (!text.empty()) {
    unsigned int code = 0;
    const bool isEscape =
        text.size() >= kEscape && text[0] == '\\' &&
        std::from_chars(text.data() + 1, text.data() + kEscape, code, 8).ptr == text.data() + kEscape;
    plain += isEscape ? static_cast<char>(code) : text[0];
    text.remove_prefix(isEscape ? kEscape : 1);
  }
  return plain;
}

/// See proc(5): number, parent, major:minor, root, mount point, options, optional fields, "-", type, source.
std::vector<Mount> parseMounts(const std::string& table) {
  std::vector<Mount> mounts;
  std::istringstream lines(table);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string skipped;
    std::string place;
    std::string source;
    Mount mount;
    fields >> skipped >> skipped >> mount.number >> skipped >> place;
    while (fields >> skipped && skipped != "-") {
    }
    if (!(fields >> mount.type >> source)) continue;
    mount.place = unescaped(place);
    mount.source = unescaped(source);
    mounts.push_back(std::move(mount));
  }
  return mounts;
}

std::string fileName(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

/// The block devices among the swap areas, by the names of their nodes. A swap file lies on a mount.
std::set<std::string> parseSwaps(const std::string& table) {
  std::set<std::string> areas;
  std::istringstream lines(table);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string path;
    std::string type;
    if (fields >> path >> type && type == "partition") areas.insert(fileName(unescaped(path)));
  }
  return areas;
}

/// The namespace's block device of an entry in a controller's folder: itself for "nvme0n1", the head of its
/// paths for the path "nvme0c1n1", which has no node. Empty for any other entry.
std::string namespaceOf(std::string_view entry) {
  constexpr std::string_view kPrefix = "nvme";
  constexpr std::string_view kDigits = "0123456789";
  if (!entry.starts_with(kPrefix)) return {};
  const std::size_t afterInstance = entry.find_first_not_of(kDigits, kPrefix.size());
  const std::size_t n = entry.find('n', kPrefix.size());
  if (afterInstance == kPrefix.size() || n == std::string_view::npos || n + 1 == entry.size()) return {};
  if (entry.find_first_not_of(kDigits, n + 1) != std::string_view::npos) return {};
  const std::string_view between = entry.substr(afterInstance, n - afterInstance);
  const bool isPath =
      between.starts_with('c') && between.find_first_not_of(kDigits, 1) == std::string_view::npos;
  if (!between.empty() && !isPath) return {};
  return std::string(entry.substr(0, afterInstance)) + std::string(entry.substr(n));
}

class UseFinder {
 public:
  UseFinder(Host& host, const std::vector<std::string>& controllers)
      : m_host(host),
        m_mounts(parseMounts(host.mounts().value_or(""))),
        m_swaps(parseSwaps(host.swaps().value_or(""))) {
    for (const std::string& controller : controllers) {
      for (const std::string& entry : host.entries("class/nvme/" + controller)) {
        if (std::string disk = namespaceOf(entry); !disk.empty()) m_disks.insert(std::move(disk));
      }
    }
    for (const std::string& disk : m_disks) {
      m_ownDevices.insert(disk);
      for (const std::string& partition : partitionsOf(disk)) m_ownDevices.insert(partition);
    }
  }

  std::vector<DriveUse> find(bool& isComplete) {
    isComplete = m_host.mounts().has_value() && m_host.swaps().has_value();
    for (const std::string& disk : m_disks) findOnDisk(disk, isComplete);
    return std::move(m_found);
  }

 private:
  std::optional<std::string> attribute(const std::string& device, const std::string& name) {
    return m_host.text("class/block/" + device + "/" + name);
  }

  std::vector<std::string> listed(const std::string& device, const std::string& folder) {
    std::vector<std::string> names = m_host.entries("class/block/" + device + folder);
    std::sort(names.begin(), names.end());
    return names;
  }

  std::vector<std::string> partitionsOf(const std::string& device) {
    std::vector<std::string> names = listed(device, "");
    std::erase_if(names, [&](const std::string& name) {
      return !name.starts_with(device) || !attribute(device, name + "/partition");
    });
    return names;
  }

  /// One namespace: what sysfs and the tables show, and what only an exclusive opening shows. While a
  /// partition is held nobody can open the whole exclusively, which then shows nothing new.
  void findOnDisk(const std::string& disk, bool& isComplete) {
    bool isUsed = findUsers({.device = disk});
    for (const std::string& partition : partitionsOf(disk)) {
      if (findUsers({.device = partition}) || isHeld(partition, isComplete)) isUsed = true;
    }
    if (!isUsed) isHeld(disk, isComplete);
  }

  bool isHeld(const std::string& device, bool& isComplete) {
    const Outcome outcome = m_host.tryExclusively(device);
    const bool isHeld = outcome.failedWith(EBUSY);
    if (isHeld) m_found.push_back({.kind = DriveUse::Kind::kUnknown, .device = device});
    if (!isHeld && !outcome.isSuccess()) isComplete = false;
    return isHeld;
  }

  /// What uses the device on top of `path`, which is the drive's own one or the last of the layers. False
  /// when nothing does.
  // NOLINTNEXTLINE(misc-no-recursion): ends at kMostLayers
  bool findUsers(const DriveUse& path) {
    const std::string& top = path.layers.empty() ? path.device : path.layers.back();
    bool isUsed = findMount(path, top) || findSwap(path, top);
    for (const std::string& holder : listed(top, "/holders")) {
      if (path.layers.size() >= kMostLayers || isContainer(holder)) continue;
      isUsed = true;
      findThrough(path, holder);
    }
    return isUsed;
  }

  // NOLINTNEXTLINE(misc-no-recursion): likewise
  void findThrough(const DriveUse& path, const std::string& holder) {
    DriveUse above = path;
    above.layers.push_back(holder);
    if (!above.isRedundant() && hasAnotherHealthyLeg(holder)) above.redundantThrough = holder;
    bool isUsed = findUsers(above);
    for (const std::string& partition : partitionsOf(holder)) {
      DriveUse onPartition = above;
      onPartition.layers.push_back(partition);
      isUsed = findUsers(onPartition) || isUsed;
    }
    if (isUsed) return;
    // It may hold data even while it is idle.
    above.kind = kindOf(holder);
    m_found.push_back(std::move(above));
  }

  DriveUse::Kind kindOf(const std::string& holder) {
    if (attribute(holder, "md/level")) return DriveUse::Kind::kMd;
    const auto uuid = attribute(holder, "dm/uuid");
    if (!uuid) return DriveUse::Kind::kHolder;
    return uuid->starts_with("LVM-") ? DriveUse::Kind::kLvm : DriveUse::Kind::kDm;
  }

  bool findMount(const DriveUse& path, const std::string& device) {
    const std::vector<std::string> places = placesOf(device);
    if (places.empty()) return false;
    const bool isRoot = std::find(places.begin(), places.end(), "/") != places.end();
    DriveUse use = path;
    use.kind = isRoot ? DriveUse::Kind::kRootFileSystem : DriveUse::Kind::kMounted;
    use.place = isRoot ? "/" : places.front();
    m_found.push_back(std::move(use));
    return true;
  }

  /// Where the device is mounted. A btrfs has no device number of its own devices in the table, and names one
  /// of several there; sysfs knows them all while it is mounted anywhere.
  std::vector<std::string> placesOf(const std::string& device) {
    std::vector<std::string> places;
    const std::string deviceNumber = attribute(device, "dev").value_or("");
    for (const Mount& mount : m_mounts) {
      if (!deviceNumber.empty() && mount.number == deviceNumber) places.push_back(mount.place);
    }
    for (const std::string& system : m_host.entries("fs/btrfs")) {
      const std::vector<std::string> members = m_host.entries("fs/btrfs/" + system + "/devices");
      if (std::find(members.begin(), members.end(), device) == members.end()) continue;
      const std::size_t before = places.size();
      for (const Mount& mount : m_mounts) {
        if (mount.type == "btrfs" && isNodeOfAny(mount.source, members)) places.push_back(mount.place);
      }
      if (places.size() == before) places.emplace_back();
    }
    return places;
  }

  bool isNodeOfAny(const std::string& path, const std::vector<std::string>& devices) {
    const std::string name = fileName(path);
    return std::any_of(devices.begin(), devices.end(), [&](const std::string& device) {
      return device == name || attribute(device, "dm/name") == name;
    });
  }

  bool findSwap(const DriveUse& path, const std::string& device) {
    const bool isSwap =
        m_swaps.contains(device) || m_swaps.contains(attribute(device, "dm/name").value_or("-"));
    if (!isSwap) return false;
    DriveUse use = path;
    use.kind = DriveUse::Kind::kSwap;
    m_found.push_back(std::move(use));
    return true;
  }

  /// Arrays with metadata of a firmware RAID have a container beside them, which holds the same devices and
  /// no data.
  bool isContainer(const std::string& holder) {
    const std::string metadata = attribute(holder, "md/metadata_version").value_or("");
    return metadata.starts_with("external:") && !metadata.starts_with("external:/");
  }

  /// True for an md array that loses nothing without this drive: all legs are in sync, and one alone is here.
  bool hasAnotherHealthyLeg(const std::string& array) {
    if (!isRedundantLevel(array) || attribute(array, "md/degraded") != "0") return false;
    const std::string action = attribute(array, "md/sync_action").value_or("");
    if (action != "idle" && action != "check") return false;
    if (number(attribute(array, "md/raid_disks")) < 2) return false;
    const std::vector<std::string> legs = listed(array, "/slaves");
    return std::count_if(legs.begin(), legs.end(),
                         [&](const std::string& leg) { return liesOnDrive(leg, 0); }) == 1;
  }

  bool isRedundantLevel(const std::string& array) {
    const std::string level = attribute(array, "md/level").value_or("");
    if (level == "raid10") {
      // Near copies in bits 7:0, far copies in bits 15:8.
      const unsigned int layout = number(attribute(array, "md/layout"));
      return (layout & 0xFF) * (layout >> 8 & 0xFF) > 1;
    }
    return level == "raid1" || level == "raid4" || level == "raid5" || level == "raid6";
  }

  // NOLINTBEGIN(misc-no-recursion): ends at kMostLayers
  bool liesOnDrive(const std::string& device, std::size_t depth) {
    if (m_ownDevices.contains(device)) return true;
    const std::vector<std::string> below = listed(device, "/slaves");
    return depth < kMostLayers && std::any_of(below.begin(), below.end(), [&](const std::string& one) {
             return liesOnDrive(one, depth + 1);
           });
  }
  // NOLINTEND(misc-no-recursion)

  static unsigned int number(const std::optional<std::string>& text) {
    unsigned int value = 0;
    if (text) std::from_chars(text->data(), text->data() + text->size(), value);
    return value;
  }

  Host& m_host;
  std::vector<Mount> m_mounts;
  std::set<std::string> m_swaps;
  std::set<std::string> m_disks;       ///< the drive's namespaces
  std::set<std::string> m_ownDevices;  ///< these and their partitions
  std::vector<DriveUse> m_found;
};

std::string whatIsIt(const DriveUse& use) {
  switch (use.kind) {
    case DriveUse::Kind::kMounted:
      return use.place.empty() ? "mounted elsewhere" : "mounted on " + use.place;
    case DriveUse::Kind::kRootFileSystem:
      return "the root file system";
    case DriveUse::Kind::kSwap:
      return "swap";
    case DriveUse::Kind::kMd:
      return "an array that is not in use";
    case DriveUse::Kind::kLvm:
      return "a logical volume that is not in use";
    case DriveUse::Kind::kDm:
      return "a mapped device that is not in use";
    case DriveUse::Kind::kHolder:
      return "another block device";
    case DriveUse::Kind::kUnknown:
      break;
  }
  return "held by a pool, a program or another container";
}

}  // namespace

std::string DriveUse::text() const {
  std::string text = device;
  for (std::size_t i = 0; i < layers.size(); ++i) text += (i == 0 ? " through " : ", ") + layers[i];
  text += ": " + whatIsIt(*this);
  return isRedundant() ? text + "; " + redundantThrough + " has another healthy leg" : text;
}

std::vector<DriveUse> usesOf(Host& host, const std::vector<std::string>& controllers, bool& isComplete) {
  return UseFinder(host, controllers).find(isComplete);
}

bool areAllRedundant(const std::vector<DriveUse>& uses) {
  return std::all_of(uses.begin(), uses.end(), [](const DriveUse& use) { return use.isRedundant(); });
}

}  // namespace nvme_linux
