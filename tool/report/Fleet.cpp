#include "Fleet.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "NaturalOrder.h"
#include "ServerName.h"

namespace tool {

namespace {

using Time = std::pair<std::time_t, long>;

Time timeOf(const ResultFile& file) {
  return {file.modified.tv_sec, file.modified.tv_nsec};
}

/// The folder of a document, for which "before" and "after" are one: `before/a.xml` and `after/a.xml` belong
/// together.
std::string folderOf(const ResultFile& file) {
  const std::filesystem::path folder =
      std::filesystem::absolute(file.source).lexically_normal().parent_path();
  const std::string name = folder.filename().string();
  return (name == "before" || name == "after" ? folder.parent_path() : folder).string();
}

/// Sorts the documents of one server, oldest first.
void sortByAge(std::vector<const ResultFile*>& documents) {
  if (documents.size() < 2) return;  // of most servers; paths are dear
  struct Age {
    Time folder;
    std::string path;  // keeps folders of the same time apart
    int phase;
    Time file;
  };
  std::map<std::string, Time> newest;
  for (const ResultFile* file : documents) {
    Time& time = newest[folderOf(*file)];
    time = std::max(time, timeOf(*file));
  }
  // A folder mostly holds one run of the updater, whose documents belong together: a copy of an older run
  // must not come between them, whatever the times of its single files.
  std::vector<std::pair<Age, const ResultFile*>> aged;
  for (const ResultFile* file : documents) {
    const std::string folder = folderOf(*file);
    aged.push_back({{newest[folder], folder, phaseOf(file->source), timeOf(*file)}, file});
  }
  std::stable_sort(aged.begin(), aged.end(), [](const auto& left, const auto& right) {
    const auto key = [](const Age& age) { return std::tie(age.folder, age.path, age.phase, age.file); };
    return key(left.first) < key(right.first);
  });
  for (std::size_t i = 0; i < documents.size(); ++i) documents[i] = aged[i].second;
}

/// The identities of drives, one per record of a document; empty for a record without a drive.
std::vector<std::string> identitiesOf(const Document& document) {
  std::vector<std::string> identities;
  std::unordered_map<std::string, std::size_t> uses;
  for (const Record& record : document.records) {
    std::string identity;
    if (!record.enumId.empty() || !record.pci.vendor.empty() || !record.componentId.empty()) {
      identity =
          std::string(record.serialNumber()) + '\n' + record.pciText() + '\n' + record.componentId + '\n';
      // Two records of one document may be alike in all of these.
      identity += std::to_string(++uses[identity]);
    }
    identities.push_back(std::move(identity));
  }
  return identities;
}

/// Fills gaps of one document from a neighbour that lists the same drives in the same places.
void fillGaps(std::vector<std::string>& identities, const std::vector<std::string>& neighbour) {
  if (identities.size() != neighbour.size()) return;
  for (std::size_t i = 0; i < identities.size(); ++i) {
    if (!identities[i].empty() && !neighbour[i].empty() && identities[i] != neighbour[i]) return;
  }
  for (std::size_t i = 0; i < identities.size(); ++i) {
    if (identities[i].empty()) identities[i] = neighbour[i];
  }
}

std::vector<std::vector<std::string>> identitiesOf(const std::vector<const ResultFile*>& documents) {
  std::vector<std::vector<std::string>> all;
  all.reserve(documents.size());
  for (const ResultFile* file : documents) all.push_back(identitiesOf(file->document));
  if (all.size() < 2) return all;
  // Gaps are filled from what a document says, never from what was filled in there.
  const std::vector<std::vector<std::string>> told = all;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (i > 0) fillGaps(all[i], told[i - 1]);
    if (i + 1 < all.size()) fillGaps(all[i], told[i + 1]);
  }
  return all;
}

/// Updates what is known about a drive from a newer record.
void renew(DriveState& drive, const ResultFile& file, const Record& record) {
  drive.file = &file;
  if (!record.name.empty()) drive.name = record.name;
  if (const std::string_view revision = record.latestRevision(); !revision.empty()) drive.revision = revision;
  switch (file.document.kind) {
    case DocumentKind::kInventory:
      drive.isRevisionOld = isFailure(record.outcome);
      break;
    case DocumentKind::kUpdate:
      drive.isRevisionOld = true;
      break;
    case DocumentKind::kVerdict:
      drive.isRevisionOld = record.newRevision.empty();
      break;
  }
}

class DrivesOfServer {
 public:
  void add(const ResultFile& file, std::size_t index, const std::string& identity) {
    const Record& record = file.document.records[index];
    DriveState& drive = driveFor(record, identity);
    drive.position = index + 1;
    renew(drive, file, record);
    const bool isInventory = file.document.kind == DocumentKind::kInventory;
    // An inventory does not override the outcome of an update.
    if (isInventory && !m_isFromInventory[static_cast<std::size_t>(&drive - m_drives.data())]) return;
    m_isFromInventory[static_cast<std::size_t>(&drive - m_drives.data())] = isInventory;
    drive.outcome = record.outcome;
    drive.message = record.message;
  }

  std::vector<DriveState> take() { return std::move(m_drives); }

 private:
  DriveState& driveFor(const Record& record, const std::string& identity) {
    const auto [known, isNew] = identity.empty() ? std::pair(m_byIdentity.end(), true)
                                                 : m_byIdentity.try_emplace(identity, m_drives.size());
    if (!isNew) return m_drives[known->second];
    m_isFromInventory.push_back(true);
    return m_drives.emplace_back(DriveState{.serial = std::string(record.serialNumber()),
                                            .pci = record.pciText(),
                                            .isIdentified = !identity.empty()});
  }

  std::vector<DriveState> m_drives;
  std::vector<bool> m_isFromInventory;  ///< for each drive, whether no update or verdict has told its outcome
  std::unordered_map<std::string, std::size_t> m_byIdentity;
};

std::vector<DriveState> drivesOf(const std::vector<const ResultFile*>& documents) {
  const std::vector<std::vector<std::string>> identities = identitiesOf(documents);
  DrivesOfServer drives;
  for (std::size_t i = 0; i < documents.size(); ++i) {
    for (std::size_t record = 0; record < identities[i].size(); ++record)
      drives.add(*documents[i], record, identities[i][record]);
  }
  return drives.take();
}

}  // namespace

std::vector<Server> serversOf(const Results& results) {
  // Sorted by path, so that the names of servers do not depend on the order of the arguments.
  std::map<std::filesystem::path, std::vector<const ResultFile*>> documents;
  for (const ResultFile& file : results.files) documents[serverPath(file.source)].push_back(&file);
  std::vector<std::filesystem::path> paths;
  paths.reserve(documents.size());
  for (const auto& [path, files] : documents) paths.push_back(path);
  const std::vector<std::string> names = serverNames(paths, hostName());

  std::vector<Server> servers;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    std::vector<const ResultFile*>& files = documents[paths[i]];
    sortByAge(files);
    std::vector<DriveState> drives = drivesOf(files);
    servers.push_back({names[i], std::move(files), std::move(drives)});
  }
  std::sort(servers.begin(), servers.end(),
            [](const Server& left, const Server& right) { return naturallyLess(left.name, right.name); });
  return servers;
}

std::string hostName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "this machine";
}

}  // namespace tool
