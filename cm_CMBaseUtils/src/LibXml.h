// What every reader of an XML file needs from libxml2: owning types for what it allocates, selection by
// XPath, and access to attributes and texts. Nothing here logs; TracedSelection.h adds a reader's trace
// lines.

#pragma once

#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <memory>
#include <span>

namespace libxml {

/// Frees each libxml2 type in the one way that fits it.
struct Deleter {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  void operator()(xmlXPathContext* context) const { xmlXPathFreeContext(context); }
  void operator()(xmlXPathObject* object) const { xmlXPathFreeObject(object); }
  void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
};

/// Sole owner of a libxml2 object, or of none. Destroy an XPath result before the document that it selects
/// from: freeing the result reads the nodes.
template <class T>
using Owned = std::unique_ptr<T, Deleter>;

/// How a selection ended.
enum class Selected {
  kNodes,             ///< with at least one node
  kNoNodes,           ///< with a value that is no node set, or with an empty one
  kEvaluationFailed,  ///< the expression is null, malformed or ran out of memory
  kNoContext,         ///< libxml2 could not create a context
};

/// The result of `expression` on `document`. Null unless `outcome` is `kNodes`. A null document selects
/// nothing.
Owned<xmlXPathObject> select(xmlDoc* document, const char* expression, Selected& outcome);

/// Likewise, for callers to whom every empty result is the same.
Owned<xmlXPathObject> select(xmlDoc* document, const char* expression);

/// The nodes that a selection holds, in document order; none for a null selection.
std::span<xmlNode* const> nodes(const Owned<xmlXPathObject>& selection);

/// The value of an attribute node: the content of its first value node, "" for an empty value. Null for a
/// null node. Belongs to the document.
const char* value(const xmlAttr* attribute);

/// The attribute of `element` with exactly this name. Null when the element or the name is null, and when the
/// attribute is absent or has no value node.
const xmlAttr* attributeNode(const xmlNode* element, const char* name);

/// The value of that attribute, null when there is none. Belongs to the document.
const char* attribute(const xmlNode* element, const char* name);

/// Likewise, with "" for an absent attribute.
const char* attributeOrEmpty(const xmlNode* element, const char* name);

/// The content of the element's first child node of whatever kind. Null when there is no such node, when it
/// has no content, and for a null element. Belongs to the document.
const char* firstText(const xmlNode* element);

/// The first child element with this name, letter case aside; null when there is none.
const xmlNode* firstChildNamed(const xmlNode* element, const char* name);

/// The first text (as `firstText`) of the last child element with this name, letter case aside, that has one;
/// null when there is none or `element` is null.
const char* lastTextOf(const xmlNode* element, const char* name);

/// True when the node is an element with this name, letter case aside.
bool isNamed(const xmlNode* node, const char* name);

}  // namespace libxml
