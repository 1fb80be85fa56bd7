#include "Store.h"

#include <sys/stat.h>

#include <limits>
#include <nlohmann/json.hpp>
#include <type_traits>

#include "Detail.h"
#include "Rows.h"
#include "Schema.h"

namespace triage {

namespace {

using ::vendor::larkspan::hardware::c2::info::implementation::OwnerLine;

// Outcomes written a transaction at a time: a commit costs a sync.
constexpr size_t kBatch = 64;

std::string jsonText(const nlohmann::json& json) {
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

// The counters a detail shows, by name; what is derived from them is not kept.
template <typename Counts>
nlohmann::json countersJson(const Counts& counts) {
    nlohmann::json values = nlohmann::json::object();
    visitCounters(counts, [&](const Counter& counter, auto value) {
        if (!counter.derived) values[counter.name] = value;
    });
    return values;
}

// A record or a change with only the counters a detail shows.
template <typename Counts>
Counts countsFrom(const nlohmann::json& values) {
    Counts counts{};
    visitCounters(counts, [&](const Counter& counter, auto&& member) {
        using T = std::decay_t<decltype(member)>;
        if (counter.derived) return;
        const nlohmann::json& value = values.at(counter.name);
        if constexpr (std::is_floating_point_v<T>) {
            // JSON has no NaN: it was written as null.
            member = value.is_null() ? std::numeric_limits<T>::quiet_NaN() : value.get<T>();
        } else {
            member = value.get<T>();
        }
    });
    return counts;
}

nlohmann::json linesJson(const std::vector<OwnerLine>& lines) {
    nlohmann::json values = nlohmann::json::array();
    for (const OwnerLine& line : lines) {
        values.push_back({lineKindName(line.kind), line.assumed, line.text});
    }
    return values;
}

std::vector<OwnerLine> linesFrom(const nlohmann::json& values) {
    std::vector<OwnerLine> lines;
    for (const nlohmann::json& value : values) {
        std::optional<OwnerLineKind> kind = lineKindNamed(value.at(0).get<std::string>());
        if (!kind) throw StoreError("a stream line of an unknown kind in the store");
        lines.push_back({*kind, value.at(1).get<bool>(), value.at(2).get<std::string>()});
    }
    return lines;
}

void bindCell(Statement& statement, int index, const Cell& cell) {
    if (const std::string* text = std::get_if<std::string>(&cell)) {
        statement.bind(index, *text);
    } else if (const bool* flag = std::get_if<bool>(&cell)) {
        statement.bind(index, int64_t{*flag});
    } else {
        statement.bind(index, std::get<int64_t>(cell));
    }
}

// The stream's details by column name; its row's cells from kColumns.
void bindStream(Statement& statement, const Outcome& outcome, const StreamResult& stream) {
    int index = 3;  // after the report and the ordinal
    for (const std::string& name : streamColumns()) {
        const Column* row = nullptr;
        for (const Column& column : kColumns) {
            if (name == column.name) row = &column;
        }
        if (row != nullptr) {
            bindCell(statement, index++, row->read(outcome, stream));
        } else if (name == "module") {
            statement.bind(index++, stream.verdict.module);
        } else if (name == "lines") {
            statement.bind(index++, jsonText(linesJson(stream.verdict.lines)));
        } else if (name == "counters") {
            if (stream.record) {
                nlohmann::json counters = countersJson(*stream.record);
                counters["sideBand"] = stream.record->sideBand;
                statement.bind(index++, jsonText(counters));
            } else {
                statement.bindNull(index++);
            }
        } else if (name == "change") {
            if (stream.lastChange) {
                statement.bind(index++, jsonText(countersJson(*stream.lastChange)));
            } else {
                statement.bindNull(index++);
            }
        }
    }
}

// The reverse of bindStream(), over `columns` from the row's column
// `first` on.
StreamResult streamFrom(const Statement& row, int first, const std::vector<std::string>& columns) {
    StreamResult stream;
    OwnerVerdict& verdict = stream.verdict;
    int index = first;
    for (const std::string& name : columns) {
        int at = index++;
        if (name == "stream") {
            verdict.hasStream = row.isInteger(at);
            verdict.streamId = verdict.hasStream ? static_cast<uint32_t>(row.integer(at)) : 0;
        } else if (name == "component") {
            verdict.component = row.text(at);
        } else if (name == "inputSource") {
            verdict.inputSource = static_cast<int>(row.integer(at));
        } else if (name == "tunnel") {
            verdict.tunnel = row.integer(at) != 0;
        } else if (name == "finding") {
            verdict.finding = row.text(at);
        } else if (name == "owner") {
            verdict.owner = row.text(at);
        } else if (name == "complete") {
            verdict.complete = row.integer(at) != 0;
        } else if (name == "recordTime") {
            stream.recordTime = row.text(at);
        } else if (name == "module") {
            verdict.module = row.text(at);
        } else if (name == "lines") {
            verdict.lines = linesFrom(nlohmann::json::parse(row.text(at)));
        } else if (name == "counters" && !row.isNull(at)) {
            nlohmann::json counters = nlohmann::json::parse(row.text(at));
            stream.record = countsFrom<_DebugDescription>(counters);
            stream.record->sideBand = counters.at("sideBand").get<uint8_t>();
        } else if (name == "change" && !row.isNull(at)) {
            stream.lastChange = countsFrom<_DiffInfo>(nlohmann::json::parse(row.text(at)));
        }
    }
    return stream;
}

// The stream columns read with `details`.
std::vector<std::string> readColumns(StreamDetails details) {
    const std::vector<std::string>& all = streamColumns();
    return {all.begin(), details == StreamDetails::kWhole ? all.end() : all.end() - kDetailColumns};
}

// A report's columns, then its streams' in order, a row each (one row of
// nulls for a report without streams): every report is read in one query.
constexpr int kFirstStreamColumn = 8;
std::string reportsQuery(const std::vector<std::string>& columns, const std::string& where) {
    std::string sql =
            "SELECT r.id, r.identity, r.path, r.entry, r.build, r.takenAt, r.report, s.ordinal";
    for (const std::string& name : columns) sql += ", s.\"" + name + "\"";
    return sql + " FROM reports r LEFT JOIN streams s ON s.report = r.id " + where +
           " ORDER BY r.id, s.ordinal";
}

// Steps the query through its rows and gives each report whole.
void takeReports(Statement& query, const std::vector<std::string>& columns,
                 const std::function<void(Outcome&&)>& take) {
    std::optional<int64_t> current;
    Outcome outcome;
    while (query.step()) {
        int64_t id = query.integer(0);
        if (current != id) {
            if (current) take(std::move(outcome));
            current = id;
            outcome = Outcome{};
            outcome.identity = query.text(1);
            outcome.path = query.text(2);
            outcome.entry = query.text(3);
            outcome.build = query.text(4);
            outcome.takenAt = query.text(5);
            outcome.report = query.text(6);
        }
        if (!query.isNull(kFirstStreamColumn - 1)) {
            outcome.streams.push_back(streamFrom(query, kFirstStreamColumn, columns));
        }
    }
    if (current) take(std::move(outcome));
}

std::string placeholders(size_t count) {
    std::string list;
    for (size_t i = 0; i < count; ++i) list += i == 0 ? "?" : ", ?";
    return list;
}

}  // namespace

std::optional<InputStamp> stampOf(const std::string& path) {
    struct stat status {};
    if (path == "-" || stat(path.c_str(), &status) != 0) return std::nullopt;
    return InputStamp{
            path, static_cast<int64_t>(status.st_size),
            static_cast<int64_t>(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec};
}

Store::Store(const std::string& path) : mDb(openStore(path)) {}

Store::~Store() {
    mStatements.clear();
    sqlite3_close(mDb);
}

Statement& Store::prepared(const std::string& sql) {
    std::unique_ptr<Statement>& statement = mStatements[sql];
    if (!statement) statement = std::make_unique<Statement>(mDb, sql);
    statement->reset();
    return *statement;
}

bool Store::knows(const InputStamp& input) {
    Statement& query = prepared("SELECT 1 FROM inputs WHERE path = ? AND size = ? AND mtimeNs = ?");
    query.bind(1, input.path).bind(2, input.size).bind(3, input.mtimeNs);
    bool known = query.step();
    while (query.step()) {
    }
    return known;
}

Outcome Store::find(const InputStamp& input, StreamDetails details) {
    Statement& query = prepared(
            "SELECT entry, report, refusal FROM inputs "
            "WHERE path = ? AND size = ? AND mtimeNs = ?");
    query.bind(1, input.path).bind(2, input.size).bind(3, input.mtimeNs);
    if (!query.step()) throw StoreError("an input the store knew is gone from it: " + input.path);
    std::string entry = query.text(0);
    bool refused = !query.isNull(2);
    int64_t report = query.integer(1);
    std::string refusal = query.text(2);
    while (query.step()) {
    }
    if (refused) return {input.path, entry, "", "", "", refusal, "", {}, {}};
    // The same report read under this name says this name.
    Outcome outcome = loadReport(report, details);
    outcome.report.replace(0, reportHeading(outcome.path, outcome.entry).size(),
                           reportHeading(input.path, entry));
    outcome.path = input.path;
    outcome.entry = std::move(entry);
    return outcome;
}

void Store::add(const std::optional<InputStamp>& input, const Outcome& outcome) {
    mPending.emplace_back(input, outcome);
    if (mPending.size() >= kBatch) flush();
}

void Store::flush() {
    if (mPending.empty()) return;
    execute(mDb, "BEGIN IMMEDIATE");
    try {
        for (const auto& [input, outcome] : mPending) addOne(input, outcome);
        execute(mDb, "COMMIT");
    } catch (const StoreError&) {
        sqlite3_exec(mDb, "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
    mPending.clear();
}

void Store::addOne(const std::optional<InputStamp>& input, const Outcome& outcome) {
    // Could not be read at all: it may be readable next time.
    if (outcome.identity.empty()) return;
    std::optional<int64_t> report;
    if (outcome.error.empty()) report = insertReport(outcome);
    if (!input) return;
    Statement& insert = prepared(
            "INSERT INTO inputs (path, size, mtimeNs, entry, report, refusal) "
            "VALUES (?, ?, ?, ?, ?, ?) ON CONFLICT DO NOTHING");
    insert.bind(1, input->path).bind(2, input->size).bind(3, input->mtimeNs);
    insert.bind(4, outcome.entry);
    if (report) {
        insert.bind(5, *report).bindNull(6);
    } else {
        insert.bindNull(5).bind(6, outcome.error);
    }
    insert.step();
}

// The report's id, the one already kept when another name had it first.
int64_t Store::insertReport(const Outcome& outcome) {
    Statement& insert = prepared(
            "INSERT INTO reports (identity, path, entry, build, takenAt, report) "
            "VALUES (?, ?, ?, ?, ?, ?) ON CONFLICT (identity) DO NOTHING");
    insert.bind(1, outcome.identity).bind(2, outcome.path).bind(3, outcome.entry);
    insert.bind(4, outcome.build).bind(5, outcome.takenAt).bind(6, outcome.report);
    insert.step();
    if (sqlite3_changes(mDb) == 0) return reportId(outcome.identity);
    int64_t id = sqlite3_last_insert_rowid(mDb);
    Statement& stream = prepared("INSERT INTO streams VALUES (?, ?, " +
                                 placeholders(streamColumns().size()) + ")");
    for (size_t ordinal = 0; ordinal < outcome.streams.size(); ++ordinal) {
        stream.bind(1, id).bind(2, static_cast<int64_t>(ordinal));
        bindStream(stream, outcome, outcome.streams[ordinal]);
        stream.step();
    }
    return id;
}

Outcome Store::loadReport(int64_t report, StreamDetails details) {
    const std::vector<std::string> columns = readColumns(details);
    Statement& query = prepared(reportsQuery(columns, "WHERE r.id = ?"));
    query.bind(1, report);
    std::optional<Outcome> found;
    takeReports(query, columns, [&](Outcome&& outcome) { found = std::move(outcome); });
    if (!found) throw StoreError("a report the store points at is gone");
    return std::move(*found);
}

void Store::forEachReport(const std::function<void(Outcome&&)>& take, StreamDetails details) {
    // Stepped, not gathered: the reports of a month need not fit in memory.
    const std::vector<std::string> columns = readColumns(details);
    Statement query(mDb, reportsQuery(columns, ""));
    takeReports(query, columns, take);
}

int64_t Store::reportId(const std::string& identity) {
    Statement& query = prepared("SELECT id FROM reports WHERE identity = ?");
    query.bind(1, identity);
    if (!query.step()) throw StoreError("a report the store held is gone from it");
    int64_t id = query.integer(0);
    while (query.step()) {
    }
    return id;
}

void Store::readDetails(Outcome& outcome) {
    Outcome whole = loadReport(reportId(outcome.identity), StreamDetails::kWhole);
    if (whole.streams.size() != outcome.streams.size()) {
        throw StoreError("a report the store held has changed in it");
    }
    outcome.streams = std::move(whole.streams);
}

std::vector<FleetReport> Store::fleetReports() {
    std::vector<FleetReport> fleet;
    Statement query(
            mDb,
            "SELECT reports.id, build, takenAt, identity, module, finding FROM reports "
            "LEFT JOIN streams ON streams.report = reports.id ORDER BY reports.id, ordinal");
    int64_t last = 0;
    while (query.step()) {
        int64_t report = query.integer(0);
        if (fleet.empty() || report != last) {
            fleet.push_back({query.text(1), query.text(2), query.text(3), {}});
            last = report;
        }
        if (!query.isNull(4)) fleet.back().streams.push_back({query.text(4), query.text(5)});
    }
    return fleet;
}

}  // namespace triage
