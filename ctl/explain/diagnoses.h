// Why an update came out as it did, in words for whoever stands beside the controller.
#pragma once

#include <string>
#include <vector>

#include "update.h"

namespace velmorin {

struct Diagnosis {
    const char* id;
    std::string text;
    Finding evidence;  ///< how often, when first, which group
};

/// Every one that applies, the cause of the update's end first. Never empty for an update that is over.
std::vector<Diagnosis> Diagnose(const Update& update);

/// The update's result in words; for one without a result, that the log does not tell.
std::string ResultWords(const Update& update);

/// Image size in bytes: what the protocol told, else that of the packets; 0: no group was started.
std::uint64_t SizeOf(const Update& update);
/// Bytes in confirmed groups for each second from the first group start to the last verdict; 0 without one.
double RateOf(const Update& update);

}  // namespace velmorin
