// Which server a document is about. Documents do not name their server; their paths do.

#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tool {

/// The part of a document's path that identifies its server, for example "rack1/node1".
///
/// Of the absolute path without its extension, these are cut: the words inventory, update, verdict, result,
/// results, before and after, at the start or end of a name and set off by blanks, dots, hyphens or
/// underscores; `runs` and the name below it; `var`, `lib`, `state` and `nvmepcissd`. Names of which nothing
/// is left are dropped. So "node1.xml", "node1-before.xml", "node1/update.xml", "after/node1.xml" and
/// "node1/runs/7/verdict.json" are all documents of node1.
///
/// Empty when nothing is left, as for "/var/lib/nvmepcissd/runs/7/verdict.json": such a document is about
/// this machine.
std::filesystem::path serverPath(const std::filesystem::path& document);

/// Names for servers: the last component of each path, preceded by as many components as it takes to make it
/// unique. An empty path is called `thisMachine`. Returns one name per path, in the same order. The paths
/// must differ from each other.
std::vector<std::string> serverNames(const std::vector<std::filesystem::path>& paths,
                                     const std::string& thisMachine);

/// When the document was made relative to an update, as far as its path says: -1 before, 1 after (verdicts
/// too), 0 if it does not say.
int phaseOf(const std::filesystem::path& document);

}  // namespace tool
