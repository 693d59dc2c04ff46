// Reads JSON strictly: anything unexpected is refused with a message that names the key.

#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace simulator {

/// A JSON object read key by key.
///
/// An absent optional key gives nothing. A missing required key, a value of the wrong kind or out of range,
/// and in finish() a key that was never asked for, throw std::runtime_error with the key's full name, such as
/// "drives[2].serial".
class JsonObject {
 public:
  /// `name` is the object's own full name, empty for the outermost. `value` must outlive this object.
  JsonObject(const nlohmann::json& value, std::string name);

  std::optional<std::int64_t> integer(const std::string& key, std::int64_t lowest, std::int64_t highest);
  std::optional<bool> flag(const std::string& key);
  std::optional<std::string> text(const std::string& key);
  std::string requiredText(const std::string& key);

  /// The value of the key; null if it is absent. It lives as long as the outermost value.
  const nlohmann::json* find(const std::string& key);
  const nlohmann::json& require(const std::string& key);

  /// Throws if there is a key that was not asked for. Call it when everything is read.
  void finish() const;

  /// Throws the complaint about one key.
  [[noreturn]] void refuse(const std::string& key, std::string_view why) const;
  std::string nameOf(const std::string& key) const;

 private:
  const nlohmann::json& m_value;
  std::string m_name;
  std::set<std::string> m_asked;
};

/// Reads the file as one object: `read` takes the keys that it knows, any other is refused. Throws
/// std::runtime_error that names the file and what is wrong with it.
void readObject(const std::filesystem::path& path, const std::function<void(JsonObject&)>& read);

}  // namespace simulator
