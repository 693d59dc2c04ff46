#pragma once

#include <string>

/// The process's arguments as mode flags and file names.
///
/// Options are matched as whole words: "-u" (update), "-h" (usage), "-o" with a file name (output), "-i"
/// (inventory), "-f" (force), "-d" with an optional file name (debug log). A word after "-o" is taken
/// whatever it is, a word after "-d" only if it does not begin with '-'. No combination of options is
/// rejected and a repeated one overwrites its value.
class CCommandLineParser {
 public:
  CCommandLineParser() = default;
  virtual ~CCommandLineParser() = default;
  CCommandLineParser(const CCommandLineParser&) = default;
  CCommandLineParser& operator=(const CCommandLineParser&) = default;

  /// Reads `argc` arguments, the program's name first. True when the run may go on. False, with the usage
  /// text printed, for no argument at all, a null `argv`, an unknown word or an "-o" without a value; flags
  /// set by then stay set. "-h" prints the usage text and ends with true without a look at later arguments.
  bool parseCLI(int argc, char** argv);

  /// Writes the usage text to standard output. It advertises "-debug" and "-s", which are not accepted;
  /// callers compare the text.
  void printUsage();

  /// Accepted for its callers' sake; nothing consults it.
  bool isForceMode() const { return m_bForceMode; }
  bool isDebug() const { return m_bDebug; }
  bool isInventory() const { return m_bInventory; }
  bool isUpdate() const { return m_bUpdate; }

  /// The name after "-o", empty without one.
  std::string getOutputFileName() const { return m_strOutputFileName; }
  /// The name after "-d", "debug.log" without one.
  std::string getDebugFilename() const { return m_strDebugFileName; }

 private:
  enum class Step { GoOn, Done, Refused };

  /// Handles the option at the current index and advances past it and its value.
  Step parseOption(int argc, char** argv);

  std::string m_strDebugFileName = "debug.log";
  std::string m_strOutputFileName;
  bool m_bForceMode = false;
  bool m_bDebug = false;
  bool m_bInventory = false;
  bool m_bUpdate = false;
  int m_nCurrentArg = 1;
};
