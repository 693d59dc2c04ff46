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

constexpr char kTimeForm[] = "%Y-%m-%dT%H:%M:%SZ";

std::string timeNow() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  std::array<char, 32> text{};
  if (gmtime_r(&now, &parts) == nullptr) return {};
  return {text.data(), std::strftime(text.data(), text.size(), kTimeForm, &parts)};
}

std::optional<std::int64_t> secondsOf(const std::string& time) {
  std::tm parts{};
  const char* const end = strptime(time.c_str(), kTimeForm, &parts);
  return end == nullptr || *end != '\0' ? std::nullopt : std::optional<std::int64_t>(timegm(&parts));
}

}  // namespace tool
