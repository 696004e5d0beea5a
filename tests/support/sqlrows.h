// Rows of an SQLite file as text, one string a row, columns joined by '|', as the sqlite3 shell prints them.
#pragma once

#include <sqlite3.h>

#include <stdexcept>
#include <string>
#include <vector>

inline std::vector<std::string> SqlRows(const std::string& file, const std::string& query) {
    sqlite3* handle = nullptr;
    std::vector<std::string> rows;
    const auto collect = [](void* to, int count, char** cells, char**) {
        std::string row;
        for (int i = 0; i < count; ++i) row.append(i == 0 ? "" : "|").append(cells[i] ? cells[i] : "NULL");
        static_cast<std::vector<std::string>*>(to)->push_back(row);
        return 0;
    };
    char* reason = nullptr;
    if (sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK ||
        sqlite3_exec(handle, query.c_str(), collect, &rows, &reason) != SQLITE_OK) {
        const std::string why = reason != nullptr ? reason : sqlite3_errmsg(handle);
        sqlite3_free(reason);
        sqlite3_close(handle);
        throw std::runtime_error(why);
    }
    sqlite3_close(handle);
    return rows;
}
