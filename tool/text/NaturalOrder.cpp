#include "NaturalOrder.h"

#include <algorithm>

namespace tool {

namespace {

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

unsigned char folded(char c) {
  return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
}

/// Removes the digits from the front of `text` and returns them without leading zeros.
std::string_view takeNumber(std::string_view& text) {
  const auto end =
      static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isDigit) - text.begin());
  std::string_view number = text.substr(0, end);
  number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
  text.remove_prefix(end);
  return number;
}

/// Below 0, 0 or above it, as numbers of any size.
int compareNumbers(std::string_view left, std::string_view right) {
  if (left.size() != right.size()) return left.size() < right.size() ? -1 : 1;
  return left.compare(right);
}

std::size_t digitsAt(std::string_view text, std::size_t place) {
  const std::string_view rest = text.substr(place);
  return static_cast<std::size_t>(std::find_if_not(rest.begin(), rest.end(), isDigit) - rest.begin());
}

}  // namespace

bool naturallyLess(std::string_view left, std::string_view right) {
  const auto [differsLeft, differsRight] =
      std::mismatch(left.begin(), left.end(), right.begin(), right.end());
  const auto place = static_cast<std::size_t>(differsLeft - left.begin());
  // Numbers of as many digits, as serial numbers mostly have, compare like texts.
  if (const std::size_t digits = digitsAt(left, place); digits > 0 && digits == digitsAt(right, place))
    return *differsLeft < *differsRight;
  std::string_view a = left;
  std::string_view b = right;
  while (!a.empty() && !b.empty()) {
    if (isDigit(a.front()) && isDigit(b.front())) {
      const std::string_view number = takeNumber(a);
      if (const int order = compareNumbers(number, takeNumber(b)); order != 0) return order < 0;
    } else if (folded(a.front()) != folded(b.front())) {
      return folded(a.front()) < folded(b.front());
    } else {
      a.remove_prefix(1);
      b.remove_prefix(1);
    }
  }
  return a.empty() && b.empty() ? left < right : a.empty();
}

}  // namespace tool
