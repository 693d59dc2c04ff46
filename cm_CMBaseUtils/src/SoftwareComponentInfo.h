#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "DeviceInfo.h"
#include "LibXml.h"

/// Reader of the package descriptor, the file "package.xml" of the working directory:
///
///   SoftwareComponent vendorVersion=""                  (anywhere in the document)
///     ComponentType value=""
///     SupportedDevices
///       Device componentID=""                           (repeated)
///         PCIInfo deviceID="" subDeviceID="" vendorID="" subVendorID=""   (repeated)
///         Display                                       (text: the marketing name)
///         Dependency, SoftDependency                    (repeated)
///             componentID="" componentType="" version="" path="" releaseID=""
///           Display, Detail                             (text)
///           PCIInfo                                     (repeated)
///
/// The names of PCIInfo, Display and Detail are compared letter case aside. Everything else is ignored.
///
/// Every query reads the file from disk again; nothing is cached. A file that is missing or not well-formed
/// makes every query empty; a required attribute that is missing counts as empty. Returned texts are copies.
/// XPath results and attribute values point into the reader's document: they are valid until its next query
/// and not beyond its end.
class CSoftwareComponentInfo {
 public:
  /// Starts the debug log as "baseutils.log" when the marker file "enabledebug.txt" exists in the working
  /// directory, then calls `ParseXMl`.
  CSoftwareComponentInfo();

  /// Sets the descriptor's path from the working directory and parses the file. Turns off, for the whole
  /// process, that libxml2 keeps blank text nodes.
  void ParseXMl();

  /// The value of an element's attribute, null when it is absent. Belongs to the element's document.
  const char* GetAttributeValue(const xmlNode* node, const char* name);

  /// The result of `expression` on `document` when it has at least one node, null otherwise. The caller owns
  /// the result and frees it with `xmlXPathFreeObject` before the document goes.
  xmlXPathObject* GetNodeSet(xmlDoc* document, const char* expression);
  /// Likewise, with trace texts of its own.
  xmlXPathObject* getnodeset(xmlDoc* document, const char* expression);

  /// Parses the descriptor afresh and selects from it, as `GetNodeSet`; without an expression, all Device
  /// elements. The caller owns the result and frees it before the reader's next query.
  xmlXPathObject* ParseXmlUsingXpath(const char* expression);
  xmlXPathObject* ParseXmlUsingXpath();

  /// "componentID" of the last Device.
  std::string GetComponentID();
  /// "componentID" of every Device, in document order.
  std::vector<std::string> GetComponentIDS();
  /// "value" of the last ComponentType.
  std::string GetComponentType();
  /// "vendorVersion" of the last SoftwareComponent.
  std::string GetComponentVersion();
  /// The text of the first Display that is the first child element of its Device.
  std::string GetComponentDisplayString();

  /// One record per PCIInfo of every Device, in document order, its ids zero-filled to four characters and
  /// its display name taken from the first Display with text after it. What an entry does not supply it keeps
  /// from the entry before, across Devices too; callers depend on that.
  std::vector<SPCIInfo> GetSupportedDevices();

  /// The display name of the last supported device whose four ids equal the given ones as texts, letter case
  /// aside; empty when none does. An id of one to three characters therefore matches nothing.
  std::string getMarketingNameForPCIDevice(SPCIInfo& device);

  /// One record per Dependency or SoftDependency, or one for each PCIInfo inside it, in document order and
  /// without duplicates. The caller owns the records. A failing allocation ends the list early.
  std::vector<CDeviceInfo*> getDependencyInfo();

  /// Appends `record` unless the list holds an equal one. True when it was appended and belongs to the list's
  /// owner from now on; false when it stays the caller's.
  bool AddDependencyInfo(std::vector<CDeviceInfo*>& list, CDeviceInfo* record);

  /// Writes the Device elements with this component id of the inventory document that `input` holds, from its
  /// first character on, to `output`: each formatted, one directly after another. True when there is none
  /// too; false when the document does not parse or memory for an element runs out, with what was written
  /// before left in `output`.
  bool GetInvFromVNL(const std::string& componentID, std::ostream& output, std::istream& input);

 private:
  /// `attribute` of the last node that `expression` selects in a fresh parse of the descriptor.
  std::string lastAttribute(const char* expression, const char* attribute);

  void parseDescriptor();

  std::string m_strDescriptorPath;
  libxml::Owned<xmlDoc> m_document;
};
