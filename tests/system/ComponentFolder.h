// A scratch component folder: the built executable beside the simulator's shared objects, to run and to
// inspect afterwards.

#pragma once

#include <filesystem>
#include <iosfwd>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "TestSupport.h"

/// The outcome of a run. Two outcomes are equal if exit status and standard output are; standard error is
/// only printed.
struct Outcome {
  int exitStatus = 0;  ///< 99 after a sanitizer's report; 128 and the signal after one (SIGALRM: it hung)
  std::string standardOutput;
  std::string standardError;

  bool operator==(const Outcome& other) const {
    return exitStatus == other.exitStatus && standardOutput == other.standardOutput;
  }
};
void PrintTo(const Outcome& outcome, std::ostream* stream);

/// A well-behaved drive of a scenario, number 1 to 9: "Sample Drive" in the staged package.xml, serial number
/// "SIM1", revision "SMP10101", PCI address 41:42.43 for number 1, 42:42.43 for number 2 and so on (in the
/// debug log the letters A, B and C). `changes` replaces or adds keys of the simulator's scenario.
nlohmann::json drive(int number, const nlohmann::json& changes = nlohmann::json::object());

class ComponentFolder {
 public:
  /// Stages a whole component that finds no drives: executable, rollback library and a payload, and what the
  /// working directory is to hold. It is the working directory until `settings` say otherwise.
  ComponentFolder();

  const std::filesystem::path& path() const { return m_path; }
  std::filesystem::path operator/(std::string_view name) const { return m_path / name; }
  std::filesystem::path executable() const { return m_path / "nvmepcissd"; }
  /// The one payload that is staged.
  std::filesystem::path payload() const { return m_path / "payload" / "firmware.bin"; }

  /// On the loader's search path, and empty.
  std::filesystem::path loaderFolder() const { return m_root / "loader"; }
  /// A folder of this name beside the component folder, made if missing.
  std::filesystem::path folderBeside(std::string_view name) const;
  /// Makes another folder the working directory: drive library, package.xml and install script are moved
  /// there from the component folder.
  std::filesystem::path moveWorkingFolder();

  /// Sets the drives that exist; `changes` replaces or adds keys of the scenario. Flashing brings "SMP90200".
  void setDrives(const std::vector<nlohmann::json>& drives,
                 const nlohmann::json& changes = nlohmann::json::object()) const;
  /// Sets what the rollback library's operations do instead of their work.
  void setRollback(const nlohmann::json& script);

  struct Settings {
    std::filesystem::path executable;
    std::filesystem::path workingFolder;
    std::map<std::string, std::string> environment;  ///< all of it, PATH and the sanitizers' options aside
    bool isPrivileged = true;  ///< false: the permissions of files bind, also when the tests run as root
    bool mayLeak = false;      ///< true: the leak sanitizer does not look
    /// True: every document of the run must be malformed, because values are not escaped. False: every
    /// document must match its schema.
    bool breaksDocuments = false;
  };
  Settings settings;

  /// Runs the program to its end and validates the documents that it wrote.
  Outcome run(const std::vector<std::string>& arguments) const;

  /// The calls that the stand-ins recorded since the last `forgetCalls`, with tabs between the parts of each.
  std::vector<std::string> driveCalls() const { return recorded("drive-calls"); }
  std::vector<std::string> rollbackCalls() const { return recorded("rollback-calls"); }
  std::vector<std::string> installCalls() const { return recorded("install-calls"); }
  void forgetCalls() const;
  /// Those of `driveCalls` that flash.
  std::vector<std::string> flashCalls() const;

  /// The rollback library's partition; it does not exist before its first use.
  std::filesystem::path partition() const { return m_root / "partition"; }

  /// The names in a folder, sorted.
  static std::vector<std::string> namesIn(const std::filesystem::path& folder);

 private:
  std::vector<std::string> writtenDocuments(const std::vector<std::string>& arguments,
                                            const std::string& standardOutput) const;
  void checkDocuments(const std::vector<std::string>& documents) const;
  std::vector<std::string> recorded(std::string_view name) const;
  std::filesystem::path record(std::string_view name) const { return m_root / "records" / name; }

  ScratchFolder m_scratch;
  std::filesystem::path m_root;
  std::filesystem::path m_path;
};

/// Copies one of the simulator's files, named from its folder of the build tree.
void copyFromSimulator(std::string_view name, const std::filesystem::path& target);

/// The lines of a text file; none where there is no file.
std::vector<std::string> linesOf(const std::filesystem::path& path);
