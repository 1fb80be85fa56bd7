// The few SQLite calls the store makes, each failure thrown as a StoreError
// that says what the database said.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace triage {

// Why a store cannot be opened or written; what() is one line.
class StoreError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Runs statements that return no rows.
void execute(sqlite3* db, const char* sql);

class Statement {
public:
    Statement(sqlite3* db, const std::string& sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    // Parameters count from 1, as SQLite counts them.
    Statement& bind(int index, const std::string& text);
    Statement& bind(int index, int64_t value);
    Statement& bindNull(int index);
    // True while there is a row to read; the statement is reset when done.
    bool step();
    // For a statement kept to be run again, whatever its last run left.
    void reset();
    // Columns count from 0.
    bool isNull(int column) const;
    bool isInteger(int column) const;
    int64_t integer(int column) const;
    std::string text(int column) const;

private:
    sqlite3* const mDb;
    sqlite3_stmt* mStatement = nullptr;
};

}  // namespace triage
