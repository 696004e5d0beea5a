// The readers of the staging file: the open job, its groups, a group's packets.
#include <cstdio>

#include "cells.h"
#include "connection.h"
#include "db.h"
#include "tool.h"

using namespace velmorin;
using sqlite::AppendGroup;
using sqlite::AppendPacket;
using sqlite::Handle;
using sqlite::ReadNumber;
using sqlite::Table;
using sqlite::Text;

namespace {

/// Opens an existing file; null, reason printed, if missing, unreadable or a key is given.
Handle OpenExisting(const char* file, const char* key, int key_fault) {
    if (tool::Tool_CheckNodeIsExit(file) != 1) {
        std::puts("config db is not exit!");
        return nullptr;
    }
    Handle handle = sqlite::Open(file);
    if (!handle || key == nullptr) return handle;
    std::fprintf(stderr, "Error: %d sqlite3_key Fail.\n", key_fault);
    return nullptr;
}

/// Asks the query and says so when it fails, which leaves the table empty.
void QueryAloud(sqlite3* handle, const Text& query, Table* table) {
    const int status = table->Query(handle, query.get());
    if (status != SQLITE_OK) std::printf("sqlite3 get table failed error code: %d\n", status);
}

}  // namespace

int db::DB_GetHistory(s_history* record, const char* file, const char* key) {
    const Handle handle = OpenExisting(file, key, 164);
    if (!handle) return -1;
    Table table;
    if (table.Query(handle.get(), "SELECT * FROM tag_history where state=0 and result=-1 limit 1") !=
        SQLITE_OK) {
        return 0;
    }
    *record = {};
    const auto read = [&table](const char* column, int base, int* field) {
        ReadNumber(table.Cell(0, table.Column(column)), base, field);
    };
    read("state", 10, &record->state);
    read("chargeaddress", 16, &record->chargeaddress);
    read("caninterface", 10, &record->caninterface);
    read("devtype", 10, &record->devtype);
    read("updateaddress", 16, &record->updateaddress);
    read("filesize", 10, &record->filesize);
    read("timestamp", 10, &record->timestamp);
    return 0;
}

int db::DB_GetInfor(int savestamp, std::list<s_addnode>* cache, const char* file, const char* key) {
    const Handle handle = OpenExisting(file, key, 280);
    if (!handle) return -1;
    Table table;
    QueryAloud(handle.get(), Text(sqlite3_mprintf("SELECT * FROM tag_infor where savestamp=%d", savestamp)),
               &table);
    const int state = table.Column("state");
    const int address = table.Column("address");
    const int canid = table.Column("canid");
    const int count = table.Column("count");
    const int crc_a = table.Column("crc32A");
    const int crc_b = table.Column("crc32B");
    const int stamp = table.Column("savestamp");
    for (int row = 0; row < table.Rows(); ++row) {
        const auto cell = [&](int column) { return table.Cell(row, column); };
        AppendGroup(
            {cell(state), cell(address), cell(canid), cell(count), cell(crc_a), cell(crc_b), cell(stamp)},
            cache);
    }
    return 0;
}

int db::DB_GetData(std::deque<s_datanode>* queue, int address, unsigned int canid, int savestamp,
                   const char* file, const char* key) {
    const Handle handle = OpenExisting(file, key, 415);
    if (!handle) return -1;
    Table table;
    QueryAloud(handle.get(),
               Text(sqlite3_mprintf("SELECT * FROM tag_data where address='%08x' and savestamp=%d", address,
                                    savestamp)),
               &table);
    const int dataid = table.Column("dataid");
    const int datalen = table.Column("datalen");
    const int data = table.Column("data");
    const int stamp = table.Column("savestamp");
    for (int row = 0; row < table.Rows(); ++row) {
        const auto cell = [&](int column) { return table.Cell(row, column); };
        AppendPacket({cell(dataid), cell(datalen), cell(data), cell(stamp)}, canid, queue);
    }
    return 0;
}
