// One drive at 0000:04:00.0, and updates of it.

#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "FirmwareUpdate.h"
#include "ScriptedHost.h"

namespace nvme_linux {

constexpr auto kMinute = std::chrono::seconds(60);
constexpr std::size_t kPiece = 4096;
constexpr int kWaitsForReset = 267;

class FirmwareUpdateFixture : public ::testing::Test {
 protected:
  FirmwareUpdateFixture() {
    m_host.addController("nvme0", "0000:04:00.0");
    m_controller = describeController(m_host, "nvme0");
  }

  /// An update of the first of `controllers`, which are all those of one drive.
  int update(const Bytes& payload, const std::vector<PciController>& controllers) {
    return FirmwareUpdate(m_host, m_supported, controllers, payload).run().code();
  }
  int update(const Bytes& payload) { return update(payload, {m_controller}); }

  /// The drive up to the last step before the download.
  DriveScript& ready(const ScriptedIdentity& identity = {}, const SlotLog& log = {}) {
    return m_drive.opens().locks().identifies(identity).within(kMinute).readsSlots(log);
  }

  /// The drive after a small image (four bytes) has been downloaded.
  DriveScript& downloaded(const SlotLog& log = {}) {
    return ready({}, log).downloads(0, m_tiny).readsSlots(log);
  }

  /// What is read once the image is committed to slot 2.
  static DriveScript& confirms(DriveScript& drive) { return drive.readsSlots(kStaged).identifies(); }

  const std::string& lastReport() const { return m_host.reports().back(); }

  inline static const SlotLog kRuns{.activeInfo = 0x02, .revisions = {"OLD_REV ", "NEW_REV "}};
  inline static const SlotLog kStaged{.activeInfo = 0x21, .revisions = {"OLD_REV ", "NEW_REV "}};

  static constexpr PciIds kIds{.vendor = 0x144D, .device = 0xA801, .subVendor = 0x1028, .subDevice = 0x1FD9};

  ScriptedHost m_host;
  SupportedDrives m_supported{std::set<SupportedModel>{{kIds, std::nullopt, std::nullopt}}};
  PciController m_controller;
  DriveScript& m_drive = m_host.drive("nvme0");
  Bytes m_tiny = image(4);
};

}  // namespace nvme_linux
