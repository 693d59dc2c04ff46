#include "Expected.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "TestSupport.h"

const char kUsage[] =
    "\nUsage: -h\n\tProvides detailed help information\n\nUsage: -i [-o <output filename>] [-debug]\n"
    "\tProvides inventory information of all identified devices.\n\t-o Specifies the output filename.\n"
    "\t-d Specifies to create a debug log file.\n\n"
    "Usage: -u [-s <image folder>] [-f] [-o <output filename>] [-debug [filename]]\n"
    "===========================================================================\n";
static_assert(sizeof(kUsage) == 381 + 1);

namespace {

std::string documentOf(const std::string& root, const std::vector<std::string>& fragments) {
  std::string document = R"(<?xml version="1.0" encoding="UTF-8"?><)" + root + R"( lang="en">)";
  for (const std::string& fragment : fragments) document += fragment;
  return document + "</" + root + ">";
}

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
}

}  // namespace

ExpectedDrive expectedDrive(int number) {
  const std::string digit = std::to_string(number);
  return {.serialNumber = "SIM" + digit, .revision = "SMP1010" + digit};
}

std::string listed(const ExpectedDrive& drive) {
  return "<Device  " + drive.ids + R"(  display=")" + drive.display + R"(" enum = "Serial Number: )" +
         drive.serialNumber + R"(" ><Application componentType="FRMW"  version=")" + drive.revision +
         R"("  display=""/></Device>)";
}

std::string updated(const ExpectedDrive& drive) {
  return "<Device  " + drive.ids + R"( display=")" + drive.display + R"(" enum = "Serial Number: )" +
         drive.serialNumber + R"(" ><Application componentType="FRMW" version=")" + drive.revision +
         R"(" display="" ><SPStatus result = "true" ><Message id="0" >Success</Message></SPStatus>)" +
         "</Application></Device>";
}

std::string failed(std::string_view message) {
  return R"(<SPStatus result = "false" ><Message id="0" >)" + std::string(message) + "</Message></SPStatus>";
}

std::string inventoryDocument(const std::vector<std::string>& fragments) {
  return documentOf("SVMInventory", fragments);
}

std::string updateDocument(const std::vector<std::string>& fragments) {
  return documentOf("SVMExecution", fragments);
}

void expectLog(std::string_view name, const std::string& log, const std::filesystem::path& component) {
  std::string expected = readFile(std::filesystem::path(EXPECTED_FOLDER) / (std::string(name) + ".log"));
  replaceAll(expected, "{component}", component.string());
  std::string actual;
  for (const LogLine& line : parseLog(log)) actual += line.source + ": \"" + line.message + "\"\n";
  EXPECT_EQ(expected, actual);
}

std::vector<std::string> messagesBetween(const std::string& log, const std::string& first,
                                         const std::string& last) {
  const std::vector<std::string> all = messages(log);
  const auto begin = std::find(all.begin(), all.end(), first);
  const auto end = std::find(begin, all.end(), last);
  if (end == all.end()) return {};
  return {begin, end + 1};
}
