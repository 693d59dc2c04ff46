#include "ResultDocument.h"

#include <exception>
#include <ostream>

namespace {

void logThrown(const char* text, const std::exception& exception, const SLogSite& site) {
  if (text != nullptr) LOG_AT(site, std::string(text) + exception.what());
}

}  // namespace

bool CResultDocument::open(const std::string& path, const SLogSite& site) {
  try {
    m_file.open(path);
  } catch (const std::exception& exception) {
    logThrown(m_texts.openThrew, exception, site);
    return false;
  }
  logText(m_texts.opened, site);
  return true;
}

void CResultDocument::addDevices(const std::vector<CDeviceInfo*>& devices, const SResultForms& forms,
                                 const SLogSite& site) {
  for (const CDeviceInfo* device : devices) {
    if (device->getStatus() != 0) {
      logText(m_texts.failedDevice, site);
      addStatus(false, *device, forms.messageTagEnd);
    } else if (device->getDeviceType() == CDeviceInfo::DEVICE_TYPE_NONPCI) {
      logText(m_texts.nonPciDevice, site);
      forms.nonPci(*device);
    } else if (device->getDeviceType() == CDeviceInfo::DEVICE_TYPE_PCI) {
      logText(m_texts.pciDevice, site);
      forms.pci(*device);
    }
  }
}

void CResultDocument::addPciStart(const CDeviceInfo& device) {
  const SPCIInfo pci = device.getPCIInfo();
  *this << R"(<Device  vendorID=")" << pci.vendorID << R"(" deviceID=")" << pci.deviceID
        << R"(" subVendorID=")" << pci.subVendorID << R"(" subDeviceID=")" << pci.subDeviceID << R"(")";
}

void CResultDocument::addStatus(bool result, const CDeviceInfo& device, const char* messageTagEnd) {
  *this << R"(<SPStatus result = ")" << (result ? "true" : "false") << R"(" ><Message id=")"
        << std::to_string(device.getMessageID()) << messageTagEnd << device.getErrorMsg()
        << "</Message></SPStatus>";
}

void CResultDocument::addRebootRequired(bool reboot) {
  *this << "<RebootRequired>" << (reboot ? "1" : "0") << "</RebootRequired>";
}

void CResultDocument::print(const SLogSite& site) {
  logText(m_texts.printStart, site);
  try {
    if (m_file.isOpen()) {
      m_file.write(m_text);
      logText(m_texts.copied, site);
    } else {
      standardOutput() << m_text;
    }
  } catch (const std::exception& exception) {
    logThrown(m_texts.printThrew, exception, site);
    return;
  }
  m_text.clear();
  logText(m_texts.printDone, site);
}

std::string enumAttribute(const CDeviceInfo& device) {
  const std::string id = device.getEnumId();
  return id.empty() ? id : R"(enum = ")" + id + R"(" )";
}
