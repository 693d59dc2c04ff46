#include "UpdateXMLWriter.h"

#include <exception>

#include "Logger.h"

using result::Form;

// One line says "udpate", another names the inventory writer. Callers compare them.

CUpdateXMLWriter::CUpdateXMLWriter() {
  LOG("CUpdateXMLWriter::CUpdateXMLWriter() In Constructor Method");
}

CUpdateXMLWriter::~CUpdateXMLWriter() {
  LOG("CUpdateXMLWriter::~CUpdateXMLWriter() In Destructor Method");
}

bool CUpdateXMLWriter::GetXML(const std::vector<CDeviceInfo*>& devices, std::string outputFileName) {
  LOG("CUpdateXMLWriter::GetXML() Entering");
  if (!outputFileName.empty()) {
    try {
      m_document.open(outputFileName);
    } catch (const std::exception& exception) {
      LOG(std::string("CInventoryXMLWriter::GetXML() exception caught during file opening ") +
          exception.what());
      return false;
    }
    LOG("CUpdateXMLWriter::GetXML() udpate xml file opened");
  }
  addXMLHeader();
  addUpdateHeader();
  bool rebootNeeded = false;
  for (const CDeviceInfo* device : devices) {
    switch (result::formOf(*device)) {
      case Form::kComponent:
        LOG("CUpdateXMLWriter::GetXML() Found one Non PCI Device");
        rebootNeeded |= device->getRebootRequired();
        m_document << R"(<Device  componentID=")" << device->getComponentID() << R"(")";
        addOutcome(*device);
        break;
      case Form::kDrive:
        LOG("CUpdateXMLWriter::GetXML() Found one PCI Device");
        rebootNeeded |= device->getRebootRequired();
        m_document.addPciStart(*device);
        addOutcome(*device);
        break;
      case Form::kFailure:
        // A failed record does not ask for a reboot, whatever its flag says.
        LOG("CUpdateXMLWriter::GetXML() Update failed for one Device");
        m_document.addStatus(false, *device, result::kMessageTagEnd);
        break;
      case Form::kNone:
        break;
    }
  }
  addRebootRequiredStatus(rebootNeeded);
  addUpdateFooter();
  print();
  LOG("CUpdateXMLWriter::GetXML() Exiting");
  return true;
}

void CUpdateXMLWriter::addXMLHeader() {
  LOG("CUpdateXMLWriter::addXMLHeader() In addXMLHeader Method");
  m_document << result::kXmlDeclaration;
}

void CUpdateXMLWriter::addUpdateHeader() {
  LOG("CUpdateXMLWriter::addUpdateHeader() In addUpdateHeader Method");
  m_document << result::kUpdateStartTag;
}

void CUpdateXMLWriter::addOutcome(const CDeviceInfo& device) {
  m_document << R"( display=")" << device.getDisplay() << R"(" )" << result::enumAttribute(device)
             << R"(><Application componentType=")" << device.getComponentType() << R"(" version=")"
             << device.getVersion() << R"(" display=")" << device.getDeviceName() << R"(" >)";
  m_document.addStatus(true, device, result::kMessageTagEnd);
  m_document << "</Application></Device>";
}

void CUpdateXMLWriter::addRebootRequiredStatus(bool rebootNeeded) {
  LOG("CUpdateXMLWriter::addRebootRequiredStatus() In addRebootRequiredStatus Method");
  // No element at all: readers take its presence for a yes.
  if (!rebootNeeded) return;
  m_document.addRebootRequired(true);
  LOG("CUpdateXMLWriter::addRebootRequiredStatus() Device need reboot");
}

void CUpdateXMLWriter::addUpdateFooter() {
  LOG("CUpdateXMLWriter::addUpdateFooter() In addUpdateFooter Method");
  m_document << result::kUpdateEndTag;
}

void CUpdateXMLWriter::print() {
  LOG("CUpdateXMLWriter::print() Entering");
  try {
    if (m_document.write()) LOG("CUpdateXMLWriter::print() copying the contents to Update XML file");
  } catch (const std::exception& exception) {
    LOG(std::string("CUpdateXMLWriter::print() exception caught during file is_open function ") +
        exception.what());
    return;
  }
  m_document.clear();
  LOG("CUpdateXMLWriter::print() Exiting");
}
