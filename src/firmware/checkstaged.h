// Is a staged job what was packed?
#pragma once

#include <list>

#include "jobs.h"
#include "sendcache.h"

namespace velmorin {

/// Checks that the cache holds the job's image whole and as it was packed: addresses, identifiers, packets,
/// order, sizes and every checksum. What differs first, for a person to read.
[[nodiscard]] Fault CheckStaged(const JobRow& job, const std::list<s_addnode>& cache);

}  // namespace velmorin
