#include "hub.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

#include "nodebus.h"

namespace sim {
namespace {

constexpr int kListener = 0;            // epoll key of the listener; nodes count from 1
constexpr std::size_t kMaxNodes = 200;  // well below the usual limit of open files
constexpr int kTriesPerCall = 256;
constexpr int kSendBuffer = 1 << 20;  // as much patience with a slow node as the system grants
// Frames of a node that the hub reads ahead on a bus with a bit rate. About six more wait in the node's
// socket.
constexpr std::size_t kReadAhead = 4;
constexpr int kOwn = 0;  // the number under which the simulator's own frames go out

sockaddr_un AddressOf(const std::string& path) {
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path) {
        throw BusError(path + ": too long for a Unix socket (" + std::to_string(path.size()) +
                       " characters, at most " + std::to_string(sizeof address.sun_path - 1) + ")");
    }
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, path.size());
    return address;
}

Fd NewSocket(const std::string& path) {
    Fd fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!fd) throw SystemError(path + ": socket");
    return fd;
}

bool Bind(const Fd& fd, const sockaddr_un& address) {
    return bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

bool Connect(const Fd& fd, const sockaddr_un& address) {
    return connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

}  // namespace

std::unique_ptr<Bus> OpenBench(const std::string& dir, std::optional<int> bitrate, bool& joined) {
    joined = false;
    const std::string path = dir + "/can0";
    const sockaddr_un address = AddressOf(path);
    // Two simulators that start together must not both find the bus free, so one looks at a time.
    const Fd lock(open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!lock || flock(lock.get(), LOCK_EX) < 0) throw SystemError("--bench " + dir);

    Fd listener = NewSocket(path);
    if (!Bind(listener, address)) {
        if (errno != EADDRINUSE) throw SystemError(path + ": bind");
        struct stat file {};
        if (stat(path.c_str(), &file) == 0 && !S_ISSOCK(file.st_mode))
            throw BusError(path + ": exists and is not a socket");
        Fd node = NewSocket(path);
        if (Connect(node, address)) {
            if (bitrate)
                throw BusError("--bitrate " + std::to_string(*bitrate) + ": " + path +
                               " has a bus already; give the bit rate to the simulator that started first");
            joined = true;
            return std::make_unique<NodeBus>(std::move(node));
        }
        if (errno != ECONNREFUSED) throw SystemError(path + ": connect");
        if (unlink(path.c_str()) < 0 || !Bind(listener, address))
            throw SystemError(path + ": replacing a dead hub's socket");
    }
    if (listen(listener.get(), SOMAXCONN) < 0) throw SystemError(path + ": listen");
    return std::make_unique<Hub>(std::move(listener), path, bitrate);
}

Hub::Hub(Fd listener, std::string path, std::optional<int> bitrate)
    : listener_(std::move(listener)), path_(std::move(path)), epoll_(epoll_create1(EPOLL_CLOEXEC)) {
    if (!epoll_ || stat(path_.c_str(), &file_) < 0) throw SystemError(path_);
    Watch(listener_.get(), kListener);
    if (bitrate) timed_.emplace(*bitrate);
}

Hub::~Hub() {
    struct stat now {};
    if (stat(path_.c_str(), &now) == 0 && now.st_dev == file_.st_dev && now.st_ino == file_.st_ino)
        unlink(path_.c_str());
}

std::optional<Nanos> Hub::NextEnd() const {
    if (!timed_) return std::nullopt;
    for (const int node : leaving_)
        if (timed_->Waiting(node) == 0) return 0;  // to be told at once
    return timed_->NextEnd();
}

std::optional<BusEvent> Hub::Receive() {
    if (timed_)
        if (const std::optional<BusEvent> event = TakeEnded()) return event;
    // Bounded, since a node may send what is no frame for ever. One message of a node at a time: the ready
    // ones take turns.
    for (int i = 0; i < kTriesPerCall; ++i) {
        epoll_event ready{};
        if (epoll_wait(epoll_.get(), &ready, 1, 0) <= 0) return std::nullopt;
        if (ready.data.fd == kListener)
            AcceptAll();
        else if (const std::optional<BusEvent> event = ServeNode(ready.data.fd))
            return event;
    }
    return std::nullopt;
}

bool Hub::Send(const can_frame& frame, Nanos since) {
    if (timed_) {
        (void)timed_->Offer(kOwn, frame, since);
        return false;
    }
    PassOn(kOwn, frame);
    return true;
}

void Hub::Watch(int fd, int node) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = node;
    if (epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, fd, &event) < 0) throw SystemError(path_ + ": epoll");
}

