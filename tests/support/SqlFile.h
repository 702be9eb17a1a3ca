// Test helpers that look at a file from outside the program: its bytes, and SQL run on a save set.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace tintara::test {

inline std::string FileBytes(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// Runs SQL on a save set (an SQLite database) behind the program's back, to damage or alter it.
inline void ExecSql(const std::filesystem::path& file, const std::string& sql) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    char* message = nullptr;
    const int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message);
    const std::string text = message ? message : "";
    sqlite3_free(message);
    sqlite3_close(db);
    ASSERT_EQ(rc, SQLITE_OK) << text;
}

// The first column of the first row a query gives, as text ("" when there is none).
inline std::string QuerySql(const std::filesystem::path& file, const std::string& sql) {
    sqlite3* db = nullptr;
    std::string result;
    if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        sqlite3_stmt* s = nullptr;
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &s, nullptr) == SQLITE_OK &&
            sqlite3_step(s) == SQLITE_ROW && sqlite3_column_text(s, 0)) {
            result = reinterpret_cast<const char*>(sqlite3_column_text(s, 0));
        }
        sqlite3_finalize(s);
    }
    sqlite3_close(db);
    return result;
}

}  // namespace tintara::test
