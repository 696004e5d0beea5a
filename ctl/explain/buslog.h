// Hands every frame of a log to the update that it belongs to, and sums up the log itself.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bitrate.h"
#include "follower.h"
#include "update.h"

namespace velmorin {

class BusLog {
  public:
    /// Takes frames in the log's order. A clock that goes back is counted, and the time taken on from there.
    void Take(const LoggedFrame& logged);
    void NoteBadLine(bool foreign);

    /// The updates in the order in which they began. `ran_until`: the updater is known to have run until
    /// then; nothing: only the log's last frame is known. Afterwards the object is used up.
    std::vector<Update> Finish(std::optional<Micros> ran_until = std::nullopt);

    /// Whole after Finish.
    LogFacts facts;

    static constexpr std::size_t kMaxUpdates = 4096;
    static constexpr std::size_t kMaxInterfaces = 64;

  private:
    struct Interface {
        std::string name;
        std::unique_ptr<Follower> followers[256];  // by device address
        bool any = false;
    };

    Micros StraightTime(Micros at);
    Interface* InterfaceNamed(std::string_view name);
    void TakeCommand(Interface* bus, const can_frame& frame, Micros at);
    void TakeReply(Interface* bus, const can_frame& frame, Micros at);
    Follower& Begin(Interface* bus, std::uint8_t charge, Micros at);
    void Conclude(std::unique_ptr<Follower> follower, Micros end, bool ran, bool replaced);

    std::vector<std::unique_ptr<Interface>> interfaces_;
    std::vector<Update> updates_;
    BitRateGuess bit_rate_;
    Micros raw_last_ = 0;
    Micros shift_ = 0;  // added to the log's times so that they never decrease
};

}  // namespace velmorin
