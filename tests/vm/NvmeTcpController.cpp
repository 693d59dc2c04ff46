// An NVMe/TCP controller for one drive that takes firmware, on the loopback address. It follows the NVM
// Express base, fabrics and TCP transport standards as far as the Linux host driver asks; every connection is
// a queue with a thread of its own. It ends by itself.

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include "FirmwareDrive.h"

namespace {

constexpr unsigned int kLifetimeSeconds = 300;

constexpr std::uint16_t kSuccess = 0;
constexpr std::uint16_t kInvalidOpcode = 0x4001;
constexpr std::uint16_t kInvalidField = 0x4002;

enum PduType : std::uint8_t {
  kConnectionRequest = 0x00,
  kConnectionResponse = 0x01,
  kCommand = 0x04,
  kResponse = 0x05,
  kHostData = 0x06,
  kControllerData = 0x07,
  kReadyToTransfer = 0x09,
};

enum Opcode : std::uint8_t {
  kGetLogPage = 0x02,
  kIdentify = 0x06,
  kSetFeatures = 0x09,
  kAsynchronousEvent = 0x0C,
  kFirmwareCommit = 0x10,
  kFirmwareDownload = 0x11,
  kKeepAlive = 0x18,
  kFabrics = 0x7F,
};

enum FabricsType : std::uint8_t { kPropertySet = 0x00, kConnect = 0x01, kPropertyGet = 0x04 };

template <class Number>
Number numberAt(std::span<const std::uint8_t> data, std::size_t offset) {
  Number number{};
  std::memcpy(&number, data.subspan(offset, sizeof number).data(), sizeof number);
  return number;
}

template <class Number>
void putNumber(std::span<std::uint8_t> data, std::size_t offset, Number number) {
  std::memcpy(data.subspan(offset, sizeof number).data(), &number, sizeof number);
}

/// What both sides begin a PDU with: type, flags, header length, data offset and whole length.
Bytes makePdu(PduType type, std::uint8_t flags, std::size_t header, std::span<const std::uint8_t> data = {}) {
  Bytes pdu(header + data.size());
  pdu[0] = type;
  pdu[1] = flags;
  pdu[2] = static_cast<std::uint8_t>(header);
  pdu[3] = static_cast<std::uint8_t>(data.empty() ? 0 : header);
  putNumber(pdu, 4, static_cast<std::uint32_t>(pdu.size()));
  std::copy(data.begin(), data.end(), pdu.begin() + static_cast<std::ptrdiff_t>(header));
  return pdu;
}

/// Sole owner of a socket. The host hangs up by an exception.
class Connection {
 public:
  explicit Connection(int socket) : m_socket(socket) {}
  Connection(Connection&& other) noexcept : m_socket(std::exchange(other.m_socket, -1)) {}
  Connection& operator=(Connection&&) = delete;
  ~Connection() {
    if (m_socket >= 0) close(m_socket);
  }

  int get() const { return m_socket; }

  void send(const Bytes& pdu) const {
    if (::send(m_socket, pdu.data(), pdu.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(pdu.size())) hangUp();
  }

  /// One whole PDU.
  Bytes receive() const {
    constexpr std::size_t kCommonHeader = 8;
    constexpr std::size_t kLongest = 1U << 20;
    Bytes pdu(kCommonHeader);
    receiveInto(pdu);
    const auto length = numberAt<std::uint32_t>(pdu, 4);
    if (length < kCommonHeader || length > kLongest) hangUp();
    pdu.resize(length);
    receiveInto(std::span(pdu).subspan(kCommonHeader));
    return pdu;
  }

 private:
  [[noreturn]] static void hangUp() { throw std::runtime_error("connection ended"); }

  void receiveInto(std::span<std::uint8_t> data) const {
    if (!data.empty() &&
        recv(m_socket, data.data(), data.size(), MSG_WAITALL) != static_cast<ssize_t>(data.size())) {
      hangUp();
    }
  }

  int m_socket;
};

/// What a command ends with.
struct Answer {
  std::uint16_t status = kSuccess;
  std::uint64_t result = 0;
  Bytes data{};
  bool isLeftOpen = false;
};

/// The controller's properties and its admin commands. Only the admin queue's thread uses it, one at a time.
class Controller {
 public:
  explicit Controller(FirmwareDrive& drive) : m_drive(drive) {}

  Answer execute(std::span<const std::uint8_t> command, std::span<const std::uint8_t> data) {
    const auto cdw10 = numberAt<std::uint32_t>(command, 40);
    const auto cdw11 = numberAt<std::uint32_t>(command, 44);
    switch (command[0]) {
      case kFabrics:
        return fabrics(command);
      case kIdentify:
        return identify(cdw10 & 0xFF);
      case kGetLogPage:
        return logPage(cdw10);
      case kSetFeatures:  // one queue of each kind, as the result of zero says
      case kKeepAlive:
        return {};
      case kAsynchronousEvent:
        return {.isLeftOpen = true};
      case kFirmwareDownload:
        return {.status = m_drive.download(std::size_t{cdw11} * 4, data)};
      case kFirmwareCommit:
        return {.status = m_drive.commit(cdw10 & 7, (cdw10 >> 3) & 7)};
      default:
        return {.status = kInvalidOpcode};
    }
  }

