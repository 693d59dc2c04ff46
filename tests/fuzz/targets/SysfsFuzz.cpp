// The controllers that sysfs describes: ten lines for each, its name and the nine attributes below. A line
// of
// "-" stands for an attribute that is missing. One more line is the kernel's time-out for admin commands.

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "ControllerList.h"
#include "DriveSelection.h"
#include "FuzzSupport.h"
#include "LinuxHost.h"
#include "SupportedDrives.h"

namespace {

namespace fs = std::filesystem;
using nvme_linux::PciController;

constexpr std::array<const char*, 9> kAttributes{"transport",
                                                 "address",
                                                 "device/vendor",
                                                 "device/device",
                                                 "device/subsystem_vendor",
                                                 "device/subsystem_device",
                                                 "serial",
                                                 "model",
                                                 "subsysnqn"};
constexpr char kClass[] = "sys/class/nvme/";
constexpr char kTimeout[] = "sys/module/nvme_core/parameters/admin_timeout";

void write(const std::string& path, const std::string& text) {
  if (text == "-") return;
  fs::create_directories(fs::path(path).parent_path());
  fuzz::Scratch::enter().write(path.c_str(),
                               {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

/// A controller's name is that of a folder.
bool isName(const std::string& text) {
  return !text.empty() && text.size() < 32 && text != "." && text != ".." &&
         text.find_first_of(std::string("/\0", 2)) == std::string::npos;
}

/// The tree of the input; how many controllers have "pcie" for a transport, by name.
std::set<std::string> build(fuzz::Input input) {
  constexpr int kMost = 4;
  std::set<std::string> pcie;
  fs::remove_all("sys");
  write(kTimeout, input.line());
  for (int i = 0; i < kMost && !input.empty(); ++i) {
    const std::string name = input.line();
    std::map<std::string, std::string> attributes;
    for (const char* const attribute : kAttributes) attributes[attribute] = input.line();
    if (!isName(name) || fs::exists(kClass + name)) continue;
    const std::string folder = kClass + name + "/";
    for (const auto& [attribute, text] : attributes) write(folder + attribute, text);
    const bool isController = name.starts_with("nvme") && name.size() > 4 &&
                              name.find_first_not_of("0123456789", 4) == std::string::npos;
    if (isController && attributes["transport"] == "pcie") pcie.insert(name);
  }
  return pcie;
}

void checkController(nvme_linux::Host& host, const PciController& controller) {
  PROMISE(nvme_linux::describeController(host, controller.name) == controller);
  PROMISE(nvme_linux::arePortsOfOneDrive(controller, controller));
  if (!controller.address) return;
  const std::string text = nvme_linux::textOf(*controller.address);
  PROMISE(controller.address->device < 32 && controller.address->function < 8);
  PROMISE(text.size() >= 12 && std::count(text.begin(), text.end(), ':') == 2);
}

/// A package that supports every model that there is.
nvme_linux::SupportedDrives everyModel(const std::vector<PciController>& controllers) {
  std::set<nvme_linux::SupportedModel> models;
  for (const PciController& controller : controllers) {
    if (controller.ids) models.insert({.ids = *controller.ids, .model = {}, .fromRevision = {}});
  }
  return nvme_linux::SupportedDrives(models);
}

auto location(const PciController& controller) {
  const nvme_linux::PciAddress address = controller.address.value_or(nvme_linux::PciAddress{});
  return std::tuple(address.bus, address.device, address.function);
}

void checkSelection(const std::vector<PciController>& controllers) {
  const auto selection = nvme_linux::selectDrives(controllers, everyModel(controllers), std::nullopt);
  PROMISE(selection.offered.size() + selection.leftOut.size() == controllers.size());
  for (std::size_t i = 0; i < selection.offered.size(); ++i) {
    PROMISE(selection.offered[i].address && selection.offered[i].ids);
    PROMISE(i == 0 || location(selection.offered[i - 1]) < location(selection.offered[i]));
  }
  for (const auto& leftOut : selection.leftOut) PROMISE(!leftOut.reason.empty());
}

void checkNumbers(const std::string& line) {
  for (const std::size_t digits : {1U, 2U, 4U, 8U}) {
    const auto number = nvme_linux::parseHexadecimal(line, digits);
    if (number) PROMISE(*number == std::strtoul(line.c_str(), nullptr, 16) && line.size() <= digits);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Scratch::enter();
  const fuzz::Input input(data, size);
  checkNumbers(fuzz::Input(input).line());
  const std::set<std::string> pcie = build(input);
  nvme_linux::LinuxHost host({.sysfs = "sys", .devices = "dev", .processes = "proc"});
  PROMISE(host.adminTimeout() > std::chrono::milliseconds(0));

  const std::vector<PciController> controllers = nvme_linux::listControllers(host);
  std::set<std::string> names;
  for (const PciController& controller : controllers) {
    checkController(host, controller);
    names.insert(controller.name);
  }
  PROMISE(names == pcie && names.size() == controllers.size());
  checkSelection(controllers);
  return 0;
}
