#include "transaction.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <map>
#include <new>

#include "holders.h"
#include "platform.h"
#include "process.h"
#include "tool.h"

namespace velmorin {
namespace {

constexpr unsigned long kLockPauseMs = 10;
constexpr int kInstructionsBetweenLooks = 10000;  // at the signals; a few milliseconds
constexpr char kAnotherFile[] = "; move it away, and the next stage makes a new one";

long long NowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

Fault Foreign(const std::string& what) {
    return {FaultKind::kForeign, what + kAnotherFile};
}

/// What lies at the path, as far as the system tells without opening it: closing a file would give back the
/// locks that SQLite has on it.
Fault LookAt(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        const int reason = errno;
        if (lstat(path.c_str(), &status) == 0) return Foreign("a link that leads nowhere");
        if (reason == ENOENT)
            return {FaultKind::kMissing, "there is no staging file; velmorinctl stage makes one"};
        return {FaultKind::kUnreadable, std::string(std::strerror(reason)) + "; look at the path"};
    }
    if (S_ISDIR(status.st_mode)) return Foreign("a folder, not a staging file");
    if (!S_ISREG(status.st_mode)) return Foreign("not a regular file");
    if (access(path.c_str(), R_OK) != 0)
        return {FaultKind::kUnreadable,
                std::string("cannot be read: ") + std::strerror(errno) + "; run as its owner"};
    if (status.st_size == 0) return Foreign("empty, without the tables of a staging file");
    return {};
}

std::filesystem::path FolderOf(const std::string& path) {
    return std::filesystem::path(path).parent_path();
}

/// Every change needs the file, and a journal beside it.
bool IsWritable(const std::string& path) {
    return access(path.c_str(), W_OK) == 0 && access(FolderOf(path).c_str(), W_OK) == 0;
}

Fault NotWritable(const std::string& path) {
    if (access(path.c_str(), W_OK) == 0 || errno == ENOENT)
        return {FaultKind::kNotWritable,
                "its folder lets no file be made, which every change needs; run as its owner"};
    const char* const remedy = errno == EROFS ? "; mount it for writing" : "; run as its owner";
    return {FaultKind::kNotWritable, std::string("cannot be written: ") + std::strerror(errno) + remedy};
}

}  // namespace

Fault Damaged(const std::string& what) {
    return {FaultKind::kDamaged, "damaged: " + what + kAnotherFile};
}

Fault Transaction::LastFault() {
    const int code = sqlite3_extended_errcode(handle_.get());
    const std::string reason = sqlite3_errmsg(handle_.get());
    const int fault_of_system = sqlite3_system_errno(handle_.get());
    const std::string system = fault_of_system != 0 ? std::strerror(fault_of_system) : reason;
    if (patience_.until_signal && CaughtSignal() != 0)
        return {FaultKind::kSignal, "interrupted, nothing is changed"};
    switch (code & 0xFF) {
        case SQLITE_BUSY:
        case SQLITE_LOCKED: {
            const std::string holders = HoldersOf(path_);
            return {FaultKind::kBusy,
                    "busy" + (holders.empty() ? "" : ", held by " + holders) + "; try again when it is free"};
        }
        case SQLITE_NOMEM:
            throw std::bad_alloc();
        case SQLITE_NOTADB:
            return Foreign("not an SQLite file");
        case SQLITE_CORRUPT:
            return Damaged(reason);
        case SQLITE_READONLY:
        case SQLITE_PERM:
            return NotWritable(path_);
        case SQLITE_FULL:
            return {FaultKind::kDisk, "the disk is full; make room and try again"};
        case SQLITE_CANTOPEN:
            if (fault_of_system == EACCES || fault_of_system == EROFS) return NotWritable(path_);
            if (fault_of_system == ENOENT && !std::filesystem::exists(FolderOf(path_)))
                return {FaultKind::kDisk, "its folder is missing; make it first"};
            if (fault_of_system == ENOENT) return NotWritable(path_);
            [[fallthrough]];
        case SQLITE_IOERR:
            return {FaultKind::kDisk, "the disk fails: " + system + "; look at the disk and try again"};
        default:
            return Foreign(reason);
    }
}

