// The staging database: an SQLite 3 file on flash that records every job and can hold a whole image as rows.
// Every routine opens the file, does its work and closes it again, so another process may use the file in between;
// a file that is busy is reported at once, nothing is retried.
#pragma once

#include <deque>
#include <list>

#include "sendcache.h"

/// Where the station keeps the staging file.
constexpr char kStagingFile[] = "/mnt/nandflash/app/chargeupdate.db";

/// The statements of the staging file. `key` is for builds with an encrypting SQLite; plain SQLite, which this is,
/// refuses every key, so callers pass null. Faults are reported on standard error with SQLite's own reason.
class db {
  public:
    /// Creates the three tables, and the file where there is none. The SQLite result of the third CREATE statement
    /// (0: made); -1 when the file cannot be opened. A CREATE that fails does not keep the others back.
    int DB_CreateTable(const char* file, const char* key);
    /// Runs one statement of whatever kind. 0, or -1 on any failure.
    int DB_RunCommond(const char* statement, const char* file, const char* key);
    /// Inserts the job's row, open and without a result. The result of `DB_RunCommond`. The name reaches its column
    /// unchanged, whatever characters it has.
    int DB_SaveHistory(const s_history* record, const char* file, const char* key);
    /// Closes every row of that timestamp with a result code and milliseconds. The result of `DB_RunCommond`; 0 also
    /// when there is no such row.
    int DB_RecordHistory(int result, int timeuse, int timestamp, const char* file, const char* key);
    /// Empties the staged groups and packets and gives their room back; job rows stay. Always 0, failures are
    /// reported only.
    int DB_Clean(const char* file, const char* key);
};
