#include "DebugLog.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

namespace tool {

namespace {

constexpr std::size_t kStampSize = 24;    // "[2026-01-31T12:00:00] : "
constexpr std::size_t kSourceWidth = 50;  // at least; a longer source is written whole
constexpr std::size_t kNumberWidth = 5;   // likewise

bool hasStamp(std::string_view line) {
  constexpr std::string_view kForm = "[dddd-dd-ddTdd:dd:dd] : ";
  static_assert(kForm.size() == kStampSize);
  if (line.size() < kStampSize) return false;
  return std::equal(kForm.begin(), kForm.end(), line.begin(),
                    [](char form, char c) { return form == 'd' ? c >= '0' && c <= '9' : c == form; });
}

/// The message of a line of the log's layout; nothing for any other line.
std::optional<std::string_view> messageOf(std::string_view line) {
  if (!hasStamp(line)) return std::nullopt;
  const std::size_t sourceEnd = line.find(':', kStampSize + kSourceWidth);
  if (sourceEnd == std::string_view::npos) return std::nullopt;
  const std::size_t numberEnd = line.find(':', sourceEnd + 1);
  if (numberEnd == std::string_view::npos || numberEnd - sourceEnd - 1 < kNumberWidth) return std::nullopt;
  const std::string_view number = line.substr(sourceEnd + 1, numberEnd - sourceEnd - 1);
  if (number.find_first_not_of(" 0123456789") != std::string_view::npos) return std::nullopt;
  const std::string_view message = line.substr(numberEnd + 1);
  // The blank of an empty message is all that follows the colon.
  return message.starts_with(' ') ? std::optional(message.substr(1)) : std::nullopt;
}

/// Splits a log into messages. A value may hold a line feed, so that what follows it looks like a line. A
/// last line without a line feed is left out: it may be cut off in the middle of a number.
std::vector<std::string> messagesOf(std::string_view text) {
  std::vector<std::string> messages;
  for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    if (const auto message = messageOf(line)) {
      messages.emplace_back(*message);
    } else if (!messages.empty()) {
      messages.back().append(1, '\n').append(line);
    }
  }
  return messages;
}

/// A fixed text that tells of trouble, compared with the start of a message.
struct KnownTrouble {
  std::string_view text;
  const char* where;
  const char* problem;
  const char* remedy;
};

constexpr const char* kSeeBefore = "see the messages before it";
constexpr const char* kFreeMemory = "free memory on the server and run again";

constexpr std::array kTroubles{
    KnownTrouble{"ERROR: Installing MOXI is Failed", "install script",
                 "fwkitinstall.sh did not put the hardware-access library in place",
                 "run \"fwkitinstall.sh install\" by hand in the working directory and mend what it reports"},
    KnownTrouble{"ERROR: Uninstalling MOXI is failed.", "install script",
                 "fwkitinstall.sh did not remove the hardware-access library",
                 "run \"fwkitinstall.sh uninstall\" by hand; no drive is affected"},
    KnownTrouble{"ERROR: Could not able to load the NVMePCISSD Library", "drive library",
                 "libnvme.so could not be loaded", "run \"nvmepcissd-tool check\" on the component folder"},
    KnownTrouble{"ERROR: Could not able to load one/all of function pointer(s)", "drive library",
                 "libnvme.so lacks an entry point",
                 "put the drive maker's library into the component folder"},
    KnownTrouble{"ERROR: Samung API NVMEDiscoverDrives failed", "discovery",
                 "the drive library could not list the drives", "see the drive library's own log"},
    KnownTrouble{"ERROR: NVMEDiscoverDrives returned an empty drive entry", "discovery",
                 "the drive library listed a drive without data; it is left out", "ask the library's maker"},
    KnownTrouble{"WARNING: Could not able to found atleast one NVMePCISSD Device also", "discovery",
                 "no drive was found", kSeeBefore},
    KnownTrouble{"ERROR: Failed to get the NVMePCISSD firmware version", "discovery",
                 "a drive's firmware revision could not be read; the drive is flashed all the same",
                 "look after the drive that has no revision"},
    KnownTrouble{"ERROR: Zero or more than one payload file found", "payload",
                 "the payload folder does not hold exactly one entry: no drive was touched",
                 "leave one firmware file in payload/, hidden files counted, and run again"},
    KnownTrouble{"ERROR: Populating the rollback partition is failed", "rollback",
                 "the payload was not kept for rollback; the drives are updated all the same",
                 "look after the rollback partition"},
    KnownTrouble{"ERROR: Caught exception in CBackplanePassiveExecution", "rollback",
                 "the rollback library failed with a code", "look after the rollback partition"},
    KnownTrouble{"ERROR: Caught an unknown exception in CBackplanePassiveExecution", "rollback",
                 "the rollback library failed without a code", "look after the rollback partition"},
    KnownTrouble{"ERROR: Creating XML file for inventory is failed", "document",
                 "the inventory document was not written", "check the output path and run again"},
    KnownTrouble{"ERROR: Failed to create XML file for update.", "document",
                 "the update document was not written",
                 "check the output path; the drives keep what they took"},
    KnownTrouble{"ERROR: pDeviceXmlWriter->GetXML() created", "document",
                 "putting the document together failed, and the process ended",
                 "the drives keep what they took; take an inventory"},
    KnownTrouble{"ERROR: Creating CDeviceInfo instance failed!", "memory",
                 "memory ran out during discovery; the remaining drives are left out", kFreeMemory},
    KnownTrouble{"ERROR: Creating CNVMePCISSDInventory instance failed!", "memory",
                 "memory ran out; no drive was flashed", kFreeMemory},
    KnownTrouble{"ERROR: Creating an instance of", "memory", "memory ran out", kFreeMemory},
    KnownTrouble{"ERROR: Failed to create auto_ptr", "memory", "memory ran out", kFreeMemory},
    KnownTrouble{"ERROR: Object Creation or Library intialization failed", "memory", "memory ran out",
                 kFreeMemory},
    KnownTrouble{"CLinuxImpl::getCurrentProcessDirectory() failed", "payload",
                 "the folder of the executable is unknown, so that no payload is found", "mount /proc"},
};

/// Cuts `prefix` off a message; nothing when the message begins otherwise.
std::optional<std::string_view> after(std::string_view prefix, std::string_view message) {
  if (!message.starts_with(prefix)) return std::nullopt;
  return message.substr(prefix.size());
}

/// Follows the messages in their order, with the command and the drive that they belong to.
class Reader {
 public:
  void read(std::string_view message) {
    if (startsCommand(message)) return;
    if (m_runs.empty()) return;
    noteTrouble(message);
    noteDocument(message);
    if (!noteDiscovery(message) && !noteFlash(message)) noteEnd(message);
  }

