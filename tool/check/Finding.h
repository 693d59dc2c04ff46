#pragma once

#include <array>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

enum class Severity {
  kNote,     ///< nothing in a run shows it
  kWarning,  ///< a run may surprise, or the matter only concerns shipping
  kError,    ///< a run fails or is unsafe
};

/// "note", "warning" or "error".
std::string_view nameOf(Severity severity);

/// What findings can be about. Ids are stable: people ignore findings by them.
struct Kind {
  std::string_view id;
  Severity severity;
};

/// Every kind there is. docs/package-check.md says what each means; a test compares the two.
inline constexpr auto kKinds = std::to_array<Kind>({
    {"folder-unreadable", Severity::kError},
    {"subfolder-unreadable", Severity::kWarning},
    {"walk-cut-short", Severity::kWarning},
    {"path-shell", Severity::kError},
    {"path-too-long", Severity::kError},
    {"name-invisible", Severity::kWarning},
    {"name-too-long", Severity::kWarning},
    {"link-leads-out", Severity::kWarning},
    {"link-dangling", Severity::kWarning},
    {"writable-by-everybody", Severity::kError},
    {"writable-by-group", Severity::kWarning},
    {"owner", Severity::kWarning},
    {"parent-writable", Severity::kError},
    {"marker-file", Severity::kWarning},
    {"to-fill-in", Severity::kError},
    {"simulator-part", Severity::kWarning},
    {"support-library", Severity::kWarning},
    {"system-library-shadowed", Severity::kWarning},
    {"ignore-unknown", Severity::kNote},

    {"descriptor-missing", Severity::kError},
    {"descriptor-not-file", Severity::kError},
    {"descriptor-unreadable", Severity::kError},
    {"descriptor-malformed", Severity::kError},
    {"descriptor-no-device", Severity::kError},
    {"device-no-component-id", Severity::kNote},
    {"device-no-pciinfo", Severity::kWarning},
    {"device-misplaced", Severity::kWarning},
    {"pciinfo-misplaced", Severity::kWarning},
    {"pciinfo-id-inherited", Severity::kWarning},
    {"pciinfo-id-missing", Severity::kWarning},
    {"pciinfo-id-unmatchable", Severity::kWarning},
    {"pciinfo-id-short", Severity::kWarning},
    {"pciinfo-repeated", Severity::kWarning},
    {"display-missing", Severity::kWarning},
    {"display-before-pciinfo", Severity::kWarning},
    {"display-empty", Severity::kWarning},
    {"display-blank", Severity::kWarning},
    {"display-unused", Severity::kWarning},
    {"display-not-plain", Severity::kWarning},
    {"display-layout", Severity::kWarning},
    {"display-reserved", Severity::kError},

    {"payload-missing", Severity::kError},
    {"payload-not-folder", Severity::kError},
    {"payload-unreadable", Severity::kError},
    {"payload-none", Severity::kError},
    {"payload-several", Severity::kError},
    {"payload-not-file", Severity::kError},
    {"payload-empty", Severity::kError},
    {"payload-size", Severity::kError},
    {"payload-archive", Severity::kWarning},
    {"payload-web-page", Severity::kWarning},
    {"payload-text", Severity::kWarning},

    {"executable-missing", Severity::kError},
    {"executable-not-file", Severity::kError},
    {"executable-mode", Severity::kError},
    {"executable-not-elf", Severity::kError},
    {"executable-foreign", Severity::kError},
    {"executable-damaged", Severity::kError},
    {"executable-link", Severity::kError},
    {"executable-needs", Severity::kError},
    {"executable-version", Severity::kError},
    {"executable-unbound", Severity::kError},
    {"executable-other", Severity::kError},

    {"rollback-missing", Severity::kError},
    {"rollback-name", Severity::kError},
    {"rollback-foreign", Severity::kError},
    {"rollback-refused", Severity::kError},
    {"rollback-class", Severity::kError},
    {"rollback-unchecked", Severity::kNote},

    {"library-missing", Severity::kError},
    {"library-unreadable", Severity::kError},
    {"library-not-file", Severity::kError},
    {"library-foreign", Severity::kError},
    {"library-refused", Severity::kError},
    {"library-crash", Severity::kError},
    {"library-hang", Severity::kError},
    {"library-needs", Severity::kError},
    {"library-version", Severity::kError},
    {"library-unbound", Severity::kError},
    {"library-entry-point", Severity::kError},
    {"library-entry-not-function", Severity::kError},
    {"library-unchecked", Severity::kNote},

    {"script-missing", Severity::kError},
    {"script-not-file", Severity::kError},
    {"script-mode", Severity::kError},
    {"script-unreadable", Severity::kWarning},
    {"script-empty", Severity::kWarning},
    {"script-byte-order-mark", Severity::kWarning},
    {"script-carriage-return", Severity::kError},
    {"script-nul", Severity::kError},
    {"script-interpreter", Severity::kError},
    {"script-program", Severity::kError},
    {"script-syntax", Severity::kError},
});

/// Where `kKinds` has the id; its size where it has not.
constexpr std::size_t indexOfKind(std::string_view id) {
  std::size_t index = 0;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-bounds-constant-array-index): bounded by the condition
  while (index < kKinds.size() && kKinds[index].id != id) ++index;
  return index;
}

/// A kind by its id. An id that is not in `kKinds` does not compile.
class KindId {
 public:
  // cppcheck-suppress noExplicitConstructor; findings are written with the id as a plain text
  consteval KindId(const char* id) : m_index(indexOfKind(id)) {  // NOLINT(google-explicit-constructor)
    if (m_index == kKinds.size()) throw std::invalid_argument("kKinds has no such id");
  }
  const Kind* operator->() const { return &kKinds.at(m_index); }

 private:
  std::size_t m_index;
};

/// A trap in a component folder, mostly one that the component itself says nothing about.
struct Finding {
  KindId kind;
  std::filesystem::path file;
  long line = 0;            ///< 0 where the file as a whole is meant, or has no lines
  std::string problem;      ///< what is there, as "Device has no componentID"
  std::string consequence;  ///< what a run does with it
  std::string remedy;       ///< how to fix it
};

using Findings = std::vector<Finding>;

inline void append(Findings& all, Findings more) {
  all.insert(all.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

/// How to give `file`, in the component folder, another mode. Where a link leads there may be a device or
/// somebody else's file, whose mode nobody should change on this advice.
std::string modeRemedy(const std::string& mode, const std::filesystem::path& file,
                       const std::filesystem::path& folder);

}  // namespace tool
