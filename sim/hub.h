// The bench bus: a Unix socket on which every message is passed to every other connected node.
#pragma once

#include <sys/stat.h>

#include <map>
#include <optional>
#include <string>

#include "bus.h"
#include "fd.h"

namespace sim {

class Hub : public Bus {
  public:
    /// `listener` listens on `path`, non-blocking; the hub owns both and removes the file at its end, unless
    /// another hub has taken the path meanwhile. Throws BusError.
    Hub(Fd listener, std::string path);
    ~Hub() override;
    Hub(const Hub&) = delete;
    Hub& operator=(const Hub&) = delete;

    int fd() const override { return epoll_.get(); }
    std::optional<BusEvent> Receive() override;
    void Send(const can_frame& frame) override { PassOn(0, frame); }

  private:
    void Watch(int fd, int node);
    void AcceptAll();
    std::optional<BusEvent> ReadNode(int node);
    void PassOn(int from, const can_frame& frame);

    Fd listener_;
    std::string path_;
    struct stat file_ {};
    Fd epoll_;
    std::map<int, Fd> nodes_;
    int last_node_ = 0;
};

}  // namespace sim
