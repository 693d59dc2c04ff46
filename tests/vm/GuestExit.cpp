// Ends the virtual machine with an exit status: what is written to the debug port, doubled and plus one, is
// what the emulator ends with.

#include <sys/io.h>

#include <cstdlib>

int main(int argc, char** argv) {
  constexpr unsigned short kDebugPort = 0xF4;
  if (argc != 2 || iopl(3) != 0) return EXIT_FAILURE;
  outb(static_cast<unsigned char>(std::strtol(argv[1], nullptr, 10)), kDebugPort);
  return EXIT_FAILURE;
}
