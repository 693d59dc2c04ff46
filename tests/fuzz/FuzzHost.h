// A host for the targets of our own drive library: no drives, no files, and a clock that only sleeping moves.

#pragma once

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "Host.h"

namespace fuzz {

class Host : public nvme_linux::Host {
 public:
  /// The lines for the administrator.
  const std::vector<std::string>& reports() const { return m_reports; }

  std::vector<std::string> entries(const std::string& /*folder*/) override { return {}; }
  std::optional<std::string> text(const std::string& /*path*/) override { return std::nullopt; }
  std::optional<std::string> mounts() override { return std::nullopt; }
  std::optional<std::string> swaps() override { return std::nullopt; }
  nvme_linux::Outcome tryExclusively(const std::string& /*blockDevice*/) override {
    return nvme_linux::Outcome::success();
  }
  std::optional<std::uint64_t> capabilities(const std::string& /*controller*/) override {
    return std::nullopt;
  }
  std::unique_ptr<nvme_linux::ResetWatch> watchResets(const std::string& /*controller*/) override {
    struct NoReset : nvme_linux::ResetWatch {
      std::optional<bool> wasReset() override { return false; }
    };
    return std::make_unique<NoReset>();
  }
  std::unique_ptr<nvme_linux::SignalHold> holdSignals() override {
    return std::make_unique<nvme_linux::SignalHold>();
  }
  std::chrono::milliseconds adminTimeout() override { return std::chrono::minutes(1); }
  nvme_linux::Outcome open(const std::string& /*controller*/,
                           std::unique_ptr<nvme_linux::Device>& /*device*/) override {
    return nvme_linux::Outcome::failed(ENOENT);
  }
  nvme_linux::Outcome readFile(const std::string& /*path*/, std::size_t /*limit*/,
                               std::vector<std::uint8_t>& /*content*/) override {
    return nvme_linux::Outcome::failed(ENOENT);
  }
  std::chrono::milliseconds now() override { return m_now; }
  void sleep(std::chrono::milliseconds duration) override {
    PROMISE(duration.count() > 0);
    m_now += duration;
  }
  void report(int /*priority*/, const std::string& line) override {
    PROMISE(!line.empty());
    m_reports.push_back(line);
  }

 private:
  std::vector<std::string> m_reports;
  std::chrono::milliseconds m_now{0};
};

}  // namespace fuzz
