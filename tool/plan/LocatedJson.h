// JSON with the line of every value, for files that people write: what is wrong with one is told by its line.

#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// What is wrong with a file, as "FILE:LINE: problem".
struct FileError : std::runtime_error {
  FileError(const std::string& source, long line, const std::string& problem)
      : std::runtime_error(source + ":" + std::to_string(line) + ": " + problem) {}
};

struct LocatedValue {
  enum class Kind { kObject, kArray, kText, kCount, kOther };

  Kind kind = Kind::kOther;
  long line{};                         ///< where it begins; of a text or number, where it ends
  std::string text{};                  ///< of a text
  std::uint64_t count = 0;             ///< of a count: a whole number, not negative
  std::vector<std::string> keys{};     ///< of an object, each only once
  std::vector<LocatedValue> values{};  ///< of an object, in the order of the keys, or of an array
};

/// Reads one JSON value. Throws FileError, for a key that an object has twice and for values nested more than
/// 16 deep too.
LocatedValue parseLocated(std::string_view content, const std::string& source);

/// An object read key by key. Every function throws FileError for a value that is none of its kind.
class LocatedObject {
 public:
  /// `what` is how messages call the object: "model". `value` and `source` must outlive this object.
  LocatedObject(const LocatedValue& value, const std::string& source, const std::string& what);

  /// The value of a key; null when the object has none.
  const LocatedValue* find(const std::string& key);
  std::optional<std::string> text(const std::string& key);
  std::optional<std::uint64_t> count(const std::string& key);

  /// The items of an array; none when the object has no such key.
  std::span<const LocatedValue> items(const std::string& key);

  /// The value of a key that must be there.
  const LocatedValue& require(const std::string& key);

  /// Throws for a key that nobody has asked for. Call it when everything is read.
  void finish() const;

  [[noreturn]] void refuse(long line, const std::string& problem) const;

 private:
  const LocatedValue& m_value;
  const std::string& m_source;
  std::string m_what;
  std::set<std::string> m_asked;
};

}  // namespace tool
