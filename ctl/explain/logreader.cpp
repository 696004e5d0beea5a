#include "logreader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace velmorin {
namespace {

constexpr std::size_t kBuffer = 256 * 1024;

}  // namespace

LogReader::LogReader() : buffer_(kBuffer) {}

LogReader::~LogReader() {
    if (file_ != nullptr) gzclose(file_);
}

std::string LogReader::Open(const std::string& path) {
    const int fd =
        path == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3) : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::strerror(errno);
    struct stat status {};
    if (fstat(fd, &status) == 0 && S_ISDIR(status.st_mode)) {
        close(fd);
        return std::strerror(EISDIR);
    }
    file_ = gzdopen(fd, "rb");
    if (file_ == nullptr) {
        close(fd);
        return std::strerror(ENOMEM);
    }
    gzbuffer(file_, kBuffer);
    return "";
}

/// Reads more behind what is still there. False when nothing came.
bool LogReader::Fill() {
    if (over_) return false;
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    errno = 0;
    const int count = gzread(file_, buffer_.data() + end_, static_cast<unsigned int>(buffer_.size() - end_));
    const int reason = errno;
    int fault = Z_OK;
    gzerror(file_, &fault);
    if (fault == Z_ERRNO) trouble_ = std::strerror(reason);
    if (fault == Z_BUF_ERROR) trouble_ = "the gzip'ed file is cut off";
    if (fault != Z_OK && trouble_.empty()) trouble_ = "the gzip'ed file is damaged";
    over_ = count <= 0 || fault != Z_OK;
    if (count > 0) {
        end_ += static_cast<std::size_t>(count);
        bytes_ += static_cast<std::uint64_t>(count);
    }
    return count > 0;
}

bool LogReader::Next(std::string_view* line) {
    std::size_t searched = 0;
    for (;;) {
        const char* const from = buffer_.data() + begin_;
        const auto* const newline =
            static_cast<const char*>(std::memchr(from + searched, '\n', end_ - begin_ - searched));
        if (newline != nullptr) {
            const auto length = static_cast<std::size_t>(newline - from);
            begin_ += length + 1;
            if (std::exchange(skipping_, false)) {
                searched = 0;
                continue;
            }
            *line = {from, length};
            return true;
        }
        searched = end_ - begin_;
        if (searched == buffer_.size()) {
            *line = {buffer_.data(), skipping_ ? 0 : searched};
            begin_ = end_;
            skipping_ = true;
            return true;
        }
        if (Fill()) continue;
        *line = {buffer_.data() + begin_, end_ - begin_};
        begin_ = end_;
        return !line->empty() && !std::exchange(skipping_, false);
    }
}

}  // namespace velmorin
