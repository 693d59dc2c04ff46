#pragma once

#include <string>
#include <vector>

#include "IDeviceXMLWriter.h"
#include "ResultDocument.h"

/// Writes the inventory result document:
///
///   <?xml version="1.0" encoding="UTF-8"?><SVMInventory lang="en">
///     <Device  vendorID="" deviceID="" subVendorID="" subDeviceID=""  display="" enum = "" >   (a drive)
///       <Application componentType=""  version=""  display=""/></Device>
///     <Device  componentID="" display="" enum = "" >                           (a package component)
///       <Application componentType="" version="" display=""/></Device>
///     <SPStatus result = "false" ><Message id="" >text</Message></SPStatus>    (a failed record)
///   </SVMInventory>
///
/// all on one line and with exactly these blanks. See ResultDocument.h for what holds for every document.
class CInventoryXMLWriter : public IDeviceXMLWriter {
 public:
  CInventoryXMLWriter();
  ~CInventoryXMLWriter() override;

  bool GetXML(const std::vector<CDeviceInfo*>& devices, std::string outputFileName) override;

  void addXMLHeader();
  void addInventoryHeader();
  void addInventoryFooter();
  void print();

  /// The last document that `GetXML` assembled.
  const std::string& getDocument() const { return m_strDocument; }

 private:
  void addComponent(const CDeviceInfo& device);
  void addDrive(const CDeviceInfo& device);

  result::Document m_document;
  std::string m_strDocument;
};
