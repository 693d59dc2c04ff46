// The record of one drive or one package component.

#pragma once

#include <string>

/// A PCI identity as text. The ids are hexadecimal: drives give them in lower case without zero-filling, the
/// package descriptor zero-fills them to four characters; they are compared as text, letter case aside.
struct SPCIInfo {
  std::string componentID;
  std::string deviceID;
  std::string subDeviceID;
  std::string vendorID;
  std::string subVendorID;
  std::string displayName;  ///< marketing name of the device model
};

/// A PCI bus address.
// NOLINTNEXTLINE(*-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): callers know the record by this name
struct _BDFInfo {
  unsigned char bus = 0;
  unsigned char device = 0;
  unsigned char function = 0;
};

/// One drive, one package component or one dependency: a plain value that all subsystems pass around, as a
/// pointer in a vector whose last holder owns the records. Getters return copies.
class CDeviceInfo {
 public:
  enum eDeviceType {
    DEVICE_TYPE_UNKNOWN = 0,
    DEVICE_TYPE_PCI = 1,     ///< drives
    DEVICE_TYPE_NONPCI = 2,  ///< package components
  };

  enum eDependencyType {
    DEPENDENCY_HARD = 1,
    DEPENDENCY_SOFT = 2,
  };

  /// Compares what identifies a component: component type and id, dependency type, version, display name,
  /// detail, file path and the five PCI ids, byte by byte. Everything else is ignored, so two drives that
  /// differ only in address, enumeration id or outcome are equal.
  bool operator==(CDeviceInfo other) const;

  std::string getReleaseID() const { return m_strReleaseID; }
  std::string getComponentID() const { return m_strComponentID; }
  std::string getParentComponentID() const { return m_strParentComponentID; }
  std::string getComponentType() const { return m_strComponentType; }
  std::string getDeviceName() const { return m_strDeviceName; }
  std::string getVersion() const { return m_strVersion; }
  SPCIInfo getPCIInfo() const { return m_PCIInfo; }
  eDeviceType getDeviceType() const { return m_eDeviceType; }
  eDependencyType getDependencyType() const { return m_eDependencyType; }
  int getMessageID() const { return m_nMessageID; }
  /// -1: nothing has reported yet; 0: success; anything else: failure, with its text in ErrorMsg.
  int getStatus() const { return m_nStatus; }
  std::string getErrorMsg() const { return m_strErrorMsg; }
  /// For other users of the record; nothing here sets or reads it.
  int getUpdateStatus() const { return m_nUpdateStatus; }
  std::string getDisplay() const { return m_strDisplay; }
  std::string getDetail() const { return m_strDetail; }
  /// The download site's base address followed directly by the file path. Backslashes of the stored path are
  /// turned into slashes for good, which is why this getter is not const.
  std::string getFilePath();
  std::string getCurrentVersion() const { return m_strCurrentVersion; }
  std::string getEnumId() const { return m_strEnumId; }
  bool getRebootRequired() const { return m_bRebootRequired; }
  _BDFInfo getBDFInfo() const { return m_BDFInfo; }

  void setReleaseID(std::string releaseID);
  void setComponentID(std::string componentID);
  void setParentComponentID(std::string parentComponentID);
  void setComponentType(std::string componentType);
  void setDeviceName(std::string deviceName);
  void setVersion(std::string version);
  void setPCIInfo(SPCIInfo pciInfo);
  /// Sets the four ids from numbers, as lower-case hexadecimal text without prefix or zero-filling, and
  /// clears the component id and the display name. Note the order: the device ids come before the vendor ids.
  void setPCIInfo(unsigned short deviceID, unsigned short subDeviceID, unsigned short vendorID,
                  unsigned short subVendorID);
  void setDeviceType(eDeviceType deviceType) { m_eDeviceType = deviceType; }
  void setDependencyType(eDependencyType dependencyType) { m_eDependencyType = dependencyType; }
  void setMessageID(int messageID) { m_nMessageID = messageID; }
  void setStatus(int status) { m_nStatus = status; }
  void setErrorMsg(std::string errorMsg);
  void setUpdateStatus(int updateStatus) { m_nUpdateStatus = updateStatus; }
  void setDisplay(std::string display);
  void setDetail(std::string detail);
  void setFilePath(std::string filePath);
  void setCurrentVersion(std::string currentVersion);
  void setEnumId(std::string enumId);
  void setRebootRequired(bool rebootRequired) { m_bRebootRequired = rebootRequired; }
  void setBDFInfo(_BDFInfo bdfInfo) { m_BDFInfo = bdfInfo; }
  /// Sets the bus address. Its trace lines show each number as the one raw byte, not as digits.
  void setBDFInfo(unsigned char bus, unsigned char device, unsigned char function);

 private:
  std::string m_strReleaseID;
  std::string m_strComponentID;
  std::string m_strParentComponentID;
  std::string m_strComponentType;
  std::string m_strDeviceName;
  std::string m_strVersion;
  SPCIInfo m_PCIInfo;
  eDeviceType m_eDeviceType = DEVICE_TYPE_UNKNOWN;
  eDependencyType m_eDependencyType = DEPENDENCY_HARD;
  int m_nMessageID = 0;
  int m_nStatus = -1;
  std::string m_strErrorMsg;
  int m_nUpdateStatus = 0;
  std::string m_strDisplay;
  std::string m_strDetail;
  std::string m_strFilePath;
  std::string m_strCurrentVersion;
  std::string m_strEnumId;
  bool m_bRebootRequired = false;
  _BDFInfo m_BDFInfo;
};
