#pragma once

#include <string>

#include "DocumentReader.h"

namespace tool {

/// Reads a verdict, the JSON that tells what became of each drive: an object with `version` (1) and `drives`,
/// an array of objects. Of a drive, `serial`, `name` or else `model`, `pci` with `vendor`, `device`,
/// `subVendor` and `subDevice`, `before`, `after`, `state` and `reason` are read; `code` is its message id.
/// Every one of them may be absent or null, everything else is passed over. A drive without a state is
/// listed.
///
/// A problem names the drive by its position. JSON of another kind is `foreign`.
Reading readVerdict(const std::string& content);

}  // namespace tool
