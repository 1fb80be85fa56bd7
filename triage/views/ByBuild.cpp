#include "ByBuild.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Rows.h"

namespace triage {

namespace {

using Json = nlohmann::ordered_json;

// Shares to four decimals, a p to four significant digits: more is noise
// to a reader and churn in a diff of two weeks' tables.
Json fraction(double value) {
    return std::round(value * 1e4) / 1e4;
}

// A month's fleet gives p values below the smallest normal double, which
// std::stod refuses: strtod reads them.
Json significant(double value) {
    char text[32];
    snprintf(text, sizeof(text), "%.4g", value);
    return strtod(text, nullptr);
}

struct ModuleRow {
    const FleetHealth& fleet;
    const BuildHealth& build;
    size_t module;
    const ShareChange* change;
};

struct ModuleColumn {
    const char* name;
    Json (*read)(const ModuleRow& row);
};

const ModuleColumn kModuleColumns[] = {
        {"build", [](const ModuleRow& r) -> Json { return r.build.build; }},
        {"rollout", [](const ModuleRow& r) -> Json { return r.build.firstTakenAt; }},
        {"reports", [](const ModuleRow& r) -> Json { return r.build.reports; }},
        {"devices",
         [](const ModuleRow& r) -> Json {
             return r.build.devices ? Json(*r.build.devices) : Json();
         }},
        {"module", [](const ModuleRow& r) -> Json { return r.fleet.modules[r.module]; }},
        {"reportsWith",
         [](const ModuleRow& r) -> Json { return r.build.modules[r.module].reportsWith; }},
        {"share",
         [](const ModuleRow& r) -> Json { return fraction(r.build.modules[r.module].share); }},
        {"low",
         [](const ModuleRow& r) -> Json {
             return fraction(r.build.modules[r.module].interval.low);
         }},
        {"high",
         [](const ModuleRow& r) -> Json {
             return fraction(r.build.modules[r.module].interval.high);
         }},
        {"change",
         [](const ModuleRow& r) -> Json { return r.change ? fraction(r.change->change) : Json(); }},
        {"p",
         [](const ModuleRow& r) -> Json { return r.change ? significant(r.change->p) : Json(); }},
        {"mark", [](const ModuleRow& r) -> Json { return r.change ? r.change->mark : ""; }},
};

struct FindingColumn {
    const char* name;
    Json (*read)(const FleetHealth& fleet, const FindingSeen& finding);
};

const FindingColumn kFindingColumns[] = {
        {"module", [](const FleetHealth&, const FindingSeen& f) -> Json { return f.module; }},
        {"finding", [](const FleetHealth&, const FindingSeen& f) -> Json { return f.finding; }},
        {"reports",
         [](const FleetHealth&, const FindingSeen& f) -> Json {
             size_t reports = 0;
             for (size_t with : f.reportsWith) reports += with;
             return reports;
         }},
        {"firstBuild",
         [](const FleetHealth& fleet, const FindingSeen& f) -> Json {
             return fleet.builds[f.firstBuild].build;
         }},
        {"lastBuild",
         [](const FleetHealth& fleet, const FindingSeen& f) -> Json {
             return fleet.builds[f.lastBuild].build;
         }},
        {"mark",
         [](const FleetHealth&, const FindingSeen& f) -> Json { return f.isNew ? "new" : ""; }},
};

template <typename Visit>
void forEachModuleRow(const FleetHealth& fleet, Visit visit) {
    for (const BuildHealth& build : fleet.builds) {
        for (size_t m = 0; m < fleet.modules.size(); ++m) {
            visit(ModuleRow{fleet, build, m, build.changes.empty() ? nullptr : &build.changes[m]});
        }
    }
}

std::string csvOf(const Json& value) {
    if (value.is_null()) return "";
    if (value.is_string()) return csvField(value.get<std::string>());
    return value.dump();
}

template <typename Columns, typename Read>
void printCsvRow(const Columns& columns, Read read, FILE* out) {
    std::string line;
    for (const auto& column : columns) {
        if (&column != columns) line += ',';
        line += csvOf(read(column));
    }
    fprintf(out, "%s\n", line.c_str());
}

template <typename Columns>
void printCsvHeader(const Columns& columns, FILE* out) {
    printCsvRow(
            columns, [](const auto& column) { return Json(column.name); }, out);
}

// The builds' table, then after an empty line the findings' table, each
// with its header.
void printCsv(const FleetHealth& fleet, FILE* out) {
    printCsvHeader(kModuleColumns, out);
    forEachModuleRow(fleet, [&](const ModuleRow& row) {
        printCsvRow(
                kModuleColumns, [&](const ModuleColumn& c) { return c.read(row); }, out);
    });
    fputs("\n", out);
    printCsvHeader(kFindingColumns, out);
    for (const FindingSeen& finding : fleet.findings) {
        printCsvRow(
                kFindingColumns, [&](const FindingColumn& c) { return c.read(fleet, finding); },
                out);
    }
}

std::string percent(double value) {
    char text[16];
    snprintf(text, sizeof(text), "%.1f", value * 100);
    return text;
}

void printText(const FleetHealth& fleet, FILE* out) {
    for (const BuildHealth& build : fleet.builds) {
        fprintf(out, "%s\n  rollout %s, %zu report%s", build.build.c_str(),
                build.firstTakenAt.empty() ? "unknown" : build.firstTakenAt.c_str(), build.reports,
                build.reports == 1 ? "" : "s");
        if (build.devices)
            fprintf(out, ", %zu device%s", *build.devices, *build.devices == 1 ? "" : "s");
        fputs("\n", out);
        for (size_t m = 0; m < fleet.modules.size(); ++m) {
            const ModuleShare& share = build.modules[m];
            fprintf(out, "  %-20s %5zu  %5s %% (%s-%s)", fleet.modules[m].c_str(),
                    share.reportsWith, percent(share.share).c_str(),
                    percent(share.interval.low).c_str(), percent(share.interval.high).c_str());
            if (!build.changes.empty()) {
                const ShareChange& change = build.changes[m];
                fprintf(out, "  %+6.1f pts  p %.2g%s%s", change.change * 100, change.p,
                        change.mark.empty() ? "" : "  ", change.mark.c_str());
            }
            fputs("\n", out);
        }
    }
    if (fleet.findings.empty()) return;
    fputs("\nfindings, first and last seen\n", out);
    for (const FindingSeen& finding : fleet.findings) {
        fprintf(out, "  %s: %s\n    %s .. %s%s\n", finding.module.c_str(), finding.finding.c_str(),
                fleet.builds[finding.firstBuild].build.c_str(),
                fleet.builds[finding.lastBuild].build.c_str(), finding.isNew ? "  new" : "");
    }
}

}  // namespace

Json byBuildJson(const FleetHealth& fleet) {
    Json builds = Json::array(), findings = Json::array();
    forEachModuleRow(fleet, [&](const ModuleRow& row) {
        Json object = Json::object();
        for (const ModuleColumn& column : kModuleColumns) object[column.name] = column.read(row);
        builds.push_back(std::move(object));
    });
    for (const FindingSeen& finding : fleet.findings) {
        Json object = Json::object();
        for (const FindingColumn& column : kFindingColumns)
            object[column.name] = column.read(fleet, finding);
        findings.push_back(std::move(object));
    }
    return {{"builds", std::move(builds)}, {"findings", std::move(findings)}};
}

nlohmann::json byBuildColumns() {
    nlohmann::json builds = nlohmann::json::array(), findings = nlohmann::json::array();
    for (const ModuleColumn& column : kModuleColumns) builds.push_back(column.name);
    for (const FindingColumn& column : kFindingColumns) findings.push_back(column.name);
    return {{"builds", std::move(builds)}, {"findings", std::move(findings)}};
}

void printByBuild(const FleetHealth& fleet, ListingFormat format, FILE* out) {
    switch (format) {
        case ListingFormat::kJson:
            fprintf(out, "%s\n",
                    byBuildJson(fleet).dump(2, ' ', false, Json::error_handler_t::replace).c_str());
            return;
        case ListingFormat::kCsv:
            printCsv(fleet, out);
            return;
        case ListingFormat::kText:
        case ListingFormat::kRefusalsOnly:
            printText(fleet, out);
            return;
    }
}

}  // namespace triage
