#include "PlatformLayer.h"

#include "LinuxImpl.h"

IPlatformImpl* CPlatformLayer::m_pPlatformImpl = nullptr;

IPlatformImpl* CPlatformLayer::GetPlatform() {
  // Never deleted: destructors that run at exit may still need it. Tests put an implementation of their own
  // here.
  if (m_pPlatformImpl == nullptr) m_pPlatformImpl = new CLinuxImpl();
  return m_pPlatformImpl;
}

bool CPlatformLayer::InstallMoxi() {
  return GetPlatform()->InstallMoxi();
}

bool CPlatformLayer::UninstallMoxi() {
  return GetPlatform()->UninstallMoxi();
}

void* CPlatformLayer::Load_Library(const std::string& name) {
  return GetPlatform()->LoadLibrary(name);
}

void CPlatformLayer::FreeLibrary(void* handle) {
  GetPlatform()->FreeLibrary(handle);
}

void* CPlatformLayer::GetProcAddress(void* handle, const std::string& symbol) {
  return GetPlatform()->GetProcAddress(handle, symbol);
}

int CPlatformLayer::ExecuteCmd(const std::string& command, bool flag, const long& timeout) {
  return GetPlatform()->ExecuteCmd(command, flag, timeout);
}

unsigned int CPlatformLayer::Sleep(int seconds) {
  return GetPlatform()->Sleep(seconds);
}

std::string CPlatformLayer::getCurrentDirectory() {
  return GetPlatform()->getCurrentDirectory();
}

std::string CPlatformLayer::getCurrentProcessDirectory() {
  return GetPlatform()->getCurrentProcessDirectory();
}

bool CPlatformLayer::setCurrentDirectory(const std::string& path) {
  return GetPlatform()->setCurrentDirectory(path);
}

std::vector<std::string> CPlatformLayer::GetFileList(std::string& directory) {
  return GetPlatform()->GetFileList(directory);
}

bool CPlatformLayer::IsFileExits(const std::string& name) {
  return GetPlatform()->IsFileExits(name);
}

bool CPlatformLayer::IsFileExistsAbs(const std::string& path) {
  return GetPlatform()->IsFileExistsAbs(path);
}
