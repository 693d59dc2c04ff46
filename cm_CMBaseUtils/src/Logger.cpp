#include "Logger.h"

#include <array>
#include <ctime>

CLogger* CLogger::m_ptrInstance = nullptr;

namespace {

std::string rightAligned(std::string text, std::size_t width) {
  if (text.size() < width) text.insert(0, width - text.size(), ' ');
  return text;
}

}  // namespace

CLogger* CLogger::GetInstance() {
  if (m_ptrInstance == nullptr) m_ptrInstance = new CLogger();
  return m_ptrInstance;
}

void CLogger::Initialize(const std::string& fileName) {
  m_strFileName = fileName;
  m_file.open(fileName);
  if (m_file.isOpen()) m_bEnabled = true;
}

// NOLINTNEXTLINE(readability-non-const-parameter): a signature that callers rely on
void CLogger::log(char* sourceFile, unsigned int line, const std::string& message) {
  if (!m_bEnabled) return;
  if (sourceFile == nullptr) {
    m_file.spoil();
    return;
  }
  std::array<char, 80> timeStamp{};
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  if (localtime_r(&now, &local) != nullptr) {  // does not look at the time zone's file for every line
    static_cast<void>(std::strftime(timeStamp.data(), timeStamp.size(), "[%Y-%m-%dT%H:%M:%S] ", &local));
  }
  const std::string origin = rightAligned(sourceFile, 50) + ":" + rightAligned(std::to_string(line), 5);
  m_file.seekEnd();
  m_file.write(timeStamp.data() + (": " + origin) + ": " + message + "\n");
  m_file.flush();
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
