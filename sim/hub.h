// The bench bus: a Unix socket on which every message is passed to every other connected node.
#pragma once

#include <sys/stat.h>

#include <map>
#include <optional>
#include <set>
#include <string>

#include "fd.h"
#include "simbus.h"
#include "timedbus.h"

namespace sim {

/// With a bit rate a message reaches the other nodes at its frame's end on the bus. A node's messages are
/// then read only while few of its frames wait: its socket fills, and its next write is refused as by a full
/// transmit queue.
class Hub : public Bus {
  public:
    /// `listener` listens on `path`, non-blocking; the hub owns both and removes the file at its end, unless
    /// another hub has taken the path meanwhile. Throws BusError.
    Hub(Fd listener, std::string path, std::optional<int> bitrate);
    ~Hub() override;
    Hub(const Hub&) = delete;
    Hub& operator=(const Hub&) = delete;

    int fd() const override { return epoll_.get(); }
    std::optional<Nanos> NextEnd() const override;
    std::optional<BusEvent> Receive() override;
    bool Send(const can_frame& frame, Nanos since) override;

  private:
    struct Node {
        Fd fd;
        bool held = false;  ///< not read from, since enough of its frames wait
    };
    enum class Heard { kFrame, kNothing, kEnd };

    void Watch(int fd, int node);
    void Hold(int node);
    void AcceptAll();
    Heard ReadNode(int node, can_frame& frame);
    std::optional<BusEvent> ServeNode(int node);
    std::optional<BusEvent> TakeEnded();
    void Refill(int node, Nanos since);
    void PassOn(int from, const can_frame& frame);

    Fd listener_;
    std::string path_;
    struct stat file_ {};
    Fd epoll_;
    std::map<int, Node> nodes_;
    int last_node_ = 0;
    std::optional<TimedBus> timed_;
    std::set<int> leaving_;  ///< closed their connections while frames of theirs wait
};

}  // namespace sim
