// Texts in the form in which exec takes arguments and an environment.

#pragma once

#include <string>
#include <vector>

namespace tool {

/// Pointers to the texts, which must outlive them unchanged, with a null pointer at the end.
inline std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace tool
