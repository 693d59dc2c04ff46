// Whose document is it? Documents do not say; their paths do.

#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tool {

/// The part of a document's path that tells its server from others, as "rack1/node1".
///
/// Of the absolute path without its extension, these are cut: the words inventory, update, verdict, result,
/// results, before and after, where they begin or end a name and stand between blanks, dots, hyphens or
/// underscores; `runs` and the name below it; `var`, `lib`, `state` and `nvmepcissd`. Names with nothing left
/// go. So "node1.xml", "node1-before.xml", "node1/update.xml", "after/node1.xml" and
/// "node1/runs/7/verdict.json" are all documents of node1.
///
/// Empty when nothing is left, as for "/var/lib/nvmepcissd/runs/7/verdict.json": it is this machine's.
std::filesystem::path serverPath(const std::filesystem::path& document);

/// What to call servers: the last name of each path, with as many names before it as it takes to tell it from
/// the others. An empty path is called `thisMachine`. One text for each path, in their order; the paths
/// differ.
std::vector<std::string> serverNames(const std::vector<std::filesystem::path>& paths,
                                     const std::string& thisMachine);

/// When the document was taken, as far as its path tells: -1 for "before", 1 for "after" and a verdict, else
/// 0.
int phaseOf(const std::filesystem::path& document);

}  // namespace tool
