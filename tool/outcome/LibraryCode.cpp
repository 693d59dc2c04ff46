#include "LibraryCode.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace tool {

namespace {

struct KnownCode {
  std::int32_t code;
  const char* meaning;
  const char* advice;
};

// Statuses are those of Firmware Image Download and Firmware Commit in the NVM Express base standard: status
// code type and status code joined to one number of 11 bits.
constexpr std::array kKnown{
    KnownCode{0x106, "Invalid Firmware Slot", "the drive cannot write the slot; ask the drive's maker"},
    KnownCode{
        0x107, "Invalid Firmware Image",
        "the drive refused the payload; check that it is made for this model and revision, and that it is "
        "the image itself, not an archive"},
    KnownCode{0x10B, "Firmware Activation Requires Conventional Reset",
              "reset the server to run the firmware"},
    KnownCode{0x112, "Firmware Activation Requires Maximum Time Violation",
              "the drive cannot activate the firmware in time; restart the server and run again"},
    KnownCode{0x113, "Firmware Activation Prohibited",
              "the drive does not go to this revision from the one it runs; see the maker's notes"},
    KnownCode{0x114, "Overlapping Range",
              "another download was left unfinished or goes on; restart the server and run again"},
    KnownCode{0x11E, "Boot Partition Write Prohibited", "unlock the boot partition; see the maker's notes"},
    KnownCode{
        -EPERM, "EPERM",
        "package.xml allows no update from the revision that the drive runs (fromRevision); update it in the "
        "steps that the maker gives"},
    KnownCode{-ENODATA, "ENODATA", "the payload is empty; put the firmware image into payload/"},
    KnownCode{
        -EINVAL, "EINVAL",
        "the payload is no regular file or no multiple of 4 bytes; check that it is the firmware image"},
    KnownCode{-EFBIG, "EFBIG", "the payload is too long for a firmware image; check the file"},
    KnownCode{-EMEDIUMTYPE, "EMEDIUMTYPE",
              "the payload is an archive, a disc image or blank; unpack the firmware image from it"},
    KnownCode{-EBUSY, "EBUSY", "another run is updating this drive; wait for it and run again"},
    KnownCode{-ENODEV, "ENODEV", "the drive is gone, or another one took its place; take an inventory"},
    KnownCode{-ENXIO, "ENXIO", "the drive is gone; take an inventory"},
    KnownCode{-EOPNOTSUPP, "EOPNOTSUPP", "the drive takes no firmware updates"},
    KnownCode{-EALREADY, "EALREADY",
              "the drive reports another update in progress; wait, or restart the server"},
    KnownCode{-EROFS, "EROFS", "none of the drive's firmware slots can be written"},
    KnownCode{-EAGAIN, "EAGAIN",
              "a reset of the drive does not end; see the system log, and restart the server"},
    KnownCode{-ECONNRESET, "ECONNRESET",
              "the drive is reset again and again; see the system log, and restart the server"},
    KnownCode{
        -EBADE, "EBADE",
        "another host or the drive's management updated it at the same time; take an inventory, and keep the "
        "other one away"},
    KnownCode{-EPROTO, "EPROTO",
              "the drive answered with a status that makes no sense; ask the drive's maker"},
    KnownCode{
        -ETIMEDOUT, "ETIMEDOUT",
        "the drive did not answer the commit in time, and nothing shows that it was carried out; take an "
        "inventory before anything else"},
    KnownCode{
        -EREMOTEIO, "EREMOTEIO",
        "the drive says that it took the firmware, and nothing shows it; take an inventory before anything else"},
    KnownCode{-EACCES, "EACCES", "run as root"},
    KnownCode{-EIO, "EIO", "the drive did not answer; take an inventory and see the system log"},
    KnownCode{-ENOMEM, "ENOMEM", "memory ran out; free some and run again"},
};

}  // namespace

std::string describeCode(std::int32_t code) {
  const auto* const known =
      std::find_if(kKnown.begin(), kKnown.end(), [code](const KnownCode& one) { return one.code == code; });
  if (known != kKnown.end()) {
    const std::string number = code < 0 ? "-" : std::to_string(code) + " ";
    return number + known->meaning + ": " + known->advice;
  }
  constexpr const char* kSeeLibrary = ": see the list of results of the drive library";
  const char* const name = code < 0 && code > -4096 ? strerrorname_np(-code) : nullptr;
  return (name != nullptr ? std::string("-") + name : std::to_string(code)) + kSeeLibrary;
}

}  // namespace tool
