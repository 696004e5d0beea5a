#include "db.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "connection.h"
#include "platform.h"
#include "tool.h"

using namespace velmorin;
using sqlite::Handle;
using sqlite::Text;

namespace {

int RunAndClose(const char* statement, const char* file, const char* key) {
    const Handle handle = sqlite::Open(file);
    if (!handle) return -1;
    if (key != nullptr) {
        std::fprintf(stderr, "Error: %s %d sqlite3_key Fail.\n", sqlite3_errmsg(handle.get()), 542);
        return -1;
    }
    if (statement == nullptr) {
        std::fprintf(stderr, "insert database error!: %s\n", sqlite3_errstr(SQLITE_NOMEM));
        return -1;
    }
    return sqlite::Run(handle.get(), statement, "insert database error!") == SQLITE_OK ? 0 : -1;
}

void RemoveIfEmpty(const char* file) {
    const std::filesystem::path path = platform::ResolvePath(file);
    std::error_code fault;
    if (std::filesystem::file_size(path, fault) == 0) std::filesystem::remove(path, fault);
}

}  // namespace

int db::DB_RunCommond(const char* statement, const char* file, const char* key) {
    const bool was_there = tool::Tool_CheckNodeIsExit(file) == 1;
    const int result = RunAndClose(statement, file, key);
    // Opening made an empty file, which would be taken for one with tables ever after.
    if (result != 0 && !was_there) RemoveIfEmpty(file);
    return result;
}

std::string db::HistoryInsert(const s_history& record) {
    const Text statement(sqlite3_mprintf(
        "INSERT INTO tag_history VALUES(NULL,0,'%q','%02x',%d,%d,'%02x',%d,-1,%d,'%08x','%08x',%d)",
        record.name, record.chargeaddress, record.caninterface, record.devtype, record.updateaddress,
        record.filesize, record.timeuse, record.crcA, record.crcB, record.timestamp));
    return statement ? statement.get() : "";
}

int db::DB_SaveHistory(const s_history* record, const char* file, const char* key) {
    const std::string statement = HistoryInsert(*record);
    return DB_RunCommond(statement.empty() ? nullptr : statement.c_str(), file, key);
}

int db::DB_SaveGroup(const s_addnode& group, const char* file, const char* key) {
    const Text statement(sqlite3_mprintf(
        "INSERT INTO tag_infor VALUES(NULL,0,'%08x','%08x',%d,'%08x','%08x',%d)", group.address, group.canid,
        group.count, group.crc32A, group.crc32B, group.savestamp));
    return DB_RunCommond(statement.get(), file, key);
}

int db::DB_SavePackets(const s_addnode& group, const char* file, const char* key) {
    sqlite3_str* rows = sqlite3_str_new(nullptr);
    sqlite3_str_appendall(rows, "INSERT INTO tag_data VALUES");
    const char* separator = "";
    for (const s_datanode& packet : group.dataqueue) {
        char digits[2 * sizeof packet.frame.data + 1] = "";
        int length = 0;
        tool::Tool_HexToString(packet.frame.data, sizeof packet.frame.data, digits, &length);
        sqlite3_str_appendf(rows, "%s(NULL,0,'%08x','%08x',%d,%d,'%s',%d)", separator, group.address,
                            group.canid, packet.dataid, packet.frame.can_dlc, digits, packet.savestamp);
        separator = ",";
    }
    const Text statement(sqlite3_str_finish(rows));
    return DB_RunCommond(statement.get(), file, key);
}

int db::DB_RecordHistory(int result, int timeuse, int timestamp, const char* file, const char* key) {
    const Text statement(
        sqlite3_mprintf("UPDATE tag_history SET state=1,timeuse=%d,result=%d where timestamp=%d", timeuse,
                        result, timestamp));
    return DB_RunCommond(statement.get(), file, key);
}

int db::DB_Clean(const char* file, const char* key) {
    for (const char* statement : {"DELETE FROM tag_data", "VACUUM", "DELETE FROM tag_infor", "VACUUM"}) {
        DB_RunCommond(statement, file, key);
    }
    return 0;
}
