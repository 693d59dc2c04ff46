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
  bMOXIAlreadyInstalled = isMOXIInstalled();
  return !bMOXIAlreadyInstalled && runInstallScript("install");
}

bool CLinuxImpl::UninstallMoxi() {
  return !bMOXIAlreadyInstalled && runInstallScript("uninstall");
}

bool CLinuxImpl::isMOXIInstalled() {
  void* handle = LoadLibrary("libkvrpm.so");
  if (handle == nullptr) handle = LoadLibrary("libkvrpm64.so");
  if (handle == nullptr) return false;
  FreeLibrary(handle);
  return true;
}

bool CLinuxImpl::runInstallScript(const char* word) {
  return ExecuteCmd(workingDirectory() + "/fwkitinstall.sh " + word, false, 0) != 0;
}

void* CLinuxImpl::LoadLibrary(const std::string& name) {
  return dlopen(name.c_str(), RTLD_NOW);
}

void CLinuxImpl::FreeLibrary(void* handle) {
  if (handle != nullptr) dlclose(handle);
}

void* CLinuxImpl::GetProcAddress(void* handle, const std::string& symbol) {
  return handle == nullptr ? nullptr : dlsym(handle, symbol.c_str());
}

int CLinuxImpl::ExecuteCmd(const std::string& command, bool /*flag*/, const long& /*timeout*/) {
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
  const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
  if (length < 1) {
    LOG("CLinuxImpl::getCurrentProcessDirectory() failed");
    return {};
  }
  const std::string_view executable(buffer.data(), static_cast<std::size_t>(length));
  return std::string(executable.substr(0, executable.rfind('/'))) + "/";
}

bool CLinuxImpl::setCurrentDirectory(const std::string& path) {
  [[maybe_unused]] const int ignored = chdir(path.c_str());
  return true;
}

std::vector<std::string> CLinuxImpl::GetFileList(std::string& directory) {
  std::vector<std::string> files;
  const Directory stream(opendir(directory.empty() ? "." : directory.c_str()));
  if (stream == nullptr) return files;
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
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return false;
  close(descriptor);
  return true;
}