  std::vector<LoggedRun> take() { return std::move(m_runs); }

 private:
  LoggedRun& run() { return m_runs.back(); }

  bool startsCommand(std::string_view message) {
    const bool isUpdate = message == "Entering CNVMePCISSDManager::Update";
    if (!isUpdate && message != "Entering CNVMePCISSDManager::Inventory") return false;
    m_runs.push_back({.isUpdate = isUpdate});
    m_flashed = 0;
    m_awaitsDocument = false;
    m_address.clear();
    return true;
  }

  void noteTrouble(std::string_view message) {
    const auto* const known = std::find_if(kTroubles.begin(), kTroubles.end(), [&](const KnownTrouble& one) {
      return message.starts_with(one.text);
    });
    if (known != kTroubles.end()) run().troubles.push_back({known->where, known->problem, known->remedy});
  }

  /// The writer's messages about the file are the same whether it could be opened or not; only the last one
  /// tells that the document went there.
  void noteDocument(std::string_view message) {
    if (message.ends_with("XMLWriter::GetXML() udpate xml file opened")) m_awaitsDocument = true;
    if (message.find("XMLWriter::print() copying the contents to") != std::string_view::npos)
      m_awaitsDocument = false;
    if (!m_awaitsDocument || !message.ends_with("XMLWriter::print() Exiting")) return;
    m_awaitsDocument = false;
    run().troubles.push_back({"document",
                              "the output file could not be opened: the document went to standard output",
                              "check the output path; take standard output for the document"});
  }

