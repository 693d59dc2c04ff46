#pragma once

#include <string>

#include "DocumentReader.h"

namespace tool {

/// Reads a verdict, the JSON that states the outcome for each drive: an object with `version` (1) and
/// `drives`, an array of objects. Of a drive, `serial`, `name` or else `model`, `pci` with `vendor`,
/// `device`, `subVendor` and `subDevice`, `before`, `after`, `state` and `reason` are read; `code` is its
/// message id. Each of them may be absent or null; all other members are ignored. A drive without a state
/// counts as listed.
///
/// A problem names the drive by its position. Other JSON makes the reading `foreign`.
Reading readVerdict(const std::string& content);

}  // namespace tool
