#include "newfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace velmorin {
namespace {

bool WriteAndSync(int fd, const std::string& bytes) {
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t count = write(fd, bytes.data() + done, bytes.size() - done);
        if (count < 0) return false;
        done += static_cast<std::size_t>(count);
    }
    return fsync(fd) == 0;
}

bool WriteDraft(const std::string& draft, const std::string& bytes) {
    const int fd = open(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (fd < 0) return false;
    const bool written = WriteAndSync(fd, bytes);
    const int reason = errno;
    if (close(fd) != 0) return false;
    errno = reason;
    return written;
}

}  // namespace

bool PutInPlace(const std::string& draft, const std::string& path) {
    if (renameat2(AT_FDCWD, draft.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (errno == EEXIST) return false;
    // A kernel or file system without that rename.
    return link(draft.c_str(), path.c_str()) == 0 && unlink(draft.c_str()) == 0;
}

bool SyncFolder(const std::string& path) {
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    const int fd = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return false;
    const bool synced = fsync(fd) == 0;
    const int reason = errno;
    close(fd);
    errno = reason;
    return synced;
}

std::string WriteNewFile(const std::string& path, const std::string& bytes) {
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0) return std::strerror(EEXIST);
    const std::string draft = path + ".new-" + std::to_string(getpid());
    std::string reason;
    if (!WriteDraft(draft, bytes) || !PutInPlace(draft, path)) reason = std::strerror(errno);
    if (!reason.empty()) {
        unlink(draft.c_str());
    } else if (!SyncFolder(path)) {
        reason = std::strerror(errno);
        unlink(path.c_str());
    }
    return reason;
}

}  // namespace velmorin