int Transaction::WaitForLock(void* self, int count) {
    auto& transaction = *static_cast<Transaction*>(self);
    if (count == 0) transaction.waiting_until_ms_ = NowMs() + transaction.patience_.wait_ms;
    if (NowMs() >= transaction.waiting_until_ms_ || Interrupts(self) != 0) return 0;
    tool::Tool_Delayms(kLockPauseMs);
    return 1;
}

int Transaction::Interrupts(void* self) {
    return static_cast<Transaction*>(self)->patience_.until_signal && CaughtSignal() != 0 ? 1 : 0;
}

void Transaction::Execute(const char* statement) {
    if (sqlite3_exec(handle_.get(), statement, nullptr, nullptr, nullptr) != SQLITE_OK) throw LastFault();
}

/// Column by column: what else is in the file is nobody's business.
void Transaction::CheckTables() {
    const std::map<std::string, std::string> expected = {
        {"tag_data", "id,state,address,canid,dataid,datalen,data,savestamp"},
        {"tag_history",
         "id,state,name,chargeaddress,caninterface,devtype,updateaddress,filesize,result,timeuse,crcA,"
         "crcB,timestamp"},
        {"tag_infor", "id,state,address,canid,count,crc32A,crc32B,savestamp"}};
    Statement columns(*this, "SELECT group_concat(name) FROM pragma_table_info(?)");
    for (const auto& [table, names] : expected) {
        columns.Start(table);
        columns.Next();
        const char* found = columns.Cell(0);
        if (found == nullptr) throw Foreign("an SQLite file without the table " + table);
        if (names != found) throw Foreign("an SQLite file with another table " + table);
    }
}

Transaction::Transaction(const char* file, Access access, Patience patience)
    : path_(platform::ResolvePath(file)), patience_(patience) {
    if (const Fault fault = LookAt(path_)) throw fault;
    if (access == Access::kWrite && !IsWritable(path_)) throw NotWritable(path_);
    Open(SQLITE_OPEN_READWRITE);
    Execute(access == Access::kWrite ? "BEGIN IMMEDIATE" : "BEGIN");
    CheckTables();
}

Transaction::Transaction(const std::string& draft) : path_(draft), patience_{0, true} {
    Open(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    Execute("BEGIN IMMEDIATE");
}

void Transaction::Open(int flags) {
    sqlite3* raw = nullptr;
    const int status = sqlite3_open_v2(path_.c_str(), &raw, flags, nullptr);
    handle_.reset(raw);
    if (raw == nullptr) throw std::bad_alloc();
    sqlite3_extended_result_codes(raw, 1);
    if (status != SQLITE_OK) throw LastFault();
    sqlite3_busy_handler(raw, WaitForLock, this);
    sqlite3_progress_handler(raw, kInstructionsBetweenLooks, Interrupts, this);
    // Else a journal that is gone could come back with the power, and undo what was done.
    Execute("PRAGMA synchronous=EXTRA");
}

Transaction::~Transaction() {
    if (handle_ == nullptr || sqlite3_get_autocommit(handle_.get()) != 0) return;
    sqlite3_progress_handler(handle_.get(), 0, nullptr, nullptr);
    sqlite3_exec(handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::Commit() {
    Execute("COMMIT");
}

void Transaction::Vacuum() {
    Execute("VACUUM");
}

Statement::Statement(Transaction& transaction, const std::string& text) : transaction_(transaction) {
    sqlite3_stmt* raw = nullptr;
    if (sqlite3_prepare_v2(transaction.Get(), text.c_str(), -1, &raw, nullptr) != SQLITE_OK)
        throw transaction.LastFault();
    statement_.reset(raw);
}

bool Statement::Next() {
    const int status = sqlite3_step(statement_.get());
    if (status != SQLITE_ROW && status != SQLITE_DONE) throw transaction_.LastFault();
    return status == SQLITE_ROW;
}

const char* Statement::Cell(int column) const {
    return reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
}

void Statement::Bind(int column, long long value) {
    sqlite3_bind_int64(statement_.get(), column, value);
}

void Statement::Bind(int column, const std::string& value) {
    sqlite3_bind_text(statement_.get(), column, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
}

Fault InTransaction(const char* file, Access access, Patience patience,
                    const std::function<void(Transaction&)>& work) try {
    Transaction transaction(file, access, patience);
    work(transaction);
    transaction.Commit();
    return {};
} catch (const Fault& fault) {
    return fault;
}

}  // namespace velmorin
