// Result documents that are not well-formed, read by the form in which nvmepcissd writes them.
//
// nvmepcissd copies values into a document as they are, so a marketing name with & or a serial number with "
// spoils it for every XML parser. The text around the values never varies, though, down to single blanks.
// Where each of these fixed texts stands exactly as often as the form has it, the values between them are
// certain.

#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Document.h"

namespace tool {

/// A document, or why there is none.
struct Salvage {
  std::optional<Document> document{};
  std::string refusal{};  ///< one line, set when there is no document
};

/// Reads `content` by the writer's form alone, in time linear in its size. The values are the bytes between
/// the fixed texts: they may be no UTF-8, and what looks like an entity is kept as it is, since the
/// writer makes none.
///
/// Refused: a document that is cut off or holds a NUL byte, two documents in one, any deviation from the
/// form, and a value that holds one of the texts that end it or that begin or end a record. Such a value
/// could be read in more than one way, and nothing is guessed.
Salvage salvage(std::string_view content);

}  // namespace tool
