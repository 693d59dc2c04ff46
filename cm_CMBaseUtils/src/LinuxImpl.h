#pragma once

#include "IPlatformImpl.h"

// The interface's table has no room for a destructor, and nothing deletes an implementation.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// The platform interface on Linux.
class CLinuxImpl : public IPlatformImpl {  // NOLINT(cppcoreguidelines-virtual-class-destructor)
 public:
  bool InstallMoxi() override;
  bool UninstallMoxi() override;
  void* LoadLibrary(const std::string& name) override;
  void FreeLibrary(void* handle) override;
  void* GetProcAddress(void* handle, const std::string& symbol) override;
  int ExecuteCmd(const std::string& command, bool, const long&) override;
  unsigned int Sleep(int seconds) override;
  std::string getCurrentDirectory() override;
  std::string getCurrentProcessDirectory() override;
  bool setCurrentDirectory(const std::string& path) override;
  std::vector<std::string> GetFileList(std::string& directory) override;
  bool IsFileExits(const std::string& name) override;
  bool IsFileExistsAbs(const std::string& path) override;

  /// True when the hardware-access support library can be loaded, under either of its names.
  bool isMOXIInstalled();

  /// What `isMOXIInstalled` said in the last `InstallMoxi`; false before.
  static bool bMOXIAlreadyInstalled;

 private:
  /// Runs the install script of the working directory with `word`; true when its status is not 0.
  bool runInstallScript(const char* word);
};

#pragma GCC diagnostic pop
