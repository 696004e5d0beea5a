// The protocol's pace on a log's clock, and what error frames say.
#pragma once

#include <linux/can/error.h>

#include "update.h"

namespace velmorin {

constexpr Micros kPass = 1000 * kPassMs;
constexpr Micros kBeat = kPass * kHeartbeatPasses;  ///< from heartbeat to heartbeat, outside the idle step
/// From one send of a command to the next: the passes that count the timer down, and the one that finds it
/// run out.
constexpr Micros kResend = 1000 * (kResendMs + kPassMs);

constexpr Micros kNever = INT64_MAX;

constexpr canid_t kErrorNoAck = CAN_ERR_ACK;
constexpr canid_t kErrorBusOff = CAN_ERR_BUSOFF;

}  // namespace velmorin
