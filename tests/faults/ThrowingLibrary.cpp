// A drive library that throws while it is loaded.

#include <stdexcept>

namespace {

struct Refusal {
  Refusal() { throw std::runtime_error("this library does not want to be loaded"); }
};

Refusal refusal;

}  // namespace
