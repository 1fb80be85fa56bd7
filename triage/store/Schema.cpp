#include "Schema.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Rows.h"
#include "Sql.h"

namespace triage {

namespace {

constexpr int kBusyMs = 120000;

int64_t single(sqlite3* db, const char* sql) {
    Statement query(db, sql);
    if (!query.step()) throw StoreError(std::string("no answer to ") + sql);
    int64_t value = query.integer(0);
    while (query.step()) {
    }
    return value;
}

void check(int64_t applicationId, int64_t version) {
    if (applicationId != kApplicationId || version < 1) {
        throw StoreError("not a c2info-triage store");
    }
    if (version > kSchemaVersion) {
        throw StoreError("a store of a newer c2info-triage (schema " + std::to_string(version) +
                         ", this one reads up to " + std::to_string(kSchemaVersion) + ")");
    }
}

uint32_t bigEndian(const unsigned char* bytes) {
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

// From the database header's own bytes: opening a file as a database, even
// to read, may roll back or recover what another program left in it.
void checkExisting(const std::string& path) {
    unsigned char header[100];
    FILE* file = fopen(path.c_str(), "rb");
    if (file == nullptr) throw StoreError(strerror(errno));
    size_t got = fread(header, 1, sizeof(header), file);
    fclose(file);
    if (got < sizeof(header) || memcmp(header, "SQLite format 3", 16) != 0) {
        throw StoreError("not a c2info-triage store");
    }
    check(static_cast<int32_t>(bigEndian(header + 68)),
          static_cast<int32_t>(bigEndian(header + 60)));
}

std::string createStreams(const char* name) {
    std::string streams = std::string("CREATE TABLE ") + name +
                          " (report INTEGER NOT NULL REFERENCES reports(id), "
                          "ordinal INTEGER NOT NULL";
    for (const std::string& column : streamColumns()) streams += ", \"" + column + "\"";
    return streams + ", UNIQUE (report, ordinal));";
}

std::string createTables() {
    return "PRAGMA application_id = " + std::to_string(kApplicationId) +
           "; PRAGMA user_version = " + std::to_string(kSchemaVersion) +
           "; CREATE TABLE reports (id INTEGER PRIMARY KEY, identity TEXT NOT NULL UNIQUE, "
           "path TEXT NOT NULL, entry TEXT NOT NULL, build TEXT NOT NULL, "
           "takenAt TEXT NOT NULL, report TEXT NOT NULL);"
           " CREATE TABLE inputs (path TEXT NOT NULL, size INTEGER NOT NULL, "
           "mtimeNs INTEGER NOT NULL, entry TEXT NOT NULL, "
           "report INTEGER REFERENCES reports(id), refusal TEXT, "
           "PRIMARY KEY (path, size, mtimeNs)) WITHOUT ROWID; " +
           createStreams("streams");
}

// Version 1's streams, the same columns without rowids, copied over.
void upgrade(sqlite3* db, int64_t version) {
    if (version == 1) {
        execute(db,
                ("ALTER TABLE streams RENAME TO streamsOfVersion1; " + createStreams("streams") +
                 " INSERT INTO streams SELECT * FROM streamsOfVersion1;"
                 " DROP TABLE streamsOfVersion1;")
                        .c_str());
    }
    execute(db, ("PRAGMA user_version = " + std::to_string(kSchemaVersion)).c_str());
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
        static_assert(kDetailColumns == 3);
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
        // Made in one transaction of the default journal, by the first of
        // two runs making it at once, so that a run killed while making it
        // leaves an empty file or a whole store; then written ahead, so
        // that readers do not wait for the writer.
        execute(db, "BEGIN IMMEDIATE");
        int64_t applicationId = single(db, "PRAGMA application_id");
        if (applicationId == 0 && single(db, "SELECT count(*) FROM sqlite_master") == 0) {
            execute(db, createTables().c_str());
        } else {
            int64_t version = single(db, "PRAGMA user_version");
            check(applicationId, version);
            if (version < kSchemaVersion) upgrade(db, version);
        }
        execute(db, "COMMIT");
        execute(db, "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL");
    } catch (const StoreError&) {
        sqlite3_close(db);
        throw;
    }
    return db;
}

}  // namespace triage
