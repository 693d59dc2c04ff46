#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << "cannot read " << path;
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

void writeFile(const fs::path& path, std::string_view content) {
  if (path.has_parent_path()) fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << content;
  EXPECT_TRUE(file.flush().good()) << "cannot write " << path;
}

ScratchFolder::ScratchFolder() {
  std::string name = (fs::temp_directory_path() / "nvmepcissd-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make " + name);
  m_path = fs::canonical(name);
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  fs::remove_all(m_path, ignored);
}

WorkingFolder::WorkingFolder() : m_before(fs::current_path()) {
  fs::current_path(path());
}

WorkingFolder::~WorkingFolder() {
  std::error_code ignored;
  fs::current_path(m_before, ignored);
}

namespace {

/// True when `text` has the layout of `shape`, in which '0' stands for any digit.
bool hasShape(std::string_view text, std::string_view shape) {
  return std::equal(text.begin(), text.end(), shape.begin(), shape.end(), [](char character, char expected) {
    return expected == '0' ? std::isdigit(static_cast<unsigned char>(character)) != 0 : character == expected;
  });
}

/// A right-aligned field at the start of `text`, at least `width` wide and ended by `end`, without its
/// padding; both are removed from `text`. Nothing if there is no such field, or one padded beyond its width.
std::optional<std::string> takeField(std::string_view& text, std::size_t width, std::string_view end) {
  const std::size_t padding = text.find_first_not_of(' ');
  if (padding == text.npos) return std::nullopt;
  const std::size_t length = text.find(end, padding);
  if (length == text.npos || length < width || (length > width && padding > 0)) return std::nullopt;
  std::string value(text.substr(padding, length - padding));
  text.remove_prefix(length + end.size());
  return value;
}

std::optional<LogLine> parseLine(std::string_view text) {
  static constexpr std::string_view kTimeStamp = "[0000-00-00T00:00:00] : ";
  if (!hasShape(text.substr(0, kTimeStamp.size()), kTimeStamp)) return std::nullopt;
  text.remove_prefix(kTimeStamp.size());
  const std::optional<std::string> source = takeField(text, 50, ":");
  const std::optional<std::string> number = takeField(text, 5, ": ");
  if (!source || !number || number->find_first_not_of("0123456789") != number->npos) return std::nullopt;
  return LogLine{*source, std::string(text)};
}

}  // namespace

std::vector<LogLine> parseLog(const std::string& log) {
  std::vector<LogLine> lines;
  std::istringstream stream(log);
  for (std::string text; std::getline(stream, text);) {
    if (std::optional<LogLine> line = parseLine(text)) {
      lines.push_back(std::move(*line));
    } else if (lines.empty()) {
      ADD_FAILURE() << "not a line of the debug log: " << text;
    } else {
      lines.back().message += "\n" + text;
    }
  }
  return lines;
}

std::vector<std::string> messages(const std::string& log) {
  std::vector<std::string> result;
  for (LogLine& line : parseLog(log)) result.push_back(std::move(line.message));
  return result;
}

LogCapture::LogCapture() : m_before(CLogger::m_ptrInstance) {
  m_logger.Initialize(m_folder / "debug.log");
  CLogger::m_ptrInstance = &m_logger;
}

LogCapture::~LogCapture() {
  CLogger::m_ptrInstance = m_before;
}

std::string LogCapture::text() const {
  return readFile(m_folder / "debug.log");
}
