#include "TracedSelection.h"

namespace libxml {

namespace {

const char* textFor(Selected outcome, const SelectTexts& texts) {
  switch (outcome) {
    case Selected::kNodes:
      return texts.done;
    case Selected::kNoNodes:
      return texts.empty;
    case Selected::kEvaluationFailed:
      return texts.evaluationFailed;
    case Selected::kNoContext:
      break;
  }
  return texts.contextFailed;
}

}  // namespace

Owned<xmlXPathObject> tracedSelect(xmlDoc* document, const char* expression, const SelectTexts& texts,
                                   const SLogSite& site) {
  // At the reader's own site, so that each line names the reader's source.
  logText(texts.start, site);
  Selected outcome{};
  Owned<xmlXPathObject> result = select(document, expression, outcome);
  logText(textFor(outcome, texts), site);
  return result;
}

}  // namespace libxml
