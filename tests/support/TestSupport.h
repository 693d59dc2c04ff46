// What all tests share: scratch folders, files, and the debug log without time stamps and line numbers.

#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Logger.h"

/// The whole content of a file; fails the test if it cannot be read.
std::string readFile(const std::filesystem::path& path);

/// Writes a file, making its folder when that is missing.
void writeFile(const std::filesystem::path& path, std::string_view content);

/// A scratch folder that is removed with its object, also after a failed assertion.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return m_path; }
  std::filesystem::path operator/(std::string_view name) const { return m_path / name; }

 private:
  std::filesystem::path m_path;
};

/// A scratch folder that is the working directory while it lives.
class WorkingFolder : public ScratchFolder {
 public:
  WorkingFolder();
  ~WorkingFolder();
  WorkingFolder(const WorkingFolder&) = delete;
  WorkingFolder& operator=(const WorkingFolder&) = delete;

 private:
  std::filesystem::path m_before;
};

/// A line of the debug log, its time stamp checked and cut off and its line number cut off.
struct LogLine {
  std::string source;  ///< without the padding
  std::string message;
  bool operator==(const LogLine&) const = default;
};

/// The lines of a debug log; fails the test for a line that does not have the log's layout. A message with a
/// line break in it is one line.
std::vector<LogLine> parseLog(const std::string& log);

/// Only the messages of a debug log.
std::vector<std::string> messages(const std::string& log);

/// Replaces the process's debug log by one of the test while this lives.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<LogLine> lines() const { return parseLog(text()); }
  std::vector<std::string> messages() const { return ::messages(text()); }
  std::string text() const;

 private:
  ScratchFolder m_folder;
  CLogger m_logger;
  CLogger* m_before;
};
