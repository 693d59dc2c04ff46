// A platform that leaves nothing to the machine that could disturb a unit test.

#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "FakeDriveLibrary.h"
#include "LinuxImpl.h"

/// Files and the working directory are real; the support library, the executable's directory and, unless told
/// otherwise, the dynamic loader are not. Nothing is ever run or waited for.
class FakePlatform : public IPlatformImpl {
 public:
  explicit FakePlatform(std::string processDirectory) : m_processDirectory(std::move(processDirectory)) {}
  virtual ~FakePlatform() = default;

  bool installFails = false;
  bool uninstallFails = false;
  bool setCurrentDirectoryFails = false;
  bool loaderIsReal = false;
  std::map<std::string, FakeDriveLibrary*> libraries;  ///< by the name that the loader finds them under

  /// "install", "uninstall", "load " and a name, "find " and a symbol, "close", in order.
  std::vector<std::string> calls;

  bool InstallMoxi() override;
  bool UninstallMoxi() override;
  void* LoadLibrary(const std::string& name) override;
  void FreeLibrary(void* handle) override;
  void* GetProcAddress(void* handle, const std::string& symbol) override;
  int ExecuteCmd(const std::string& command, bool, const long&) override;
  unsigned int Sleep(int seconds) override;
  std::string getCurrentDirectory() override { return m_linux.getCurrentDirectory(); }
  std::string getCurrentProcessDirectory() override { return m_processDirectory; }
  bool setCurrentDirectory(const std::string& path) override;
  std::vector<std::string> GetFileList(std::string& directory) override {
    return m_linux.GetFileList(directory);
  }
  bool IsFileExits(const std::string& name) override { return m_linux.IsFileExits(name); }
  bool IsFileExistsAbs(const std::string& path) override { return m_linux.IsFileExistsAbs(path); }

 private:
  FakeDriveLibrary* known(void* handle) const;

  CLinuxImpl m_linux;
  std::string m_processDirectory;
};
