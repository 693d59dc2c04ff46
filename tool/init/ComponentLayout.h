#pragma once

#include <filesystem>

namespace tool {

/// Lays out `folder` as a component folder: `executable`, a package.xml with what is to be filled in clearly
/// marked, an install script that does nothing, and an empty payload/, in which nothing can be flashed by
/// mistake. The drive library and the rollback library are left to the packager. Modes are those of a
/// package, whatever the umask.
///
/// `folder` may exist if it is empty. Throws std::runtime_error or std::filesystem::filesystem_error when
/// something cannot be written or exists already. What was made until then is removed.
void layOutComponent(const std::filesystem::path& folder, const std::filesystem::path& executable);

/// The component's executable of the installation or build that this program is part of. Throws
/// std::runtime_error when there is none.
std::filesystem::path installedExecutable();

}  // namespace tool
