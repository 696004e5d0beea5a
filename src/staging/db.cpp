#include "db.h"

#include <sqlite3.h>

#include <cstdio>
#include <memory>

#include "platform.h"

namespace {

constexpr const char* kCreateStatements[] = {
    "CREATE TABLE tag_history(id INTEGER PRIMARY KEY AUTOINCREMENT,\tstate INT,name TEXT(80),"
    "chargeaddress TEXT(4),caninterface\tINT,devtype   INT,\tupdateaddress   TEXT(4),filesize INT,result INT,"
    "timeuse INT,crcA TEXT(16),crcB TEXT(16),timestamp INT)",
    "CREATE TABLE tag_data(id INTEGER PRIMARY KEY AUTOINCREMENT,\t\t\tstate INT,address TEXT(16),canid TEXT(10),"
    "dataid INT,\t\t\tdatalen INT,data TEXT(40),savestamp INT)",
    "CREATE TABLE tag_infor(id INTEGER PRIMARY KEY AUTOINCREMENT,\tstate INT,address TEXT(16),canid TEXT(10),"
    "count\tINT,crc32A TEXT(16),crc32B TEXT(16),savestamp INT)",
};

struct CloseHandle {
    void operator()(sqlite3* handle) const { sqlite3_close(handle); }
};
struct FreeText {
    void operator()(void* text) const { sqlite3_free(text); }
};
using Handle = std::unique_ptr<sqlite3, CloseHandle>;
using Text = std::unique_ptr<char, FreeText>;

/// An open staging file, or null after a line on standard error.
Handle Open(const char* file) {
    sqlite3* raw = nullptr;
    const int status = sqlite3_open(platform::ResolvePath(file).c_str(), &raw);
    Handle handle(raw);
    if (status == SQLITE_OK) return handle;
    std::fprintf(stderr, "Can't open database: %s\n", sqlite3_errmsg(raw));
    return nullptr;
}

/// Runs a statement; on failure reports `complaint` with SQLite's reason. The SQLite result.
int Run(sqlite3* handle, const char* statement, const char* complaint) {
    char* raw_reason = nullptr;
    const int status = sqlite3_exec(handle, statement, nullptr, nullptr, &raw_reason);
    const Text reason(raw_reason);
    if (status != SQLITE_OK) std::fprintf(stderr, "%s: %s\n", complaint, reason ? reason.get() : sqlite3_errstr(status));
    return status;
}

}  // namespace

int db::DB_CreateTable(const char* file, const char* key) {
    const Handle handle = Open(file);
    if (!handle) return -1;
    if (key != nullptr) {
        std::fprintf(stderr, "Error: %d sqlite3_key Fail.\n", 61);
        return -1;
    }
    Run(handle.get(), kCreateStatements[0], "create table error!");
    Run(handle.get(), kCreateStatements[1], "create table error!");
    return Run(handle.get(), kCreateStatements[2], "create table  error!");
}

int db::DB_RunCommond(const char* statement, const char* file, const char* key) {
    const Handle handle = Open(file);
    if (!handle) return -1;
    if (key != nullptr) {
        std::fprintf(stderr, "Error: %s %d sqlite3_key Fail.\n", sqlite3_errmsg(handle.get()), 542);
        return -1;
    }
    return Run(handle.get(), statement, "insert database error!") == SQLITE_OK ? 0 : -1;
}

int db::DB_SaveHistory(const s_history* record, const char* file, const char* key) {
    const Text statement(sqlite3_mprintf(
        "INSERT INTO tag_history VALUES(NULL,0,'%q','%02x',%d,%d,'%02x',%d,-1,%d,'%08x','%08x',%d)", record->name,
        record->chargeaddress, record->caninterface, record->devtype, record->updateaddress, record->filesize,
        record->timeuse, record->crcA, record->crcB, record->timestamp));
    return DB_RunCommond(statement.get(), file, key);
}

int db::DB_RecordHistory(int result, int timeuse, int timestamp, const char* file, const char* key) {
    const Text statement(sqlite3_mprintf("UPDATE tag_history SET state=1,timeuse=%d,result=%d where timestamp=%d",
                                         timeuse, result, timestamp));
    return DB_RunCommond(statement.get(), file, key);
}

int db::DB_Clean(const char* file, const char* key) {
    for (const char* statement : {"DELETE FROM tag_data", "VACUUM", "DELETE FROM tag_infor", "VACUUM"}) {
        DB_RunCommond(statement, file, key);
    }
    return 0;
}
