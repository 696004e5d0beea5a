// A bus behind one descriptor: a node on someone else's bench, or a raw CAN socket.
#pragma once

#include <string>

#include "fd.h"
#include "simbus.h"

namespace sim {

class NodeBus : public Bus {
  public:
    /// `fd` is non-blocking; every read and write on it is one whole 16-byte frame.
    explicit NodeBus(Fd fd) : fd_(std::move(fd)) {}

    int fd() const override { return fd_.get(); }
    std::optional<BusEvent> Receive() override;
    bool Send(const can_frame& frame, Nanos since) override;

  private:
    Fd fd_;
};

}  // namespace sim
