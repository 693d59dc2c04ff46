#include "ScriptedHost.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <new>
#include <tuple>

namespace nvme_linux {

namespace {

void put(Bytes& data, std::size_t offset, std::string_view text) {
  std::copy(text.begin(), text.end(), data.begin() + static_cast<std::ptrdiff_t>(offset));
}

/// Every field but the address, which is only known to be there or not.
auto fields(const nvme_passthru_cmd& c) {
  return std::tuple(c.opcode, c.flags, c.rsvd1, c.nsid, c.cdw2, c.cdw3, c.metadata, c.addr != 0,
                    c.metadata_len, c.data_len, c.cdw10, c.cdw11, c.cdw12, c.cdw13, c.cdw14, c.cdw15,
                    c.timeout_ms, c.result);
}

std::string describe(const nvme_passthru_cmd& c) {
  std::array<char, 256> buffer{};
  std::snprintf(buffer.data(), buffer.size(),
                "opcode %02x nsid %08x data_len %u cdw10 %08x cdw11 %08x timeout_ms %u", unsigned{c.opcode},
                unsigned{c.nsid}, unsigned{c.data_len}, unsigned{c.cdw10}, unsigned{c.cdw11},
                unsigned{c.timeout_ms});
  return buffer.data();
}

}  // namespace

namespace {

class ScriptedWatch : public ResetWatch {
 public:
  explicit ScriptedWatch(const int& resets) : m_resets(resets), m_before(resets) {}
  std::optional<bool> wasReset() override { return m_resets != m_before; }

 private:
  const int& m_resets;
  int m_before;
};

class BlindWatch : public ResetWatch {
 public:
  std::optional<bool> wasReset() override { return std::nullopt; }
};

class ScriptedHold : public SignalHold {
 public:
  explicit ScriptedHold(int& holds) : m_holds(holds) { ++m_holds; }
  ~ScriptedHold() override { --m_holds; }
  ScriptedHold(const ScriptedHold&) = delete;
  ScriptedHold& operator=(const ScriptedHold&) = delete;

 private:
  int& m_holds;
};

bool isFirmwareCommand(const nvme_passthru_cmd& command) {
  return command.opcode == 0x10 || command.opcode == 0x11;
}

}  // namespace

class ScriptedDevice : public Device {
 public:
  explicit ScriptedDevice(DriveScript& script) : m_script(script) {}

  Outcome lock() override {
    const int result = next("lock", {}).result;
    if (m_script.m_whenLocked) m_script.m_whenLocked();
    return result == 0 ? Outcome::success() : Outcome::failed(-result);
  }

  std::string number() override { return m_script.m_number; }

  Completion admin(nvme_passthru_cmd& command) override {
    const DriveScript::Step step = next("command", command);
    EXPECT_EQ(describe(step.command), describe(command));
    EXPECT_EQ(fields(step.command), fields(command)) << describe(command);
    if (fields(step.command) != fields(command)) return {.error = EIO};
    auto* const data = reinterpret_cast<std::uint8_t*>(command.addr);
    if (!step.sent.empty()) {
      const Bytes sent(data, data + command.data_len);
      EXPECT_TRUE(sent == step.sent) << "other data than expected: " << describe(command);
    }
    std::copy(step.answer.begin(), step.answer.end(), data);
    EXPECT_EQ(m_script.m_host->m_signalHolds, isFirmwareCommand(command) ? 1 : m_script.m_host->m_signalHolds)
        << "a signal could end the process during this";
    command.result = 0xDEAD;  // the kernel writes something there
    m_script.m_host->m_now += step.duration;
    if (step.isResetAfterwards) ++m_script.m_resets;
    if (step.result < 0) return {.error = -step.result, .dword0 = 0xFFFFFFFF};
    return {.statusField = static_cast<std::uint16_t>(step.result), .dword0 = step.dword0};
  }

 private:
  DriveScript::Step next(const std::string& name, const nvme_passthru_cmd& command) {
    if (m_script.m_steps.empty() || m_script.m_steps.front().name != name) {
      ADD_FAILURE() << "unexpected " << name << ": " << describe(command);
      return {.name = name, .command = command, .sent = {}, .answer = {}, .result = -EIO};
    }
    DriveScript::Step step = std::move(m_script.m_steps.front());
    m_script.m_steps.pop_front();
    return step;
  }

