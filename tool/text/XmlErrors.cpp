#include "XmlErrors.h"

#include <libxml/xmlerror.h>

#include <algorithm>

namespace tool {

namespace {

// The handler's second argument is const from libxml2 2.12 on.
template <class Error>
void keepFirst(void* data, Error* error) {
  auto& first = *static_cast<std::optional<XmlError>*>(data);
  if (first || error->level < XML_ERR_ERROR) return;
  std::string message = error->message == nullptr ? "unknown error" : error->message;
  while (!message.empty() && message.back() == '\n') message.pop_back();
  std::replace(message.begin(), message.end(), '\n', ' ');
  first = XmlError{error->line, error->int2, message};
}

}  // namespace

XmlErrors::XmlErrors() {
  xmlSetStructuredErrorFunc(&m_first, keepFirst);
}

XmlErrors::~XmlErrors() {
  xmlSetStructuredErrorFunc(nullptr, nullptr);
}

}  // namespace tool