 private:
  static constexpr std::uint32_t kCapabilities = 0x00;
  static constexpr std::uint32_t kVersion = 0x08;
  static constexpr std::uint32_t kConfiguration = 0x14;
  static constexpr std::uint32_t kStatus = 0x1C;

  Answer fabrics(std::span<const std::uint8_t> command) {
    const auto property = numberAt<std::uint32_t>(command, 44);
    switch (command[4]) {
      case kConnect:
        return {.result = 1};  // the controller's id
      case kPropertyGet:
        return {.result = getProperty(property)};
      case kPropertySet:
        if (property == kConfiguration) configure(numberAt<std::uint32_t>(command, 48));
        return {};
      default:
        return {.status = kInvalidOpcode};
    }
  }

  std::uint64_t getProperty(std::uint32_t property) const {
    constexpr std::uint64_t kQueueEntries = 127;
    constexpr std::uint64_t kContiguousQueues = 1U << 16;
    constexpr std::uint64_t kReadyWithin10Seconds = 20U << 24;
    constexpr std::uint64_t kNvmCommandSet = 1ULL << 37;
    switch (property) {
      case kCapabilities:
        return kQueueEntries | kContiguousQueues | kReadyWithin10Seconds | kNvmCommandSet;
      case kVersion:
        return 0x00010400;
      case kConfiguration:
        return m_configuration;
      case kStatus:
        return (m_configuration & 1) | ((m_configuration & 0xC000) != 0 ? 2U << 2 : 0U);
      default:
        return 0;
    }
  }

  void configure(std::uint32_t configuration) {
    const bool isEnabled = (configuration & 1) != 0 && (m_configuration & 1) == 0;
    m_configuration = configuration;
    if (isEnabled) m_drive.reset();
  }

  Answer identify(std::uint32_t structure) {
    constexpr std::uint32_t kController = 1;
    return {.data = structure == kController ? m_drive.identity() : Bytes(4096)};
  }

  Answer logPage(std::uint32_t cdw10) {
    constexpr std::uint32_t kFirmwareSlots = 3;
    if ((cdw10 & 0xFF) != kFirmwareSlots) return {.status = kInvalidField};
    Answer answer;
    answer.status = m_drive.readSlots(answer.data);
    return answer;
  }

  FirmwareDrive& m_drive;
  std::uint32_t m_configuration = 0;
};

/// One connection: its commands are carried out in order.
class Queue {
 public:
  Queue(Connection connection, FirmwareDrive& drive)
      : m_connection(std::move(connection)), m_controller(drive) {}

  void serve() {
    for (;;) {
      const Bytes pdu = m_connection.receive();
      if (pdu[0] == kConnectionRequest) {
        acceptConnection();
      } else if (pdu[0] == kCommand) {
        execute(pdu);
      } else {
        return;
      }
    }
  }

 private:
  static constexpr std::size_t kCommandHeader = 8;
  static constexpr std::size_t kCommandSize = 64;
  static constexpr std::size_t kDataHeader = 24;

  void acceptConnection() const {
    constexpr std::size_t kSize = 128;
    constexpr std::uint32_t kLongestHostData = 128U << 10;
    Bytes response = makePdu(kConnectionResponse, 0, kSize);
    putNumber(response, 12, kLongestHostData);
    m_connection.send(response);
  }

  void execute(const Bytes& pdu) {
    const auto command = std::span(pdu).subspan(kCommandHeader, kCommandSize);
    const Answer answer = m_controller.execute(command, commandData(pdu, command));
    if (answer.isLeftOpen) return;
    const auto id = numberAt<std::uint16_t>(command, 2);
    if (answer.status == kSuccess && !answer.data.empty()) sendData(id, command, answer.data);
    Bytes response = makePdu(kResponse, 0, kDataHeader);
    putNumber(response, 8, answer.result);
    putNumber(response, 20, id);
    putNumber(response, 22, static_cast<std::uint16_t>(answer.status << 1));
    m_connection.send(response);
  }

  /// The data that goes with a command to the controller: inside its capsule, or asked for in one transfer.
  Bytes commandData(const Bytes& pdu, std::span<const std::uint8_t> command) const {
    constexpr std::uint8_t kTransport = 0x5A;
    constexpr unsigned int kToController = 1;
    if (pdu.size() > kCommandHeader + kCommandSize) {
      return {pdu.begin() + pdu[3], pdu.end()};
    }
    const bool isFabrics = command[0] == kFabrics;
    const unsigned int direction = (isFabrics ? command[4] : command[0]) & 3U;
    const auto size = numberAt<std::uint32_t>(command, 32);
    if (command[39] != kTransport || direction != kToController || size == 0) return {};
    return fetchData(numberAt<std::uint16_t>(command, 2), size);
  }

