#include "FakePlatform.h"

#include <gtest/gtest.h>

#include <algorithm>

bool FakePlatform::InstallMoxi() {
  calls.emplace_back("install");
  return installFails;
}

bool FakePlatform::UninstallMoxi() {
  calls.emplace_back("uninstall");
  return uninstallFails;
}

void* FakePlatform::LoadLibrary(const std::string& name) {
  calls.push_back("load " + name);
  if (loaderIsReal) return m_linux.LoadLibrary(name);
  const auto library = libraries.find(name);
  return library == libraries.end() ? nullptr : library->second;
}

void FakePlatform::FreeLibrary(void* handle) {
  calls.emplace_back("close");
  if (loaderIsReal) {
    m_linux.FreeLibrary(handle);
  } else {
    EXPECT_NE(known(handle), nullptr);
  }
}

void* FakePlatform::GetProcAddress(void* handle, const std::string& symbol) {
  calls.push_back("find " + symbol);
  if (loaderIsReal) return m_linux.GetProcAddress(handle, symbol);
  const FakeDriveLibrary* const library = known(handle);
  EXPECT_NE(library, nullptr);
  return library == nullptr ? nullptr : library->entryPoint(symbol);
}

int FakePlatform::ExecuteCmd(const std::string& command, bool, const long&) {
  ADD_FAILURE() << "runs " << command;
  return -1;
}

unsigned int FakePlatform::Sleep(int seconds) {
  ADD_FAILURE() << "sleeps";
  return static_cast<unsigned int>(seconds);
}

bool FakePlatform::setCurrentDirectory(const std::string& path) {
  return !setCurrentDirectoryFails && m_linux.setCurrentDirectory(path);
}

FakeDriveLibrary* FakePlatform::known(void* handle) const {
  const auto library = std::find_if(libraries.begin(), libraries.end(),
                                    [handle](const auto& entry) { return entry.second == handle; });
  return library == libraries.end() ? nullptr : library->second;
}
