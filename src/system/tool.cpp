#include "tool.h"

#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "platform.h"

namespace {

int Wait(timeval tv) {
    int result = 0;
    do {  // the kernel leaves in tv what is still to wait
        result = select(0, nullptr, nullptr, nullptr, &tv);
    } while (result < 0 && errno == EINTR);
    return result;
}

int MonthNumber(const char* word) {
    static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                              "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (std::size_t i = 0; i < std::size(kMonths); ++i) {
        if (std::strcmp(word, kMonths[i]) == 0) return static_cast<int>(i) + 1;
    }
    return 0;
}

}  // namespace

int velmorin::TraceSwitch(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') return 0;
    const int on = tool::Tool_debug(name);
    std::puts(on == 1 ? "LOG_CAN TURN ON" : "LOG_CAN TURN OFF");
    return on;
}

int tool::Tool_Delayms(unsigned long milliseconds) {
    timeval tv{};
    tv.tv_sec = static_cast<time_t>(milliseconds / 1000);
    tv.tv_usec = static_cast<suseconds_t>(milliseconds % 1000 * 1000);
    return Wait(tv);
}

int tool::Tool_Delays(unsigned int seconds) {
    timeval tv{};
    tv.tv_sec = static_cast<time_t>(seconds);
    return Wait(tv);
}

int tool::Tool_GetFileSize(const char* path) {
    struct stat status {};
    int result = stat(velmorin::platform::ResolvePath(path).c_str(), &status);
    if (result == 0 && status.st_size > INT_MAX) {
        errno = EFBIG;
        result = -1;
    }
    if (result != 0) {
        std::perror("file:");
        return 0;
    }
    return static_cast<int>(status.st_size);
}

int tool::Tool_CheckNodeIsExit(const char* path) {
    return access(velmorin::platform::ResolvePath(path).c_str(), F_OK) == 0 ? 1 : 0;
}

int tool::Tool_debug(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && std::strcmp(value, "ON") == 0 ? 1 : 0;
}

int tool::Tool_HexToString(const unsigned char* bytes, int count, char* text, int* length) {
    char* end = text + std::strlen(text);
    for (int i = 0; i < count; ++i) end += std::snprintf(end, 3, "%02x", bytes[i]);
    *length = 2 * count;
    text[*length] = '\0';
    return 0;
}

int tool::Tool_StringToHex(const char* text, int length, unsigned char* bytes, int* count) {
    if (length % 2 != 0) {
        std::puts("error");
        return -1;
    }
    for (int i = 0; i < length / 2; ++i) {
        const char pair[] = {text[2 * i], text[2 * i + 1], '\0'};
        bytes[i] = static_cast<unsigned char>(std::strtol(pair, nullptr, 16) & 0xFF);
    }
    *count = length / 2;
    return 0;
}

int tool::Tool_SetInfor(const char* processName, const char* version, const char* owner) {
    constexpr char kRule[] = "----------------------------------------------------------";
    char month[4] = "";
    char day[3] = "";
    char year[5] = "";
    std::sscanf(__DATE__, "%3s %2s %4s", month, day, year);
    std::puts(kRule);
    std::printf("Process Name: %s\n", processName);
    std::printf("Version Info: %s\n", version);
    std::printf("Process Owner: %s\n", owner);
    std::printf("Compile Date: %s-%02d-%02d %s\n", year, MonthNumber(month),
                static_cast<int>(std::strtol(day, nullptr, 10)), __TIME__);
    return std::puts(kRule);
}
