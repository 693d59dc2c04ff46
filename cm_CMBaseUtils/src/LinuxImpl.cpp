#include "LinuxImpl.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "Logger.h"

bool CLinuxImpl::bMOXIAlreadyInstalled = false;

namespace {

constexpr std::size_t kPathBufferSize = 2048;

struct DirectoryCloser {
  void operator()(DIR* directory) const { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, DirectoryCloser>;

/// Empty when the working directory is gone or its path does not fit the buffer.
std::string workingDirectory() {
  std::array<char, kPathBufferSize> buffer{};
  return getcwd(buffer.data(), buffer.size()) == nullptr ? "" : buffer.data();
}

}  // namespace

bool CLinuxImpl::InstallMoxi() {
  // Remembered for the uninstall: a library that was there before the run is not ours to remove.
  bMOXIAlreadyInstalled = isMOXIInstalled();
  return !bMOXIAlreadyInstalled && runInstallScript("install");
}

bool CLinuxImpl::UninstallMoxi() {
  return !bMOXIAlreadyInstalled && runInstallScript("uninstall");
}

bool CLinuxImpl::isMOXIInstalled() {
  // The library only has to be loadable; nothing in it is ever called.
  void* handle = LoadLibrary("libkvrpm.so");
  if (handle == nullptr) handle = LoadLibrary("libkvrpm64.so");
  if (handle == nullptr) return false;
  FreeLibrary(handle);
  return true;
}

bool CLinuxImpl::runInstallScript(const char* word) {
  // The path is not quoted for the shell, so a working directory with a blank in its path finds no script.
  // True means that the script failed.
  return ExecuteCmd(workingDirectory() + "/fwkitinstall.sh " + word, false, 0) != 0;
}

void* CLinuxImpl::LoadLibrary(const std::string& name) {
  // Everything is bound at once: a symbol that is missing shows here and not in the middle of a flash.
  return dlopen(name.c_str(), RTLD_NOW);
}

void CLinuxImpl::FreeLibrary(void* handle) {
  if (handle != nullptr) dlclose(handle);
}

void* CLinuxImpl::GetProcAddress(void* handle, const std::string& symbol) {
  return handle == nullptr ? nullptr : dlsym(handle, symbol.c_str());
}

int CLinuxImpl::ExecuteCmd(const std::string& command, bool /*flag*/, const long& /*timeout*/) {
  // The flag and the time-out belong to the interface; a command that hangs, hangs the run.
  return std::system(command.c_str());
}

unsigned int CLinuxImpl::Sleep(int seconds) {
  return sleep(static_cast<unsigned int>(seconds));
}

std::string CLinuxImpl::getCurrentDirectory() {
  return workingDirectory() + "/";
}

std::string CLinuxImpl::getCurrentProcessDirectory() {
  std::array<char, kPathBufferSize> buffer{};
  // The link is resolved by the kernel, so that a payload lies beside the program itself, not beside a link
  // to it.
  const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
  if (length < 1) {
    LOG("CLinuxImpl::getCurrentProcessDirectory() failed");
    return {};
  }
  const std::string_view executable(buffer.data(), static_cast<std::size_t>(length));
  return std::string(executable.substr(0, executable.rfind('/'))) + "/";
}

bool CLinuxImpl::setCurrentDirectory(const std::string& path) {
  // Deliberately unchecked: callers rely on true.
  [[maybe_unused]] const int ignored = chdir(path.c_str());
  return true;
}

std::vector<std::string> CLinuxImpl::GetFileList(std::string& directory) {
  std::vector<std::string> files;
  const Directory stream(opendir(directory.empty() ? "." : directory.c_str()));
  // A missing folder is an empty one. For a payload both refuse the update.
  if (stream == nullptr) return files;
  // Hidden files and folders count: the caller wants to know whether there is exactly one entry.
  while (const dirent* entry = readdir(stream.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") files.push_back(directory + "/" + entry->d_name);
  }
  return files;
}

bool CLinuxImpl::IsFileExits(const std::string& name) {
  return IsFileExistsAbs(getCurrentDirectory() + name);
}

bool CLinuxImpl::IsFileExistsAbs(const std::string& path) {
  // Opened rather than looked up: a file that cannot be read is as good as missing.
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return false;
  close(descriptor);
  return true;
}
