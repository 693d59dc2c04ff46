#pragma once

#include <filesystem>
#include <vector>

#include "DeviceInfo.h"
#include "Finding.h"

namespace tool {

/// What a package descriptor comes to once every PCIInfo has taken over what it does not say itself.
struct Descriptor {
  /// One entry a PCIInfo, in document order: what the component compares drives with.
  std::vector<SPCIInfo> entries{};
  Findings findings{};
};

/// Reads the package descriptor at `file` as the component does and notes every trap in it. A file that is
/// missing or not well-formed has no entries.
Descriptor checkDescriptor(const std::filesystem::path& file);

}  // namespace tool
