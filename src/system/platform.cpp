#include "platform.h"

#include <linux/can.h>
#include <linux/can/raw.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "process.h"

namespace velmorin::platform {
namespace {

constexpr char kFlashFolder[] = "/mnt/nandflash/";

/// Connects to the hub behind DIR/name. Whatever keeps the hub away reads as a missing interface.
int ConnectToHub(int fd, const std::string& bench, const char* name) {
    const std::string path = bench + "/" + name;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        std::fprintf(stderr, "bench: %s: path too long for a Unix socket (at most %zu bytes)\n", path.c_str(),
                     sizeof address.sun_path - 1);
        std::exit(EXIT_FAILURE);
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return 0;
    errno = ENODEV;
    return -1;
}

}  // namespace

std::string BenchFolder() {
    const char* folder = std::getenv("VELMORIN_BENCH");
    return folder == nullptr ? "" : folder;
}

void AnnounceBench(const char* program) {
    const std::string bench = BenchFolder();
    if (!bench.empty()) std::fprintf(stderr, "%s: on the bench in %s\n", program, bench.c_str());
}

std::string ResolvePath(const char* path) {
    if (std::strncmp(path, kFlashFolder, sizeof kFlashFolder - 1) != 0) return path;
    return BenchFolder() + path;
}

std::string LockPath(const std::string& name) {
    const std::string bench = BenchFolder();
    return bench.empty() ? "/run/lock/velmorin-" + name + ".lock" : bench + "/" + name + ".lock";
}

int RunShell(const char* command) {
    return BenchFolder().empty() ? std::system(command) : 0;
}

int OpenBusSocket() {
    if (BenchFolder().empty()) return socket(PF_CAN, SOCK_RAW, CAN_RAW);
    IgnoreWriteSignals();
    return socket(AF_UNIX, SOCK_SEQPACKET, 0);
}

int FindInterface(int fd, const char* name, int* index) {
    const std::string bench = BenchFolder();
    if (!bench.empty()) {
        *index = 0;
        return ConnectToHub(fd, bench, name);
    }
    ifreq request{};
    std::strncpy(request.ifr_name, name, IFNAMSIZ - 1);
    if (ioctl(fd, SIOCGIFINDEX, &request) < 0) return -1;
    *index = request.ifr_ifindex;
    return 0;
}

bool IsBusGone(long count) {
    return count == 0 && !BenchFolder().empty();
}

int BindToInterface(int fd, int index) {
    if (!BenchFolder().empty()) return 0;
    sockaddr_can address{};
    address.can_family = AF_CAN;
    address.can_ifindex = index;
    // 16 bytes is what the kernel has always asked for; newer headers define a larger record.
    constexpr socklen_t kAddressSize = 16;
    return bind(fd, reinterpret_cast<const sockaddr*>(&address), kAddressSize);
}

}  // namespace velmorin::platform
