// A bus with a simulated device on it, in memory and in no time: the updater's end is one end of a socket
// pair. Frames pass in the order of their moments; `fate` may lose, double, delay, damage or hold back any of
// them.
#pragma once

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <optional>
#include <stdexcept>

#include "device.h"
#include "waiting.h"

/// What becomes of one frame.
struct Fate {
    int copies = 1;
    velmorin::Micros delay = 0;
    bool behind_next = false;  ///< arrives right after the next frame of its direction
};

class Desk : public velmorin::Waiting {
  public:
    enum Way { kToDevice, kToUpdater };

    explicit Desk(const sim::Settings& settings) : settings_(settings) {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends) != 0)
            throw std::runtime_error("no sockets");
        updater_end = ends[0];
        bus_end_ = ends[1];
        device.emplace(settings);
    }
    ~Desk() override { close(bus_end_); }
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    velmorin::Micros Now() override { return now; }
    /// Time goes on until `until`, or until a frame has arrived at the updater.
    void Wait(int, bool, velmorin::Micros until) override {
        can_frame frame{};
        while (read(bus_end_, &frame, sizeof frame) == sizeof frame) Offer(kToDevice, frame);
        while (!RunTo(until)) {
        }
    }
    /// The device is started anew and knows of nothing.
    void RestartDevice() { device.emplace(settings_); }

    /// Decides on the n-th frame of a way, counted from 0, and may change it. None: every frame arrives.
    std::function<Fate(Way, int, can_frame&)> fate;
    /// Called before every moment in which something happens.
    std::function<void()> before;
    velmorin::Micros now = 0;
    int updater_end = -1;  ///< the session closes it
    int count[2] = {};     ///< frames of either way so far
    std::optional<sim::Device> device;

    /// Brings a frame onto the bus, faults and all.
    void Offer(Way way, can_frame frame) {
        const int nth = count[way]++;
        const Fate what = fate ? fate(way, nth, frame) : Fate{};
        std::optional<can_frame>& held = held_[way];
        if (what.behind_next && !held) {
            held = frame;
            return;
        }
        for (int i = 0; i < what.copies; ++i) moments_.emplace(now + what.delay, Arrival{way, frame});
        if (held) moments_.emplace(now + what.delay, Arrival{way, *held});
        held.reset();
    }

  private:
    struct Arrival {
        Way way;
        can_frame frame;
    };

    /// The next thing that happens by `until`. True when the updater is to look.
    bool RunTo(velmorin::Micros until) {
        if (before) before();
        while (const auto reply = device->TakeDue(now)) Offer(kToUpdater, *reply);
        const auto due = device->NextDue();
        const auto next = moments_.begin();
        const bool arrives = next != moments_.end() && next->first <= until && (!due || next->first <= *due);
        if (!arrives) {
            now = std::max(now, due && *due < until ? *due : until);
            return !due || *due >= until;
        }
        now = std::max(now, next->first);
        const Arrival arrival = next->second;
        moments_.erase(next);
        if (arrival.way == kToDevice) {
            device->Receive(arrival.frame, now);
            return false;
        }
        return write(bus_end_, &arrival.frame, sizeof arrival.frame) == sizeof arrival.frame;
    }

    sim::Settings settings_;
    int bus_end_ = -1;
    std::multimap<velmorin::Micros, Arrival> moments_;
    std::optional<can_frame> held_[2];
};
