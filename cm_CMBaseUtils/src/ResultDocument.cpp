#include "ResultDocument.h"

#include <ostream>

namespace result {

Form formOf(const CDeviceInfo& record) {
  // The status comes first: a record that failed is a bare status whatever its type.
  if (record.getStatus() != 0) return Form::kFailure;
  switch (record.getDeviceType()) {
    case CDeviceInfo::DEVICE_TYPE_NONPCI:
      return Form::kComponent;
    case CDeviceInfo::DEVICE_TYPE_PCI:
      return Form::kDrive;
    case CDeviceInfo::DEVICE_TYPE_UNKNOWN:
      break;
  }
  return Form::kNone;
}

std::string enumAttribute(const CDeviceInfo& record) {
  const std::string id = record.getEnumId();
  return id.empty() ? id : R"(enum = ")" + id + R"(" )";
}

void Document::addPciStart(const CDeviceInfo& drive) {
  const SPCIInfo pci = drive.getPCIInfo();
  *this << R"(<Device  vendorID=")" << pci.vendorID << R"(" deviceID=")" << pci.deviceID
        << R"(" subVendorID=")" << pci.subVendorID << R"(" subDeviceID=")" << pci.subDeviceID << R"(")";
}

void Document::addStatus(bool success, const CDeviceInfo& record, std::string_view messageTagEnd) {
  // Nothing here is escaped, the message included; readers have to cope.
  *this << R"(<SPStatus result = ")" << (success ? "true" : "false") << R"(" ><Message id=")"
        << std::to_string(record.getMessageID()) << messageTagEnd << record.getErrorMsg()
        << "</Message></SPStatus>";
}

void Document::addRebootRequired(bool reboot) {
  *this << "<RebootRequired>" << (reboot ? "1" : "0") << "</RebootRequired>";
}

bool Document::write() {
  // A file that could not be opened loses nothing: the caller finds the document on standard output.
  if (!m_file.isOpen()) {
    output::standard() << m_text;
    return false;
  }
  m_file.write(m_text);
  return true;
}

}  // namespace result
