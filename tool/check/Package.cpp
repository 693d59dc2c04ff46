#include "Package.h"

namespace tool {

Package::Package(std::filesystem::path path)
    : folder(std::move(path)), driveLibrary(readElf(folder / "libnvme.so")), process(processOf(folder)) {}

}  // namespace tool
