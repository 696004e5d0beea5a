// The staging database: an SQLite 3 file on flash that records every job and can hold a whole image as rows.
// Every routine opens the file, does its work and closes it again, so another process may use the file in
// between; a file that is busy is reported at once, nothing is retried.
#pragma once

#include <deque>
#include <list>
#include <string>

#include "sendcache.h"

namespace velmorin {

/// Where the station keeps the staging file.
constexpr char kStagingFile[] = "/mnt/nandflash/app/chargeupdate.db";

}  // namespace velmorin

/// The statements of the staging file. `key` is for builds with an encrypting SQLite; plain SQLite, which
/// this is, refuses every key, so callers pass null. Faults are reported on standard error with SQLite's own
/// reason.
class db {
  public:
    /// Creates the three tables, and the file where there is none. "" and ":memory:" are private to the call,
    /// as SQLite has it. The SQLite result of the third CREATE statement (0: made); -1 when the file cannot
    /// be opened. A CREATE that fails does not keep the others back. A new file takes its place only once it
    /// has all three, so a process that is killed here leaves none.
    int DB_CreateTable(const char* file, const char* key);
    /// Runs one statement of whatever kind. 0, or -1 on any failure. The statement may be null (allocation
    /// failed): reported, -1. Makes the file where there is none; a statement that fails leaves none.
    int DB_RunCommond(const char* statement, const char* file, const char* key);
    /// Inserts the job's row, open and without a result. The result of `DB_RunCommond`. The name reaches its
    /// column unchanged, whatever characters it has.
    int DB_SaveHistory(const s_history* record, const char* file, const char* key);
    /// The statement that `DB_SaveHistory` runs; empty when there is no memory for it.
    static std::string HistoryInsert(const s_history& record);
    /// Inserts the group's row, without its packets. The result of `DB_RunCommond`.
    int DB_SaveGroup(const s_addnode& group, const char* file, const char* key);
    /// Inserts all packets of the group with one statement. The result of `DB_RunCommond`: -1 for a group
    /// without any.
    int DB_SavePackets(const s_addnode& group, const char* file, const char* key);
    /// Closes every row of that timestamp with a result code and milliseconds. The result of `DB_RunCommond`;
    /// 0 also when there is no such row.
    int DB_RecordHistory(int result, int timeuse, int timestamp, const char* file, const char* key);
    /// Empties the staged groups and packets and gives their room back; job rows stay. Always 0, failures are
    /// reported only.
    int DB_Clean(const char* file, const char* key);

    // Readers. -1 with the outputs untouched when the file is missing ("config db is not exit!") or cannot be
    // opened; else 0, also when the query fails, which leaves the outputs untouched too. Rows come in the
    // order of insertion.

    /// Fills the record with the first open job: state, bus values, size and timestamp; all else is 0.
    /// No open job: the record is all zero. Silent when the query fails.
    int DB_GetHistory(s_history* record, const char* file, const char* key);
    /// Appends the job's groups, their queues empty, to the cache.
    int DB_GetInfor(int savestamp, std::list<s_addnode>* cache, const char* file, const char* key);
    /// Appends the packets of one group to the queue, as they stand in the file: index, length (its low 8
    /// bits) and order are not checked. Identifiers come from `canid`, not from the rows.
    int DB_GetData(std::deque<s_datanode>* queue, int address, unsigned int canid, int savestamp,
                   const char* file, const char* key);
};
