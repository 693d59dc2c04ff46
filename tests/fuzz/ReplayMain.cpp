// Runs a fuzz target once on every file of the folders that are named by absolute path, without libFuzzer.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "FuzzSupport.h"

namespace {

/// The bytes in a block of exactly their size, so that a reader that goes too far is found out.
std::vector<std::uint8_t> bytesOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> content((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  return {content.begin(), content.end()};
}

std::size_t replay(const std::filesystem::path& folder) {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    static_cast<void>(std::fprintf(stderr, "%s\n", entry.path().c_str()));
    const std::vector<std::uint8_t> input = bytesOf(entry.path());
    LLVMFuzzerTestOneInput(input.data(), input.size());
    ++count;
  }
  return count;
}

}  // namespace

int main(int argc, char** argv) try {
  std::size_t count = 0;
  for (int i = 1; i < argc; ++i) count += replay(argv[i]);
  std::printf("%zu inputs\n", count);
  return count > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
} catch (const std::exception& error) {
  static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
  return EXIT_FAILURE;
}
