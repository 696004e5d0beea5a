// A staging file with any rows, or with any bytes changed: it is read, judged, written out and downloaded
// from as far as it goes, and nothing of it leads outside.
#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "Load.h"
#include "benchdir.h"
#include "db.h"
#include "input.h"
#include "sessionrules.h"
#include "stagedjob.h"

using namespace velmorin;

namespace {

const BenchDir bench;
const std::string pristine = [] {
    db().DB_CreateTable(kStagingFile, nullptr);
    return BenchDir::Read(bench.StagingFile());
}();

void Bind(sqlite3_stmt* insert, int column, Input& input) {
    // Values that fit one another, so that groups find their packets. What is not bound is NULL.
    constexpr const char* kUsual[] = {"0",        "-1", "7", "00000400", "00000800",
                                      "1079e08a", "8",  "1", "2",        "0110200011223344"};
    const int kind = input.Below(5);
    if (kind == 0) sqlite3_bind_int64(insert, column, input.Take<std::int64_t>());
    if (kind == 1 || kind == 2) {
        const std::string bytes = input.Field();
        const int length = static_cast<int>(bytes.size());
        if (kind == 1) sqlite3_bind_text(insert, column, bytes.data(), length, SQLITE_TRANSIENT);
        if (kind == 2) sqlite3_bind_blob(insert, column, bytes.data(), length, SQLITE_TRANSIENT);
    }
    if (kind == 3) sqlite3_bind_text(insert, column, input.OneOf(kUsual), -1, SQLITE_STATIC);
}

void Insert(sqlite3* handle, Input& input, int rows, const std::string& table, int columns) {
    std::string statement = "INSERT INTO " + table + " VALUES(NULL";
    for (int i = 0; i < columns; ++i) statement += ",?";
    for (; rows > 0; --rows) {
        sqlite3_stmt* insert = nullptr;
        if (sqlite3_prepare_v2(handle, (statement + ")").c_str(), -1, &insert, nullptr) != SQLITE_OK) return;
        for (int i = 1; i <= columns; ++i) Bind(insert, i, input);
        sqlite3_step(insert);
        sqlite3_finalize(insert);
    }
}

/// A new staging file with the rows that the input tells, and then with bytes changed, if it says so.
void MakeStagingFile(Input& input) {
    std::filesystem::remove(bench.StagingFile() + "-journal");  // of a damaged file before
    bench.Write("mnt/nandflash/app/chargeupdate.db", pristine);
    sqlite3* handle = nullptr;
    sqlite3_open(bench.StagingFile().c_str(), &handle);
    sqlite3_exec(handle, "PRAGMA synchronous=OFF; PRAGMA journal_mode=OFF; BEGIN", nullptr, nullptr, nullptr);
    Insert(handle, input, input.Below(4), "tag_history", 12);
    Insert(handle, input, input.Below(6), "tag_infor", 7);
    Insert(handle, input, input.Below(12), "tag_data", 7);
    sqlite3_exec(handle, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close(handle);
    for (int damages = input.Below(9) - 4; damages > 0; --damages) {
        std::fstream file(bench.StagingFile(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(input.Take<std::uint16_t>());
        const std::string bytes = input.Field();
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
}

void SelfCheck(std::list<s_addnode> cache) {
    std::size_t most = 0;
    for (const s_addnode& group : cache) {
        for (const s_datanode& packet : group.dataqueue) {
            const int length = packet.frame.can_dlc - 4;
            const bool plausible = length >= 0 && length <= 4 && packet.dataid >= 0 && packet.dataid < 260;
            if (plausible) most += static_cast<std::size_t>(length);
        }
    }
    const std::filesystem::path out = bench.Root() / "self-check";
    std::filesystem::remove(out);
    Load().Load_UnitTest(&cache, out.c_str());
    if (!std::filesystem::exists(out) || std::filesystem::file_size(out) > most)
        Fail("the self-check wrote more than the packets carry, or nothing");
    for (const s_addnode& group : cache) {
        if (!group.dataqueue.empty()) Fail("the self-check left packets");
    }
}

/// A job from the loaded cache, with a device that says yes to everything.
void Send(const std::list<s_addnode>& cache) {
    canframe session;
    Desk desk(session, std::nullopt);
    desk.fate = [&](Desk::Way, int, can_frame& frame) {
        SayYes(desk, frame);
        return Desk::Fate{};
    };
    session.m_addlist = cache;
    session.m_heartseq = 4;
    SessionRules rules(session, desk);
    for (int pass = 0; pass < 300 && session.m_finished != 1; ++pass) {
        const std::string broken = rules.Pass();
        if (!broken.empty()) Fail(broken);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Input input(bytes, size);
    MakeStagingFile(input);

    s_history record{};
    std::list<s_addnode> cache;
    Load loader;
    loader.Load_DbToCache(&record, &cache);
    if (loader.mstamp != record.timestamp) Fail("loaded another job");
    OpenJobs jobs;
    if (!SortOpenJobs(kStagingFile, std::nullopt, &jobs)) {
        for (JobRow& job : jobs.whole) {
            std::string image, damage;
            if (ReadStagedImage(kStagingFile, job, true, &image, &damage) || !damage.empty())
                Fail("a whole job is none");
            std::list<s_addnode> groups;
            PackForDevice(image, &job, &groups);
            if (groups.empty()) Fail("a whole job has no groups");
            Send(groups);
        }
    }
    SelfCheck(cache);
    Send(cache);
    loader.Load_SynDatabases(0);
    loader.Load_CacheClean(&cache);
    if (!cache.empty()) Fail("cache not clean");
    return 0;
}
