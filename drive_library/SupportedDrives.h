#pragma once

#include <set>

#include "ControllerList.h"

/// The drives that the package of the working directory is for: the ids of every PCIInfo in its
/// "package.xml", as the package descriptor's reader gives them. An entry whose four ids are not all
/// hexadecimal numbers of 16 bits, with or without "0x", names no drive. None without the file, or when it
/// cannot be parsed.
std::set<SPciIds> supportedDrives();
