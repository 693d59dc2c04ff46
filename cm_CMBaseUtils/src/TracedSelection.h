// Selection by XPath that tells the debug log how it ended, in the words of the reader that asks.

#pragma once

#include "LibXml.h"
#include "Logger.h"

namespace libxml {

/// The trace lines of a selection; a null pointer stands for no line.
struct SelectTexts {
  const char* start;
  const char* contextFailed;
  const char* evaluationFailed;
  const char* empty;
  const char* done;
};

/// `select`, with `start` logged before and the line for the outcome after, both as coming from `site`. The
/// log names the reader's source, which callers compare, so `site` is the reader's own `LOG_SITE`.
Owned<xmlXPathObject> tracedSelect(xmlDoc* document, const char* expression, const SelectTexts& texts,
                                   const SLogSite& site);

}  // namespace libxml
