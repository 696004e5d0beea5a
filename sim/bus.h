// The CAN bus as the simulator sees it, whichever kind it is.
#pragma once

#include <linux/can.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace sim {

/// What happened on the bus.
struct BusEvent {
    enum Kind {
        kFrame,     ///< `frame` was sent by node `node`
        kNodeGone,  ///< node `node` closed its connection (only a bus that keeps connections tells)
        kBusGone,   ///< the bus itself ended; nothing follows
    };
    Kind kind;
    int node = 0;  ///< numbered from 1; 0 where the bus cannot tell its nodes apart
    can_frame frame{};
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

    /// The next event, none when nothing is waiting. Never blocks.
    virtual std::optional<BusEvent> Receive() = 0;

    /// Puts one frame on the bus. Never blocks: a frame that a node or the interface cannot take is lost.
    virtual void Send(const can_frame& frame) = 0;
};

/// The bench bus DIR/can0: its hub, or a node on it when a living hub is there already (`joined` tells).
/// A socket file left by a dead hub is replaced. Throws BusError.
std::unique_ptr<Bus> OpenBench(const std::string& dir, bool& joined);

/// A real or virtual CAN interface. Throws BusError.
std::unique_ptr<Bus> OpenCan(const std::string& interface);

}  // namespace sim
