// Calls the drive library of the working directory by itself, for what the component keeps to itself: bus
// addresses and results.
//
//   vm_probe list                              one line per drive: address, ids, serial, revision
//   vm_probe update BUS DEVICE FUNCTION FILE   the result, in decimal

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>

#include "NVMeRecords.h"

namespace {

template <class EntryPoint>
EntryPoint* bind(const char* name) {
  static void* const library = dlopen("./libnvme.so", RTLD_NOW);
  void* const symbol = library == nullptr ? nullptr : dlsym(library, name);
  if (symbol == nullptr) {
    std::fprintf(stderr, "vm_probe: %s\n", dlerror());
    std::exit(EXIT_FAILURE);
  }
  return reinterpret_cast<EntryPoint*>(symbol);
}

template <std::size_t Width>
std::string textOf(const std::array<char, Width>& field) {
  const std::string_view text(field.data(), field.size());
  return std::string(text.substr(0, text.find_last_not_of(std::string_view(" \0", 2)) + 1));
}

int list() {
  std::uint32_t count = 0;
  NVMeDriveRecord** drives = nullptr;
  const int result = bind<NVMeDiscoverDrives>("NVMEDiscoverDrives")(&count, &drives);
  if (result != 0) return EXIT_FAILURE;
  for (const NVMeDriveRecord* drive : std::span(drives, count)) {
    _NVME_ZOLT_BDF address{drive->bus, drive->device, drive->function};
    NVMeDriveInfo info{};
    const int infoResult = bind<NVMeGetDriveInfo>("NVMEGetDriveInfo")(&address, &info);
    const std::string revision = infoResult == 0 ? textOf(info.firmwareRevision) : std::to_string(infoResult);
    std::printf("%02x:%02x.%x %04x:%04x %04x:%04x %s %s\n", unsigned{drive->bus}, unsigned{drive->device},
                unsigned{drive->function}, unsigned{drive->vendorID}, unsigned{drive->deviceID},
                unsigned{drive->subVendorID}, unsigned{drive->subDeviceID},
                textOf(drive->serialNumber).c_str(), revision.c_str());
  }
  return EXIT_SUCCESS;
}

std::uint8_t number(const char* text) {
  return static_cast<std::uint8_t>(std::strtoul(text, nullptr, 16));
}

int update(std::span<char*> arguments) {
  _NVME_ZOLT_BDF address{number(arguments[0]), number(arguments[1]), number(arguments[2])};
  std::printf("%d\n", bind<NVMeUpdateFirmware>("NVMEUpdateFirmware")(&address, arguments[3]));
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  const std::span<char*> arguments(argv, static_cast<std::size_t>(argc));
  const std::string_view command = argc > 1 ? argv[1] : "";
  if (command == "list" && argc == 2) return list();
  if (command == "update" && argc == 6) return update(arguments.subspan(2));
  std::fprintf(stderr, "usage: vm_probe list | update BUS DEVICE FUNCTION FILE\n");
  return EXIT_FAILURE;
}
