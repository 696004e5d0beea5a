// A staging file with any rows, or with any bytes changed: it is read, judged, written out and downloaded
// from as far as it goes, and nothing of it leads outside.
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Load.h"
#include "benchdir.h"
#include "db.h"
#include "input.h"
#include "jobs.h"
#include "sessionwatch.h"

using membus::TheBus;

namespace {

[[noreturn]] void Fail(const std::string& what) {
    std::fprintf(stderr, "%s\n", what.c_str());
    std::abort();
}

class StagingFile {
  public:
    StagingFile() {
        std::filesystem::remove(bench_.StagingFile() + "-journal");  // of a damaged file before
        bench_.Write("mnt/nandflash/app/chargeupdate.db", pristine_);
    }

    /// Puts in the rows that the input tells, and then changes bytes of the file, if it says so.
    void Fill(Input& input) {
        sqlite3* handle = nullptr;
        sqlite3_open(bench_.StagingFile().c_str(), &handle);
        sqlite3_exec(handle, "PRAGMA synchronous=OFF; PRAGMA journal_mode=OFF; BEGIN", nullptr, nullptr,
                     nullptr);
        for (int jobs = input.Below(4); jobs > 0; --jobs) Insert(handle, input, "tag_history", 12);
        for (int rows = input.Below(6); rows > 0; --rows) Insert(handle, input, "tag_infor", 7);
        for (int rows = input.Below(12); rows > 0; --rows) Insert(handle, input, "tag_data", 7);
        sqlite3_exec(handle, "COMMIT", nullptr, nullptr, nullptr);
        sqlite3_close(handle);
        for (int damages = input.Below(9) - 4; damages > 0; --damages) Damage(input);
    }

    static const std::filesystem::path& Folder() { return bench_.Root(); }

  private:
    static void Insert(sqlite3* handle, Input& input, const std::string& table, int columns) {
        std::string statement = "INSERT INTO " + table + " VALUES(NULL";
        for (int i = 0; i < columns; ++i) statement += ",?";
        sqlite3_stmt* insert = nullptr;
        if (sqlite3_prepare_v2(handle, (statement + ")").c_str(), -1, &insert, nullptr) != SQLITE_OK) return;
        for (int i = 1; i <= columns; ++i) Bind(insert, i, input);
        sqlite3_step(insert);
        sqlite3_finalize(insert);
    }

    static void Bind(sqlite3_stmt* insert, int column, Input& input) {
        // Values that fit one another, so that groups find their packets.
        constexpr const char* kUsual[] = {"0",        "-1", "7", "00000400", "00000800",
                                          "1079e08a", "8",  "1", "2",        "0110200011223344"};
        switch (input.Below(5)) {
            case 0:
                sqlite3_bind_int64(insert, column, input.Take<std::int64_t>());
                break;
            case 1: {
                const std::string text = input.Field();
                sqlite3_bind_text(insert, column, text.data(), static_cast<int>(text.size()),
                                  SQLITE_TRANSIENT);
                break;
            }
            case 2: {
                const std::string bytes = input.Field();
                sqlite3_bind_blob(insert, column, bytes.data(), static_cast<int>(bytes.size()),
                                  SQLITE_TRANSIENT);
                break;
            }
            case 3:
                sqlite3_bind_text(insert, column, kUsual[input.Below(std::size(kUsual))], -1, SQLITE_STATIC);
                break;
            default:
                break;  // NULL
        }
    }

    void Damage(Input& input) {
        std::fstream file(bench_.StagingFile(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(input.Take<std::uint16_t>());
        const std::string bytes = input.Field();
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

    static const BenchDir bench_;
    static const std::string pristine_;
};

const BenchDir StagingFile::bench_;
const std::string StagingFile::pristine_ = [] {
    db().DB_CreateTable(kStagingFile, nullptr);
    return BenchDir::Read(bench_.StagingFile());
}();

int PlausibleBytes(const std::list<s_addnode>& cache) {
    int total = 0;
    for (const s_addnode& group : cache) {
        for (const s_datanode& packet : group.dataqueue) {
            const int length = packet.frame.can_dlc - 4;
            if (length >= 0 && length <= 4 && packet.dataid >= 0 && packet.dataid < 260) total += length;
        }
    }
    return total;
}

void SelfCheck(std::list<s_addnode> cache) {
    const std::filesystem::path out = StagingFile::Folder() / "self-check";
    const int most = PlausibleBytes(cache);
    std::filesystem::remove(out);
    Load().Load_UnitTest(&cache, out.c_str());
    if (!std::filesystem::exists(out) || std::filesystem::file_size(out) > static_cast<unsigned int>(most)) {
        Fail("the self-check wrote more than the packets carry, or nothing");
    }
    for (const s_addnode& group : cache) {
        if (!group.dataqueue.empty()) Fail("the self-check left packets");
    }
}

/// A job from the loaded cache, with a device that says yes to everything.
void Send(const std::list<s_addnode>& cache) {
    TheBus() = {};
    canframe session;
    session.m_canhandle = new CAN_Port{membus::kDescriptor, 0};
    session.m_chargeaddress = 0xE0;
    session.m_addlist = cache;
    session.m_heartseq = 4;
    SessionWatch watch(session);
    for (int pass = 0; pass < 300 && session.m_finished != 1; ++pass) {
        const std::string broken = watch.Pass(session);
        if (!broken.empty()) Fail(broken);
        for (can_frame reply : TheBus().written) {
            const unsigned int pf = reply.can_id >> 16 & 0xFF;
            reply.can_id = 0x90008AE0U | (pf + 1) << 16;
            if (pf == 0x72 || pf == 0x7C) reply.data[3] = 0;
            if (pf == 0x7A) reply.data[3] = 0xAA;
            if (pf != 0x79) TheBus().Deliver(reply);
            reply.can_id = 0x90768AE0U;
            if (pf == 0x74) TheBus().Deliver(reply);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Input input(bytes, size);
    StagingFile file;
    file.Fill(input);

    s_history record{};
    std::list<s_addnode> cache;
    Load loader;
    loader.Load_DbToCache(&record, &cache);
    if (loader.mstamp != record.timestamp) Fail("loaded another job");
    std::vector<JobRow> jobs;
    ReadJobs(kStagingFile, &jobs);
    if (const JobRow* open = FirstOpen(jobs)) CheckStaged(*open, cache);
    SelfCheck(cache);
    Send(cache);
    loader.Load_SynDatabases(0);
    loader.Load_CacheClean(&cache);
    if (!cache.empty()) Fail("cache not clean");
    return 0;
}
