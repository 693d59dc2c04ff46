#include "StrictJson.h"

#include <limits>
#include <stdexcept>
#include <utility>

#include "Files.h"

namespace simulator {

namespace {

/// Whether the value is a whole number that a 64-bit signed integer holds.
bool isWhole(const nlohmann::json& value) {
  if (!value.is_number_unsigned()) return value.is_number_integer();
  return value.get<std::uint64_t>() <= std::numeric_limits<std::int64_t>::max();
}

}  // namespace

JsonObject::JsonObject(const nlohmann::json& value, std::string name)
    : m_value(value), m_name(std::move(name)) {
  if (!m_value.is_object()) {
    throw std::runtime_error((m_name.empty() ? "the outermost value" : m_name) + ": must be an object");
  }
}

std::optional<std::int64_t> JsonObject::integer(const std::string& key, std::int64_t lowest,
                                                std::int64_t highest) {
  const nlohmann::json* const value = find(key);
  if (value == nullptr) return std::nullopt;
  if (isWhole(*value)) {
    const auto number = value->get<std::int64_t>();
    if (number >= lowest && number <= highest) return number;
  }
  refuse(key, "must be a whole number from " + std::to_string(lowest) + " to " + std::to_string(highest));
}

std::optional<bool> JsonObject::flag(const std::string& key) {
  const nlohmann::json* const value = find(key);
  if (value == nullptr) return std::nullopt;
  if (!value->is_boolean()) refuse(key, "must be true or false");
  return value->get<bool>();
}

std::optional<std::string> JsonObject::text(const std::string& key) {
  const nlohmann::json* const value = find(key);
  if (value == nullptr) return std::nullopt;
  if (!value->is_string()) refuse(key, "must be a text");
  return value->get<std::string>();
}

std::string JsonObject::requiredText(const std::string& key) {
  auto value = text(key);
  if (!value) refuse(key, "is missing");
  return *std::move(value);
}

const nlohmann::json* JsonObject::find(const std::string& key) {
  // `finish` refuses every other key: a slip in a scenario must not pass for a default.
  m_asked.insert(key);
  const auto entry = m_value.find(key);
  return entry == m_value.end() ? nullptr : &*entry;
}

const nlohmann::json& JsonObject::require(const std::string& key) {
  const nlohmann::json* const value = find(key);
  if (value == nullptr) refuse(key, "is missing");
  return *value;
}

void JsonObject::finish() const {
  for (const auto& entry : m_value.items()) {
    if (!m_asked.contains(entry.key())) refuse(entry.key(), "is not known here");
  }
}

void JsonObject::refuse(const std::string& key, std::string_view why) const {
  throw std::runtime_error(nameOf(key) + ": " + std::string(why));
}

std::string JsonObject::nameOf(const std::string& key) const {
  return m_name.empty() ? key : m_name + "." + key;
}

void readObject(const std::filesystem::path& path, const std::function<void(JsonObject&)>& read) {
  const std::string text = readWhole(path);
  try {
    const nlohmann::json value = nlohmann::json::parse(text);
    JsonObject object(value, "");
    read(object);
    object.finish();
  } catch (const std::exception& error) {
    // Whatever was wrong, the file is what the user has to look at.
    throw std::runtime_error(path.string() + ": " + error.what());
  }
}

}  // namespace simulator
