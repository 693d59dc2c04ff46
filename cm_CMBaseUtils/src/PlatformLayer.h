#pragma once

#include <string>
#include <vector>

class IPlatformImpl;

/// The one way to the operating system: each operation forwards to the platform implementation's operation of
/// the same name, whose header says what it does.
class CPlatformLayer {
 public:
  /// Mind the polarity of these two: true when the install script failed.
  static bool InstallMoxi();
  static bool UninstallMoxi();
  static void* Load_Library(const std::string& name);
  static void FreeLibrary(void* handle);
  static void* GetProcAddress(void* handle, const std::string& symbol);
  static int ExecuteCmd(const std::string& command, bool flag, const long& timeout);
  static unsigned int Sleep(int seconds);
  static std::string getCurrentDirectory();
  static std::string getCurrentProcessDirectory();
  static bool setCurrentDirectory(const std::string& path);
  static std::vector<std::string> GetFileList(std::string& directory);
  static bool IsFileExits(const std::string& name);
  static bool IsFileExistsAbs(const std::string& path);

  /// The implementation, made on the first call and never destroyed.
  static IPlatformImpl* GetPlatform();

  /// Null until the first use. Tests put an implementation of their own here.
  static IPlatformImpl* m_pPlatformImpl;
};
