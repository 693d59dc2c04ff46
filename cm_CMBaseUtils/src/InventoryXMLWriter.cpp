#include "InventoryXMLWriter.h"

#include <exception>

#include "Logger.h"

using result::Form;

// Some lines say "udpate" and "Update", or name another method. Callers compare them.

CInventoryXMLWriter::CInventoryXMLWriter() {
  LOG("CInventoryXMLWriter::CInventoryXMLWriter() In Constructor Method");
}

CInventoryXMLWriter::~CInventoryXMLWriter() {
  LOG("CInventoryXMLWriter::CInventoryXMLWriter() In Destructor Method");
}

bool CInventoryXMLWriter::GetXML(const std::vector<CDeviceInfo*>& devices, std::string outputFileName) {
  LOG("CInventoryXMLWriter::GetXML() Entering");
  if (!outputFileName.empty()) {
    try {
      m_document.open(outputFileName);
    } catch (const std::exception& exception) {
      LOG(std::string("CInventoryXMLWriter::GetXML() exception caught during file opening ") +
          exception.what());
      return false;
    }
    LOG("CInventoryXMLWriter::GetXML() udpate xml file opened");
  }
  addXMLHeader();
  addInventoryHeader();
  for (const CDeviceInfo* device : devices) {
    switch (result::formOf(*device)) {
      case Form::kComponent:
        LOG("CInventoryXMLWriter::GetXML() Found one Non PCI Device");
        addComponent(*device);
        break;
      case Form::kDrive:
        LOG("CInventoryXMLWriter::GetXML() Found one PCI Device");
        addDrive(*device);
        break;
      case Form::kFailure:
        LOG("CInventoryXMLWriter::GetXML() Update failed for one Device");
        m_document.addStatus(false, *device, result::kMessageTagEnd);
        break;
      case Form::kNone:
        break;
    }
  }
  addInventoryFooter();
  // Printing empties the document; the copy is what getDocument hands out.
  m_strDocument = m_document.text();
  print();
  LOG("CInventoryXMLWriter::GetXML() Exiting");
  return true;
}

void CInventoryXMLWriter::addXMLHeader() {
  LOG("CInventoryXMLWriter::addXMLHeader() In addXMLHeader Method");
  m_document << result::kXmlDeclaration;
}

void CInventoryXMLWriter::addInventoryHeader() {
  LOG("CInventoryXMLWriter::addInventoryHeader() In addInventoryHeader Method");
  m_document << result::kInventoryStartTag;
}

void CInventoryXMLWriter::addComponent(const CDeviceInfo& device) {
  m_document << R"(<Device  componentID=")" << device.getComponentID() << R"(" display=")"
             << device.getDisplay() << R"(" )" << result::enumAttribute(device)
             << R"(><Application componentType=")" << device.getComponentType() << R"(" version=")"
             << device.getVersion() << R"(" display=")" << device.getDeviceName() << R"("/></Device>)";
}

void CInventoryXMLWriter::addDrive(const CDeviceInfo& device) {
  m_document.addPciStart(device);
  // The doubled blanks here and before "version" and "display" are part of the form that readers compare.
  m_document << R"(  display=")" << device.getDisplay() << R"(" )" << result::enumAttribute(device)
             << R"(><Application componentType=")" << device.getComponentType() << R"("  version=")"
             << device.getVersion() << R"("  display=")" << device.getDeviceName() << R"("/></Device>)";
}

void CInventoryXMLWriter::addInventoryFooter() {
  LOG("CInventoryXMLWriter::addInventoryFooter() In addInventoryFooter Method");
  m_document << result::kInventoryEndTag;
}

void CInventoryXMLWriter::print() {
  LOG("CInventoryXMLWriter::print() Entering");
  try {
    if (m_document.write()) LOG("CInventoryXMLWriter::print() copying the contents to Inventory XML file");
  } catch (const std::exception& exception) {
    LOG(std::string("CInventoryXMLWriter::GetXML() exception caught during file is_open function ") +
        exception.what());
    return;
  }
  m_document.clear();
  LOG("CInventoryXMLWriter::print() Exiting");
}
