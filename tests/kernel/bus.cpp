// A CAN bus of two nodes inside a test kernel: two serial-line CAN interfaces, can0 and can1, on two
// pseudo-terminals whose far ends are wired together here, one frame per 1.1 ms as on a bus at 125 kbit/s.
//
//     kernel-bus FIFO        says "ready" on standard output, then takes commands from FIFO, one a line:
//         stall              nothing passes any more, so that transmit queues fill up
//         resume             everything passes again
//         inject N TEXT      gives TEXT, a line of the serial-line protocol, to interface canN
#include <fcntl.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kSerialLineCan = 17;  // the line discipline
constexpr std::chrono::microseconds kFrameTime{1100};
constexpr std::size_t kReadSize =
    32;  // about one frame: the rest waits in the kernel's queues, as behind a controller

int Check(int result, const char* call) {
    if (result >= 0) return result;
    std::perror(call);
    std::exit(EXIT_FAILURE);
}

/// Takes the next whole line out of `bytes`; false when there is none.
bool TakeLine(std::string& bytes, char end, std::string& line) {
    const std::size_t length = bytes.find(end);
    if (length == std::string::npos) return false;
    line = bytes.substr(0, length);
    bytes.erase(0, length + 1);
    return true;
}

/// One interface and the far end of its serial line.
class Node {
  public:
    explicit Node(const std::string& name) : far_(Check(posix_openpt(O_RDWR | O_NOCTTY), "posix_openpt")) {
        Check(grantpt(far_), "grantpt");
        Check(unlockpt(far_), "unlockpt");
        line_ = Check(open(ptsname(far_), O_RDWR | O_NOCTTY), "open");
        termios settings{};
        Check(tcgetattr(line_, &settings), "tcgetattr");
        cfmakeraw(&settings);
        Check(tcsetattr(line_, TCSANOW, &settings), "tcsetattr");
        Check(ioctl(line_, TIOCSETD, &kSerialLineCan), "TIOCSETD");
        Rename(name);
    }

    int fd() const { return far_; }

    void Fetch() {
        std::array<char, kReadSize> piece{};
        const ssize_t count = Check(static_cast<int>(read(far_, piece.data(), piece.size())), "read");
        sent_.append(piece.data(), static_cast<std::size_t>(count));
    }

    /// The next frame that the interface sent. Its other lines (open, close, bit rate) need no answer.
    bool TakeFrame(std::string& frame) {
        while (TakeLine(sent_, '\r', frame)) {
            if (!frame.empty() && std::strchr("tTrR", frame[0]) != nullptr) return true;
        }
        return false;
    }

    void Deliver(const std::string& text) const {
        const std::string bytes = text + '\r';
        Check(static_cast<int>(write(far_, bytes.data(), bytes.size())), "write");
    }

  private:
    void Rename(const std::string& name) const {
        ifreq request{};
        Check(ioctl(line_, SIOCGIFNAME, request.ifr_name), "SIOCGIFNAME");
        name.copy(request.ifr_newname, IFNAMSIZ - 1);
        const int control = Check(socket(AF_INET, SOCK_DGRAM, 0), "socket");
        Check(ioctl(control, SIOCSIFNAME, &request), "SIOCSIFNAME");
        close(control);
    }

    int far_;
    int line_ = -1;
    std::string sent_;
};

class Bus {
  public:
    explicit Bus(const char* fifo) : commands_(Check(open(fifo, O_RDWR | O_NONBLOCK), fifo)) {}

    void Run() {
        while (true) {
            PassFrame();
            Wait();
        }
    }

  private:
    /// Puts the next frame on the wire when the wire is free; the nodes take turns.
    void PassFrame() {
        if (stalled_ || Clock::now() < free_at_) return;
        std::string frame;
        for (int i = 0; i < 2; ++i) {
            turn_ ^= 1;
            if (!nodes_[turn_].TakeFrame(frame)) continue;
            nodes_[turn_ ^ 1].Deliver(frame);
            free_at_ = Clock::now() + kFrameTime;
            return;
        }
        idle_ = true;
    }

    void Wait() {
        const auto left = std::max(Clock::duration::zero(), free_at_ - Clock::now());
        const timespec until_free{0, static_cast<long>(std::chrono::nanoseconds(left).count())};
        std::array<pollfd, 3> watched{{{commands_, POLLIN, 0}, {-1, POLLIN, 0}, {-1, POLLIN, 0}}};
        if (idle_ && !stalled_) {
            for (std::size_t i = 0; i < 2; ++i) watched[i + 1].fd = nodes_[i].fd();
        }
        Check(ppoll(watched.data(), watched.size(), idle_ || stalled_ ? nullptr : &until_free, nullptr),
              "ppoll");
        if (watched[0].revents != 0) ReadCommands();
        for (std::size_t i = 0; i < 2; ++i) {
            if ((watched[i + 1].revents & POLLIN) == 0) continue;
            nodes_[i].Fetch();
            idle_ = false;
        }
    }

    void ReadCommands() {
        std::array<char, 256> piece{};
        const ssize_t count = read(commands_, piece.data(), piece.size());
        if (count > 0) text_.append(piece.data(), static_cast<std::size_t>(count));
        std::string command;
        while (TakeLine(text_, '\n', command)) Obey(command);
    }

    void Obey(std::string_view command) {
        constexpr std::string_view kInject = "inject ";
        if (command == "stall") {
            stalled_ = true;
        } else if (command == "resume") {
            stalled_ = false;
        } else if (command.starts_with(kInject) && command.size() > kInject.size() + 2) {
            nodes_[command[kInject.size()] == '1' ? 1 : 0].Deliver(
                std::string(command.substr(kInject.size() + 2)));
        } else {
            std::fprintf(stderr, "kernel-bus: no such command: %.*s\n", static_cast<int>(command.size()),
                         command.data());
            std::exit(EXIT_FAILURE);
        }
    }

    std::array<Node, 2> nodes_{Node("can0"), Node("can1")};
    int commands_;
    std::string text_;
    std::size_t turn_ = 0;
    Clock::time_point free_at_{};
    bool idle_ = true;  // no whole frame is at hand
    bool stalled_ = false;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: kernel-bus FIFO\n");
        return EXIT_FAILURE;
    }
    Bus bus(argv[1]);
    const sched_param first{1};  // a wire does not wait for its turn
    Check(sched_setscheduler(0, SCHED_FIFO, &first), "sched_setscheduler");
    std::puts("ready");
    std::fflush(stdout);
    bus.Run();
}
