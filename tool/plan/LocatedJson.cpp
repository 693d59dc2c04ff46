#include "LocatedJson.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

namespace tool {

namespace {

constexpr std::size_t kMostDepth = 16;

/// How far the parser has read.
struct Position {
  long line = 1;
  char last = 0;
};

/// Hands the parser one character after another, and counts lines on the way.
class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator(const char* place, Position& position) : m_place(place), m_position(&position) {}

  reference operator*() const { return *m_place; }
  CountingIterator& operator++() {
    m_position->last = *m_place;
    if (*m_place == '\n') ++m_position->line;
    ++m_place;
    return *this;
  }
  bool operator==(const CountingIterator& other) const { return m_place == other.m_place; }

 private:
  const char* m_place;
  Position* m_position;
};

/// Builds the value from what the parser finds.
class Builder : public nlohmann::json_sax<nlohmann::json> {
 public:
  using Kind = LocatedValue::Kind;

  Builder(const std::string& source, const Position& position) : m_source(source), m_position(position) {
    m_open.push_back(&m_outermost);
  }

  LocatedValue take() { return std::move(m_outermost.values.at(0)); }

  bool null() override { return add({.line = m_position.line}); }
  bool boolean(bool) override { return add({.line = m_position.line}); }
  bool number_integer(number_integer_t) override { return add({.line = lineBeforeBreak()}); }
  bool number_unsigned(number_unsigned_t value) override {
    return add({.kind = Kind::kCount, .line = lineBeforeBreak(), .count = value});
  }
  bool number_float(number_float_t, const string_t&) override { return add({.line = lineBeforeBreak()}); }
  bool string(string_t& text) override {
    return add({.kind = Kind::kText, .line = m_position.line, .text = std::move(text)});
  }
  bool binary(binary_t&) override { return add({}); }

  bool start_object(std::size_t) override { return open(Kind::kObject); }
  bool start_array(std::size_t) override { return open(Kind::kArray); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }
  bool key(string_t& name) override {
    std::vector<std::string>& keys = m_open.back()->keys;
    if (std::find(keys.begin(), keys.end(), name) != keys.end())
      fail("the key \"" + name + "\" is there twice");
    keys.push_back(std::move(name));
    return true;
  }

  bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception& error) override {
    // The library's own text begins with its number and the place, which is told otherwise here.
    const std::string text = error.what();
    const std::size_t problem = text.find(": ");
    throw FileError(m_source, lineBeforeBreak(),
                    "is no JSON: " + (problem == std::string::npos ? text : text.substr(problem + 2)));
  }

 private:
  /// A number ends where something else begins, which has been read then, and so has a text that a line break
  /// cuts off.
  long lineBeforeBreak() const { return m_position.last == '\n' ? m_position.line - 1 : m_position.line; }

  [[noreturn]] void fail(const std::string& problem) const {
    throw FileError(m_source, m_position.line, problem);
  }

  bool add(LocatedValue value) {
    m_open.back()->values.push_back(std::move(value));
    return true;
  }

  bool open(Kind kind) {
    if (m_open.size() > kMostDepth) fail("values are nested too deep");
    add({.kind = kind, .line = m_position.line});
    m_open.push_back(&m_open.back()->values.back());
    return true;
  }

  bool close() {
    m_open.pop_back();
    return true;
  }

  const std::string& m_source;
  const Position& m_position;
  LocatedValue m_outermost{};
  std::vector<LocatedValue*> m_open;  // the last one grows; those before it do not move until it is closed
};

}  // namespace

LocatedValue parseLocated(std::string_view content, const std::string& source) {
  Position position;
  Builder builder(source, position);
  nlohmann::json::sax_parse(CountingIterator(content.data(), position),
                            CountingIterator(content.data() + content.size(), position), &builder);
  return builder.take();
}

LocatedObject::LocatedObject(const LocatedValue& value, const std::string& source, const std::string& what)
    : m_value(value), m_source(source), m_what(what) {
  if (value.kind != LocatedValue::Kind::kObject) refuse(value.line, what + " is no object");
}

const LocatedValue* LocatedObject::find(const std::string& key) {
  m_asked.insert(key);
  const auto found = std::find(m_value.keys.begin(), m_value.keys.end(), key);
  if (found == m_value.keys.end()) return nullptr;
  return &m_value.values.at(static_cast<std::size_t>(found - m_value.keys.begin()));
}

std::optional<std::string> LocatedObject::text(const std::string& key) {
  const LocatedValue* const value = find(key);
  if (value == nullptr) return std::nullopt;
  if (value->kind != LocatedValue::Kind::kText) refuse(value->line, key + " is no text");
  return value->text;
}

std::optional<std::uint64_t> LocatedObject::count(const std::string& key) {
  const LocatedValue* const value = find(key);
  if (value == nullptr) return std::nullopt;
  if (value->kind != LocatedValue::Kind::kCount) refuse(value->line, key + " is no whole number");
  return value->count;
}

std::span<const LocatedValue> LocatedObject::items(const std::string& key) {
  const LocatedValue* const value = find(key);
  if (value == nullptr) return {};
  if (value->kind != LocatedValue::Kind::kArray) refuse(value->line, key + " is no array");
  return value->values;
}

const LocatedValue& LocatedObject::require(const std::string& key) {
  const LocatedValue* const value = find(key);
  if (value == nullptr) refuse(m_value.line, m_what + " has no \"" + key + "\"");
  return *value;
}

void LocatedObject::finish() const {
  for (std::size_t i = 0; i < m_value.keys.size(); ++i) {
    if (!m_asked.contains(m_value.keys[i]))
      refuse(m_value.values[i].line, m_what + " has the key \"" + m_value.keys[i] + "\", which is not known");
  }
}

void LocatedObject::refuse(long line, const std::string& problem) const {
  throw FileError(m_source, line, problem);
}

}  // namespace tool
