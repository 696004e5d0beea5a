#include "jobs.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "connection.h"
#include "protocol.h"
#include "tool.h"

using sqlite::Handle;
using sqlite::ReadNumber;
using sqlite::Table;

namespace velmorin {
namespace {

/// Asks the query of a file that is there.
Fault Ask(const char* file, const char* query, Table* table) {
    if (tool::Tool_CheckNodeIsExit(file) != 1) return std::strerror(errno);
    const Handle handle = sqlite::OpenQuietly(file);
    if (!handle) return sqlite3_errstr(SQLITE_CANTOPEN);
    return table->Query(handle.get(), query) == SQLITE_OK ? "" : sqlite3_errmsg(handle.get());
}

JobRow ReadJob(const Table& table, int row) {
    JobRow job;
    int column = 0;
    const auto number = [&](int base, auto* field) { ReadNumber(table.Cell(row, column++), base, field); };
    if (const char* name = table.Cell(row, column++)) job.name = name;
    number(10, &job.state);
    number(16, &job.chargeaddress);
    number(10, &job.caninterface);
    number(10, &job.devtype);
    number(16, &job.updateaddress);
    number(10, &job.filesize);
    number(10, &job.result);
    number(10, &job.timeuse);
    number(16, &job.crcA);
    number(16, &job.crcB);
    number(10, &job.timestamp);
    return job;
}

}  // namespace

bool JobRow::IsOpen() const {
    return state == 0 && result == kResultOpen;
}

Fault ReadJobs(const char* file, std::vector<JobRow>* jobs) {
    Table table;
    const Fault fault =
        Ask(file,
            "SELECT name,state,chargeaddress,caninterface,devtype,updateaddress,filesize,result,"
            "timeuse,crcA,crcB,timestamp FROM tag_history ORDER BY id",
            &table);
    for (int row = 0; row < table.Rows(); ++row) jobs->push_back(ReadJob(table, row));
    return fault;
}

Fault CountStaged(const char* file, StagedRows* rows) {
    Table table;
    const Fault fault = Ask(file,
                            "SELECT (SELECT count(*) FROM tag_infor),(SELECT count(*) FROM tag_data),"
                            "(SELECT freelist_count FROM pragma_freelist_count)",
                            &table);
    if (!fault.empty()) return fault;
    ReadNumber(table.Cell(0, 0), 10, &rows->groups);
    ReadNumber(table.Cell(0, 1), 10, &rows->packets);
    ReadNumber(table.Cell(0, 2), 10, &rows->free_pages);
    return fault;
}

const JobRow* FirstOpen(const std::vector<JobRow>& jobs) {
    const auto open = std::find_if(jobs.begin(), jobs.end(), [](const JobRow& job) { return job.IsOpen(); });
    return open == jobs.end() ? nullptr : &*open;
}

void IndexPackets(const char* file) {
    const Handle handle = sqlite::OpenQuietly(file);
    if (!handle) return;
    sqlite3_exec(handle.get(), "CREATE INDEX IF NOT EXISTS tag_data_group ON tag_data(savestamp,address)",
                 nullptr, nullptr, nullptr);
}

}  // namespace velmorin
