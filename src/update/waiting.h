// The one place where a watched run waits and takes the time. A test puts its own in its place.
#pragma once

#include <cstdint>

namespace velmorin {

/// Microseconds on a monotonic clock.
using Micros = std::int64_t;

class Waiting {
  public:
    virtual ~Waiting() = default;
    virtual Micros Now() = 0;
    /// Waits until a frame can be read from `fd`, or written to it if `writable` asks for that, or `until`,
    /// or a signal; whichever comes first.
    virtual void Wait(int fd, bool writable, Micros until) = 0;
};

/// The machine's own clock and poll.
class SystemWaiting : public Waiting {
  public:
    Micros Now() override;
    void Wait(int fd, bool writable, Micros until) override;
};

}  // namespace velmorin
