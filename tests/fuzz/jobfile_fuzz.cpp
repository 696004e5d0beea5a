// Any file in the place of the job file: it is read to its end and gives what a slower reading of its rules
// gives.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "benchdir.h"
#include "canframe.h"
#include "input.h"

namespace {

/// The number at the start of a value, 32 bits wide: a minus wraps, what does not fit is 4294967295.
unsigned int Number(const std::string& value) {
    std::size_t i = value.find_first_not_of(" \t\v\f");
    if (i == std::string::npos) return 0;
    const bool minus = value[i] == '-';
    if (minus || value[i] == '+') ++i;
    unsigned long long number = 0;
    for (; i < value.size() && value[i] >= '0' && value[i] <= '9'; ++i) {
        number = number * 10 + static_cast<unsigned long long>(value[i] - '0');
        if (number > 4294967295U) return 4294967295U;
    }
    return static_cast<unsigned int>(minus ? 0 - number : number);
}

struct Fields {
    std::string values[7];
    static constexpr const char* kKeys[7] = {
        "PortSN",       "desDeviceAddress", "desDeviceType",  "desSubDeviceAddress",
        "desFuncIndex", "desFirewareType",  "desFirewareName"};

    void TakeLine(const std::string& line) {
        if (line.starts_with('#')) return;
        const std::string key = line.substr(0, line.find('='));
        for (int i = 0; i < 7; ++i) {
            if (key == kKeys[i]) values[i] = key == line ? "" : line.substr(key.size() + 1);
        }
    }
};

Fields ReadSlowly(const std::string& content) {
    Fields fields;
    std::string line;
    for (const char c : content) {
        // The LF of a CR LF ends one more line here, an empty one, which says nothing.
        if (c != '\n' && c != '\r' && c != '\0') {
            line += c;
            continue;
        }
        fields.TakeLine(line);
        line.clear();
    }
    fields.TakeLine(line);
    return fields;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const BenchDir bench;
    const std::string content = Input(bytes, size).Rest();
    bench.Write("mnt/nandflash/download/update.conf", content);
    canframe session;
    const bool read = session.LoadFirewareInfo() == 0;

    const Fields wanted = ReadSlowly(content);
    const int numbers[] = {session.m_canport,       session.m_chargeaddress, session.m_devtype,
                           session.m_updateaddress, session.m_funcindex,     session.m_firewaretype};
    bool right = read && session.m_firewarename == wanted.values[6];
    for (int i = 0; i < 6; ++i)
        right = right && static_cast<unsigned int>(numbers[i]) == Number(wanted.values[i]);
    if (!right) {
        std::fputs("the job file was read otherwise\n", stderr);
        std::abort();
    }
    return 0;
}
