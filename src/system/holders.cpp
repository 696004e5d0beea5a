#include "holders.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <set>

namespace velmorin {
namespace {

std::string NameOf(int pid) {
    std::ifstream comm("/proc/" + std::to_string(pid) + "/comm");
    std::string name;
    std::getline(comm, name);
    return (name.empty() ? "a process" : name) + " (pid " + std::to_string(pid) + ")";
}

}  // namespace

std::string HoldersOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return "";
    std::ifstream locks("/proc/locks");
    std::set<int> pids;
    // "1: POSIX  ADVISORY  WRITE 815 fe:00:10953438 1073741824 1073742335"; who waits for a lock has "->"
    // before POSIX.
    for (std::string line; std::getline(locks, line);) {
        int pid = 0;
        unsigned int device_major = 0, device_minor = 0;
        unsigned long inode = 0;
        if (std::sscanf(line.c_str(), "%*d: POSIX %*s %*s %d %x:%x:%lu", &pid, &device_major, &device_minor,
                        &inode) == 4 &&
            device_major == major(status.st_dev) && device_minor == minor(status.st_dev) &&
            inode == status.st_ino && pid > 0 && pid != getpid()) {
            pids.insert(pid);
        }
    }
    std::string names;
    for (const int pid : pids) names += (names.empty() ? "" : ", ") + NameOf(pid);
    return names;
}

}  // namespace velmorin
