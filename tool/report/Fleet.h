// What many documents together say about servers and their drives.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Results.h"

namespace tool {

/// The newest known state of one drive, or of one failed record that cannot be assigned to a drive.
struct DriveState {
  const ResultFile* file = nullptr;  ///< the newest document that lists it
  std::size_t position = 0;          ///< there, from 1
  std::string serial{};
  std::string pci{};
  std::string name{};
  bool isIdentified{};  ///< false for a failed record without a drive

  /// From the newest update or verdict that lists the drive, else from the newest inventory.
  Outcome outcome = Outcome::kListed;
  std::string message{};

  /// The newest known one, without the blanks around it; empty when no document has one.
  std::string revision{};
  bool isRevisionOld = false;  ///< it was read before an update, and nothing newer tells what runs now
};

struct Server {
  std::string name;                          ///< unique among the servers
  std::vector<const ResultFile*> documents;  ///< oldest first
  std::vector<DriveState> drives;            ///< in the order in which they first appear
};

/// Groups documents by server (see ServerName.h), and counts a drive once however many documents of its
/// server list it. A drive is known by serial number and PCI ids; several of one document that share these
/// are told apart by their order. A failed record without a drive belongs to the one that stands in its place
/// in the document before or after it, if that has as many records and no other drive in any place.
///
/// The order of a server's documents: folders by their newest file; within a folder those with "before" in
/// the path first and those with "after" and verdicts last; then by the time of modification; then as in
/// `results`. The servers are in natural order of their names, and point into `results`.
std::vector<Server> serversOf(const Results& results);

/// The name of the machine that this runs on.
std::string hostName();

}  // namespace tool
