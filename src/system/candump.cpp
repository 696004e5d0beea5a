#include "candump.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace velmorin {

std::string CandumpLine(timeval when, const std::string& interface, const can_frame& frame) {
    char text[64];
    std::snprintf(text, sizeof text, "(%010lld.%06ld) ", static_cast<long long>(when.tv_sec),
                  static_cast<long>(when.tv_usec));
    std::string line = text;
    line += interface;

    if (frame.can_id & CAN_ERR_FLAG)
        std::snprintf(text, sizeof text, " %08X#", frame.can_id & (CAN_ERR_FLAG | CAN_ERR_MASK));
    else if (frame.can_id & CAN_EFF_FLAG)
        std::snprintf(text, sizeof text, " %08X#", frame.can_id & CAN_EFF_MASK);
    else
        std::snprintf(text, sizeof text, " %03X#", frame.can_id & CAN_SFF_MASK);
    line += text;

    const int length = std::min<int>(frame.can_dlc, CAN_MAX_DLEN);
    if (frame.can_id & CAN_RTR_FLAG) {
        line += 'R';
        return length > 0 ? line + std::to_string(length) : line;
    }
    for (int i = 0; i < length; ++i) {
        std::snprintf(text, sizeof text, "%02X", frame.data[i]);
        line += text;
    }
    return line;
}

CandumpLog::CandumpLog(const std::string& path, std::string interface)
    : file_(std::fopen(path.c_str(), "we")), interface_(std::move(interface)) {
    if (!file_) throw std::runtime_error(path + ": " + std::strerror(errno));
    std::setvbuf(file_.get(), nullptr, _IOLBF, BUFSIZ);
}

bool CandumpLog::Write(const can_frame& frame) {
    timeval now{};
    gettimeofday(&now, nullptr);
    return Write(frame, now);
}

bool CandumpLog::Write(const can_frame& frame, timeval when) {
    if (!file_) return true;
    if (std::fprintf(file_.get(), "%s\n", CandumpLine(when, interface_, frame).c_str()) >= 0) return true;
    const int fault = errno;
    file_.reset();
    errno = fault;
    return false;
}

}  // namespace velmorin
