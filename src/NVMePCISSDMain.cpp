#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "CommandLineParser.h"
#include "Logger.h"
#include "NVMePCISSDManager.h"

namespace {

/// Puts /dev/null in the place of closed standard descriptors. Otherwise the log would be opened as one of
/// them, and take in the document.
void holdStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) == -1) static_cast<void>(open("/dev/null", O_RDWR));
  }
}

}  // namespace

int main(int argc, char** argv) {
  holdStandardDescriptors();
  CCommandLineParser parser;
  // A refused command line leaves no log: the parser has printed the usage text already.
  if (!parser.parseCLI(argc, argv)) return EXIT_FAILURE;

  if (parser.isDebug()) {
    CLogger::GetInstance()->Initialize(parser.getDebugFilename());
    LOG("Logger initialized");
  }
  const std::string outputFileName = parser.getOutputFileName();
  if (!outputFileName.empty()) LOG("Output file name =" + outputFileName);

  // The manager is made even when no command was given, as with -h alone; callers compare its lines.
  LOG("Before CNVMePCISSDManager nvmePCISSDMgr; ");
  CNVMePCISSDManager manager(outputFileName);
  bool result = true;
  if (parser.isInventory()) {
    LOG("Before nvmePCISSDMgr.Inventory ");
    result = manager.Inventory();
    LOG("After nvmePCISSDMgr.Inventory ");
  }
  if (parser.isUpdate()) {
    LOG("Before nvmePCISSDMgr.Update ");
    result = manager.Update();  // alone decides when both ran
    LOG("After nvmePCISSDMgr.Update ");
  }
  if (!result) LOG("nvmePCISSDMgr.Update or nvmePCISSDMgr.inventory is failed");
  return result ? EXIT_SUCCESS : EXIT_FAILURE;
}
