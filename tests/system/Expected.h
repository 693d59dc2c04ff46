// What the program is to write: result documents from their fragments, and whole debug logs from files.

#pragma once

#include <concepts>
#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

/// The texts of a drive that the documents show; as they stand, those of `drive(1)`.
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
/// A drive in the update document that took the firmware, or that was never asked to.
std::string updated(const ExpectedDrive& drive);
/// A failed drive in either document.
std::string failed(std::string_view message);

inline constexpr char kUpdateFailed[] = "ERROR: Failed to Update Firmware";
inline constexpr char kRevisionUnreadable[] =
    "ERROR: Getting Firmware Version of required NVMePCISSD disk failed";

std::string inventoryDocument(const std::vector<std::string>& fragments);
std::string updateDocument(const std::vector<std::string>& fragments);

extern const char kUsage[];

/// Compares a debug log whole with expected/`name`.log, where every line is the source, a colon and the
/// message between double quotes, and where {component} stands for the component folder.
void expectLog(std::string_view name, const std::string& log, const std::filesystem::path& component);

/// The messages of a debug log from the first `first` to the `last` that follows it, both included; empty
/// when one of them is not there.
std::vector<std::string> messagesBetween(const std::string& log, const std::string& first,
                                         const std::string& last);

/// The cases of a table have a name, after which their tests are named and as which they are printed.
template <class Case>
concept NamedCase = requires(const Case& tested) {
  { tested.name } -> std::same_as<const char* const&>;
};

template <NamedCase Case>
void PrintTo(const Case& tested, std::ostream* stream) {
  *stream << tested.name;
}

inline constexpr auto kByName = [](const auto& tested) { return std::string(tested.param.name); };
