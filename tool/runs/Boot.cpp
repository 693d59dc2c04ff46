#include "Boot.h"

#include <array>
#include <ctime>
#include <fstream>

namespace tool {

std::string bootId() {
  std::ifstream file("/proc/sys/kernel/random/boot_id");
  std::string id;
  std::getline(file, id);
  return id;
}

std::int64_t secondsSinceBoot() {
  timespec time{};
  clock_gettime(CLOCK_BOOTTIME, &time);
  return time.tv_sec;
}

std::string timeNow() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  std::array<char, 32> text{};
  if (gmtime_r(&now, &parts) == nullptr) return {};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

}  // namespace tool
