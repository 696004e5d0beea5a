// SQLite's own resources, each given back when its holder goes. Only this folder includes it.
#pragma once

#include <sqlite3.h>

#include <cstdlib>
#include <memory>

namespace velmorin::sqlite {

struct CloseHandle {
    void operator()(sqlite3* handle) const { sqlite3_close(handle); }
};
struct FreeText {
    void operator()(void* text) const { sqlite3_free(text); }
};
using Handle = std::unique_ptr<sqlite3, CloseHandle>;
using Text = std::unique_ptr<char, FreeText>;

/// The file, opened and made empty where there is none. Null after "Can't open database: …" on standard
/// error.
Handle Open(const char* file);
/// Runs a statement; on failure says `complaint` and SQLite's reason on standard error. The SQLite result.
int Run(sqlite3* handle, const char* statement, const char* complaint);

/// The answer to one query: cells of text under column names.
class Table {
  public:
    /// Asks the query. The SQLite result; without SQLITE_OK the table is empty.
    int Query(sqlite3* handle, const char* query);

    int Rows() const { return rows_; }
    /// Number of a column, -1 for a name that the answer has not.
    int Column(const char* name) const;
    /// A cell; null when it is NULL or the column is -1.
    const char* Cell(int row, int column) const;

  private:
    struct FreeCells {
        void operator()(char** cells) const { sqlite3_free_table(cells); }
    };
    std::unique_ptr<char*, FreeCells> cells_;
    int rows_ = 0;
    int columns_ = 0;
};

/// Reads a cell as strtol does in `base` into `field`, which a NULL leaves alone.
template <typename Integer>
void ReadNumber(const char* cell, int base, Integer* field) {
    if (cell != nullptr) *field = static_cast<Integer>(std::strtoll(cell, nullptr, base));
}

}  // namespace velmorin::sqlite
