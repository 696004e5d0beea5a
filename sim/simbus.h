// The CAN bus as the simulator sees it, whichever kind it is.
#pragma once

#include <linux/can.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "clock.h"

namespace sim {

/// What happened on the bus.
struct BusEvent {
    enum Kind {
        kFrame,     ///< `frame` was sent by node `node`
        kSent,      ///< `frame`, given to Send before, has left
        kNodeGone,  ///< node `node` closed its connection (only a bus that keeps connections tells)
        kBusGone,   ///< the bus itself ended; nothing follows
    };
    Kind kind;
    int node = 0;  ///< numbered from 1; 0 where the bus cannot tell its nodes apart
    can_frame frame{};
    Nanos when = 0;  ///< of a frame: its end on a bus with a bit rate, else when it was read
};

/// The bus could not be opened; the text says what, on what, and the system's reason.
class BusError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// "WHAT: REASON" with the reason of the system's last error.
BusError SystemError(const std::string& what);

class Bus {
  public:
    virtual ~Bus() = default;

    /// Readable when `Receive` has something to tell.
    virtual int fd() const = 0;

    /// When `Receive` has something to tell without `fd` being readable; none while nothing is on its way.
    virtual std::optional<Nanos> NextEnd() const { return std::nullopt; }

    /// The next event, none when nothing is waiting. Never blocks.
    virtual std::optional<BusEvent> Receive() = 0;

    /// Gives the bus one frame that waits since `since`. True when it has left; false when it waits for its
    /// turn, which an event tells. Never blocks: a frame that a node or the interface cannot take is lost.
    virtual bool Send(const can_frame& frame, Nanos since) = 0;
};

/// The bench bus DIR/can0: its hub, or a node on it when a living hub is there already (`joined` tells).
/// A socket file left by a dead hub is replaced. `bitrate` in bit/s; none: frames take no time. Only a hub
/// can have one. Throws BusError.
std::unique_ptr<Bus> OpenBench(const std::string& dir, std::optional<int> bitrate, bool& joined);

/// A real or virtual CAN interface. Throws BusError.
std::unique_ptr<Bus> OpenCan(const std::string& interface);

}  // namespace sim
