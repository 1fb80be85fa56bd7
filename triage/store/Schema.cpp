#include "Schema.h"

#include <sys/stat.h>

#include "Rows.h"
#include "Sql.h"

namespace triage {

namespace {

constexpr int kBusyMs = 120000;

// What a database's header and catalogue say about it.
struct Marks {
    int64_t applicationId;
    int64_t version;
    int64_t tables;
};

int64_t single(sqlite3* db, const char* sql) {
    Statement query(db, sql);
    if (!query.step()) throw StoreError(std::string("no answer to ") + sql);
    int64_t value = query.integer(0);
    while (query.step()) {
    }
    return value;
}

Marks marksOf(sqlite3* db) {
    return {single(db, "PRAGMA application_id"), single(db, "PRAGMA user_version"),
            single(db, "SELECT count(*) FROM sqlite_master")};
}

// A database nothing was made in yet: a store whose making was cut before
// its first commit.
bool isBlank(const Marks& marks) {
    return marks.applicationId == 0 && marks.version == 0 && marks.tables == 0;
}

void check(const Marks& marks) {
    if (marks.applicationId != kApplicationId && !isBlank(marks)) {
        throw StoreError("not a c2info-triage store");
    }
    if (marks.version > kSchemaVersion) {
        throw StoreError("a store of a newer c2info-triage (schema " +
                         std::to_string(marks.version) + ", this one reads up to " +
                         std::to_string(kSchemaVersion) + ")");
    }
}

// Read only, so that a file of another kind is not changed by looking.
void checkExisting(const std::string& path) {
    sqlite3* db = nullptr;
    int opened = sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    try {
        if (opened != SQLITE_OK) throw StoreError(sqlite3_errmsg(db));
        sqlite3_busy_timeout(db, kBusyMs);
        check(marksOf(db));
    } catch (const StoreError&) {
        bool notDatabase = sqlite3_errcode(db) == SQLITE_NOTADB;
        sqlite3_close(db);
        if (notDatabase) throw StoreError("not a c2info-triage store");
        throw;
    }
    sqlite3_close(db);
}

std::string createTables() {
    std::string streams =
            "CREATE TABLE streams (report INTEGER NOT NULL REFERENCES reports(id), "
            "ordinal INTEGER NOT NULL";
    for (const std::string& column : streamColumns()) streams += ", \"" + column + "\"";
    streams += ", PRIMARY KEY (report, ordinal)) WITHOUT ROWID;";
    return "PRAGMA application_id = " + std::to_string(kApplicationId) +
           "; PRAGMA user_version = " + std::to_string(kSchemaVersion) +
           "; CREATE TABLE reports (id INTEGER PRIMARY KEY, identity TEXT NOT NULL UNIQUE, "
           "path TEXT NOT NULL, entry TEXT NOT NULL, build TEXT NOT NULL, "
           "takenAt TEXT NOT NULL, report TEXT NOT NULL);"
           " CREATE TABLE inputs (path TEXT NOT NULL, size INTEGER NOT NULL, "
           "mtimeNs INTEGER NOT NULL, entry TEXT NOT NULL, "
           "report INTEGER REFERENCES reports(id), refusal TEXT, "
           "PRIMARY KEY (path, size, mtimeNs)) WITHOUT ROWID; " +
           streams;
}

}  // namespace

const std::vector<std::string>& streamColumns() {
    static const std::vector<std::string> columns = [] {
        std::vector<std::string> names;
        bool hasModule = false;
        for (const Column& column : kColumns) {
            if (column.kind == ColumnKind::kInput) continue;
            names.emplace_back(column.name);
            hasModule |= names.back() == "module";
        }
        if (!hasModule) names.emplace_back("module");
        for (const char* detail : {"lines", "counters", "change"}) names.emplace_back(detail);
        return names;
    }();
    return columns;
}

sqlite3* openStore(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && status.st_size > 0) checkExisting(path);
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
        SQLITE_OK) {
        std::string what = db != nullptr ? sqlite3_errmsg(db) : "out of memory";
        sqlite3_close(db);
        throw StoreError(what);
    }
    try {
        sqlite3_busy_timeout(db, kBusyMs);
        execute(db, "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL");
        // Another run may be making the same store: the first to write makes it.
        execute(db, "BEGIN IMMEDIATE");
        Marks marks = marksOf(db);
        check(marks);
        if (isBlank(marks)) execute(db, createTables().c_str());
        execute(db, "COMMIT");
    } catch (const StoreError&) {
        sqlite3_close(db);
        throw;
    }
    return db;
}

}  // namespace triage
