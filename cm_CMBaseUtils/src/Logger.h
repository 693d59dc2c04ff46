// The debug log: one text file of time-stamped lines that name the source and line that wrote them.
//
//   [2026-01-31T12:00:00] : <source, right-aligned to 50>:<line, right-aligned to 5>: <message>

#pragma once

#include <fstream>
#include <optional>
#include <string>

/// The process's single trace sink. It is off, and every call to `log` returns at once, until `Initialize`
/// has opened a file. For the program's one thread only: there is no lock.
class CLogger {
 public:
  /// The process's logger, created by the first call and never destroyed, so that the log holds every line up
  /// to the end of the process.
  static CLogger* GetInstance();

  /// Opens `fileName` for writing (an existing file is emptied) and, when that succeeds, switches the log on.
  /// A file that cannot be opened leaves the log off; nothing reports it.
  ///
  /// A second call on a log that is already on does not switch files: it silences the log for good, and the
  /// lines before are kept. Callers rely on this.
  void Initialize(const std::string& fileName);

  /// Writes one line and flushes it, so that the log is whole even if the process dies. `sourceFile` is a
  /// NUL-terminated path; a null pointer silences the log for good.
  void log(char* sourceFile, unsigned int line, const std::string& message);

  /// True once a file has been opened, also after a second `Initialize` has silenced the log.
  bool isEnabled() const { return m_bEnabled; }

  /// Null until the first `GetInstance`. Tests put a logger of their own here.
  static CLogger* m_ptrInstance;

 private:
  std::string m_strFileName = "debug.log";
  /// Absent until the first `Initialize`: a run without a log sets up no stream (OutputFile.h says why).
  std::optional<std::ofstream> m_file;
  bool m_bEnabled = false;
};

/// A place in the sources, as a line of the debug log names it. Shared code that logs on behalf of a class
/// takes one from its caller.
struct SLogSite {
  const char* sourceFile;
  unsigned int line;
};

#define LOG_SITE (SLogSite{__FILE__, __LINE__})

/// Logs what `message()` returns as coming from `site`. It is not called while the log is off.
template <class Message>
void logAt(const SLogSite& site, const Message& message) {
  CLogger* const logger = CLogger::GetInstance();
  if (!logger->isEnabled()) return;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the interface wants it so, and only reads the path
  logger->log(const_cast<char*>(site.sourceFile), site.line, message());
}

/// Logs a message as coming from `site`, or from this line. Its text is not built while the log is off.
#define LOG_AT(site, message) logAt(site, [&]() -> std::string { return message; })
#define LOG(message) LOG_AT(LOG_SITE, message)

/// Logs `text` as coming from `site`; a null pointer stands for no line.
void logText(const char* text, const SLogSite& site);

/// Logs "Entering " and the method's name when it is made, "Leaving " and the name when its scope ends.
class CTraceScope {
 public:
  CTraceScope(const SLogSite& site, const char* method);
  ~CTraceScope();
  CTraceScope(const CTraceScope&) = delete;
  CTraceScope& operator=(const CTraceScope&) = delete;

 private:
  SLogSite m_site;
  const char* m_method;
};
