// The bus of a watched run: like CanPort, but it tells why a frame was not taken, and sees the flags of
// identifiers.
#pragma once

#include <string>

#include "CanPort.h"

namespace velmorin {

/// Opens a port on an interface that is up, or on a bench. Its send buffer is the least that the kernel
/// allows, so that no queue of ours hides the bus; on a real interface it also hears what the controller
/// tells of faults. Null, and the reason in `fault`, when it cannot be opened. The caller, or the session
/// that it is given to, closes it.
[[nodiscard]] CAN_Port* OpenBus(const std::string& interface, std::string* fault);

/// On a real interface, lets the kernel drop what is no frame of the update.
void HearUpdateOnly(CAN_Port* port);

enum class BusState {
    kDone,   ///< a whole frame was moved
    kEmpty,  ///< reading: none is waiting
    kFull,   ///< writing: the socket's buffer is full, wait until it is writable
    kBusy,   ///< writing: the interface's queue is full, which nothing tells the end of
    kDown,   ///< the interface is down and may come back
    kGone,   ///< there is no bus any more
};

/// Reads one frame, flags and all. Never blocks.
[[nodiscard]] BusState ReadFrame(CAN_Port* port, can_frame* frame);
/// Writes one frame. Never blocks; a frame that is not kDone is not on its way.
[[nodiscard]] BusState WriteFrame(CAN_Port* port, const can_frame& frame);

}  // namespace velmorin
