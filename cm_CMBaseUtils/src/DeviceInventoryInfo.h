#pragma once

#include <string>
#include <vector>

#include "DeviceInfo.h"
#include "LibXml.h"

/// Reader of an inventory result document (InventoryXMLWriter.h describes the format). A document with values
/// that XML would have escaped is not well-formed and does not read back.
class CDeviceInventoryInfo {
 public:
  /// Only stores the path; `GetDeviceInfo` reads the file. Turns off, for the whole process, that libxml2
  /// keeps blank text nodes.
  explicit CDeviceInventoryInfo(const std::string& path);
  virtual ~CDeviceInventoryInfo();
  CDeviceInventoryInfo(const CDeviceInventoryInfo&) = delete;
  CDeviceInventoryInfo& operator=(const CDeviceInventoryInfo&) = delete;

  /// Reads the file: one record per Device element, in document order, owned by the caller. A document that
  /// holds a failed status marks every record with status 1 and its message, and yields one record with
  /// nothing else when it has no Device. Empty when the file cannot be read or parsed.
  std::vector<CDeviceInfo*> GetDeviceInfo();

  /// False when the document that `GetDeviceInfo` has read holds a failed status, with the first one's text
  /// in `message` (unchanged when there is none); true otherwise, also when nothing has been read.
  bool GetInventoryStatus(std::string& message);

  /// The result of an expression on the document when it has at least one node, null otherwise. The caller
  /// owns the result and frees it with `xmlXPathFreeObject` before the next `GetDeviceInfo` and before the
  /// reader's end.
  xmlXPathObject* GetNodeSet(const char* expression);

  /// The value of an element's attribute; null when it is absent or an argument is null. Belongs to the
  /// document: valid until the next `GetDeviceInfo` and not beyond the reader's end.
  const char* GetAttributeValue(const xmlNode* node, const char* name);

 private:
  /// Gives the record status 1 and the message, and returns true, when the document holds a failed status.
  bool markFailed(CDeviceInfo& record);

  std::string m_strInventoryFilePath;
  libxml::Owned<xmlDoc> m_document;
};
