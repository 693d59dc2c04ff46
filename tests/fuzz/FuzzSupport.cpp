#include "FuzzSupport.h"

#include <libxml/xmlerror.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fuzz {

namespace {

extern "C" void ignoreError(void* /*context*/, const char* /*format*/, ...) {}

}  // namespace

void broken(const char* promise, const char* file, int line) {
  static_cast<void>(std::fprintf(stderr, "%s:%d: broken promise: %s\n", file, line, promise));
  std::abort();
}

const Scratch& Scratch::enter() {
  static const Scratch scratch;
  return scratch;
}

Scratch::Scratch() {
  std::string name = std::filesystem::temp_directory_path() / "nvmepcissd-fuzz-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make " + name);
  m_path = name;
  std::filesystem::current_path(m_path);
  xmlSetGenericErrorFunc(nullptr, ignoreError);
}

Scratch::~Scratch() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

void Scratch::write(const char* name, std::span<const std::uint8_t> content) const {
  std::ofstream file(m_path / name, std::ios::binary | std::ios::trunc);
  const std::string bytes(content.begin(), content.end());
  PROMISE(file.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush().good());
}

std::string Scratch::read(const char* name) const {
  std::ifstream file(m_path / name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

LogSwitch::LogSwitch(bool on) : m_before(CLogger::m_ptrInstance) {
  static CLogger silent;
  static CLogger loud;
  if (!loud.isEnabled()) loud.Initialize("/dev/null");
  CLogger::m_ptrInstance = on ? &loud : &silent;
}

LogSwitch::~LogSwitch() {
  CLogger::m_ptrInstance = m_before;
}

std::uint8_t Input::byte() {
  const auto bytes = take(1);
  return bytes.empty() ? std::uint8_t{0} : bytes.front();
}

std::span<const std::uint8_t> Input::take(std::size_t size) {
  const auto taken = m_rest.first(std::min(size, m_rest.size()));
  m_rest = m_rest.subspan(taken.size());
  return taken;
}

std::string Input::line() {
  const auto end = std::find(m_rest.begin(), m_rest.end(), std::uint8_t{'\n'});
  const auto bytes = take(static_cast<std::size_t>(end - m_rest.begin()));
  take(1);
  return {bytes.begin(), bytes.end()};
}

}  // namespace fuzz
