// The row of one stream of one input, as --json and --csv print it and the
// page shows it: its columns are declared once, here, and every writer
// loops over them.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <variant>
#include <vector>

#include "Triage.h"

namespace triage {

using Cell = std::variant<std::string, int64_t, bool>;

enum class ColumnKind {
    kInput,  // the same for every stream of an input
    kText,   // a text that repeats across rows (components, findings, owners)
    kValue,
};

struct Column {
    const char* name;
    ColumnKind kind;
    Cell (*read)(const Outcome& outcome, const StreamResult& stream);
};

// In order; a new column is one more line of the table.
extern const std::vector<Column> kColumns;

// A cell as a JSON value of either flavour: --json keeps its keys in order.
template <typename Json = nlohmann::json>
Json jsonOf(const Cell& cell) {
    return std::visit([](const auto& value) { return Json(value); }, cell);
}

nlohmann::ordered_json jsonRow(const Outcome& outcome, const StreamResult& stream);
// A text as one CSV field, quoted where it must be.
std::string csvField(const std::string& text);
// The header row and a row of --csv, each with its line end.
std::string csvHeader();
std::string csvRow(const Outcome& outcome, const StreamResult& stream);

}  // namespace triage
