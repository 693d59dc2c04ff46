#pragma once

#include <functional>
#include <string>
#include <vector>

#include "DeviceInfo.h"
#include "ResultDocument.h"

/// A plain writer of both result documents, for callers that describe package components: of the records with
/// status 0 only those of type DEVICE_TYPE_NONPCI are written, drives are not. Values are written unescaped,
/// and an update document carries a RebootRequired element behind every successful Device.
///
/// Nothing reports a failure: a file that cannot be opened sends the document to standard output.
class CXMLWriter {
 public:
  CXMLWriter();

  /// Opens the file that `Print` writes to; an existing one is emptied. It is closed by the destructor.
  void SetFileName(const std::string& path);

  /// Appends the inventory document of `list` and prints it. Always 1.
  int writeInventoryXml(std::vector<CDeviceInfo*> list);

  /// Appends the update document of `list` and prints it. Always 1.
  int WriteUpdateXML(const std::vector<CDeviceInfo*>& list);

  void AddXMLHeader();
  void AddUpdateHeader();
  void AddUpdateFooter();
  /// Appends the RebootRequired element with `reboot` as 1 or 0.
  void AddUpdateFooter(bool reboot);
  void AddInventoryHeader();
  void AddInventoryFooter();

  /// Writes what has been added to the file, or to standard output when none is open, and forgets it. A
  /// second document thus lands behind the first.
  void Print();

 private:
  /// Appends `list` with `componentForm` for the package components with status 0.
  void addDevices(const std::vector<CDeviceInfo*>& list,
                  const std::function<void(const CDeviceInfo&)>& componentForm);
  /// Appends a component's Device element up to the value of the last attribute that both documents share.
  void addComponent(const CDeviceInfo& component);

  CResultDocument m_document;
};
