// Who holds a lock on a file?
#pragma once

#include <string>

namespace velmorin {

/// The other processes that hold a lock on any part of the file, such as "sqlite3 (pid 815)", with commas
/// between them; empty when the system does not tell.
std::string HoldersOf(const std::string& path);

}  // namespace velmorin
