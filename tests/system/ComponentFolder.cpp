#include "ComponentFolder.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <ostream>
#include <set>
#include <system_error>

#include "DocumentSchemas.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

constexpr unsigned int kSecondsBeforeHanging = 60;
constexpr int kSanitizerReport = 99;
constexpr int kNotStarted = 126;  // the loader ends a program with 127
constexpr int kSignalled = 128;
constexpr unsigned int kNobody = 65534;

constexpr char kPackage[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<SoftwareComponent vendorVersion="1.0">
  <SupportedDevices>
    <Device componentID="1">
      <PCIInfo deviceID="a801" subDeviceID="1001" vendorID="f101" subVendorID="f1a0"/>
      <Display>Sample Drive</Display>
    </Device>
    <Device componentID="2">
      <PCIInfo deviceID="a802" subDeviceID="1001" vendorID="f101" subVendorID="f1a0"/>
      <Display>Another Drive</Display>
    </Device>
  </SupportedDevices>
</SoftwareComponent>
)";

void stageWorkingFiles(const fs::path& folder) {
  copyFromSimulator("libnvme.so", folder / "libnvme.so");
  copyFromSimulator("fwkitinstall.sh", folder / "fwkitinstall.sh");
  writeFile(folder / "package.xml", kPackage);
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> environmentOf(const ComponentFolder::Settings& settings) {
  const std::string report = "exitcode=" + std::to_string(kSanitizerReport);
  const char* const path = std::getenv("PATH");
  std::vector<std::string> environment = {
      std::string("PATH=") + (path == nullptr ? "/usr/bin:/bin" : path),
      "ASAN_OPTIONS=" + report + ":detect_leaks=" + (settings.mayLeak ? "0" : "1"),
      "LSAN_OPTIONS=" + report,
      "UBSAN_OPTIONS=print_stacktrace=1:" + report,
  };
  for (const auto& [name, value] : settings.environment) environment.push_back(name + "=" + value);
  return environment;
}

bool redirect(int descriptor, const fs::path& path) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  return file >= 0 && ::dup2(file, descriptor) == descriptor;
}

bool giveUpPrivileges() {
  return ::geteuid() != 0 ||
         (::setgroups(0, nullptr) == 0 && ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0);
}

/// Turns the forked child into the program, which is ended if it hangs. Returns only on failure.
void become(const ComponentFolder::Settings& settings, std::vector<std::string> arguments,
            const fs::path& output, const fs::path& errors) {
  std::vector<std::string> environment = environmentOf(settings);
  arguments.insert(arguments.begin(), settings.executable);
  if (!redirect(STDOUT_FILENO, output) || !redirect(STDERR_FILENO, errors)) return;
  if (::chdir(settings.workingFolder.c_str()) != 0) return;
  if (!settings.isPrivileged && !giveUpPrivileges()) return;
  ::alarm(kSecondsBeforeHanging);  // stays in force after exec
  ::execve(settings.executable.c_str(), pointersTo(arguments).data(), pointersTo(environment).data());
}

int exitStatusOf(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "waitpid");
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
}

}  // namespace

void PrintTo(const Outcome& outcome, std::ostream* stream) {
  *stream << "exit status " << outcome.exitStatus << ", standard output \"" << outcome.standardOutput << '"';
  if (!outcome.standardError.empty()) *stream << ", standard error:\n" << outcome.standardError;
}

json drive(int number, const json& changes) {
  const std::string digit = std::to_string(number);
  json result = {{"vendorId", "f101"},
                 {"deviceId", "a801"},
                 {"subVendorId", "f1a0"},
                 {"subDeviceId", "1001"},
                 {"address", "4" + digit + ":42.43"},
                 {"model", "SAMPLE MODEL " + digit},
                 {"serial", "SIM" + digit},
                 {"revision", "SMP1010" + digit}};
  result.update(changes);
  return result;
}

void copyFromSimulator(std::string_view name, const fs::path& target) {
  fs::copy_file(fs::path(SIMULATOR_FOLDER) / name, target, fs::copy_options::overwrite_existing);
}

