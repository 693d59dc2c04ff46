// Which boot this is, and how long it has lasted.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tool {

/// The kernel's id of this boot, another one after every reboot; empty where the kernel tells none.
std::string bootId();

/// Seconds since the machine was booted, times of sleep included. Setting the clock does not change it.
std::int64_t secondsSinceBoot();

/// The time of day in UTC, for people: "2026-01-31T12:00:00Z". It may jump, so nothing is ordered by it.
std::string timeNow();

/// The seconds since 1970 of such a text; nothing for any other text.
std::optional<std::int64_t> secondsOf(const std::string& time);

}  // namespace tool
