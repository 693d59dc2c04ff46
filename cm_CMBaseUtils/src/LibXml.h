// What the readers of XML files share: owning types for what libxml2 allocates, selection by XPath with the
// reader's own trace texts, and access to attributes and texts.

#pragma once

#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <memory>
#include <span>

#include "Logger.h"

namespace libxml {

/// Frees each libxml2 type in the one way that fits it.
struct Deleter {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  void operator()(xmlXPathContext* context) const { xmlXPathFreeContext(context); }
  void operator()(xmlXPathObject* object) const { xmlXPathFreeObject(object); }
  void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
};

/// Sole owner of a libxml2 object, or of none. An XPath result must go before the document that it selects
/// from: freeing it looks at the nodes.
template <class T>
using Owned = std::unique_ptr<T, Deleter>;

/// The trace texts of a selection; a null pointer stands for no line.
struct SelectTexts {
  const char* start;
  const char* contextFailed;
  const char* evaluationFailed;
  const char* empty;
  const char* done;
};

/// The result of `expression` on `document` when it is a node set with at least one node; null, with the
/// matching line logged as coming from `site`, otherwise. A null document selects nothing, a null expression
/// fails to evaluate.
Owned<xmlXPathObject> select(xmlDoc* document, const char* expression, const SelectTexts& texts,
                             const SLogSite& site);

/// The nodes that a selection holds, in document order; none for a null selection.
std::span<xmlNode* const> nodes(const Owned<xmlXPathObject>& selection);

/// The value of an element's attribute: the content of its first value node, "" for an empty one. Null when
/// the element (or the name) is null or the attribute is absent. Belongs to the document.
const char* attribute(const xmlNode* element, const char* name);

/// Likewise, with "" for an absent attribute.
const char* attributeOrEmpty(const xmlNode* element, const char* name);

/// The content of the element's first child node of whatever kind; null when there is no such node or it
/// holds none. Belongs to the document.
const char* firstText(const xmlNode* element);

/// The first child element with this name, letter case aside; null when there is none.
const xmlNode* firstChildNamed(const xmlNode* element, const char* name);

/// The first text (as `firstText`) of the last child element with this name, letter case aside, that has one;
/// null when there is none or `element` is null.
const char* lastTextOf(const xmlNode* element, const char* name);

/// True when the node is an element with this name, letter case aside.
bool isNamed(const xmlNode* node, const char* name);

}  // namespace libxml
