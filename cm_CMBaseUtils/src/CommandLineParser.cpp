#include "CommandLineParser.h"

#include <ostream>
#include <string_view>

#include "OutputFile.h"

bool CCommandLineParser::parseCLI(int argc, char** argv) {
  Step step = argc <= 1 || argv == nullptr ? Step::Refused : Step::GoOn;
  while (step == Step::GoOn && m_nCurrentArg < argc) step = parseOption(argc, argv);
  if (step == Step::GoOn) return true;
  printUsage();
  return step == Step::Done;
}

CCommandLineParser::Step CCommandLineParser::parseOption(int argc, char** argv) {
  const std::string_view word = argv[m_nCurrentArg++];
  if (word == "-u") {
    m_bUpdate = true;
  } else if (word == "-h") {
    return Step::Done;
  } else if (word == "-o") {
    if (m_nCurrentArg >= argc) return Step::Refused;
    m_strOutputFileName = argv[m_nCurrentArg++];
  } else if (word == "-i") {
    m_bInventory = true;
  } else if (word == "-f") {
    m_bForceMode = true;
  } else if (word == "-d") {
    m_bDebug = true;
    if (m_nCurrentArg < argc && argv[m_nCurrentArg][0] != '-') m_strDebugFileName = argv[m_nCurrentArg++];
  } else {
    return Step::Refused;
  }
  return Step::GoOn;
}

void CCommandLineParser::printUsage() {
  output::standard() << "\nUsage: -h\n\tProvides detailed help information\n"
                        "\nUsage: -i [-o <output filename>] [-debug]\n"
                        "\tProvides inventory information of all identified devices.\n"
                        "\t-o Specifies the output filename.\n"
                        "\t-d Specifies to create a debug log file.\n"
                        "\nUsage: -u [-s <image folder>] [-f] [-o <output filename>] [-debug [filename]]\n"
                        "===========================================================================\n";
}
