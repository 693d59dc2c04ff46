#include "Logger.h"

#include <array>
#include <ctime>
#include <iomanip>

CLogger* CLogger::m_ptrInstance = nullptr;

CLogger* CLogger::GetInstance() {
  // Never destroyed: destructors of static objects still log.
  if (m_ptrInstance == nullptr) m_ptrInstance = new CLogger();
  return m_ptrInstance;
}

void CLogger::Initialize(const std::string& fileName) {
  // The name is stored even when the open fails.
  m_strFileName = fileName;
  if (!m_file) m_file.emplace();
  // A stream that is open already fails here, stays open and writes nothing any more.
  m_file->open(fileName);
  if (m_file->is_open()) m_bEnabled = true;
}

// NOLINTNEXTLINE(readability-non-const-parameter): a signature that callers rely on
void CLogger::log(char* sourceFile, unsigned int line, const std::string& message) {
  if (!m_bEnabled) return;
  std::array<char, 80> timeStamp{};
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  if (localtime_r(&now, &local) != nullptr) {  // does not look at the time zone's file for every line
    static_cast<void>(std::strftime(timeStamp.data(), timeStamp.size(), "[%Y-%m-%dT%H:%M:%S] ", &local));
  }
  // Others may have appended to the file since the last line.
  m_file->seekp(0, std::ios::end);
  // A null source is a null C string to the stream, which goes bad: nothing is written from there on, not
  // even the start of this line, which stays in the buffer.
  *m_file << timeStamp.data() << ": " << std::setw(50) << sourceFile << ":" << std::setw(5) << line << ": "
          << message << '\n'
          << std::flush;
}

void logText(const char* text, const SLogSite& site) {
  if (text != nullptr) LOG_AT(site, text);
}

CTraceScope::CTraceScope(const SLogSite& site, const char* method) : m_site(site), m_method(method) {
  LOG_AT(m_site, std::string("Entering ") + m_method);
}

CTraceScope::~CTraceScope() {
  LOG_AT(m_site, std::string("Leaving ") + m_method);
}
