// The bus of a watched run.
#pragma once

#include <string>

#include "CanPort.h"

namespace velmorin {

/// Opens a port on an interface that is up, or on a bench. Its send buffer is the least that the kernel
/// allows, so that a queue of ours never hides the bus; on a real interface only the device's kinds of frames
/// and what the controller tells of faults are heard. Null, and the reason in `fault`, when it cannot be
/// opened. The caller, or the session that it is given to, closes it.
CAN_Port* OpenBus(const std::string& interface, std::string* fault);

}  // namespace velmorin
