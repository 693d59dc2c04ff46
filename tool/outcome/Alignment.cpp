#include "Alignment.h"

#include <algorithm>
#include <functional>
#include <span>
#include <unordered_map>
#include <unordered_set>

namespace tool {

namespace {

using Kind = Counterpart::Kind;

struct Hash {
  std::size_t operator()(const DriveIdentity* drive) const {
    std::size_t sum = 0;
    for (const std::string* text : {&drive->serial, &drive->pci.vendor, &drive->pci.device,
                                    &drive->pci.subVendor, &drive->pci.subDevice})
      sum = sum * 31 + std::hash<std::string>()(*text);
    return sum;
  }
};

struct Equal {
  bool operator()(const DriveIdentity* left, const DriveIdentity* right) const { return *left == *right; }
};

/// How often an identity stands in a list, and where it stands first.
struct Occurrence {
  std::size_t count = 0;
  std::size_t index = 0;
};

using Occurrences = std::unordered_map<const DriveIdentity*, Occurrence, Hash, Equal>;

/// Drives without a serial number are left out: the PCI ids alone are those of every drive of a model.
Occurrences occurrences(const DriveIdentities& list) {
  Occurrences found(list.size());
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (!list[i] || list[i]->serial.find_first_not_of(' ') == std::string::npos) continue;
    Occurrence& one = found[&*list[i]];
    if (one.count++ == 0) one.index = i;
  }
  return found;
}

/// Two records that may be of one drive.
bool mayBeOne(const std::optional<DriveIdentity>& left, const std::optional<DriveIdentity>& right) {
  return !left || !right || *left == *right;
}

class Aligner {
 public:
  Aligner(const DriveIdentities& from, const DriveIdentities& to)
      : m_from(from), m_to(to), m_result(from.size()), m_taken(to.size(), false) {}

  std::vector<Counterpart> run() {
    if (matchSerials()) {
      matchGaps();
    } else {
      // The order has changed, so that it tells nothing: only who can be anywhere else is absent.
      matchRest(0, m_from.size(), 0, m_to.size(), false);
    }
    return std::move(m_result);
  }

 private:
  /// Matches the identities that stand once in either list. False when they show that the order changed.
  bool matchSerials() {
    const Occurrences inFrom = occurrences(m_from);
    const Occurrences inTo = occurrences(m_to);
    for (const auto& [key, from] : inFrom) {
      const auto to = inTo.find(key);
      if (from.count != 1 || to == inTo.end() || to->second.count != 1) continue;
      set(from.index, to->second.index, IdentifiedBy::kSerial);
    }
    std::size_t next = 0;
    for (const Counterpart& one : m_result) {
      if (one.kind != Kind::kFound) continue;
      if (one.index < next) return false;
      next = one.index + 1;
    }
    return true;
  }

  /// Goes from one certain pair to the next; between two of them only the order is left.
  void matchGaps() {
    std::size_t fromBegin = 0;
    std::size_t toBegin = 0;
    for (std::size_t i = 0; i < m_from.size(); ++i) {
      if (m_result[i].kind != Kind::kFound) continue;
      matchRest(fromBegin, i, toBegin, m_result[i].index, true);
      fromBegin = i + 1;
      toBegin = m_result[i].index + 1;
    }
    matchRest(fromBegin, m_from.size(), toBegin, m_to.size(), true);
  }

  /// Matches what is still open in two ranges: one by one where as many are open on both sides and `ordered`
  /// says that the order holds; else it only tells who cannot be there.
  void matchRest(std::size_t fromBegin, std::size_t fromEnd, std::size_t toBegin, std::size_t toEnd,
                 bool ordered) {
    std::vector<std::size_t> open;
    for (std::size_t i = fromBegin; i < fromEnd; ++i) {
      if (m_result[i].kind != Kind::kFound) open.push_back(i);
    }
    std::vector<std::size_t> free;
    for (std::size_t i = toBegin; i < toEnd; ++i) {
      if (!m_taken[i]) free.push_back(i);
    }
    if (open.size() == free.size() && (ordered || open.size() == 1) && pairsUp(open, free)) {
      for (std::size_t i = 0; i < open.size(); ++i) set(open[i], free[i], IdentifiedBy::kOrder);
      return;
    }
    leaveOpen(open, free);
  }

  /// Tells the records that cannot be any of `free` from those that may.
  void leaveOpen(std::span<const std::size_t> open, std::span<const std::size_t> free) {
    std::unordered_set<const DriveIdentity*, Hash, Equal> identities;
    bool anyUnknown = false;
    for (const std::size_t j : free) {
      anyUnknown |= !m_to[j];
      if (m_to[j]) identities.insert(&*m_to[j]);
    }
    for (const std::size_t i : open) {
      const bool maybe = m_from[i] ? anyUnknown || identities.contains(&*m_from[i]) : !free.empty();
      m_result[i].kind = maybe ? Kind::kAmbiguous : Kind::kAbsent;
    }
  }

  bool pairsUp(std::span<const std::size_t> open, std::span<const std::size_t> free) const {
    return std::equal(open.begin(), open.end(), free.begin(),
                      [this](std::size_t i, std::size_t j) { return mayBeOne(m_from[i], m_to[j]); });
  }

  void set(std::size_t from, std::size_t to, IdentifiedBy how) {
    m_result[from] = {Kind::kFound, to, how};
    m_taken[to] = true;
  }

  const DriveIdentities& m_from;
  const DriveIdentities& m_to;
  std::vector<Counterpart> m_result;
  std::vector<bool> m_taken;  // of m_to: matched
};

}  // namespace

std::vector<Counterpart> align(const DriveIdentities& from, const DriveIdentities& to) {
  return Aligner(from, to).run();
}

}  // namespace tool
