#pragma once

#include <string>
#include <vector>

/// What the system asks of the operating system. The order of the operations is part of the interface.
/// A failure shows in the returned value alone; none is thrown, and only
/// `getCurrentProcessDirectory` logs its own.
class IPlatformImpl {
 public:
  /// "MOXI", here and in the log, is the hardware-access support library (libkvrpm.so or libkvrpm64.so). Puts
  /// it in place with the install script of the working directory, unless it can be loaded already. Mind the
  /// polarity: true when the script failed; false when it succeeded or was not needed.
  virtual bool InstallMoxi() = 0;
  /// Takes the support library away again with the same script, unless it was there before `InstallMoxi`.
  /// True when the script failed; false when it succeeded or was not needed.
  virtual bool UninstallMoxi() = 0;
  /// A handle of the shared library `name`, found by the dynamic loader's own rules; null on failure. The
  /// caller gives it back to `FreeLibrary`.
  virtual void* LoadLibrary(const std::string& name) = 0;
  /// Closes a handle; a null handle is ignored.
  virtual void FreeLibrary(void* handle) = 0;
  /// The address of `symbol`, null when the library lacks it or the handle is null.
  virtual void* GetProcAddress(void* handle, const std::string& symbol) = 0;
  /// Runs a shell command and returns its wait status. The last two arguments have no effect.
  virtual int ExecuteCmd(const std::string& command, bool, const long&) = 0;
  /// Sleeps for `seconds`; returns the seconds left when a signal interrupted it.
  virtual unsigned int Sleep(int seconds) = 0;
  /// The working directory with a "/" appended; "/" alone when it cannot be told or is longer than 2047
  /// bytes.
  virtual std::string getCurrentDirectory() = 0;
  /// The directory of the running executable, ending in "/"; empty when it cannot be told.
  virtual std::string getCurrentProcessDirectory() = 0;
  /// Changes the working directory. Always true, whatever became of it; callers depend on that.
  virtual bool setCurrentDirectory(const std::string& path) = 0;
  /// Full paths (`directory` + "/" + name) of all entries but "." and "..", in no particular order; empty
  /// when the directory cannot be read. An empty name means ".", with "/" before the entries all the same.
  virtual std::vector<std::string> GetFileList(std::string& directory) = 0;
  /// True when the file `name` in the working directory opens for reading.
  virtual bool IsFileExits(const std::string& name) = 0;
  /// True when the file at `path` opens for reading.
  virtual bool IsFileExistsAbs(const std::string& path) = 0;

  IPlatformImpl() = default;
  IPlatformImpl(const IPlatformImpl&) = delete;
  IPlatformImpl& operator=(const IPlatformImpl&) = delete;

 protected:
  /// Not virtual, as the table of operations holds nothing else: nobody deletes through the interface.
  ~IPlatformImpl() = default;
};
