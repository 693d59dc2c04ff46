#pragma once

#include <string>
#include <vector>

#include "DeviceInfo.h"
#include "NVMeRecords.h"

/// The one way to the drive maker's library "libnvme.so", which is opened at run time. There is one adapter a
/// process; whoever calls `DeleteInstance` ends it for every holder of the pointer.
class CNVMeAdapter {
 public:
  /// The adapter, made on the first call and again after `DeleteInstance`; null when memory runs out. It is
  /// not initialised.
  static CNVMeAdapter* GetInstance();

  /// Destroys the adapter, if there is one.
  static void DeleteInstance();

  CNVMeAdapter();
  /// Closes the library and takes the hardware-access support library away again if `Initialize` has put it
  /// in place.
  ~CNVMeAdapter();
  CNVMeAdapter(const CNVMeAdapter&) = delete;
  CNVMeAdapter& operator=(const CNVMeAdapter&) = delete;

  /// Has the support library put in place (on every call), then, unless that is done already, opens the drive
  /// library from the working directory or else by the loader's own search, and binds its three entry points:
  /// all or none. True when they are bound. After a false result nothing below may be called; a later call
  /// tries again.
  bool Initialize();

  /// Appends one record for every drive that the library discovers; the caller owns them. A drive whose
  /// revision cannot be read is listed, with status 2. True when at least one was appended.
  bool DiscoverNVMeDevices(std::vector<CDeviceInfo*>& devices);

  /// Flashes the payload file onto every drive of the list, whatever its status. A drive that refuses it gets
  /// status 1 and its text, the others stay as they are. True when at least one drive took it.
  bool UpdateNVMeDevices(std::vector<CDeviceInfo*>& devices, std::string payloadPath);

  /// Reads the running firmware revision, trailing blanks included. False, with "Not Found" in `revision`,
  /// when the library fails.
  bool getFirmwareRevision(_NVME_ZOLT_BDF address, std::string& revision);

  /// Sets device name, component type, device type and the display name, which is the marketing name that the
  /// package descriptor of the working directory gives the record's PCI ids.
  void setBasicDeviceInfo(CDeviceInfo* device);

  /// Null until `GetInstance`.
  static CNVMeAdapter* m_ptrInstance;

 private:
  bool openLibrary();
  bool bindEntryPoints();
  /// Fills a record with what the library says of a drive, and with its descriptor's name.
  void describe(const NVMeDriveRecord& drive, CDeviceInfo& device);

  bool m_bSupportLibInstalled = false;
  void* m_hLibrary = nullptr;
  bool m_bInitialized = false;
  std::string m_strComponentType = "FRMW";
  std::string m_strDeviceName;
  NVMeDiscoverDrives* m_fncNVMEDiscoverDrives = nullptr;
  NVMeGetDriveInfo* m_fncNVMEGetDriveInfo = nullptr;
  NVMeUpdateFirmware* m_fncNVMEUpdateFirmware = nullptr;
};
