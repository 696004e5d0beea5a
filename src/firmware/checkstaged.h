// Is a staged job what was packed?
#pragma once

#include <list>
#include <string>

#include "jobs.h"
#include "sendcache.h"

namespace velmorin {

/// Puts the image together again that the cache holds of the job, and checks that it is whole and as it was
/// packed: addresses, identifiers, packets, order, sizes and every checksum. What differs first, for a person
/// to read; empty when nothing does.
[[nodiscard]] std::string CheckStaged(const JobRow& job, const std::list<s_addnode>& cache,
                                      std::string* image);

}  // namespace velmorin
