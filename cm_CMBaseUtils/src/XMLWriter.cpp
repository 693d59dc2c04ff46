#include "XMLWriter.h"

#include <exception>

using result::Form;

namespace {

constexpr char kPlainMessageTagEnd[] = R"(">)";

}  // namespace

void CXMLWriter::SetFileName(const std::string& path) {
  try {
    m_document.open(path);
  } catch (const std::exception&) {
    // Like any other failure to open: the document goes to standard output.
  }
}

int CXMLWriter::writeInventoryXml(std::vector<CDeviceInfo*> list) {
  AddXMLHeader();
  AddInventoryHeader();
  addRecords(list, Kind::kInventory);
  AddInventoryFooter();
  Print();
  return 1;
}

int CXMLWriter::WriteUpdateXML(const std::vector<CDeviceInfo*>& list) {
  AddXMLHeader();
  AddUpdateHeader();
  addRecords(list, Kind::kUpdate);
  AddUpdateFooter();
  Print();
  return 1;
}

void CXMLWriter::AddXMLHeader() {
  m_document << result::kXmlDeclaration;
}

void CXMLWriter::AddUpdateHeader() {
  m_document << result::kUpdateStartTag;
}

void CXMLWriter::AddUpdateFooter() {
  m_document << result::kUpdateEndTag;
}

void CXMLWriter::AddUpdateFooter(bool reboot) {
  m_document.addRebootRequired(reboot);
}

void CXMLWriter::AddInventoryHeader() {
  m_document << result::kInventoryStartTag;
}

void CXMLWriter::AddInventoryFooter() {
  m_document << result::kInventoryEndTag;
}

void CXMLWriter::Print() {
  try {
    m_document.write();
  } catch (const std::exception&) {
    return;  // the text stays; the write operations return 1 whatever happens
  }
  m_document.clear();
}

void CXMLWriter::addRecords(const std::vector<CDeviceInfo*>& list, Kind kind) {
  for (const CDeviceInfo* record : list) {
    switch (result::formOf(*record)) {
      case Form::kComponent:
        addComponentStart(*record);
        if (kind == Kind::kUpdate) {
          addOutcome(*record);
        } else {
          m_document << R"("/></Device>)";
        }
        break;
      case Form::kFailure:
        m_document.addStatus(false, *record, kPlainMessageTagEnd);
        break;
      // This writer is for package components; drives have writers of their own.
      case Form::kDrive:
      case Form::kNone:
        break;
    }
  }
}

void CXMLWriter::addComponentStart(const CDeviceInfo& component) {
  m_document << R"(<Device  componentID=")" << component.getComponentID() << R"(" display=")"
             << component.getDeviceName() << R"("><Application componentType=")"
             << component.getComponentType() << R"(" version=")" << component.getVersion() << R"(" display=")"
             << component.getDeviceName();
}

void CXMLWriter::addOutcome(const CDeviceInfo& component) {
  m_document << R"(" packageVersion=")" << component.getVersion() << R"(">)";
  m_document.addStatus(true, component, kPlainMessageTagEnd);
  m_document << "</Application></Device>";
  // After every component, unlike the drives' document, which says it once.
  AddUpdateFooter(true);
}
