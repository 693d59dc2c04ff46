// A component folder without findings, for a test to break in one place.

#pragma once

#include <elf.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "Finding.h"
#include "TestSupport.h"

inline const std::filesystem::path kLibraries = LIBRARIES_FOLDER;

/// A library whose first entry of `tag` in its table for the loader was changed.
template <class Change>
std::string withDynamicEntry(std::string library, Elf64_Sxword tag, Change change) {
  Elf64_Ehdr header{};
  std::memcpy(&header, library.data(), sizeof(header));
  for (std::size_t i = 0; i < header.e_phnum; ++i) {
    Elf64_Phdr segment{};
    std::memcpy(&segment, library.data() + header.e_phoff + i * sizeof(segment), sizeof(segment));
    if (segment.p_type != PT_DYNAMIC) continue;
    for (std::size_t place = 0; place < segment.p_filesz; place += sizeof(Elf64_Dyn)) {
      char* const bytes = library.data() + segment.p_offset + place;
      Elf64_Dyn entry{};
      std::memcpy(&entry, bytes, sizeof(entry));
      if (entry.d_tag != tag) continue;
      change(entry);
      std::memcpy(bytes, &entry, sizeof(entry));
      return library;
    }
  }
  throw std::runtime_error("the library has no entry " + std::to_string(tag));
}

class PackageFolder : public testing::Test {
 protected:
  PackageFolder() {
    writeFile(folder() / "package.xml",
              "<SoftwareComponent><SupportedDevices><Device componentID=\"1\">"
              "<PCIInfo deviceID=\"a801\" subDeviceID=\"1001\" vendorID=\"f101\" subVendorID=\"f1a0\"/>"
              "<Display>One</Display></Device></SupportedDevices></SoftwareComponent>");
    writeFile(folder() / "payload" / "firmware.bin", std::string("\0\1\2\3", 4));
    writeFile(folder() / "fwkitinstall.sh", "#!/bin/sh\nexit 0\n");
    std::filesystem::copy_file(COMPONENT_EXECUTABLE, folder() / "nvmepcissd");
    std::filesystem::copy_file(ROLLBACK_LIBRARY, folder() / "librbkl.so.0");
    setMode("nvmepcissd", 0755);
    setMode("librbkl.so.0", 0644);
    useLibrary("whole.so");
    setMode("fwkitinstall.sh", 0755);
    for (const char* const file : {"package.xml", "payload/firmware.bin"}) setMode(file, 0644);
    for (const char* const directory : {".", "payload"}) setMode(directory, 0755);
  }

  std::filesystem::path folder() const { return m_scratch.path() / "component"; }
  void setMode(const std::string& name, mode_t mode) {
    ASSERT_EQ(chmod((folder() / name).c_str(), mode), 0) << name;
  }
  void write(const std::string& name, const std::string& content) {
    writeFile(folder() / name, content);
    setMode(name, 0644);
  }
  /// Puts one of the built libraries into the folder.
  void addLibrary(const std::string& built, const std::string& name) {
    std::filesystem::copy_file(kLibraries / built, folder() / name,
                               std::filesystem::copy_options::overwrite_existing);
    setMode(name, 0644);
  }
  void useLibrary(const std::string& built) { addLibrary(built, "libnvme.so"); }

  /// "file: problem" of every finding, the file as seen from the folder. The rollback library is the
  /// simulator's, and tests may run as anybody, anywhere.
  std::vector<std::string> problemsOf(const tool::Findings& findings) const {
    std::vector<std::string> list;
    for (const tool::Finding& finding : findings) {
      const std::string_view id = finding.kind->id;
      if (id == "simulator-part" || id == "owner" || id == "parent-writable") continue;
      list.push_back(finding.file.lexically_relative(folder()).string() + ": " + finding.problem);
    }
    return list;
  }

  ScratchFolder m_scratch;
};
