#pragma once

#include <optional>
#include <string>

#include "Document.h"

namespace tool {

/// What came of reading a document.
struct Reading {
  std::optional<Document> document{};

  /// Empty for a well-formed document. If there is no document, the reason; if there is one that is not
  /// well-formed and was read by the writer's form (see Salvage.h), what is wrong with it. Begins with line
  /// and column. Without a document, two more lines may show the text around the place, with a mark below it.
  std::string problem{};

  bool foreign = false;  ///< there is no document, because the content is valid but something else
};

/// Reads an inventory or update document, or a verdict (see Verdict.h) if the content begins with {. Takes
/// time linear in the size. Loads nothing that the content refers to, and expands no entity except the five
/// of XML.
Reading readDocument(const std::string& content);

}  // namespace tool
