#include "LibXml.h"

#include <strings.h>

namespace libxml {

namespace {

const xmlChar* bytes(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}

const char* text(const xmlNode* node) {
  return node == nullptr ? nullptr : reinterpret_cast<const char*>(node->content);
}

}  // namespace

Owned<xmlXPathObject> select(xmlDoc* document, const char* expression, Selected& outcome) {
  const Owned<xmlXPathContext> context(xmlXPathNewContext(document));
  if (context == nullptr) {
    outcome = Selected::kNoContext;
    return nullptr;
  }
  Owned<xmlXPathObject> result;
  if (expression != nullptr) result.reset(xmlXPathEvalExpression(bytes(expression), context.get()));
  if (result == nullptr) {
    outcome = Selected::kEvaluationFailed;
    return nullptr;
  }
  const xmlNodeSet* const set = result->nodesetval;
  if (set == nullptr || set->nodeNr == 0 || set->nodeTab == nullptr) {
    outcome = Selected::kNoNodes;
    return nullptr;
  }
  outcome = Selected::kNodes;
  return result;
}

Owned<xmlXPathObject> select(xmlDoc* document, const char* expression) {
  Selected ignored{};
  return select(document, expression, ignored);
}

std::span<xmlNode* const> nodes(const Owned<xmlXPathObject>& selection) {
  if (selection == nullptr) return {};
  return {selection->nodesetval->nodeTab, static_cast<std::size_t>(selection->nodesetval->nodeNr)};
}

const char* value(const xmlAttr* attribute) {
  return attribute == nullptr ? nullptr : text(attribute->children);
}

const xmlAttr* attributeNode(const xmlNode* element, const char* name) {
  // A default from the document type comes back as a declaration. It has no value node, so callers never see
  // one in place of an attribute.
  const xmlAttr* const found = xmlHasProp(element, bytes(name));
  return value(found) == nullptr ? nullptr : found;
}

// The first text node alone: a value with an entity reference in it ends there. Callers depend on that.
const char* attribute(const xmlNode* element, const char* name) {
  return value(attributeNode(element, name));
}

const char* attributeOrEmpty(const xmlNode* element, const char* name) {
  const char* const found = attribute(element, name);
  return found == nullptr ? "" : found;
}

const char* firstText(const xmlNode* element) {
  return element == nullptr ? nullptr : text(element->children);
}

const xmlNode* firstChildNamed(const xmlNode* element, const char* name) {
  for (const xmlNode* child = element->children; child != nullptr; child = child->next) {
    if (isNamed(child, name)) return child;
  }
  return nullptr;
}

// An element without a text does not replace one that has one.
const char* lastTextOf(const xmlNode* element, const char* name) {
  const char* last = nullptr;
  if (element == nullptr) return last;
  for (const xmlNode* child = element->children; child != nullptr; child = child->next) {
    if (!isNamed(child, name)) continue;
    if (const char* const text = firstText(child)) last = text;
  }
  return last;
}

bool isNamed(const xmlNode* node, const char* name) {
  return node->type == XML_ELEMENT_NODE && strcasecmp(reinterpret_cast<const char*>(node->name), name) == 0;
}

}  // namespace libxml