std::vector<std::string> linesOf(const fs::path& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

ComponentFolder::ComponentFolder() : m_root(m_scratch.path()), m_path(m_root / "component") {
  fs::permissions(m_root, fs::perms::others_read | fs::perms::others_exec, fs::perm_options::add);
  for (const char* const name : {"component", "loader", "records"}) fs::create_directory(m_root / name);
  fs::copy_file(COMPONENT_EXECUTABLE, executable());
  fs::copy_file(ROLLBACK_LIBRARY, m_path / "librbkl.so.0");
  writeFile(payload(), "sample firmware\n");
  stageWorkingFiles(m_path);
  setDrives({});
  settings = {.executable = executable(),
              .workingFolder = m_path,
              .environment = {{"LD_LIBRARY_PATH", loaderFolder()},
                              {"NVME_SIMULATOR_SCENARIO", record("scenario.json")},
                              {"NVME_SIMULATOR_STATE", record("state.json")},
                              {"NVME_SIMULATOR_CALLS", record("drive-calls")},
                              {"RBKL_SIMULATOR_PARTITION", partition()},
                              {"RBKL_SIMULATOR_CALLS", record("rollback-calls")},
                              {"FWKIT_LOG", record("install-calls")}}};
}

fs::path ComponentFolder::folderBeside(std::string_view name) const {
  fs::create_directory(m_root / name);
  return m_root / name;
}

fs::path ComponentFolder::moveWorkingFolder() {
  const fs::path folder = folderBeside("work");
  settings.workingFolder = folder;
  stageWorkingFiles(folder);
  for (const char* const name : {"libnvme.so", "fwkitinstall.sh", "package.xml"}) fs::remove(m_path / name);
  return folder;
}

void ComponentFolder::setDrives(const std::vector<json>& drives, const json& changes) const {
  json scenario = {{"newRevision", "SMP90200"}, {"drives", drives}};
  scenario.update(changes);
  writeFile(record("scenario.json"), scenario.dump());
}

void ComponentFolder::setRollback(const json& script) {
  writeFile(record("rollback.json"), script.dump());
  settings.environment["RBKL_SIMULATOR_SCENARIO"] = record("rollback.json");
}

Outcome ComponentFolder::run(const std::vector<std::string>& arguments) const {
  const fs::path output = record("stdout");
  const fs::path errors = record("stderr");
  const pid_t child = ::fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0) {
    become(settings, arguments, output, errors);
    std::perror("the program was not started");
    ::_exit(kNotStarted);
  }
  const int exitStatus = exitStatusOf(child);
  Outcome outcome{exitStatus, readFile(output), readFile(errors)};
  checkDocuments(writtenDocuments(arguments, outcome.standardOutput));
  return outcome;
}

/// The documents on standard output and in the file after -o, a relative name of which may be in either
/// folder.
std::vector<std::string> ComponentFolder::writtenDocuments(const std::vector<std::string>& arguments,
                                                           const std::string& standardOutput) const {
  std::vector<std::string> documents = documentsIn(standardOutput);
  const auto option = std::find(arguments.rbegin(), arguments.rend(), "-o");
  if (option == arguments.rbegin() || option == arguments.rend()) return documents;
  const std::string& name = *std::prev(option);
  for (const fs::path& file : std::set<fs::path>{settings.workingFolder / name, m_path / name}) {
    if (!fs::is_regular_file(file)) continue;
    for (std::string& document : documentsIn(readFile(file))) documents.push_back(std::move(document));
  }
  return documents;
}

void ComponentFolder::checkDocuments(const std::vector<std::string>& documents) const {
  for (const std::string& document : documents) {
    const DocumentVerdict verdict = validate(document);
    if (settings.breaksDocuments) {
      EXPECT_FALSE(verdict.isWellFormed) << document << " is well-formed";
    } else {
      EXPECT_EQ(verdict.complaint, "") << document;
    }
  }
}

std::vector<std::string> ComponentFolder::recorded(std::string_view name) const {
  return linesOf(record(name));
}

void ComponentFolder::forgetCalls() const {
  for (const char* const name : {"drive-calls", "rollback-calls", "install-calls"}) fs::remove(record(name));
}

std::vector<std::string> ComponentFolder::flashCalls() const {
  std::vector<std::string> calls = driveCalls();
  std::erase_if(calls, [](const std::string& call) { return !call.starts_with("NVMEUpdateFirmware"); });
  return calls;
}

std::vector<std::string> ComponentFolder::namesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder))
    names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}
