#include "interface.h"

#include <fcntl.h>
#include <libsocketcan.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "display.h"
#include "platform.h"

namespace {

constexpr char kLookAt[] = "look at the bit rate, the termination, the wiring and the device's power";
constexpr int kAlone =
    128;  // transmit errors of a controller that nobody acknowledges: it stops counting there

class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    operator int() const { return fd_; }

  private:
    int fd_;
};

/// libsocketcan tells standard error of every question that an interface has no answer to. What matters of it
/// we say ourselves.
class Hush {
  public:
    Hush() : null_(open("/dev/null", O_WRONLY | O_CLOEXEC)) { dup2(null_, STDERR_FILENO); }
    ~Hush() { dup2(errors_, STDERR_FILENO); }
    Hush(const Hush&) = delete;
    Hush& operator=(const Hush&) = delete;

  private:
    Descriptor errors_{fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)};
    Descriptor null_;
};

const char* StateText(int state) {
    switch (state) {
        case CAN_STATE_ERROR_ACTIVE:
            return "error-active";
        case CAN_STATE_ERROR_WARNING:
            return "error-warning";
        case CAN_STATE_ERROR_PASSIVE:
            return "error-passive";
        case CAN_STATE_BUS_OFF:
            return "bus-off";
        case CAN_STATE_STOPPED:
            return "stopped";
        case CAN_STATE_SLEEPING:
            return "sleeping";
        default:
            return "unknown";
    }
}

void AskController(const char* name, InterfaceState* interface) {
    const Hush hush;
    can_bittiming timing{};
    if (can_get_bittiming(name, &timing) == 0 && timing.bitrate > 0) {
        interface->bitrate = static_cast<int>(timing.bitrate);
    }
    int state = 0;
    if (can_get_state(name, &state) == 0) interface->state = StateText(state);
    can_berr_counter errors{};
    if (can_get_berr_counter(name, &errors) == 0) {
        interface->tx_errors = errors.txerr;
        interface->rx_errors = errors.rxerr;
    }
}

InterfaceState LookAtBench(const std::string& name) {
    const Descriptor fd(velmorin::platform::OpenBusSocket());
    int index = 0;
    InterfaceState bench;
    bench.exists = bench.is_can = bench.up = velmorin::platform::FindInterface(fd, name.c_str(), &index) == 0;
    return bench;
}

std::string Counters(const InterfaceState& interface) {
    if (!interface.tx_errors || !interface.rx_errors) return "";
    return Format(" (error counters: %d sending, %d receiving)", *interface.tx_errors, *interface.rx_errors);
}

bool IsIn(const InterfaceState& interface, const char* state) {
    return interface.state && *interface.state == state;
}

/// Down, the bit rate, up. The system's reason when it does not work.
std::string SetUp(const std::string& name, const InterfaceState& before, int bitrate) {
    const Hush hush;
    errno = 0;
    const bool has_controller = before.state.has_value() || before.bitrate.has_value();
    if (has_controller && before.bitrate != bitrate) {
        if (before.up && can_do_stop(name.c_str()) != 0) return std::strerror(errno);
        if (can_set_bitrate(name.c_str(), static_cast<unsigned int>(bitrate)) != 0)
            return std::strerror(errno);
    }
    return can_do_start(name.c_str()) == 0 ? "" : std::strerror(errno);
}

}  // namespace

InterfaceState LookAtInterface(const std::string& name) {
    if (!velmorin::platform::BenchFolder().empty()) return LookAtBench(name);
    InterfaceState interface;
    const Descriptor fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    name.copy(request.ifr_name, IFNAMSIZ - 1);
    if (ioctl(fd, SIOCGIFHWADDR, &request) != 0) return interface;
    interface.exists = true;
    interface.is_can = request.ifr_hwaddr.sa_family == ARPHRD_CAN;
    if (ioctl(fd, SIOCGIFFLAGS, &request) == 0) interface.up = (request.ifr_flags & IFF_UP) != 0;
    if (interface.is_can) AskController(name.c_str(), &interface);
    return interface;
}

std::string InterfaceFault(const InterfaceState& interface, int bitrate) {
    if (!interface.exists) {
        return velmorin::platform::BenchFolder().empty()
                   ? "no such interface; ip link shows those that there are"
                   : "no such interface; start velmorin-sim --bench on this folder";
    }
    if (!interface.is_can) return "not a CAN interface; name another one with --interface";
    if (!interface.up)
        return "down; bring it up as root, which update and download do unless told --no-setup";
    if (IsIn(interface, "bus-off")) {
        return "bus off" + Counters(interface) + "; " + kLookAt +
               ", then take the interface down and up again";
    }
    if (interface.bitrate && bitrate != 0 && *interface.bitrate != bitrate) {
        return Format("runs at %d bit/s, not at %d; choose it with --bitrate, or set it as root",
                      *interface.bitrate, bitrate);
    }
    return "";
}

std::string InterfaceWarning(const InterfaceState& interface) {
    if (!IsIn(interface, "error-passive")) return "";
    return "error-passive" + Counters(interface) + ": frames are damaged or not acknowledged; " + kLookAt;
}

std::string PrepareInterface(const std::string& name, int bitrate, bool setup) {
    InterfaceState interface = LookAtInterface(name);
    const bool wrong_rate = interface.bitrate.value_or(bitrate) != bitrate;
    std::string refused;
    if (interface.is_can && setup && (!interface.up || wrong_rate)) {
        refused = SetUp(name, interface, bitrate);
        interface = LookAtInterface(name);
    }
    const std::string fault = InterfaceFault(interface, bitrate);
    return fault.empty() || refused.empty() ? fault : "cannot be set up: " + refused + "; it is " + fault;
}

namespace {

/// What the interface tells of a job that failed; empty when it tells nothing.
std::string VisibleFault(const std::string& name, const InterfaceState& interface) {
    const std::string fault = InterfaceFault(interface, 0);
    if (!fault.empty()) return name + ": " + fault;
    if (interface.tx_errors.value_or(0) < kAlone) return "";
    return "nobody on the bus acknowledges a frame" + Counters(interface) + "; " + kLookAt;
}

}  // namespace

std::string LostBusAdvice(const std::string& name) {
    const InterfaceState interface = LookAtInterface(name);
    const std::string fault = VisibleFault(name, interface);
    return fault.empty() ? name + ": up again" + Counters(interface) + "; try again" : fault;
}

std::string SilenceAdvice(const std::string& name, int charge_address) {
    const InterfaceState interface = LookAtInterface(name);
    const std::string fault = VisibleFault(name, interface);
    if (!fault.empty()) return fault;
    return "look at the device's power and at its address" +
           Format(", --charge %02x", static_cast<unsigned int>(charge_address)) + Counters(interface);
}
