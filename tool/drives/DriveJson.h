#pragma once

#include <span>
#include <string>

#include "DriveFacts.h"
#include "Verdict.h"

namespace tool {

/// The verdict as `toJson` writes it, each drive with what the kernel knows of it besides: `node`, `slots`,
/// `runningSlot`, `nextSlot`, `health`, `use`, `redundant`, `inPackage`. `facts` has an entry for each drive;
/// where that is null, and for a fact that nobody tells, the members are null.
std::string toJson(const Verdict& verdict, std::span<const DriveFacts* const> facts);

}  // namespace tool
