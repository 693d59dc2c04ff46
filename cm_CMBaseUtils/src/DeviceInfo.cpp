#include "DeviceInfo.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <tuple>
#include <utility>

#include "Logger.h"

namespace {

constexpr char kDownloadSite[] = "https://download.example.com/";

std::string hexText(unsigned short number) {
  std::array<char, 4> digits{};
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16);
  return {digits.data(), end};
}

/// Followed by the raw byte: the lines show a number as the character with that code.
std::string withByte(const char* prefix, unsigned char byte) {
  return std::string(prefix) + static_cast<char>(byte);
}

}  // namespace

bool CDeviceInfo::operator==(CDeviceInfo other) const {
  // Address, enumeration id and outcome are left out: two drives of one model are one dependency.
  const auto identity = [](const CDeviceInfo& device) {
    const SPCIInfo& pci = device.m_PCIInfo;
    return std::tie(device.m_strComponentType, device.m_strComponentID, device.m_eDependencyType,
                    device.m_strVersion, device.m_strDisplay, device.m_strDetail, device.m_strFilePath,
                    pci.componentID, pci.deviceID, pci.subDeviceID, pci.vendorID, pci.subVendorID);
  };
  return identity(*this) == identity(other);
}

std::string CDeviceInfo::getFilePath() {
  // For good: descriptors write paths with either kind of slash, and a second call must find the same path.
  std::replace(m_strFilePath.begin(), m_strFilePath.end(), '\\', '/');
  return kDownloadSite + m_strFilePath;
}

void CDeviceInfo::setReleaseID(std::string releaseID) {
  m_strReleaseID = std::move(releaseID);
}

void CDeviceInfo::setComponentID(std::string componentID) {
  m_strComponentID = std::move(componentID);
}

void CDeviceInfo::setParentComponentID(std::string parentComponentID) {
  m_strParentComponentID = std::move(parentComponentID);
}

void CDeviceInfo::setComponentType(std::string componentType) {
  m_strComponentType = std::move(componentType);
}

void CDeviceInfo::setDeviceName(std::string deviceName) {
  m_strDeviceName = std::move(deviceName);
}

void CDeviceInfo::setVersion(std::string version) {
  m_strVersion = std::move(version);
}

void CDeviceInfo::setErrorMsg(std::string errorMsg) {
  m_strErrorMsg = std::move(errorMsg);
}

void CDeviceInfo::setDisplay(std::string display) {
  m_strDisplay = std::move(display);
}

void CDeviceInfo::setDetail(std::string detail) {
  m_strDetail = std::move(detail);
}

void CDeviceInfo::setFilePath(std::string filePath) {
  m_strFilePath = std::move(filePath);
}

void CDeviceInfo::setCurrentVersion(std::string currentVersion) {
  m_strCurrentVersion = std::move(currentVersion);
}

void CDeviceInfo::setEnumId(std::string enumId) {
  m_strEnumId = std::move(enumId);
}

void CDeviceInfo::setPCIInfo(SPCIInfo pciInfo) {
  m_PCIInfo = std::move(pciInfo);
}

void CDeviceInfo::setPCIInfo(unsigned short deviceID, unsigned short subDeviceID, unsigned short vendorID,
                             unsigned short subVendorID) {
  // Neither a component id nor a display name: a drive knows only its numbers.
  m_PCIInfo = {"", hexText(deviceID), hexText(subDeviceID), hexText(vendorID), hexText(subVendorID), ""};
  LOG("CDeviceInfo::setPCIInfo() Device id  " + m_PCIInfo.deviceID);
  LOG("CDeviceInfo::setPCIInfo() SubDevice id  " + m_PCIInfo.subDeviceID);
  LOG("CDeviceInfo::setPCIInfo() Vendor id  " + m_PCIInfo.vendorID);
  LOG("CDeviceInfo::setPCIInfo() SubVendor id  " + m_PCIInfo.subVendorID);
}

void CDeviceInfo::setBDFInfo(unsigned char bus, unsigned char device, unsigned char function) {
  m_BDFInfo = {bus, device, function};
  // The lines name the adapter although the method is the record's; callers compare them.
  LOG(withByte("CNVMeAdapter::setBDFInfo() Bus Number is  ", bus));
  LOG(withByte("CNVMeAdapter::setBDFInfo() Device Number is  ", device));
  LOG(withByte("CNVMeAdapter::setBDFInfo() Function Number is  ", function));
}
