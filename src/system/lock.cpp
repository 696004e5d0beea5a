#include "lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform.h"
#include "tool.h"

namespace velmorin {
namespace {

constexpr int kTries =
    25;  // HolderOf takes a lock for a moment, and a new holder names itself a moment later
constexpr unsigned long kPauseMs = 10;
constexpr mode_t kForEverybody = 0666;

/// A file that another user left may allow reading alone, which is enough for a lock. A file that is there is
/// never opened with O_CREAT: of another user's, in a folder for everybody, the kernel would refuse that.
int OpenLockFile(const char* path) {
    constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    int fd = open(path, O_RDWR | kFlags);
    if (fd < 0 && errno == EACCES) fd = open(path, O_RDONLY | kFlags);
    if (fd >= 0 || errno != ENOENT) return fd;
    fd = open(path, O_RDWR | O_CREAT | O_EXCL | kFlags, kForEverybody);
    if (fd < 0) return errno == EEXIST ? open(path, O_RDWR | kFlags) : -1;
    fchmod(fd, kForEverybody);  // whatever the umask says
    return fd;
}

bool IsFile(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

LockHolder ReadHolder(int fd) {
    char text[64] = "";
    LockHolder holder;
    if (pread(fd, text, sizeof text - 1, 0) > 0) std::sscanf(text, "%d %d", &holder.pid, &holder.work);
    return holder;
}

void WriteHolder(int fd, int work) {
    const std::string text = std::to_string(getpid()) + " " + std::to_string(work) + "\n";
    if (ftruncate(fd, 0) != 0 || pwrite(fd, text.data(), text.size(), 0) < 0)
        return;  // the lock holds all the same
}

}  // namespace

std::string HolderText(const LockHolder& holder) {
    return holder.pid > 0 ? "process " + std::to_string(holder.pid)
                          : "a process that has not told its number";
}

Lock::Lock(const std::string& name, int work) {
    const std::string path = platform::LockPath(name);
    fd_ = OpenLockFile(path.c_str());
    if (fd_ < 0 || !IsFile(fd_)) {
        fault_ = path + ": " + (fd_ < 0 ? std::strerror(errno) : "not a regular file");
    } else {
        TryToTake(work);
    }
    if (other_ || !fault_.empty()) {
        if (fd_ >= 0) close(fd_);
        fd_ = -1;
    }
}

void Lock::TryToTake(int work) {
    for (int tries = 0; tries < kTries; ++tries) {
        if (flock(fd_, LOCK_EX | LOCK_NB) == 0) {
            WriteHolder(fd_, work);
            other_.reset();
            return;
        }
        other_ = ReadHolder(fd_);
        tool::Tool_Delayms(kPauseMs);
    }
}

Lock::~Lock() {
    if (fd_ < 0) return;
    if (ftruncate(fd_, 0) != 0) errno = 0;  // a name left behind means nothing without the lock
    close(fd_);
}

void Lock::WorkOn(int work) const {
    if (fd_ >= 0) WriteHolder(fd_, work);
}

std::optional<LockHolder> HolderOf(const std::string& name) {
    const int fd = open(platform::LockPath(name).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0) return std::nullopt;
    std::optional<LockHolder> holder;
    for (int tries = 0; tries < kTries && IsFile(fd); ++tries) {
        if (flock(fd, LOCK_SH | LOCK_NB) == 0) {
            holder.reset();
            break;
        }
        holder = ReadHolder(fd);
        if (holder->pid > 0) break;
        tool::Tool_Delayms(kPauseMs);
    }
    close(fd);
    return holder;
}

}  // namespace velmorin
