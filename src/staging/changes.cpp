// What changes the queue.
#include <climits>
#include <ctime>

#include "cells.h"
#include "jobs.h"
#include "process.h"
#include "protocol.h"
#include "tool.h"
#include "transaction.h"

using velmorin::sqlite::HexText;

namespace velmorin {
namespace {

constexpr Patience kUsualPatience = {kLockWaitMs, true};
constexpr Patience kRecordPatience = {kRecordWaitMs, false};

/// The first second from now on that no job and no row has. Chosen while nobody else can write, so nobody
/// else gets it.
int FreeSecond(Transaction& file) {
    long long second = static_cast<int>(std::time(nullptr));
    Statement taken(
        file,
        "SELECT timestamp FROM tag_history WHERE timestamp>=?1 UNION SELECT savestamp FROM tag_infor WHERE "
        "savestamp>=?1 UNION SELECT savestamp FROM tag_data WHERE savestamp>=?1 ORDER BY 1");
    for (taken.Start(second); taken.Next();) {
        long long other = 0;
        sqlite::ReadNumber(taken.Cell(0), 10, &other);
        if (other == second) ++second;
    }
    if (second > INT_MAX) throw Damaged("no second is left for a new job");
    return static_cast<int>(second);
}

void InsertRow(Transaction& file, JobRow* job) {
    job->timestamp = FreeSecond(file);
    job->state = 0;
    job->result = kResultOpen;
    Statement insert(file, "INSERT INTO tag_history VALUES(NULL,0,?,?,?,?,?,?,-1,?,?,?,?)");
    insert.Run(job->name, HexText(2, static_cast<unsigned int>(job->chargeaddress)), job->caninterface,
               job->devtype, HexText(2, static_cast<unsigned int>(job->updateaddress)), job->filesize,
               job->timeuse, HexText(8, job->crcA), HexText(8, job->crcB), job->timestamp);
    job->id = sqlite3_last_insert_rowid(file.Get());
}

void InsertGroups(Transaction& file, int savestamp, const NextGroup& next_group) {
    Statement group_row(file, "INSERT INTO tag_infor VALUES(NULL,0,?,?,?,?,?,?)");
    Statement packet_row(file, "INSERT INTO tag_data VALUES(NULL,0,?,?,?,?,?,?)");
    for (s_addnode group; next_group(&group); group = {}) {
        if (CaughtSignal() != 0) throw file.LastFault();
        const std::string address = HexText(8, group.address), canid = HexText(8, group.canid);
        group_row.Run(address, canid, group.count, HexText(8, group.crc32A), HexText(8, group.crc32B),
                      savestamp);
        for (const s_datanode& packet : group.dataqueue) {
            char digits[2 * sizeof packet.frame.data + 1] = "";
            int length = 0;
            tool::Tool_HexToString(packet.frame.data, sizeof packet.frame.data, digits, &length);
            packet_row.Run(address, canid, packet.dataid, packet.frame.can_dlc, std::string(digits),
                           savestamp);
        }
    }
}

Fault Insert(const char* file, JobRow* job, const NextGroup& next_group) {
    if (const Fault fault = MakeStagingFile(file)) return fault;
    return InTransaction(file, Access::kWrite, kUsualPatience, [&](Transaction& transaction) {
        InsertRow(transaction, job);
        InsertGroups(transaction, job->timestamp, next_group);
    });
}

void RemoveRows(Transaction& file, int savestamp) {
    Statement(file, "DELETE FROM tag_infor WHERE savestamp=?").Run(savestamp);
    Statement(file, "DELETE FROM tag_data WHERE savestamp=?").Run(savestamp);
}

bool HoldsRows(Transaction& file) {
    Statement rows(file, "SELECT 1 FROM tag_infor UNION ALL SELECT 1 FROM tag_data LIMIT 1");
    rows.Start();
    return rows.Next();
}

/// Gives the room of rows that are gone back to the disk; not while others have the file, and not after a
/// signal.
bool Shrink(const char* file, bool with_rows_left) try {
    Transaction transaction(file, Access::kRead, {0, true});
    const bool worth_it = with_rows_left || !HoldsRows(transaction);
    transaction.Commit();
    if (worth_it) transaction.Vacuum();
    return worth_it;
} catch (const Fault&) {
    return false;
}

/// Why no job of that timestamp can be closed or downloaded.
Fault NoOpenJob(Transaction& file, int timestamp) {
    Statement rows(file, "SELECT result FROM tag_history WHERE timestamp=? ORDER BY id DESC");
    rows.Start(timestamp);
    if (!rows.Next()) return {FaultKind::kNoJob, "no job has this timestamp; see velmorinctl jobs"};
    int result = 0;
    sqlite::ReadNumber(rows.Cell(0), 10, &result);
    return {FaultKind::kNoJob, std::string("it is closed already: ") + ResultText(result)};
}

}  // namespace

Fault StageJob(const char* file, JobRow* job, const NextGroup& next_group) {
    return Insert(file, job, next_group);
}

Fault InsertJob(const char* file, JobRow* job) {
    return Insert(file, job, [](s_addnode*) { return false; });
}

Fault RecordResult(const char* file, const JobRow& job, int result, int duration_ms) {
    const Fault fault = InTransaction(file, Access::kWrite, kRecordPatience, [&](Transaction& transaction) {
        Statement close(transaction, "UPDATE tag_history SET state=1,timeuse=?,result=? WHERE id=?");
        if (close.Run(duration_ms, result, job.id) == 0) throw NoOpenJob(transaction, job.timestamp);
        RemoveRows(transaction, job.timestamp);
    });
    if (!fault) Shrink(file, false);
    return fault;
}

Fault CloseJob(const char* file, int timestamp, const std::function<Fault()>& may_close) {
    const Fault fault = InTransaction(file, Access::kWrite, kUsualPatience, [&](Transaction& transaction) {
        if (const Fault refusal = may_close()) throw refusal;
        Statement close(
            transaction,
            std::string("UPDATE tag_history SET state=1,result=? WHERE timestamp=? AND ") + kIsOpen);
        if (close.Run(kResultInterrupted, timestamp) == 0) throw NoOpenJob(transaction, timestamp);
        RemoveRows(transaction, timestamp);
    });
    if (!fault) Shrink(file, false);
    return fault;
}

Fault CleanUnowned(const char* file, Cleaned* cleaned) {
    const Fault fault = InTransaction(file, Access::kWrite, kUsualPatience, [&](Transaction& transaction) {
        // Also those without a job's second at all.
        const std::string unowned =
            std::string(
                " WHERE savestamp IS NULL OR savestamp NOT IN (SELECT timestamp FROM tag_history WHERE ") +
            kIsOpen + " AND timestamp IS NOT NULL)";
        cleaned->groups = Statement(transaction, "DELETE FROM tag_infor" + unowned).Run();
        cleaned->packets = Statement(transaction, "DELETE FROM tag_data" + unowned).Run();
    });
    if (!fault) cleaned->shrunk = Shrink(file, true);
    return fault;
}

Fault CleanAll(const char* file, const std::function<Fault()>& may_clean, Cleaned* cleaned) {
    const Fault fault = InTransaction(file, Access::kWrite, kUsualPatience, [&](Transaction& transaction) {
        if (const Fault refusal = may_clean()) throw refusal;
        cleaned->jobs =
            Statement(transaction, std::string("UPDATE tag_history SET state=1,result=? WHERE ") + kIsOpen)
                .Run(kResultInterrupted);
        cleaned->groups = Statement(transaction, "DELETE FROM tag_infor").Run();
        cleaned->packets = Statement(transaction, "DELETE FROM tag_data").Run();
    });
    if (!fault) cleaned->shrunk = Shrink(file, true);
    return fault;
}

}  // namespace velmorin
