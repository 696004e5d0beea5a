// The job file: key=value lines, as the station's other software leaves them.
#include <filesystem>
#include <string>
#include <system_error>

#include "canframe.h"
#include "platform.h"
#include "stlstrings.h"

namespace {

constexpr char kJobFile[] = "/mnt/nandflash/download/update.conf";

struct NumberKey {
    const char* name;
    int canframe::*field;
};

constexpr NumberKey kNumberKeys[] = {
    {"PortSN", &canframe::m_canport},         {"desDeviceAddress", &canframe::m_chargeaddress},
    {"desDeviceType", &canframe::m_devtype},  {"desSubDeviceAddress", &canframe::m_updateaddress},
    {"desFuncIndex", &canframe::m_funcindex}, {"desFirewareType", &canframe::m_firewaretype},
};
constexpr char kImageKey[] = "desFirewareName";

/// Opening a pipe may wait for ever, and a folder opens but holds no lines.
bool CannotBeJobFile(const std::string& path) {
    std::error_code fault;
    const std::filesystem::file_status status = std::filesystem::status(path, fault);
    return std::filesystem::is_fifo(status) || std::filesystem::is_socket(status) ||
           std::filesystem::is_directory(status);
}

}  // namespace

int canframe::LoadFirewareInfo() {
    const std::string path = velmorin::platform::ResolvePath(kJobFile);
    if (CannotBeJobFile(path)) return -1;
    CStringList lines;
    if (!lines.LoadFromFile(path)) return -1;
    CStringList fields;
    for (int i = 0; i < lines.GetCount(); ++i) {
        if (lines[i].GetFirstChar() == '#') continue;
        ParseStr(lines[i], "=", fields);
        CString& key = fields[0];
        CString& value = fields[1];  // a field that is not there reads as empty
        if (key == kImageKey) m_firewarename = value.GetString();
        for (const NumberKey& number : kNumberKeys) {
            if (key == number.name) this->*number.field = static_cast<int>(value.GetUnsignedInteger());
        }
        fields.Clear();
    }
    return 0;
}
