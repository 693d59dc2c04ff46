#include "CommandLineParser.h"

#include <ostream>
#include <string_view>

#include "OutputFile.h"

bool CCommandLineParser::parseCLI(int argc, char** argv) {
  Step step = argc <= 1 || argv == nullptr ? Step::Refused : Step::GoOn;
  while (step == Step::GoOn && m_nCurrentArg < argc) step = parseOption(argc, argv);
  if (step == Step::GoOn) return true;
  // -h and every refusal print the same text; only the result differs.
  printUsage();
  return step == Step::Done;
}

CCommandLineParser::Step CCommandLineParser::parseOption(int argc, char** argv) {
  // Words are compared whole, so -debug and -s are unknown although the usage text names them.
  const std::string_view word = argv[m_nCurrentArg++];
  if (word == "-u") {
    m_bUpdate = true;
  } else if (word == "-h") {
    return Step::Done;
  } else if (word == "-o") {
    if (m_nCurrentArg >= argc) return Step::Refused;
    // Any word is taken as the name, one that begins with a dash too.
    m_strOutputFileName = argv[m_nCurrentArg++];
  } else if (word == "-i") {
    m_bInventory = true;
  } else if (word == "-f") {
    // Accepted for callers that pass it; no command asks for it.
    m_bForceMode = true;
  } else if (word == "-d") {
    m_bDebug = true;
    // The name is optional, so a word that begins with a dash is the next option.
    if (m_nCurrentArg < argc && argv[m_nCurrentArg][0] != '-') m_strDebugFileName = argv[m_nCurrentArg++];
  } else {
    return Step::Refused;
  }
  return Step::GoOn;
}

void CCommandLineParser::printUsage() {
  // Callers compare the text to the letter, with the two options that do not exist.
  output::standard() << "\nUsage: -h\n\tProvides detailed help information\n"
                        "\nUsage: -i [-o <output filename>] [-debug]\n"
                        "\tProvides inventory information of all identified devices.\n"
                        "\t-o Specifies the output filename.\n"
                        "\t-d Specifies to create a debug log file.\n"
                        "\nUsage: -u [-s <image folder>] [-f] [-o <output filename>] [-debug [filename]]\n"
                        "===========================================================================\n";
}
