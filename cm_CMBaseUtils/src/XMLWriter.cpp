#include "XMLWriter.h"

namespace {

constexpr SResultTexts kNoTexts{};
constexpr char kPlainMessageTagEnd[] = R"(">)";

}  // namespace

CXMLWriter::CXMLWriter() : m_document(kNoTexts) {}

void CXMLWriter::SetFileName(const std::string& path) {
  m_document.open(path, LOG_SITE);
}

int CXMLWriter::writeInventoryXml(std::vector<CDeviceInfo*> list) {
  AddXMLHeader();
  AddInventoryHeader();
  addDevices(list, [this](const CDeviceInfo& component) {
    addComponent(component);
    m_document << R"("/></Device>)";
  });
  AddInventoryFooter();
  Print();
  return 1;
}

int CXMLWriter::WriteUpdateXML(const std::vector<CDeviceInfo*>& list) {
  AddXMLHeader();
  AddUpdateHeader();
  addDevices(list, [this](const CDeviceInfo& component) {
    addComponent(component);
    m_document << R"(" packageVersion=")" << component.getVersion() << R"(">)";
    m_document.addStatus(true, component, kPlainMessageTagEnd);
    m_document << "</Application></Device>";
    AddUpdateFooter(true);
  });
  AddUpdateFooter();
  Print();
  return 1;
}

void CXMLWriter::AddXMLHeader() {
  m_document << kXmlDeclaration;
}

void CXMLWriter::AddUpdateHeader() {
  m_document << kUpdateStartTag;
}

void CXMLWriter::AddUpdateFooter() {
  m_document << kUpdateEndTag;
}

void CXMLWriter::AddUpdateFooter(bool reboot) {
  m_document.addRebootRequired(reboot);
}

void CXMLWriter::AddInventoryHeader() {
  m_document << kInventoryStartTag;
}

void CXMLWriter::AddInventoryFooter() {
  m_document << kInventoryEndTag;
}

void CXMLWriter::Print() {
  m_document.print(LOG_SITE);
}

void CXMLWriter::addDevices(const std::vector<CDeviceInfo*>& list,
                            const std::function<void(const CDeviceInfo&)>& componentForm) {
  const auto nothing = [](const CDeviceInfo&) {};
  m_document.addDevices(list, {.nonPci = componentForm, .pci = nothing, .messageTagEnd = kPlainMessageTagEnd},
                        LOG_SITE);
}

void CXMLWriter::addComponent(const CDeviceInfo& component) {
  m_document << R"(<Device  componentID=")" << component.getComponentID() << R"(" display=")"
             << component.getDeviceName() << R"("><Application componentType=")"
             << component.getComponentType() << R"(" version=")" << component.getVersion() << R"(" display=")"
             << component.getDeviceName();
}
