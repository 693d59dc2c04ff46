#pragma once

#include <set>

#include "ControllerList.h"

namespace nvme_linux {

/// The drives that the package of the working directory is for: the ids of every PCIInfo in its
/// "package.xml". An id that an entry leaves out is that of the entry before. An entry whose four ids are not
/// all hexadecimal numbers of 16 bits, with or without "0x", names no drive. When there are none, one line to
/// `host` tells whether the file is missing, cannot be parsed or names none.
std::set<PciIds> supportedDrives(Host& host);

}  // namespace nvme_linux
