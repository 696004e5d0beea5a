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

constexpr int kListener = 0;            // where nodes have their numbers
constexpr std::size_t kMaxNodes = 200;  // well below the usual limit of open files
constexpr int kTriesPerCall = 256;
constexpr int kSendBuffer = 1 << 20;  // as much patience with a slow node as the system grants

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

std::unique_ptr<Bus> OpenBench(const std::string& dir, bool& joined) {
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
            joined = true;
            return std::make_unique<NodeBus>(std::move(node));
        }
        if (errno != ECONNREFUSED) throw SystemError(path + ": connect");
        if (unlink(path.c_str()) < 0 || !Bind(listener, address))
            throw SystemError(path + ": replacing a dead hub's socket");
    }
    if (listen(listener.get(), SOMAXCONN) < 0) throw SystemError(path + ": listen");
    return std::make_unique<Hub>(std::move(listener), path);
}

Hub::Hub(Fd listener, std::string path)
    : listener_(std::move(listener)), path_(std::move(path)), epoll_(epoll_create1(EPOLL_CLOEXEC)) {
    if (!epoll_ || stat(path_.c_str(), &file_) < 0) throw SystemError(path_);
    Watch(listener_.get(), kListener);
}

Hub::~Hub() {
    struct stat now {};
    if (stat(path_.c_str(), &now) == 0 && now.st_dev == file_.st_dev && now.st_ino == file_.st_ino)
        unlink(path_.c_str());
}

std::optional<BusEvent> Hub::Receive() {
    // Bounded, since a node may send what is no frame for ever. One message of a node at a time: the ready
    // ones take turns.
    for (int i = 0; i < kTriesPerCall; ++i) {
        epoll_event ready{};
        if (epoll_wait(epoll_.get(), &ready, 1, 0) <= 0) return std::nullopt;
        if (ready.data.fd == kListener)
            AcceptAll();
        else if (const std::optional<BusEvent> event = ReadNode(ready.data.fd))
            return event;
    }
    return std::nullopt;
}

void Hub::Watch(int fd, int node) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = node;
    if (epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, fd, &event) < 0) throw SystemError(path_ + ": epoll");
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
        nodes_.emplace(last_node_, std::move(fd));
    }
}

std::optional<BusEvent> Hub::ReadNode(int node) {
    const int fd = nodes_.at(node).get();
    can_frame frame{};
    const ssize_t length = recv(fd, &frame, sizeof frame, MSG_DONTWAIT | MSG_TRUNC);
    if (length == static_cast<ssize_t>(sizeof frame)) {
        AcceptAll();  // whoever connected before this frame was sent hears it
        PassOn(node, frame);
        return BusEvent{BusEvent::kFrame, node, frame};
    }
    if (length > 0 || (length < 0 && (errno == EAGAIN || errno == EINTR))) return std::nullopt;
    // An empty message reads as 0 too; only when the other end is closed and nothing waits is it the end.
    pollfd state{fd, POLLRDHUP, 0};
    int waiting = 0;
    if (length == 0 && (poll(&state, 1, 0) == 0 || (ioctl(fd, FIONREAD, &waiting) == 0 && waiting > 0)))
        return std::nullopt;
    nodes_.erase(node);
    return BusEvent{BusEvent::kNodeGone, node, {}};
}

void Hub::PassOn(int from, const can_frame& frame) {
    for (const auto& [node, fd] : nodes_) {
        // A node that does not read loses frames; the bus does not wait for it.
        if (node != from) (void)send(fd.get(), &frame, sizeof frame, MSG_DONTWAIT | MSG_NOSIGNAL);
    }
}

}  // namespace sim
