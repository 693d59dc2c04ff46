#include "Identity.h"

#include <algorithm>

namespace nvme_linux {

namespace {

// First bytes of the fields, under the standard's names.
constexpr std::size_t kSN = 4;
constexpr std::size_t kMN = 24;
constexpr std::size_t kFR = 64;
constexpr std::size_t kMDTS = 77;
constexpr std::size_t kOACS = 256;
constexpr std::size_t kFRMW = 260;
constexpr std::size_t kMTFA = 270;
constexpr std::size_t kFWUG = 319;

constexpr unsigned int kOacsFirmware = 1U << 2;
constexpr unsigned int kFrmwFirstSlotReadOnly = 1U << 0;
constexpr unsigned int kFrmwSlotsShift = 1;
constexpr unsigned int kFrmwSlotsMask = 7;
constexpr unsigned int kFrmwOverlapsDetected = 1U << 5;

/// MDTS counts powers of two of the controller's smallest memory page, CAP.MPSMIN. That is a register which
/// the kernel hides; 4 KiB is the smallest that there is, so that no transfer gets too long.
constexpr std::size_t kMdtsUnit = 4096;
/// FWUG counts units of 4 KiB, whatever the memory page.
constexpr std::size_t kFwugUnit = 4096;
constexpr std::uint8_t kFwugNoRestriction = 0xFF;
constexpr std::size_t kDword = 4;
constexpr std::chrono::milliseconds kMtfaUnit{100};

template <std::size_t Size>
void copyText(std::array<char, Size>& text, std::span<const std::uint8_t> from) {
  std::copy_n(from.begin(), Size, text.begin());
}

std::size_t maximumTransfer(unsigned int mdts) {
  constexpr unsigned int kBeyondAnyTransfer = 16;
  return mdts == 0 || mdts >= kBeyondAnyTransfer ? 0 : kMdtsUnit << mdts;
}

}  // namespace

Identity parseIdentity(std::span<const std::uint8_t, Identity::kLength> data) {
  Identity identity{};
  copyText(identity.serial, data.subspan(kSN));
  copyText(identity.model, data.subspan(kMN));
  copyText(identity.revision, data.subspan(kFR));
  identity.maximumTransfer = maximumTransfer(data[kMDTS]);
  identity.takesFirmware = (data[kOACS] & kOacsFirmware) != 0;
  identity.isFirstSlotReadOnly = (data[kFRMW] & kFrmwFirstSlotReadOnly) != 0;
  identity.slots = (data[kFRMW] >> kFrmwSlotsShift) & kFrmwSlotsMask;
  identity.activationTime = kMtfaUnit * (data[kMTFA] | data[kMTFA + 1] << 8);
  identity.detectsOverlaps = (data[kFRMW] & kFrmwOverlapsDetected) != 0;
  identity.granularity = data[kFWUG] == kFwugNoRestriction ? kDword : kFwugUnit * data[kFWUG];
  return identity;
}

std::string trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
  return std::string(text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin));
}

std::string textOf(std::span<const char> field) {
  return trimmed(std::string_view(field.begin(), std::find(field.begin(), field.end(), '\0')));
}

std::string printable(std::span<const char> field) {
  std::string text = textOf(field);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return text;
}

}  // namespace nvme_linux
