#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>

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

WorkingFolder::WorkingFolder() : m_before(fs::current_path()) { fs::current_path(path()); }

WorkingFolder::~WorkingFolder() {
  std::error_code ignored;
  fs::current_path(m_before, ignored);
}

std::vector<LogLine> parseLog(const std::string& log) {
  static const std::regex kStart(
      R"(^\[\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\] : ( *)([^ :][^:]*):( *\d+): )");
  std::vector<LogLine> lines;
  std::istringstream stream(log);
  for (std::string text; std::getline(stream, text);) {
    std::smatch start;
    if (std::regex_search(text, start, kStart)) {
      const std::size_t sourceWidth = static_cast<std::size_t>(start.length(1) + start.length(2));
      EXPECT_TRUE(sourceWidth == 50 || (sourceWidth > 50 && start.length(1) == 0)) << text;
      EXPECT_GE(start.length(3), 5) << text;
      lines.push_back({start[2], start.suffix()});
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

LogCapture::~LogCapture() { CLogger::m_ptrInstance = m_before; }

std::string LogCapture::text() const { return readFile(m_folder / "debug.log"); }
