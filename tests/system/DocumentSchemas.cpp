#include "DocumentSchemas.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlschemas.h>

#include <algorithm>
#include <map>
#include <memory>
#include <stdexcept>

namespace {

struct Deleter {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  void operator()(xmlSchemaParserCtxt* context) const { xmlSchemaFreeParserCtxt(context); }
  void operator()(xmlSchema* schema) const { xmlSchemaFree(schema); }
  void operator()(xmlSchemaValidCtxt* context) const { xmlSchemaFreeValidCtxt(context); }
};
template <class T>
using Owned = std::unique_ptr<T, Deleter>;

std::string lastError() {
  const auto* const error = xmlGetLastError();
  return error == nullptr || error->message == nullptr ? "refused without a reason" : error->message;
}

/// The schema of documents with this root element; null for any other. Throws when it cannot be read.
xmlSchema* schemaOf(const std::string& root) {
  static const std::map<std::string, std::string> kFiles{{"SVMInventory", "inventory.xsd"},
                                                         {"SVMExecution", "update.xsd"}};
  static std::map<std::string, Owned<xmlSchema>> read;
  const auto file = kFiles.find(root);
  if (file == kFiles.end()) return nullptr;
  Owned<xmlSchema>& schema = read[root];
  if (schema == nullptr) {
    const std::string path = SCHEMA_FOLDER "/" + file->second;
    const Owned<xmlSchemaParserCtxt> context(xmlSchemaNewParserCtxt(path.c_str()));
    schema.reset(xmlSchemaParse(context.get()));
    if (schema == nullptr) throw std::runtime_error(path + ": " + lastError());
  }
  return schema.get();
}

}  // namespace

std::vector<std::string> documentsIn(std::string_view text) {
  constexpr std::string_view kStart = "<?xml ";
  constexpr std::string_view kEnds[] = {"</SVMInventory>", "</SVMExecution>"};
  std::vector<std::string> documents;
  for (std::size_t start = text.find(kStart); start != text.npos; start = text.find(kStart)) {
    text.remove_prefix(start);
    std::size_t length = text.size();
    for (const std::string_view end : kEnds) {
      const std::size_t place = text.find(end);
      if (place != text.npos) length = std::min(length, place + end.size());
    }
    documents.emplace_back(text.substr(0, length));
    text.remove_prefix(length);
  }
  return documents;
}

DocumentVerdict validate(const std::string& document) {
  xmlResetLastError();
  const Owned<xmlDoc> parsed(xmlReadMemory(document.data(), static_cast<int>(document.size()), nullptr,
                                           nullptr,
                                           XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
  if (parsed == nullptr) return {false, lastError()};
  const std::string root = reinterpret_cast<const char*>(xmlDocGetRootElement(parsed.get())->name);
  xmlSchema* const schema = schemaOf(root);
  if (schema == nullptr) return {true, "no schema for " + root};
  const Owned<xmlSchemaValidCtxt> context(xmlSchemaNewValidCtxt(schema));
  return {true, xmlSchemaValidateDoc(context.get(), parsed.get()) == 0 ? "" : lastError()};
}
