// Any file in the place of the job file: it is read to its end and gives what a slower reading of its rules
// gives.
#include <map>
#include <string>
#include <utility>

#include "benchdir.h"
#include "canframe.h"
#include "input.h"
#include "slownumber.h"

using namespace velmorin;

namespace {

std::map<std::string, std::string> ReadSlowly(const std::string& content) {
    std::map<std::string, std::string> values;
    std::string line;
    for (const char c : content + '\n') {
        // The LF of a CR LF ends one more line here, an empty one, which says nothing.
        if (c != '\n' && c != '\r' && c != '\0') {
            line += c;
            continue;
        }
        const std::string key = line.substr(0, line.find('='));
        if (!line.starts_with('#')) values[key] = key == line ? "" : line.substr(key.size() + 1);
        line.clear();
    }
    return values;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const BenchDir bench;
    const std::string content = Input(bytes, size).Rest();
    bench.Write("mnt/nandflash/download/update.conf", content);
    canframe session;
    if (session.LoadFirewareInfo() != 0) Fail("the job file was not read");

    auto wanted = ReadSlowly(content);
    const std::pair<const char*, int> numbers[] = {
        {"PortSN", session.m_canport},         {"desDeviceAddress", session.m_chargeaddress},
        {"desDeviceType", session.m_devtype},  {"desSubDeviceAddress", session.m_updateaddress},
        {"desFuncIndex", session.m_funcindex}, {"desFirewareType", session.m_firewaretype}};
    bool right = session.m_firewarename == wanted["desFirewareName"];
    for (const auto& [key, number] : numbers)
        right = right && static_cast<unsigned int>(number) == SlowUnsigned(wanted[key]);
    if (!right) Fail("the job file was read otherwise");
    return 0;
}
