#include "Sql.h"

namespace triage {

namespace {

[[noreturn]] void fail(sqlite3* db) {
    throw StoreError(sqlite3_errmsg(db));
}

}  // namespace

void execute(sqlite3* db, const char* sql) {
    if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(db);
}

Statement::Statement(sqlite3* db, const std::string& sql) : mDb(db) {
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &mStatement, nullptr) != SQLITE_OK) fail(db);
}

Statement::~Statement() {
    sqlite3_finalize(mStatement);
}

Statement& Statement::bind(int index, const std::string& text) {
    if (sqlite3_bind_text(mStatement, index, text.data(), static_cast<int>(text.size()),
                          SQLITE_TRANSIENT) != SQLITE_OK) {
        fail(mDb);
    }
    return *this;
}

Statement& Statement::bind(int index, int64_t value) {
    if (sqlite3_bind_int64(mStatement, index, value) != SQLITE_OK) fail(mDb);
    return *this;
}

Statement& Statement::bindNull(int index) {
    if (sqlite3_bind_null(mStatement, index) != SQLITE_OK) fail(mDb);
    return *this;
}

bool Statement::step() {
    int result = sqlite3_step(mStatement);
    if (result == SQLITE_ROW) return true;
    if (result != SQLITE_DONE) {
        StoreError error(sqlite3_errmsg(mDb));
        sqlite3_reset(mStatement);
        throw error;
    }
    sqlite3_reset(mStatement);
    return false;
}

void Statement::reset() {
    sqlite3_reset(mStatement);
}

bool Statement::isNull(int column) const {
    return sqlite3_column_type(mStatement, column) == SQLITE_NULL;
}

bool Statement::isInteger(int column) const {
    return sqlite3_column_type(mStatement, column) == SQLITE_INTEGER;
}

int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(mStatement, column);
}

std::string Statement::text(int column) const {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(mStatement, column));
    return bytes == nullptr ? std::string()
                            : std::string(bytes, sqlite3_column_bytes(mStatement, column));
}

}  // namespace triage
