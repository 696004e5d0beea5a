// One transaction on the staging file, with what can go wrong put into words. Inside this folder a fault is
// thrown; InTransaction catches it.
#pragma once

#include <functional>
#include <string>

#include "connection.h"
#include "fault.h"

namespace velmorin {

enum class Access { kRead, kWrite };

/// How long a lock that others hold is waited for.
struct Patience {
    int wait_ms;
    bool until_signal;  ///< a signal that CaughtSignal() tells ends the wait, and the transaction
};

/// Of a `tag_history` row: the job is open. JobRow::IsOpen asks the same of a row that was read.
constexpr char kIsOpen[] = "state=0 AND result=-1";

/// What stands in the file cannot be.
Fault Damaged(const std::string& what);

class Transaction {
  public:
    /// Opens the file, begins and makes sure that the tables are those of a staging file.
    Transaction(const char* file, Access access, Patience patience);
    /// Makes a new file that nobody knows yet, and begins.
    explicit Transaction(const std::string& draft);
    /// Rolls back what was not committed.
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void Commit();
    /// After the commit: writes the file anew without the room of what is gone.
    void Vacuum();
    /// The fault that SQLite has just told of, to be thrown.
    Fault LastFault();
    sqlite3* Get() const { return handle_.get(); }

  private:
    void Open(int flags);
    static int WaitForLock(void* self, int count);
    static int Interrupts(void* self);
    void Execute(const char* statement);
    void CheckTables();

    std::string path_;
    Patience patience_;
    long long waiting_until_ms_ = 0;
    sqlite::Handle handle_;
};

/// A prepared statement. Values are bound, and columns read, from the left.
class Statement {
  public:
    Statement(Transaction& transaction, const std::string& text);

    /// Binds all values and runs the statement to its end, as often as one likes. How many rows it changed.
    template <typename... Values>
    int Run(const Values&... values) {
        Start(values...);
        while (Next()) continue;
        return sqlite3_changes(transaction_.Get());
    }
    /// Binds all values; `Next` gives the rows.
    template <typename... Values>
    void Start(const Values&... values) {
        sqlite3_reset(statement_.get());
        int column = 0;
        (Bind(++column, values), ...);
    }
    /// Steps to the next row; false when there is none.
    bool Next();
    /// A cell of the row as text, null when it is NULL; valid until the next step.
    const char* Cell(int column) const;

  private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    void Bind(int column, long long value);
    void Bind(int column, const std::string& value);  ///< which must live until the step

    Transaction& transaction_;
    std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

/// Does `work` in a transaction and commits it; a fault, also one that `work` throws, rolls everything back.
Fault InTransaction(const char* file, Access access, Patience patience,
                    const std::function<void(Transaction&)>& work);

/// Makes the file with its tables, whole or not at all, unless something is there already.
Fault MakeStagingFile(const char* file);

}  // namespace velmorin
