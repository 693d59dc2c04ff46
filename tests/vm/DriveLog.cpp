// Prints one of the log pages by which the emulator's drives tell a test what they were told: a length of 32
// bits and as many bytes.
//
//   vm_log DEVICE PAGE     0xC0: the admin commands, one line each; 0xC1 to 0xC7: the image in slot 1 to 7

#include <fcntl.h>
#include <linux/nvme_ioctl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr std::uint32_t kPiece = 4096;

/// The bytes of a log page from `offset` on; false when the drive or the kernel refuses.
bool readPage(int device, std::uint32_t page, std::uint32_t offset, std::vector<std::uint8_t>& piece) {
  nvme_passthru_cmd command{};
  command.opcode = 0x02;
  command.nsid = 0xFFFFFFFF;
  command.addr = reinterpret_cast<std::uintptr_t>(piece.data());
  command.data_len = kPiece;
  command.cdw10 = (kPiece / 4 - 1) << 16 | page;
  command.cdw12 = offset;
  return ioctl(device, NVME_IOCTL_ADMIN_CMD, &command) == 0;
}

bool print(int device, std::uint32_t page) {
  std::vector<std::uint8_t> piece(kPiece);
  std::uint32_t length = 0;
  if (!readPage(device, page, 0, piece)) return false;
  std::memcpy(&length, piece.data(), sizeof length);
  std::uint32_t begin = sizeof length;
  const std::uint32_t end = begin + length;
  for (std::uint32_t offset = 0; begin < end; offset += kPiece, begin = offset) {
    if (!readPage(device, page, offset, piece)) return false;
    const std::uint32_t stop = end - offset < kPiece ? end - offset : kPiece;
    std::fwrite(piece.data() + (begin - offset), 1, stop - (begin - offset), stdout);
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: vm_log DEVICE PAGE\n");
    return EXIT_FAILURE;
  }
  const int device = open(argv[1], O_RDONLY | O_CLOEXEC);
  const bool isPrinted =
      device >= 0 && print(device, static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 0)));
  if (!isPrinted) std::perror("vm_log");
  return isPrinted ? EXIT_SUCCESS : EXIT_FAILURE;
}