  Bytes fetchData(std::uint16_t id, std::uint32_t size) const {
    Bytes request = makePdu(kReadyToTransfer, 0, kDataHeader);
    putNumber(request, 8, id);
    putNumber(request, 16, size);
    m_connection.send(request);
    Bytes data;
    while (data.size() < size) {
      const Bytes pdu = m_connection.receive();
      if (pdu[0] != kHostData || numberAt<std::uint32_t>(pdu, 12) != data.size()) {
        throw std::runtime_error("data out of order");
      }
      data.insert(data.end(), pdu.begin() + pdu[3], pdu.end());
    }
    return data;
  }

  void sendData(std::uint16_t id, std::span<const std::uint8_t> command,
                std::span<const std::uint8_t> data) const {
    constexpr std::uint8_t kLast = 0x04;
    const std::size_t size = std::min<std::size_t>(data.size(), numberAt<std::uint32_t>(command, 32));
    Bytes pdu = makePdu(kControllerData, kLast, kDataHeader, data.first(size));
    putNumber(pdu, 8, id);
    putNumber(pdu, 16, static_cast<std::uint32_t>(size));
    m_connection.send(pdu);
  }

  Connection m_connection;
  Controller m_controller;
};

Connection listenOn(std::uint16_t port) {
  Connection listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const int on = 1;
  setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener.get(), 8) != 0) {
    throw std::runtime_error("cannot listen on port " + std::to_string(port));
  }
  return listener;
}

[[noreturn]] void serve(FirmwareDrive& drive) {
  const Connection listener = listenOn(drive.options().port);
  for (;;) {
    Connection connection(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (connection.get() < 0) continue;
    const int on = 1;
    setsockopt(connection.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    std::thread([&drive, held = std::move(connection)]() mutable {
      try {
        Queue(std::move(held), drive).serve();
      } catch (const std::runtime_error&) {
        // The host has gone; so does this queue.
      }
    }).detach();
  }
}

template <class Number>
Number parse(const std::string& text) {
  return static_cast<Number>(std::stoul(text, nullptr, 0));
}

std::deque<std::uint16_t> parseList(const std::string& text) {
  std::deque<std::uint16_t> numbers;
  std::istringstream list(text);
  for (std::string number; std::getline(list, number, ',');) numbers.push_back(parse<std::uint16_t>(number));
  return numbers;
}

/// Options are given as name=value, by the names of this table.
DriveOptions parseOptions(std::span<char*> arguments) {
  DriveOptions o;
  const std::map<std::string, std::function<void(const std::string&)>> kOptions{
      {"folder", [&](const auto& v) { o.folder = v; }},
      {"port", [&](const auto& v) { o.port = parse<std::uint16_t>(v); }},
      {"name", [&](const auto& v) { o.name = v; }},
      {"serial", [&](const auto& v) { o.serial = v; }},
      {"model", [&](const auto& v) { o.model = v; }},
      {"revision", [&](const auto& v) { o.revision = v; }},
      {"new-revision", [&](const auto& v) { o.newRevision = v; }},
      {"firmware-updates", [&](const auto& v) { o.firmwareUpdates = parse<std::uint8_t>(v); }},
      {"granularity", [&](const auto& v) { o.granularity = parse<std::uint8_t>(v); }},
      {"transfer-shift", [&](const auto& v) { o.transferShift = parse<std::uint8_t>(v); }},
      {"first-transfer-shift", [&](const auto& v) { o.firstTransferShift = parse<std::uint8_t>(v); }},
      {"activation", [&](const auto& v) { o.activation = parse<std::uint16_t>(v); }},
      {"takes-firmware", [&](const auto& v) { o.takesFirmware = v == "yes"; }},
      {"live", [&](const auto& v) { o.isLive = v == "yes"; }},
      {"pieces", [&](const auto& v) { o.pieceStatuses = parseList(v); }},
      {"commits", [&](const auto& v) { o.commitStatuses = parseList(v); }},
      {"slot-logs", [&](const auto& v) { o.slotLogStatuses = parseList(v); }},
      {"busy-reads", [&](const auto& v) { o.busyReads = parse<unsigned int>(v); }},
      {"dies-at-piece", [&](const auto& v) { o.diesAtPiece = parse<unsigned int>(v); }},
      {"dies-at-commit", [&](const auto& v) { o.diesAtCommit = v == "yes"; }},
      {"busy-until", [&](const auto& v) { o.busyUntil = v; }},
  };
  for (const std::string argument : arguments) {
    const std::size_t equals = argument.find('=');
    const auto option = kOptions.find(argument.substr(0, equals));
    if (equals == std::string::npos || option == kOptions.end())
      throw std::runtime_error("what is " + argument);
    option->second(argument.substr(equals + 1));
  }
  return o;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    alarm(kLifetimeSeconds);
    FirmwareDrive drive(parseOptions(std::span(argv, static_cast<std::size_t>(argc)).subspan(1)));
    serve(drive);
  } catch (const std::exception& error) {
    std::cerr << "vm_drive: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
