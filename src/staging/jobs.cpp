// What the queue holds.
#include "jobs.h"

#include <unordered_map>

#include "cells.h"
#include "protocol.h"
#include "transaction.h"

using velmorin::sqlite::AppendGroup;
using velmorin::sqlite::AppendPacket;
using velmorin::sqlite::HexText;
using velmorin::sqlite::ReadNumber;

namespace velmorin {
namespace {

constexpr Patience kUsualPatience = {kLockWaitMs, true};

void CheckIsOpen(Transaction& file, const JobRow& job) {
    Statement open(file, std::string("SELECT 1 FROM tag_history WHERE id=? AND ") + kIsOpen);
    open.Start(job.id);
    if (!open.Next()) throw Fault{FaultKind::kNoJob, "it is not open any more; see velmorinctl jobs"};
}

}  // namespace

bool JobRow::IsOpen() const {
    return state == 0 && result == kResultOpen;
}

Fault ReadJobs(const char* file, std::vector<JobRow>* jobs) {
    return InTransaction(file, Access::kRead, kUsualPatience, [&](Transaction& transaction) {
        Statement rows(
            transaction,
            "SELECT id,name,state,chargeaddress,caninterface,devtype,updateaddress,filesize,result,"
            "timeuse,crcA,crcB,timestamp FROM tag_history ORDER BY id");
        for (rows.Start(); rows.Next();) {
            JobRow& job = jobs->emplace_back();
            int column = 0;
            const auto number = [&](int base, auto* field) { ReadNumber(rows.Cell(column++), base, field); };
            number(10, &job.id);
            if (const char* name = rows.Cell(column++)) job.name = name;
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
        }
    });
}

Fault ReadGroups(const char* file, const JobRow& job, bool for_download, std::list<s_addnode>* cache) {
    const Access access = for_download ? Access::kWrite : Access::kRead;
    return InTransaction(file, access, kUsualPatience, [&](Transaction& transaction) {
        CheckIsOpen(transaction, job);
        std::unordered_map<std::string, s_addnode*> by_address;
        Statement groups(
            transaction,
            "SELECT state,address,canid,count,crc32A,crc32B,savestamp FROM tag_infor WHERE savestamp=? "
            "ORDER BY id");
        for (groups.Start(job.timestamp); groups.Next();) {
            const auto cell = [&](int column) { return groups.Cell(column); };
            s_addnode& group =
                AppendGroup({cell(0), cell(1), cell(2), cell(3), cell(4), cell(5), cell(6)}, cache);
            by_address.emplace(HexText(8, group.address), &group);
        }
        if (cache->empty()) return;
        // One pass over the packets of all jobs; to search for those of each group would take the square of
        // it.
        Statement packets(
            transaction,
            "SELECT dataid,datalen,data,savestamp,address FROM tag_data WHERE savestamp=? ORDER BY id");
        for (packets.Start(job.timestamp); packets.Next();) {
            const auto cell = [&](int column) { return packets.Cell(column); };
            const auto found = by_address.find(cell(4) != nullptr ? cell(4) : "");
            if (found == by_address.end()) continue;
            s_addnode& group = *found->second;
            AppendPacket({cell(0), cell(1), cell(2), cell(3)}, group.canid, &group.dataqueue);
        }
    });
}

Fault CheckStagingFile(const char* file, bool writable) {
    const Access access = writable ? Access::kWrite : Access::kRead;
    return InTransaction(file, access, kUsualPatience, [&](Transaction& transaction) {
        Statement check(transaction, "PRAGMA integrity_check(1)");
        check.Start();
        const std::string what = check.Next() ? check.Cell(0) : "ok";
        if (what != "ok") throw Damaged(what.substr(what.rfind('\n') + 1));  // a heading stands before it
    });
}

}  // namespace velmorin
