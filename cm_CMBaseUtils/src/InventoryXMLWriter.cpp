#include "InventoryXMLWriter.h"

namespace {

// "udpate", "Update" and the wrong method name are what callers compare.
constexpr SResultTexts kTexts{
    .opened = "CInventoryXMLWriter::GetXML() udpate xml file opened",
    .openThrew = "CInventoryXMLWriter::GetXML() exception caught during file opening ",
    .printStart = "CInventoryXMLWriter::print() Entering",
    .copied = "CInventoryXMLWriter::print() copying the contents to Inventory XML file",
    .printThrew = "CInventoryXMLWriter::GetXML() exception caught during file is_open function ",
    .printDone = "CInventoryXMLWriter::print() Exiting",
    .nonPciDevice = "CInventoryXMLWriter::GetXML() Found one Non PCI Device",
    .pciDevice = "CInventoryXMLWriter::GetXML() Found one PCI Device",
    .failedDevice = "CInventoryXMLWriter::GetXML() Update failed for one Device",
};

}  // namespace

CInventoryXMLWriter::CInventoryXMLWriter() : m_document(kTexts) {
  LOG("CInventoryXMLWriter::CInventoryXMLWriter() In Constructor Method");
}

CInventoryXMLWriter::~CInventoryXMLWriter() {
  LOG("CInventoryXMLWriter::CInventoryXMLWriter() In Destructor Method");
}

bool CInventoryXMLWriter::GetXML(const std::vector<CDeviceInfo*>& devices, std::string outputFileName) {
  LOG("CInventoryXMLWriter::GetXML() Entering");
  if (!outputFileName.empty() && !m_document.open(outputFileName, LOG_SITE)) return false;
  addXMLHeader();
  addInventoryHeader();
  m_document.addDevices(devices,
                        {.nonPci = [this](const CDeviceInfo& device) { addNonPciDevice(device); },
                         .pci = [this](const CDeviceInfo& device) { addPciDevice(device); },
                         .messageTagEnd = kMessageTagEnd},
                        LOG_SITE);
  addInventoryFooter();
  m_strDocument = m_document.text();
  print();
  LOG("CInventoryXMLWriter::GetXML() Exiting");
  return true;
}

void CInventoryXMLWriter::addXMLHeader() {
  LOG("CInventoryXMLWriter::addXMLHeader() In addXMLHeader Method");
  m_document << kXmlDeclaration;
}

void CInventoryXMLWriter::addInventoryHeader() {
  LOG("CInventoryXMLWriter::addInventoryHeader() In addInventoryHeader Method");
  m_document << kInventoryStartTag;
}

void CInventoryXMLWriter::addInventoryFooter() {
  LOG("CInventoryXMLWriter::addInventoryFooter() In addInventoryFooter Method");
  m_document << kInventoryEndTag;
}

void CInventoryXMLWriter::print() {
  m_document.print(LOG_SITE);
}

void CInventoryXMLWriter::addNonPciDevice(const CDeviceInfo& device) {
  m_document << R"(<Device  componentID=")" << device.getComponentID() << R"(" display=")"
             << device.getDisplay() << R"(" )" << enumAttribute(device) << R"(><Application componentType=")"
             << device.getComponentType() << R"(" version=")" << device.getVersion() << R"(" display=")"
             << device.getDeviceName() << R"("/></Device>)";
}

void CInventoryXMLWriter::addPciDevice(const CDeviceInfo& device) {
  m_document.addPciStart(device);
  m_document << R"(  display=")" << device.getDisplay() << R"(" )" << enumAttribute(device)
             << R"(><Application componentType=")" << device.getComponentType() << R"("  version=")"
             << device.getVersion() << R"("  display=")" << device.getDeviceName() << R"("/></Device>)";
}
