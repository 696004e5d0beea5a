#include "candump.h"

#include <linux/if.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <stdexcept>

namespace velmorin {
namespace {

constexpr Micros kSecond = 1'000'000;
constexpr std::int64_t kMaxSeconds = 1'000'000'000'000;

constexpr auto kNibbles = [] {
    std::array<std::int8_t, 256> values{};
    values.fill(-1);
    for (int i = 0; i < 10; ++i) values['0' + static_cast<unsigned>(i)] = static_cast<std::int8_t>(i);
    for (int i = 0; i < 6; ++i) {
        values['A' + static_cast<unsigned>(i)] = static_cast<std::int8_t>(10 + i);
        values['a' + static_cast<unsigned>(i)] = static_cast<std::int8_t>(10 + i);
    }
    return values;
}();

int Nibble(char c) {
    return kNibbles[static_cast<unsigned char>(c)];
}

bool Skip(std::string_view* rest, char c) {
    if (!rest->starts_with(c)) return false;
    rest->remove_prefix(1);
    return true;
}

/// "(seconds.fraction) ", the fraction of one to nine digits.
bool TakeTime(std::string_view* rest, Micros* at) {
    if (!Skip(rest, '(')) return false;
    std::int64_t seconds = 0;
    auto [stop, error] = std::from_chars(rest->data(), rest->data() + rest->size(), seconds);
    if (error != std::errc() || seconds < 0 || seconds >= kMaxSeconds) return false;
    rest->remove_prefix(static_cast<std::size_t>(stop - rest->data()));
    if (!Skip(rest, '.')) return false;
    Micros fraction = 0;
    Micros scale = kSecond;
    std::size_t digits = 0;
    for (; digits < rest->size() && (*rest)[digits] >= '0' && (*rest)[digits] <= '9'; ++digits) {
        scale /= 10;
        fraction += ((*rest)[digits] - '0') * scale;
    }
    if (digits == 0 || digits > 9) return false;
    rest->remove_prefix(digits);
    *at = seconds * kSecond + fraction;
    return Skip(rest, ')') && Skip(rest, ' ');
}

bool TakeInterface(std::string_view* rest, std::string_view* name) {
    const std::size_t length = rest->find(' ');
    if (length == 0 || length >= IFNAMSIZ) return false;  // npos is beyond it, too
    *name = rest->substr(0, length);
    if (!std::ranges::all_of(*name, [](char c) { return c > ' ' && c < '\x7F'; })) return false;
    rest->remove_prefix(length + 1);
    return true;
}

/// Three digits for a standard identifier, eight for an extended one or an error frame, then '#'.
bool TakeIdentifier(std::string_view* rest, can_frame* frame) {
    canid_t id = 0;
    std::size_t digits = 0;
    for (; digits < rest->size() && digits <= 8 && Nibble((*rest)[digits]) >= 0; ++digits) {
        id = id << 4 | static_cast<canid_t>(Nibble((*rest)[digits]));
    }
    rest->remove_prefix(digits);
    if (!Skip(rest, '#')) return false;
    if (digits == 3) {
        frame->can_id = id;
        return id <= CAN_SFF_MASK;
    }
    frame->can_id = (id & CAN_ERR_FLAG) != 0 ? id : id | CAN_EFF_FLAG;
    return digits == 8 && id <= (CAN_ERR_FLAG | CAN_ERR_MASK);
}

/// "R", with its length or without.
bool TakeRemote(std::string_view* rest, can_frame* frame) {
    frame->can_id |= CAN_RTR_FLAG;
    if (!rest->empty() && Nibble(rest->front()) >= 0) {
        frame->can_dlc = static_cast<std::uint8_t>(std::min(Nibble(rest->front()), CAN_MAX_DLEN));
        rest->remove_prefix(1);
    }
    return true;
}

bool TakeData(std::string_view* rest, can_frame* frame) {
    if (Skip(rest, 'R')) return TakeRemote(rest, frame);
    while (rest->size() >= 2 && rest->front() != ' ' && rest->front() != '_') {
        const int high = Nibble((*rest)[0]);
        const int low = Nibble((*rest)[1]);
        if (high < 0 || low < 0 || frame->can_dlc == CAN_MAX_DLEN) return false;
        frame->data[frame->can_dlc++] = static_cast<std::uint8_t>(high << 4 | low);
        rest->remove_prefix(2);
    }
    // A data length code above 8, which means 8, is written behind eight bytes as "_9" to "_F".
    if (!Skip(rest, '_')) return true;
    const bool raw_code =
        !rest->empty() && Nibble(rest->front()) > CAN_MAX_DLEN && frame->can_dlc == CAN_MAX_DLEN;
    if (raw_code) rest->remove_prefix(1);
    return raw_code;
}

}  // namespace

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

LineKind ParseCandumpLine(std::string_view line, LoggedFrame* to) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.empty() || line.front() == '#') return LineKind::kBlank;
    LoggedFrame read;
    if (!TakeTime(&line, &read.at) || !TakeInterface(&line, &read.interface)) return LineKind::kBad;
    if (!TakeIdentifier(&line, &read.frame)) return LineKind::kBad;
    if (line.starts_with('#')) return LineKind::kForeign;
    if (!TakeData(&line, &read.frame)) return LineKind::kBad;
    if (!line.empty() && line != " R" && line != " T") return LineKind::kBad;
    *to = read;
    return LineKind::kFrame;
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
