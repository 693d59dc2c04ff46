// Result documents as nvmepcissd writes them, for the tests of their readers.

#pragma once

#include <string>
#include <vector>

#include "TestSupport.h"

namespace samples {

inline std::string inventory(const std::string& content) {
  return R"(<?xml version="1.0" encoding="UTF-8"?><SVMInventory lang="en">)" + content + "</SVMInventory>";
}

inline std::string update(const std::string& content) {
  return R"(<?xml version="1.0" encoding="UTF-8"?><SVMExecution lang="en">)" + content + "</SVMExecution>";
}

/// A drive of an inventory.
inline std::string listed(const std::string& serial, const std::string& name = "One",
                          const std::string& revision = "R1") {
  return R"(<Device  vendorID="f101" deviceID="a801" subVendorID="f1a0" subDeviceID="1001"  display=")" +
         name + R"(" enum = "Serial Number: )" + serial +
         R"(" ><Application componentType="FRMW"  version=")" + revision + R"("  display=""/></Device>)";
}

/// A drive whose update was a success.
inline std::string updated(const std::string& serial, const std::string& name = "One",
                           const std::string& revision = "R1", const std::string& message = "Success") {
  return R"(<Device  vendorID="f101" deviceID="a801" subVendorID="f1a0" subDeviceID="1001" display=")" +
         name + R"(" enum = "Serial Number: )" + serial +
         R"(" ><Application componentType="FRMW" version=")" + revision +
         R"(" display="" ><SPStatus result = "true" ><Message id="0" >)" + message +
         "</Message></SPStatus></Application></Device>";
}

/// A failed record of either document.
inline std::string failed(const std::string& message = "It broke", const std::string& id = "7") {
  return R"(<SPStatus result = "false" ><Message id=")" + id + R"(" >)" + message + "</Message></SPStatus>";
}

/// A package component of an inventory.
inline std::string component(const std::string& id, const std::string& name) {
  return R"(<Device  componentID=")" + id + R"(" display=")" + name +
         R"(" ><Application componentType="APP" version="3.1" display=""/></Device>)";
}

/// The verdict of an undecided run, with `drives` and `reasons` as what JSON arrays hold.
inline std::string verdict(const std::string& drives, const std::string& reasons) {
  return R"({"format": "nvmepcissd-verdict", "version": 1, "outcome": "undecided", "exitStatus": 3, "drives": [)" +
         drives + R"(], "reasons": [)" + reasons + "]}";
}

/// Writes each document to a file of its own in the working directory. Returns their names: `prefix`, a
/// number from 1 on and ".xml".
inline std::vector<std::string> write(const std::vector<std::string>& documents,
                                      const std::string& prefix = "") {
  std::vector<std::string> names;
  for (const std::string& document : documents) {
    names.push_back(prefix + std::to_string(names.size() + 1) + ".xml");
    writeFile(names.back(), document);
  }
  return names;
}

inline const std::string kReboot = "<RebootRequired>1</RebootRequired>";

}  // namespace samples
