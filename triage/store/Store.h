// The store of c2info-triage --db: every report judged, kept in a SQLite
// file that a night's run only adds to, so that a month of bugreports is
// read once and outlives the zips. The README describes its tables.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Fleet.h"
#include "Sql.h"
#include "Triage.h"

namespace triage {

// An input file as it was when read: another size or modification time
// is another input.
struct InputStamp {
    std::string path;
    int64_t size;
    int64_t mtimeNs;
};

// None for standard input and for a path that cannot be looked at.
std::optional<InputStamp> stampOf(const std::string& path);

// What forEachReport() reads of each stream: its row, which every listing
// prints, or also what the page's detail of it shows, which costs most of
// a month's reading.
enum class StreamDetails { kRow, kWhole };

class Store {
public:
    // Opens the store, or makes one of an absent or empty file. A file that
    // is not a store, or is one of a newer schema, is left as it was.
    explicit Store(const std::string& path);
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    bool knows(const InputStamp& input);
    // The outcome of an input read before, as its own reading would have
    // given it (without a recording's history, which is not kept).
    Outcome find(const InputStamp& input, StreamDetails details);
    // Kept with the next batch. Of standard input only the report is kept;
    // of an input refused before a dump was read from it, nothing, so that
    // the next run tries it again.
    void add(const std::optional<InputStamp>& input, const Outcome& outcome);
    // Writes what add() kept so far.
    void flush();
    // Every report, in the order each was first added.
    void forEachReport(const std::function<void(Outcome&&)>& take, StreamDetails details);
    // Gives a report read with kRow its streams' details.
    void readDetails(Outcome& outcome);
    // The same reports as the release health counts them, in one query: a
    // month's store is judged by build without reading a report's text.
    std::vector<FleetReport> fleetReports();

private:
    // Each within the batch's transaction.
    void addOne(const std::optional<InputStamp>& input, const Outcome& outcome);
    int64_t insertReport(const Outcome& outcome);
    Outcome loadReport(int64_t report, StreamDetails details);
    int64_t reportId(const std::string& identity);
    // Prepared once: a night's run asks the same few things thousands of
    // times, and preparing cost more than the asking.
    Statement& prepared(const std::string& sql);

    sqlite3* mDb = nullptr;
    std::unordered_map<std::string, std::unique_ptr<Statement>> mStatements;
    std::vector<std::pair<std::optional<InputStamp>, Outcome>> mPending;
};

}  // namespace triage
