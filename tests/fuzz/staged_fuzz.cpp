// A staging file with any rows, or with any bytes changed: it is read, judged, written out and downloaded
// from as far as it goes, and nothing of it leads outside.
#include <filesystem>
#include <fstream>
#include <string>

#include "Load.h"
#include "benchdir.h"
#include "db.h"
#include "desk.h"
#include "input.h"
#include "sqlrows.h"
#include "stagedjob.h"

using namespace velmorin;

namespace {

const BenchDir bench;
const std::string pristine = [] {
    db().DB_CreateTable(kStagingFile, nullptr);
    return BenchDir::Read(bench.StagingFile());
}();

/// One of the values that fit one another, so that groups find their packets, or any text, as an SQL literal.
std::string Value(Input& input) {
    constexpr const char* kUsual[] = {"0",        "-1", "7", "00000400", "00000800",
                                      "1079e08a", "8",  "1", "2",        "0110200011223344"};
    const int kind = input.Below(5);
    if (kind == 4) return "NULL";
    if (kind == 0) return std::to_string(input.Take<std::int64_t>());
    if (kind == 3) return std::string("'") + input.OneOf(kUsual) + "'";
    const std::string bytes = input.Field();
    std::string literal = kind == 1 ? "CAST(x'" : "x'";
    for (const char byte : bytes)
        for (const int nibble : {byte >> 4 & 15, byte & 15}) literal += "0123456789abcdef"[nibble];
    return literal + (kind == 1 ? "' AS TEXT)" : "'");
}

void Insert(std::string& statements, Input& input, int rows, const std::string& table, int columns) {
    for (; rows > 0; --rows) {
        statements += "INSERT INTO " + table + " VALUES(NULL";
        for (int i = 0; i < columns; ++i) statements += "," + Value(input);
        statements += ");";
    }
}

/// A new staging file with the rows that the input tells, and then with bytes changed, if it says so.
void MakeStagingFile(Input& input) {
    std::filesystem::remove(bench.StagingFile() + "-journal");  // of a damaged file before
    bench.Write("mnt/nandflash/app/chargeupdate.db", pristine);
    std::string statements = "PRAGMA synchronous=OFF; PRAGMA journal_mode=OFF; BEGIN;";
    Insert(statements, input, input.Below(4), "tag_history", 12);
    Insert(statements, input, input.Below(6), "tag_infor", 7);
    Insert(statements, input, input.Below(12), "tag_data", 7);
    SqlRows(bench.StagingFile(), statements + "COMMIT");
    for (int damages = input.Below(9) - 4; damages > 0; --damages) {
        std::fstream file(bench.StagingFile(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(input.Take<std::uint16_t>());
        const std::string bytes = input.Field();
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
}

/// A job from the loaded cache, with a device that says yes to everything.
void Send(const std::list<s_addnode>& cache) {
    canframe session;
    Desk desk(session, std::nullopt);
    desk.seen = [&](Desk::Way way, const can_frame& frame) {
        if (way == Desk::kToDevice) SayYes(desk, frame);
    };
    session.m_addlist = cache;
    session.m_heartseq = 4;
    for (int pass = 0; pass < 300 && session.m_finished != 1; ++pass) session.Runloop();
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
    Send(cache);
    loader.Load_UnitTest(&cache, (bench.Root() / "self-check").c_str());
    for (const s_addnode& group : cache) {
        if (!group.dataqueue.empty()) Fail("the self-check left packets");
    }
    loader.Load_SynDatabases(0);
    return 0;
}
