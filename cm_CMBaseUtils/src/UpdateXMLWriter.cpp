#include "UpdateXMLWriter.h"

namespace {

// "udpate" and the inventory writer's name are what callers compare.
constexpr SResultTexts kTexts{
    .opened = "CUpdateXMLWriter::GetXML() udpate xml file opened",
    .openThrew = "CInventoryXMLWriter::GetXML() exception caught during file opening ",
    .printStart = "CUpdateXMLWriter::print() Entering",
    .copied = "CUpdateXMLWriter::print() copying the contents to Update XML file",
    .printThrew = "CUpdateXMLWriter::print() exception caught during file is_open function ",
    .printDone = "CUpdateXMLWriter::print() Exiting",
    .nonPciDevice = "CUpdateXMLWriter::GetXML() Found one Non PCI Device",
    .pciDevice = "CUpdateXMLWriter::GetXML() Found one PCI Device",
    .failedDevice = "CUpdateXMLWriter::GetXML() Update failed for one Device",
};

}  // namespace

CUpdateXMLWriter::CUpdateXMLWriter() : m_document(kTexts) {
  LOG("CUpdateXMLWriter::CUpdateXMLWriter() In Constructor Method");
}

CUpdateXMLWriter::~CUpdateXMLWriter() {
  LOG("CUpdateXMLWriter::~CUpdateXMLWriter() In Destructor Method");
}

bool CUpdateXMLWriter::GetXML(const std::vector<CDeviceInfo*>& devices, std::string outputFileName) {
  LOG("CUpdateXMLWriter::GetXML() Entering");
  if (!outputFileName.empty() && !m_document.open(outputFileName, LOG_SITE)) return false;
  addXMLHeader();
  addUpdateHeader();
  bool rebootNeeded = false;
  const auto noting = [this, &rebootNeeded](void (CUpdateXMLWriter::*form)(const CDeviceInfo&)) {
    return [this, &rebootNeeded, form](const CDeviceInfo& device) {
      rebootNeeded |= device.getRebootRequired();
      (this->*form)(device);
    };
  };
  m_document.addDevices(devices,
                        {.nonPci = noting(&CUpdateXMLWriter::addNonPciDevice),
                         .pci = noting(&CUpdateXMLWriter::addPciDevice),
                         .messageTagEnd = kMessageTagEnd},
                        LOG_SITE);
  addRebootRequiredStatus(rebootNeeded);
  addUpdateFooter();
  print();
  LOG("CUpdateXMLWriter::GetXML() Exiting");
  return true;
}

void CUpdateXMLWriter::addXMLHeader() {
  LOG("CUpdateXMLWriter::addXMLHeader() In addXMLHeader Method");
  m_document << kXmlDeclaration;
}

void CUpdateXMLWriter::addUpdateHeader() {
  LOG("CUpdateXMLWriter::addUpdateHeader() In addUpdateHeader Method");
  m_document << kUpdateStartTag;
}

void CUpdateXMLWriter::addRebootRequiredStatus(bool rebootNeeded) {
  LOG("CUpdateXMLWriter::addRebootRequiredStatus() In addRebootRequiredStatus Method");
  if (!rebootNeeded) return;
  m_document.addRebootRequired(true);
  LOG("CUpdateXMLWriter::addRebootRequiredStatus() Device need reboot");
}

void CUpdateXMLWriter::addUpdateFooter() {
  LOG("CUpdateXMLWriter::addUpdateFooter() In addUpdateFooter Method");
  m_document << kUpdateEndTag;
}

void CUpdateXMLWriter::print() {
  m_document.print(LOG_SITE);
}

void CUpdateXMLWriter::addNonPciDevice(const CDeviceInfo& device) {
  m_document << R"(<Device  componentID=")" << device.getComponentID() << R"(")";
  addOutcome(device);
}

void CUpdateXMLWriter::addPciDevice(const CDeviceInfo& device) {
  m_document.addPciStart(device);
  addOutcome(device);
}

void CUpdateXMLWriter::addOutcome(const CDeviceInfo& device) {
  m_document << R"( display=")" << device.getDisplay() << R"(" )" << enumAttribute(device)
             << R"(><Application componentType=")" << device.getComponentType() << R"(" version=")"
             << device.getVersion() << R"(" display=")" << device.getDeviceName() << R"(" >)";
  m_document.addStatus(true, device, kMessageTagEnd);
  m_document << "</Application></Device>";
}
