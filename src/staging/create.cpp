// Makes the staging file. Later calls assume the tables exist, so a new file is renamed into place only when
// complete.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "connection.h"
#include "db.h"
#include "newfile.h"
#include "platform.h"
#include "transaction.h"

using namespace velmorin;

namespace {

constexpr char kCreateHistory[] =
    "CREATE TABLE tag_history(id INTEGER PRIMARY KEY AUTOINCREMENT,\tstate INT,name TEXT(80),"
    "chargeaddress TEXT(4),caninterface\tINT,devtype   INT,\tupdateaddress   TEXT(4),filesize INT,result INT,"
    "timeuse INT,crcA TEXT(16),crcB TEXT(16),timestamp INT)";
constexpr char kCreateData[] =
    "CREATE TABLE tag_data(id INTEGER PRIMARY KEY AUTOINCREMENT,\t\t\tstate INT,address TEXT(16),"
    "canid TEXT(10),dataid INT,\t\t\tdatalen INT,data TEXT(40),savestamp INT)";
constexpr char kCreateInfor[] =
    "CREATE TABLE tag_infor(id INTEGER PRIMARY KEY AUTOINCREMENT,\tstate INT,address TEXT(16),canid TEXT(10),"
    "count\tINT,crc32A TEXT(16),crc32B TEXT(16),savestamp INT)";

/// A new file is made under its name and this; the process's number follows.
constexpr char kDraftMark[] = ".new-";

struct Created {
    int status;  ///< what `DB_CreateTable` returns
    bool whole;  ///< all three tables were made
};

Created CreateTables(const std::string& file, const char* key) {
    const sqlite::Handle handle = sqlite::Open(file.c_str());
    if (!handle) return {-1, false};
    if (key != nullptr) {
        std::fprintf(stderr, "Error: %d sqlite3_key Fail.\n", 61);
        return {-1, false};
    }
    const bool history = sqlite::Run(handle.get(), kCreateHistory, "create table error!") == SQLITE_OK;
    const bool data = sqlite::Run(handle.get(), kCreateData, "create table error!") == SQLITE_OK;
    const int status = sqlite::Run(handle.get(), kCreateInfor, "create table  error!");
    return {status, history && data && status == SQLITE_OK};
}

/// A name that SQLite takes for a database without a file.
bool IsPrivate(const std::string& file) {
    return file.empty() || file == ":memory:";
}

bool NameIsTaken(const char* file) {
    struct stat status {};
    return lstat(platform::ResolvePath(file).c_str(), &status) == 0;
}

/// Gives the draft its name unless that is taken by now: somebody else was quicker then. False when it cannot
/// be given.
bool PutDraftInPlace(const std::string& draft, const std::string& place) {
    if (!PutInPlace(draft, place)) return errno == EEXIST;
    SyncFolder(place);  // if that fails, a later sync may do
    return true;
}

/// True for a draft whose maker is gone; one with our own number is a former process's.
bool IsLeftOver(const std::string& name, const std::string& prefix) {
    if (!name.starts_with(prefix)) return false;
    int maker = 0;
    std::from_chars(name.data() + prefix.size(), name.data() + name.size(), maker);
    return maker == getpid() || (maker > 0 && kill(maker, 0) != 0 && errno == ESRCH);
}

/// Removes drafts, and their journals, of processes that were killed.
void SweepDrafts(const char* file) {
    const std::filesystem::path place = platform::ResolvePath(file);
    const std::filesystem::path folder = place.has_parent_path() ? place.parent_path() : ".";
    const std::string prefix = place.filename().string() + kDraftMark;
    std::error_code fault;
    for (std::filesystem::directory_iterator entry(folder, fault), end; !fault && entry != end;
         entry.increment(fault)) {
        std::error_code ignored;
        if (IsLeftOver(entry->path().filename().string(), prefix))
            std::filesystem::remove(entry->path(), ignored);
    }
}

}  // namespace

int db::DB_CreateTable(const char* file, const char* key) {
    if (IsPrivate(file) || NameIsTaken(file)) return CreateTables(file, key).status;
    SweepDrafts(file);
    const std::string draft = file + (kDraftMark + std::to_string(getpid()));
    const Created created = CreateTables(draft, key);
    const bool placed =
        created.whole && PutDraftInPlace(platform::ResolvePath(draft.c_str()), platform::ResolvePath(file));
    if (created.whole && !placed) std::fprintf(stderr, "Can't open database: %s\n", std::strerror(errno));
    SweepDrafts(file);
    return created.whole && !placed ? -1 : created.status;
}

Fault velmorin::MakeStagingFile(const char* file) {
    if (NameIsTaken(file)) return {};
    SweepDrafts(file);
    const std::string place = platform::ResolvePath(file);
    const std::string draft = place + kDraftMark + std::to_string(getpid());
    Fault fault;
    try {
        Transaction transaction(draft);
        for (const char* statement : {kCreateHistory, kCreateData, kCreateInfor})
            Statement(transaction, statement).Run();
        transaction.Commit();
        if (!PutDraftInPlace(draft, place)) fault = {FaultKind::kDisk, std::strerror(errno)};
    } catch (const Fault& thrown) {
        fault = thrown;
    }
    SweepDrafts(file);
    return fault;
}
