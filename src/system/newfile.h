// Files that appear whole or not at all.
#pragma once

#include <string>

namespace velmorin {

/// Gives a finished file its name. False with errno, EEXIST when the name is taken.
[[nodiscard]] bool PutInPlace(const std::string& draft, const std::string& path);

/// Makes the names in the folder of `path` last when the power goes. False with errno.
bool SyncFolder(const std::string& path);

/// Writes a file that does not exist yet; once it has its name, it is on the disk. Why it could not be
/// written, else empty.
[[nodiscard]] std::string WriteNewFile(const std::string& path, const std::string& bytes);

}  // namespace velmorin