void Hub::Hold(int node) {
    Node& held = nodes_.at(node);
    held.held = true;
    // Taken out rather than masked: a closed connection is told masked or not, for ever.
    epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, held.fd.get(), nullptr);
}

void Hub::AcceptAll() {
    for (;;) {
        Fd fd(accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!fd) {
            // Left waiting, a connection would wake the hub for ever.
            if (errno == EMFILE || errno == ENFILE) throw SystemError(path_ + ": accept");
            return;
        }
        if (nodes_.size() >= kMaxNodes) continue;
        setsockopt(fd.get(), SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof kSendBuffer);
        Watch(fd.get(), ++last_node_);
        nodes_.emplace(last_node_, Node{std::move(fd)});
    }
}

/// Reads one message of the node.
Hub::Heard Hub::ReadNode(int node, can_frame& frame) {
    const int fd = nodes_.at(node).fd.get();
    const ssize_t length = recv(fd, &frame, sizeof frame, MSG_DONTWAIT | MSG_TRUNC);
    if (length == static_cast<ssize_t>(sizeof frame)) return Heard::kFrame;
    if (length > 0 || (length < 0 && (errno == EAGAIN || errno == EINTR))) return Heard::kNothing;
    // An empty message reads as 0 too; only when the other end is closed and nothing waits is it the end.
    pollfd state{fd, POLLRDHUP, 0};
    int waiting = 0;
    if (length == 0 && (poll(&state, 1, 0) == 0 || (ioctl(fd, FIONREAD, &waiting) == 0 && waiting > 0)))
        return Heard::kNothing;
    return Heard::kEnd;
}

std::optional<BusEvent> Hub::ServeNode(int node) {
    can_frame frame{};
    switch (ReadNode(node, frame)) {
        case Heard::kNothing:
            return std::nullopt;
        case Heard::kFrame:
            if (timed_) {
                (void)timed_->Offer(node, frame, Now());
                if (timed_->Waiting(node) >= kReadAhead) Hold(node);
                return std::nullopt;
            }
            AcceptAll();  // whoever connected before this frame was sent hears it
            PassOn(node, frame);
            return BusEvent{BusEvent::kFrame, node, frame, Now()};
        case Heard::kEnd:
            nodes_.erase(node);
            if (timed_ && timed_->Waiting(node) > 0) {
                leaving_.insert(node);  // its last frames go first
                return std::nullopt;
            }
            return BusEvent{BusEvent::kNodeGone, node};
    }
    return std::nullopt;
}

/// The next frame that has ended on the bus by now, which its node's next one follows; or a node that has
/// gone.
std::optional<BusEvent> Hub::TakeEnded() {
    for (const int node : leaving_) {
        if (timed_->Waiting(node) > 0) continue;
        leaving_.erase(node);
        return BusEvent{BusEvent::kNodeGone, node};
    }
    const auto passed = timed_->TakeEnded(Now());
    if (!passed) return std::nullopt;
    AcceptAll();
    PassOn(passed->node, passed->frame);
    Refill(passed->node, passed->end);
    const auto kind = passed->node == kOwn ? BusEvent::kSent : BusEvent::kFrame;
    return BusEvent{kind, passed->node, passed->frame, passed->end};
}

/// Reads on from a node that was held. What it wrote meanwhile counts as waiting since `since`, when there
/// was room again, and not since the hub woke up.
void Hub::Refill(int node, Nanos since) {
    const auto found = nodes_.find(node);
    if (found == nodes_.end() || !found->second.held) return;
    can_frame frame{};
    while (timed_->Waiting(node) < kReadAhead) {
        if (ReadNode(node, frame) != Heard::kFrame) {
            found->second.held = false;
            return Watch(found->second.fd.get(), node);  // the end, too, is told there
        }
        (void)timed_->Offer(node, frame, since);
    }
}

void Hub::PassOn(int from, const can_frame& frame) {
    for (const auto& [node, each] : nodes_) {
        // A node that does not read loses frames; the bus does not wait for it.
        if (node != from) (void)send(each.fd.get(), &frame, sizeof frame, MSG_DONTWAIT | MSG_NOSIGNAL);
    }
}

}  // namespace sim
