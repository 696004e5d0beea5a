#include "connection.h"

#include <cstdio>
#include <cstring>

#include "platform.h"

namespace velmorin::sqlite {

Handle Open(const char* file) {
    sqlite3* raw = nullptr;
    const int status = sqlite3_open(platform::ResolvePath(file).c_str(), &raw);
    Handle handle(raw);
    if (status == SQLITE_OK) return handle;
    std::fprintf(stderr, "Can't open database: %s\n", sqlite3_errmsg(raw));
    return nullptr;
}

int Run(sqlite3* handle, const char* statement, const char* complaint) {
    char* raw_reason = nullptr;
    const int status = sqlite3_exec(handle, statement, nullptr, nullptr, &raw_reason);
    const Text reason(raw_reason);
    if (status != SQLITE_OK) {
        std::fprintf(stderr, "%s: %s\n", complaint, reason ? reason.get() : sqlite3_errstr(status));
    }
    return status;
}

int Table::Query(sqlite3* handle, const char* query) {
    char** raw = nullptr;
    const int status = sqlite3_get_table(handle, query, &raw, &rows_, &columns_, nullptr);
    cells_.reset(raw);
    if (status != SQLITE_OK) rows_ = columns_ = 0;
    return status;
}

int Table::Column(const char* name) const {
    if (rows_ == 0) return -1;  // an empty answer names no columns either
    for (int i = 0; i < columns_; ++i) {
        if (std::strcmp(cells_.get()[i], name) == 0) return i;
    }
    return -1;
}

const char* Table::Cell(int row, int column) const {
    return column < 0 ? nullptr : cells_.get()[(row + 1) * columns_ + column];
}

}  // namespace velmorin::sqlite
