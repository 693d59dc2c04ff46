#pragma once

#include <string>
#include <vector>

#include "DeviceInfo.h"
#include "ResultDocument.h"

/// A plain writer of both result documents, for callers that describe package components: of the records with
/// status 0 only those of type DEVICE_TYPE_NONPCI are written, drives are not. Values are written unescaped,
/// and an update document carries a RebootRequired element after every successful Device.
///
/// Nothing reports a failure: a file that cannot be opened sends the document to standard output.
class CXMLWriter {
 public:
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
  /// second document thus follows the first.
  void Print();

 private:
  enum class Kind { kInventory, kUpdate };

  /// Appends the fragments of `list` as a document of this kind has them.
  void addRecords(const std::vector<CDeviceInfo*>& list, Kind kind);
  /// Appends a component's Device element up to the value of the last attribute that both documents share.
  void addComponentStart(const CDeviceInfo& component);
  /// Appends the rest of it in an update document.
  void addOutcome(const CDeviceInfo& component);

  result::Document m_document;
};
