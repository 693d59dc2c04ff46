#pragma once

#include <string>
#include <vector>

#include "IDeviceXMLWriter.h"
#include "ResultDocument.h"

/// Writes the update result document:
///
///   <?xml version="1.0" encoding="UTF-8"?><SVMExecution lang="en">
///     <Device  vendorID="" deviceID="" subVendorID="" subDeviceID="" display="" enum = "" >    (a drive)
///       <Application componentType="" version="" display="" >
///         <SPStatus result = "true" ><Message id="" >text</Message></SPStatus></Application></Device>
///     <Device  componentID="" display="" enum = "" > ...                       (a package component)
///     <SPStatus result = "false" ><Message id="" >text</Message></SPStatus>    (a failed record)
///     <RebootRequired>1</RebootRequired>     (when a record with status 0 asks for a reboot)
///   </SVMExecution>
///
/// all on one line and with exactly these blanks. See ResultDocument.h for what holds for every document.
class CUpdateXMLWriter : public IDeviceXMLWriter {
 public:
  CUpdateXMLWriter();
  ~CUpdateXMLWriter() override;

  bool GetXML(const std::vector<CDeviceInfo*>& devices, std::string outputFileName) override;

  void addXMLHeader();
  void addUpdateHeader();
  /// Appends the reboot element when a reboot is needed, nothing otherwise.
  void addRebootRequiredStatus(bool rebootNeeded);
  void addUpdateFooter();
  void print();

 private:
  /// Appends the rest of a Device element, from after the record's own identity on.
  void addOutcome(const CDeviceInfo& device);

  result::Document m_document;
};
