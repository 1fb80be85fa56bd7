#include "Rows.h"

namespace triage {

std::string csvField(const std::string& text) {
    if (text.find_first_of(",\"\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + "\"";
}

namespace {

std::string csvOf(const Cell& cell) {
    if (const std::string* text = std::get_if<std::string>(&cell)) return csvField(*text);
    if (const bool* flag = std::get_if<bool>(&cell)) return *flag ? "true" : "false";
    return std::to_string(std::get<int64_t>(cell));
}

}  // namespace

// An empty stream marks the one row of an input without streams.
const std::vector<Column> kColumns = {
        {"source", ColumnKind::kInput,
         [](const Outcome& o, const StreamResult&) -> Cell { return o.path; }},
        {"entry", ColumnKind::kInput,
         [](const Outcome& o, const StreamResult&) -> Cell { return o.entry; }},
        {"build", ColumnKind::kInput,
         [](const Outcome& o, const StreamResult&) -> Cell { return o.build; }},
        {"takenAt", ColumnKind::kInput,
         [](const Outcome& o, const StreamResult&) -> Cell { return o.takenAt; }},
        {"stream", ColumnKind::kValue,
         [](const Outcome&, const StreamResult& s) -> Cell {
             if (!s.verdict.hasStream) return std::string();
             return int64_t{s.verdict.streamId};
         }},
        {"component", ColumnKind::kText,
         [](const Outcome&, const StreamResult& s) -> Cell { return s.verdict.component; }},
        {"inputSource", ColumnKind::kValue,
         [](const Outcome&, const StreamResult& s) -> Cell {
             return int64_t{s.verdict.inputSource};
         }},
        {"tunnel", ColumnKind::kValue,
         [](const Outcome&, const StreamResult& s) -> Cell { return s.verdict.tunnel; }},
        {"finding", ColumnKind::kText,
         [](const Outcome&, const StreamResult& s) -> Cell { return s.verdict.finding; }},
        {"owner", ColumnKind::kText,
         [](const Outcome&, const StreamResult& s) -> Cell { return s.verdict.owner; }},
        {"complete", ColumnKind::kValue,
         [](const Outcome&, const StreamResult& s) -> Cell { return s.verdict.complete; }},
        {"recordTime", ColumnKind::kValue,
         [](const Outcome&, const StreamResult& s) -> Cell { return s.recordTime; }},
};

nlohmann::ordered_json jsonRow(const Outcome& outcome, const StreamResult& stream) {
    nlohmann::ordered_json row = nlohmann::ordered_json::object();
    for (const Column& column : kColumns) {
        row[column.name] = jsonOf<nlohmann::ordered_json>(column.read(outcome, stream));
    }
    return row;
}

std::string csvHeader() {
    std::string line;
    const char* separator = "";
    for (const Column& column : kColumns) {
        line += separator + std::string(column.name);
        separator = ",";
    }
    return line + "\n";
}

std::string csvRow(const Outcome& outcome, const StreamResult& stream) {
    std::string line;
    const char* separator = "";
    for (const Column& column : kColumns) {
        line += separator + csvOf(column.read(outcome, stream));
        separator = ",";
    }
    return line + "\n";
}

}  // namespace triage
