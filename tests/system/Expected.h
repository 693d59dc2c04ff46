// What the program must write: result documents, made of fragments, and whole debug logs, from files.

#pragma once

#include <concepts>
#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

/// A drive's texts in the documents; the defaults are those of `drive(1)`.
struct ExpectedDrive {
  std::string serialNumber = "SIM1";
  std::string revision = "SMP10101";
  std::string display = "Sample Drive";
  std::string ids = R"(vendorID="f101" deviceID="a801" subVendorID="f1a0" subDeviceID="1001")";
};

/// The texts of `drive(number)`.
ExpectedDrive expectedDrive(int number);

/// A drive in the inventory document.
std::string listed(const ExpectedDrive& drive);
/// A drive in the update document that took the firmware or was never asked to.
std::string updated(const ExpectedDrive& drive);
/// A failed drive in either document.
std::string failed(std::string_view message);

inline constexpr char kUpdateFailed[] = "ERROR: Failed to Update Firmware";
inline constexpr char kRevisionUnreadable[] =
    "ERROR: Getting Firmware Version of required NVMePCISSD disk failed";

std::string inventoryDocument(const std::vector<std::string>& fragments);
std::string updateDocument(const std::vector<std::string>& fragments);

extern const char kUsage[];

/// Compares a whole debug log with expected/`name`.log. Its lines are the source, a colon and the message in
/// double quotes; {component} stands for the component folder.
void expectLog(std::string_view name, const std::string& log, const std::filesystem::path& component);

/// The messages of a debug log from the first `first` to the `last` that follows it, both included; empty
/// if one of them is missing.
std::vector<std::string> messagesBetween(const std::string& log, const std::string& first,
                                         const std::string& last);

/// A case of a table has a name, which its test gets and which is printed.
template <class Case>
concept NamedCase = requires(const Case& tested) {
  { tested.name } -> std::same_as<const char* const&>;
};

template <NamedCase Case>
void PrintTo(const Case& tested, std::ostream* stream) {
  *stream << tested.name;
}

inline constexpr auto kByName = [](const auto& tested) { return std::string(tested.param.name); };
