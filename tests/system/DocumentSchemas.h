// Validates the documents that the program writes against the schemas that are shipped.

#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The result documents in a text that may hold other things around them: each from its declaration to the
/// end of its root element, or of the text when that is missing.
std::vector<std::string> documentsIn(std::string_view text);

/// How libxml2 judges a result document.
struct DocumentVerdict {
  bool isWellFormed = false;
  std::string complaint;  ///< empty for a document that is as its schema describes it
};

DocumentVerdict validate(const std::string& document);
