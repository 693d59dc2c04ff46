#pragma once

#include <optional>
#include <string>

namespace tool {

/// Where and why an XML file is not well-formed.
struct XmlError {
  long line{};
  long column{};        ///< in characters or bytes, as libxml2 counts it; 0 where it tells none
  std::string message;  ///< one line
};

/// Takes what libxml2 has to say about the files that this thread parses while the object lives; without one
/// it goes to standard error. One at a time.
class XmlErrors {
 public:
  XmlErrors();
  ~XmlErrors();
  XmlErrors(const XmlErrors&) = delete;
  XmlErrors& operator=(const XmlErrors&) = delete;

  /// The first error, which the later ones mostly follow from; warnings are passed over.
  const std::optional<XmlError>& first() const { return m_first; }

 private:
  std::optional<XmlError> m_first;
};

}  // namespace tool