  DriveScript& m_script;
};

Bytes ScriptedIdentity::data() const {
  Bytes data(4096);
  put(data, 4, serial);
  put(data, 24, model);
  put(data, 64, revision);
  data[77] = transferShift;
  data[256] = static_cast<std::uint8_t>(optionalCommands);
  data[257] = static_cast<std::uint8_t>(optionalCommands >> 8);
  data[260] = firmwareUpdates;
  data[270] = static_cast<std::uint8_t>(activation);
  data[271] = static_cast<std::uint8_t>(activation >> 8);
  data[319] = granularity;
  return data;
}

Bytes SlotLog::data() const {
  Bytes data(512);
  data[0] = activeInfo;
  for (std::size_t i = 0; i < revisions.size(); ++i) put(data, 8 + 8 * i, revisions[i]);
  return data;
}

DriveScript& DriveScript::opens(int result) {
  return add({.name = "open", .command = {}, .sent = {}, .answer = {}, .result = result});
}

DriveScript& DriveScript::locks(int result) {
  return add({.name = "lock", .command = {}, .sent = {}, .answer = {}, .result = result});
}

DriveScript& DriveScript::identifies(const ScriptedIdentity& identity, int result) {
  Step step{.name = "command", .command = {}, .sent = {}, .answer = identity.data(), .result = result};
  step.command.opcode = 0x06;
  step.command.cdw10 = 1;
  step.command.data_len = 4096;
  return add(step);
}

DriveScript& DriveScript::readsSlots(const SlotLog& log, int result) {
  Step step{.name = "command", .command = {}, .sent = {}, .answer = log.data(), .result = result};
  step.command.opcode = 0x02;
  step.command.nsid = 0xFFFFFFFF;
  step.command.cdw10 = 127U << 16 | 0x03;
  step.command.data_len = 512;
  return add(step);
}

DriveScript& DriveScript::readsHealth(std::uint8_t criticalWarning, int result) {
  Bytes data(512);
  data[0] = criticalWarning;
  Step step{.name = "command", .command = {}, .sent = {}, .answer = data, .result = result};
  step.command.opcode = 0x02;
  step.command.nsid = 0xFFFFFFFF;
  step.command.cdw10 = 127U << 16 | 0x02;
  step.command.data_len = 512;
  return add(step);
}

DriveScript& DriveScript::downloads(std::size_t offset, const Bytes& piece, int result) {
  Step step{.name = "command", .command = {}, .sent = piece, .answer = {}, .result = result};
  step.command.opcode = 0x11;
  step.command.data_len = static_cast<std::uint32_t>(piece.size());
  step.command.cdw10 = static_cast<std::uint32_t>(piece.size() / 4 - 1);
  step.command.cdw11 = static_cast<std::uint32_t>(offset / 4);
  return add(step);
}

DriveScript& DriveScript::commits(unsigned int slot, int result) {
  Step step{.name = "command", .command = {}, .sent = {}, .answer = {}, .result = result};
  step.command.opcode = 0x10;
  step.command.cdw10 = 1U << 3 | slot;
  return add(step);
}

DriveScript& DriveScript::saying(std::uint32_t dword0) {
  m_steps.back().dword0 = dword0;
  return *this;
}

DriveScript& DriveScript::taking(std::chrono::milliseconds duration) {
  m_steps.back().duration = duration;
  return *this;
}

DriveScript& DriveScript::andIsReset() {
  m_steps.back().isResetAfterwards = true;
  return *this;
}

DriveScript& DriveScript::within(std::chrono::milliseconds timeout) {
  m_timeout = timeout;
  return *this;
}

DriveScript& DriveScript::add(Step step) {
  step.command.addr = step.command.data_len != 0;
  constexpr std::chrono::milliseconds kShortestForACommit = std::chrono::minutes(5);
  const auto timeout = step.command.opcode == 0x10 ? std::max(m_timeout, kShortestForACommit) : m_timeout;
  if (isFirmwareCommand(step.command)) step.command.timeout_ms = static_cast<std::uint32_t>(timeout.count());
  m_steps.push_back(std::move(step));
  return *this;
}

ScriptedHost::ScriptedHost() : ScriptedHost(std::make_unique<ScratchFolder>()) {}

ScriptedHost::ScriptedHost(std::unique_ptr<ScratchFolder> folder)
    : LinuxHost({.sysfs = *folder / "sys", .devices = *folder / "dev", .processes = *folder / "proc"}),
      m_folder(std::move(folder)) {
  writeSystemFile("proc/self/mountinfo", "");
  writeSystemFile("proc/swaps", "");
}

ScriptedHost::~ScriptedHost() {
  for (const auto& [controller, script] : m_scripts) {
    for (const DriveScript::Step& step : script.m_steps) {
      ADD_FAILURE() << controller << " still expects: " << step.name << " " << describe(step.command);
    }
  }
}

void ScriptedHost::addController(const std::string& name, const std::string& address, std::string_view ids,
                                 const std::string& transport) {
  drive(name).m_number = "240:" + name.substr(std::min<std::size_t>(name.size(), 4));
  writeAttribute(name, "dev", drive(name).m_number);
  writeAttribute(name, "transport", transport);
  writeAttribute(name, "address", address);
  for (const char* const id : {"vendor", "device", "subsystem_vendor", "subsystem_device"}) {
    writeAttribute(name, std::string("device/") + id, "0x" + std::string(ids.substr(0, 4)));
    ids.remove_prefix(std::min<std::size_t>(ids.size(), 5));
  }
}

void ScriptedHost::writeAttribute(const std::string& controller, const std::string& name,
                                  const std::string& text) {
  writeFile(*m_folder / "sys/class/nvme" / controller / name, text + "\n");
}

void ScriptedHost::removeAttribute(const std::string& controller, const std::string& name) {
  ASSERT_TRUE(std::filesystem::remove(*m_folder / "sys/class/nvme" / controller / name));
}

void ScriptedHost::setCapabilities(const std::string& controller, std::uint64_t capabilities) {
  std::string registers(4096, '\0');
  std::memcpy(registers.data(), &capabilities, sizeof capabilities);
  writeSystemFile("sys/class/nvme/" + controller + "/device/resource0", registers);
}

void ScriptedHost::writeSystemFile(const std::string& path, const std::string& text) {
  writeFile(*m_folder / path, text);
}

void ScriptedHost::setAdminTimeout(const std::string& text) {
  writeFile(*m_folder / "sys/module/nvme_core/parameters/admin_timeout", text + "\n");
}

std::string ScriptedHost::payload(const Bytes& bytes) {
  const auto path = *m_folder / "image.bin";
  writeFile(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  return path;
}

Outcome ScriptedHost::open(const std::string& controller, std::unique_ptr<Device>& device) {
  const auto script = m_scripts.find(controller);
  if (script == m_scripts.end() || script->second.m_steps.empty() ||
      script->second.m_steps.front().name != "open") {
    ADD_FAILURE() << "unexpected open of " << controller;
    return Outcome::failed(ENOENT);
  }
  const int result = script->second.m_steps.front().result;
  script->second.m_steps.pop_front();
  if (result != 0) return Outcome::failed(-result);
  device = std::make_unique<ScriptedDevice>(script->second);
  return Outcome::success();
}

void ScriptedHost::report(int priority, const std::string& line) {
  if (!m_hasMemory) throw std::bad_alloc();
  static const std::map<int, const char*> kNames{
      {LOG_ERR, "err"}, {LOG_WARNING, "warning"}, {LOG_NOTICE, "notice"}, {LOG_INFO, "info"}};
  m_reports.push_back(std::string(kNames.at(priority)) + ": " + line);
}

DriveScript& ScriptedHost::drive(const std::string& controller) {
  DriveScript& script = m_scripts[controller];
  script.m_host = this;
  return script;
}

std::unique_ptr<ResetWatch> ScriptedHost::watchResets(const std::string& controller) {
  if (!m_tellsResets) return std::make_unique<BlindWatch>();
  return std::make_unique<ScriptedWatch>(drive(controller).m_resets);
}

std::unique_ptr<SignalHold> ScriptedHost::holdSignals() {
  return std::make_unique<ScriptedHold>(m_signalHolds);
}

Outcome ScriptedHost::tryExclusively(const std::string& blockDevice) {
  const auto held = m_exclusive.find(blockDevice);
  return held == m_exclusive.end() ? Outcome::success() : Outcome::failed(held->second);
}

Bytes image(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 4096 * 13 + 1);
  return bytes;
}

Bytes part(const Bytes& bytes, std::size_t offset, std::size_t size) {
  const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
  return {begin, begin + static_cast<std::ptrdiff_t>(size)};
}

}  // namespace nvme_linux
