// Why something could not be done with the staging file.
#pragma once

#include <string>

namespace velmorin {

enum class FaultKind {
    kNone,
    kMissing,      ///< there is no staging file
    kForeign,      ///< something else lies in its place: a folder, another program's file, an empty one
    kUnreadable,   ///< it may not be read
    kNotWritable,  ///< it may be read alone
    kDamaged,      ///< it is no longer what SQLite wrote
    kBusy,         ///< others held it for as long as we wait
    kDisk,         ///< the disk is full, or failed
    kNoJob,        ///< there is no such job, or it is not open
    kSignal,       ///< a signal ended the work
};

/// False when all is well.
struct [[nodiscard]] Fault {
    FaultKind kind = FaultKind::kNone;
    std::string text;  ///< for a person: the reason and, after a semicolon, the remedy

    explicit operator bool() const { return kind != FaultKind::kNone; }
};

}  // namespace velmorin