  /// Discovery describes one drive after another; each begins with its device id.
  bool noteDiscovery(std::string_view message) {
    if (const auto id = after("CDeviceInfo::setPCIInfo() Device id  ", message)) {
      run().drives.push_back({.device = std::string(*id)});
      m_address.clear();
      return true;
    }
    if (run().drives.empty()) return false;
    LoggedDrive& drive = run().drives.back();
    struct Text {
      std::string_view prefix;
      std::string LoggedDrive::*member;
    };
    constexpr std::array kTexts{
        Text{"CDeviceInfo::setPCIInfo() SubDevice id  ", &LoggedDrive::subDevice},
        Text{"CDeviceInfo::setPCIInfo() Vendor id  ", &LoggedDrive::vendor},
        Text{"CDeviceInfo::setPCIInfo() SubVendor id  ", &LoggedDrive::subVendor},
        Text{"NVMePCISSD Model Number: ", &LoggedDrive::model},
        Text{"NVMePCISSD Serial Number: ", &LoggedDrive::serial},
        Text{"Setting the Display name to Marketing name: ", &LoggedDrive::name},
    };
    for (const auto& [prefix, member] : kTexts) {
      const auto text = after(prefix, message);
      if (!text) continue;
      drive.*member = *text;
      return true;
    }
    if (const auto revision = after("INFO: Firmware Version of the drive using memory values  ", message)) {
      drive.revision = *revision;
      return true;
    }
    return noteAddress(message, drive);
  }

  /// Bus, device and function stand in lines of their own, each as the one byte with that code.
  bool noteAddress(std::string_view message, LoggedDrive& drive) {
    auto byte = after("CNVMeAdapter::setBDFInfo() Bus Number is  ", message);
    if (!byte) byte = after("CNVMeAdapter::setBDFInfo() Device Number is  ", message);
    if (!byte) byte = after("CNVMeAdapter::setBDFInfo() Function Number is  ", message);
    if (!byte) return false;
    if (byte->size() == 1) m_address += byte->front();
    if (m_address.size() != 3) return true;
    std::array<char, 16> text{};
    const auto number = [this](std::size_t i) { return unsigned{static_cast<unsigned char>(m_address[i])}; };
    static_cast<void>(
        std::snprintf(text.data(), text.size(), "%02x:%02x.%x", number(0), number(1), number(2)));
    drive.address = text.data();
    return true;
  }

  /// Drives are flashed in the order of discovery.
  bool noteFlash(std::string_view message) {
    if (message == "Updating the firmware for NVMeDevcice") {
      ++m_flashed;
      setFlash(LoggedFlash::kUnended);
      return true;
    }
    if (message == "Update firmware done for NVMeDevcice Succesfully") {
      setFlash(LoggedFlash::kDone);
      return true;
    }
    if (message == "ERROR: Update firmware failed for NVMeDevcice") {
      setFlash(LoggedFlash::kRefused);
      return true;
    }
    const auto value = after("ERROR INFO: API return value = ", message);
    if (!value || m_flashed == 0 || m_flashed > run().drives.size()) return false;
    std::uint32_t number = 0;  // the library's int, written as an unsigned number
    std::from_chars(value->data(), value->data() + value->size(), number);
    run().drives[m_flashed - 1].code = static_cast<std::int32_t>(number);
    return true;
  }

  void setFlash(LoggedFlash flash) {
    if (m_flashed > 0 && m_flashed <= run().drives.size()) run().drives[m_flashed - 1].flash = flash;
  }

  void noteEnd(std::string_view message) {
    if (const auto path = after("Payload file name is: ", message)) run().payload = *path;
    if (message == "ERROR: Zero or more than one payload file found") run().payloadRefused = true;
    if (message == "Leaving CNVMeAdapter::UpdateNVMeDevices()" ||
        message == "Leaving CNVMePCISSDUpdate::Update()" ||
        message == "Returning from CNVMePCISSDUpdate::Update()") {
      run().flashingEnded = true;
    }
    if (message == "Leaving CNVMePCISSDManager::Update" ||
        message == "Leaving CNVMePCISSDManager::Inventory") {
      run().ended = true;
    }
  }

  std::vector<LoggedRun> m_runs;
  bool m_awaitsDocument = false;  // an output file is named, and the document has not gone there yet
  std::size_t m_flashed = 0;      // drives of the current run whose flash has begun
  std::string m_address;          // the bytes so far of the current drive's address
};

}  // namespace

std::vector<LoggedRun> parseDebugLog(std::string_view text) {
  Reader reader;
  for (const std::string& message : messagesOf(text)) reader.read(message);
  return reader.take();
}

}  // namespace tool
