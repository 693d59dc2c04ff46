#include "RollbackScript.h"

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>

#include "StrictJson.h"

namespace simulator {

namespace {

/// What an operation's entry says: exactly one of return, throwByte and throwException.
std::function<int()> readOutcome(JsonObject& entry, bool hasResult) {
  using Code = std::numeric_limits<int>;
  using Byte = std::numeric_limits<unsigned char>;
  if (const auto text = entry.text("throwException")) {
    return [message = *text]() -> int { throw std::runtime_error(message); };
  }
  if (const auto byte = entry.integer("throwByte", Byte::min(), Byte::max())) {
    return [code = static_cast<unsigned char>(*byte)]() -> int { throw static_cast<unsigned char>(code); };
  }
  if (hasResult) {
    if (const auto code = entry.integer("return", Code::min(), Code::max())) {
      return [result = static_cast<int>(*code)] { return result; };
    }
  }
  entry.finish();
  throw std::runtime_error(
      entry.nameOf(hasResult ? "return, throwByte or throwException" : "throwByte or throwException") +
      ": is missing");
}

}  // namespace

RollbackScript readRollbackScript(const std::filesystem::path& path) {
  static constexpr std::pair<const char*, bool> kOperations[] = {{"constructor", false},
                                                                 {"addPayloadFiles", true},
                                                                 {"updateFirmwarePartition", true},
                                                                 {"destructor", false}};
  RollbackScript script;
  readObject(path, [&](JsonObject& object) {
    for (const auto& [operation, hasResult] : kOperations) {
      const nlohmann::json* const value = object.find(operation);
      if (value == nullptr) continue;
      JsonObject entry(*value, operation);
      script[operation] = readOutcome(entry, hasResult);
      // A second outcome in the entry was not asked for, and is refused as unknown.
      entry.finish();
    }
  });
  return script;
}

}  // namespace simulator
