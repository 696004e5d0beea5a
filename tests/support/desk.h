// A bus with a simulated device on it, in memory and in computed time: what the session's port reads and
// writes, every wait and the wall clock come here and never reach the system. A program links velmorin_desk.
#pragma once

#include <linux/can.h>
#include <sys/types.h>

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "canframe.h"
#include "device.h"
#include "waiting.h"

/// Puts a session on the bus, for port 1 and the device e0 10 20. One at a time, and it outlives its
/// session's runs. Without settings nobody is on the bus.
class Desk : public velmorin::Waiting {
  public:
    using Micros = velmorin::Micros;
    enum Way { kToDevice, kToUpdater };
    static constexpr Micros kNever = -1;

    /// What becomes of one frame: when it arrives, from now on, and when it does again.
    struct Fate {
        Micros first = 0;
        Micros second = kNever;
        bool behind_next = false;  ///< right after the next frame of its direction
    };
    /// What one read gives: the first bytes of a frame, or a fault for a negative number.
    struct Arrival {
        int length;
        can_frame frame;
    };

    explicit Desk(canframe& session, const std::optional<sim::Settings>& settings = sim::Settings());
    ~Desk() override;

    Micros Now() override { return now; }
    void Wait(int fd, bool writable, Micros until) override;
    /// All that happens until then.
    void RunTo(Micros until);
    void At(Micros moment, std::function<void()> act) { moments_.emplace(moment, std::move(act)); }
    /// The device is started anew and knows of nothing.
    void StartDevice() { device.emplace(*settings_); }
    /// Brings a frame onto the bus, whose fate is still open.
    void Offer(Way way, can_frame frame, Micros delay = 0);
    /// The frame has come.
    void Arrive(Way way, const can_frame& frame);

    // For the port and the clock.
    ssize_t Read(void* to);
    ssize_t Write(const void* from);
    Micros WallClock() const { return wall_start_ + now + wall_jump; }

    std::optional<sim::Device> device;
    bool deaf = false;  ///< the device neither hears nor sends
    std::function<Fate(Way, int nth, can_frame&)>
        fate;                                         ///< of the n-th frame of its way, from 0; may change it
    std::function<void(Way, const can_frame&)> seen;  ///< the session wrote or read it
    std::function<void(const can_frame&)> passed;     ///< it was on the bus, whoever took it
    Micros now = 0;
    Micros wall_jump = 0;
    Micros last_offer = 0;      ///< when the session last wrote, or tried to
    int count[2] = {};          ///< frames of either way so far
    std::deque<Arrival> inbox;  ///< what the session has still to read
    int refused = 0;            ///< writes of the session that failed
    int read_fault = 0;         ///< errno of every read, 0 for none
    int write_fault = 0;        ///< the same of writes
    Micros frame_time = 0;      ///< the bus takes so long for one frame,
    int room = 4;               ///< the queue holds so many,
    int full_fault = 0;         ///< and a write to a full one fails so

  private:
    bool HasRoom() const { return busy_until_ - now <= (room - 1) * frame_time; }
    /// Up to the next thing that happens by `until`; false when that is none.
    bool Step(Micros until);

    const std::optional<sim::Settings> settings_;
    const Micros wall_start_;
    std::multimap<Micros, std::function<void()>> moments_;
    std::optional<can_frame> held_[2];
    Micros busy_until_ = 0;
};

/// Packs an image into the session as the live path does, but for the staging file.
void PackInto(canframe& session, const std::string& image);

/// A reply of the device e0 in the job of port 1, type 10, address 20; the bytes behind the status zero.
can_frame ReplyOf(unsigned int pf, unsigned char status = 0);

/// Brings the answer of a device that says yes to everything.
void SayYes(Desk& desk, const can_frame& command);
