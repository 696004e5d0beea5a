// One job for a person who watches it: the session's frames and steps, with a guard, recovery, pace, reaction
// and patience around them.
#pragma once

#include "canframe.h"
#include "waiting.h"
#include "watcher.h"

namespace velmorin {

constexpr int kPaceMax = 0;         ///< as fast as the bus takes packets
constexpr int kPaceMaxCounts = 10;  ///< what kPaceMax counts as when a refused group goes out slower

struct RunSettings {
    bool trusting = false;  ///< believe every frame, as velmorin does
    int pace = 1;           ///< packets in 10 ms, or kPaceMax
    int patience_s = 30;    ///< 0: for ever
};

/// Carries out the job that the session holds: bus values, groups with their packets and the image's
/// checksums are set, `m_canhandle` is open (OpenBus). Blocks until the job has ended; returns within 10 ms
/// of a signal that CaughtSignal() tells. Afterwards the session's groups tell which are confirmed; nothing
/// has been recorded.
[[nodiscard]] RunReport RunWatched(canframe& session, const RunSettings& settings, Watcher& watcher,
                                   Waiting& waiting);

}  // namespace velmorin
