// Runs a fuzz target once on each of the files that are named, without libFuzzer.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "FuzzSupport.h"

namespace {

/// The bytes in a block of exactly their size, so that the sanitizer sees a read beyond them.
std::vector<std::uint8_t> bytesOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  const std::vector<char> content((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  return {content.begin(), content.end()};
}

/// The name is printed first: it tells which input ended the process.
void replay(const std::filesystem::path& path) {
  static_cast<void>(std::fprintf(stderr, "%s\n", path.c_str()));
  const std::vector<std::uint8_t> input = bytesOf(path);
  LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

int main(int argc, char** argv) try {
  // A target may leave the working directory: relative names are resolved before the first one runs.
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < argc; ++i) files.push_back(std::filesystem::absolute(argv[i]));
  for (const auto& file : files) replay(file);
  std::printf("%zu inputs\n", files.size());
  return files.empty() ? EXIT_FAILURE : EXIT_SUCCESS;
} catch (const std::exception& error) {
  static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
  return EXIT_FAILURE;
}
