#pragma once

#include <optional>
#include <string>

#include "Document.h"

namespace tool {

/// What came of reading a document.
struct Reading {
  std::optional<Document> document{};

  /// Why there is no document, or, where there is one, why it is not well-formed and was read by the writer's
  /// form; empty for a well-formed document. The place, with line and column, leads. Without a document, two
  /// more lines may show the text around the place, with a mark below it.
  std::string problem{};

  bool foreign = false;  ///< there is no document, and `content` is in order: it just is something else
};

/// Reads the bytes of an inventory or update document, or of a verdict (see Verdict.h) when they begin with
/// {, in time linear in their number. Nothing that they name is loaded, and no entity is expanded but the
/// five of XML.
Reading readDocument(const std::string& content);

}  // namespace tool
