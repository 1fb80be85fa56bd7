// Release health: a fleet's reports split by build, in rollout order, and by
// the module each stream was dispatched to, with the changes between builds
// that the numbers carry. Judged once here; the listing, the page and the
// store only present it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Triage.h"

namespace triage {

struct FleetStream {
    // As the verdict groups it: "C2", or "C2BWM or Displink" when undecided.
    std::string module;
    std::string finding;
};

// One report as the fleet counts it: what an Outcome holds, or a row of the
// store, without the dump.
struct FleetReport {
    std::string build;
    std::string takenAt;
    std::string identity;
    std::vector<FleetStream> streams;
};

FleetReport fleetReportOf(const Outcome& outcome);

// The build of the reports whose bugreport did not name one.
inline constexpr char kUnknownBuild[] = "(unknown build)";
// A change is called only where both builds have this many reports and a
// two-sided Fisher exact test gives less than this p: a weekly release
// review acts on the marks, so a mark must rarely be chance.
inline constexpr size_t kMinReportsToMark = 20;
inline constexpr double kMarkBelowP = 0.01;

struct Interval {
    double low = 0;
    double high = 0;
};

// The 95 % Wilson score interval of `with` out of `reports`.
Interval wilsonInterval(size_t with, size_t reports);
// The two-sided Fisher exact p of the 2x2 table of reports with and without
// a module in two builds.
double fisherExactP(size_t withA, size_t reportsA, size_t withB, size_t reportsB);

struct ModuleShare {
    size_t reportsWith = 0;
    double share = 0;
    Interval interval;
};

struct ShareChange {
    // The later build's share minus the earlier's.
    double change = 0;
    double p = 1;
    // "fixed", "regressed" or empty.
    std::string mark;
};

struct BuildHealth {
    std::string build;
    // Its first report's time: the build's rollout.
    std::string firstTakenAt;
    // Each report once, whatever the names it was read under.
    size_t reports = 0;
    // Distinct brand/product/device in its fingerprints; none when no
    // fingerprint reads as one.
    std::optional<size_t> devices;
    // In the order of FleetHealth::modules.
    std::vector<ModuleShare> modules;
    // Against the build before; empty for the first and the unknown build.
    std::vector<ShareChange> changes;
};

struct FindingSeen {
    std::string module;
    std::string finding;
    // Indices into FleetHealth::builds.
    size_t firstBuild = 0;
    size_t lastBuild = 0;
    // Per build, the reports with a stream of this finding.
    std::vector<size_t> reportsWith;
    // First seen in a build that had one before it.
    bool isNew = false;
};

struct DayCount {
    // YYYY-MM-DD of the reports' times.
    std::string day;
    size_t reports = 0;
    // In the order of FleetHealth::modules.
    std::vector<size_t> reportsWith;
};

struct FleetHealth {
    // Most reports first.
    std::vector<std::string> modules;
    // In rollout order, the unknown build last.
    std::vector<BuildHealth> builds;
    // In the order first seen along the builds.
    std::vector<FindingSeen> findings;
    // Days in order; reports whose time has no date are not in them.
    std::vector<DayCount> days;
};

FleetHealth judgeFleet(const std::vector<FleetReport>& reports);

// Module by module, `to` against `from`.
std::vector<ShareChange> compareBuilds(const BuildHealth& from, const BuildHealth& to);

// The day of a report's time, empty when it has none.
std::string dayOf(const std::string& takenAt);

}  // namespace triage
