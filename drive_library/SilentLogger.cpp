// The logger behind the base utilities inside this library. The process has a debug log of its own, which the
// library must not touch: here the log never starts, even where a marker file asks for one, and nothing is
// written. It takes the place of the base utilities' logger when the library is linked.

#include "Logger.h"

CLogger* CLogger::m_ptrInstance = nullptr;

CLogger* CLogger::GetInstance() {
  static CLogger logger;
  return &logger;
}

void CLogger::Initialize(const std::string& /*fileName*/) {}

void CLogger::log(char* /*sourceFile*/, unsigned int /*line*/, const std::string& /*message*/) {}
