#include "Fleet.h"

#include <algorithm>
// Boost's table of primes, which its hypergeometric pdf walks for builds of
// up to 100,000 reports, is a constexpr local array that GCC copies onto
// the stack at every look-up (27 KB each, most of --by-build's time over
// a month's store); as static tables it is read in place. No other file
// includes it.
#include <boost/math/tools/config.hpp>
#undef BOOST_MATH_HAVE_CONSTEXPR_TABLES
#undef BOOST_MATH_CONSTEXPR_TABLE_FUNCTION
#define BOOST_MATH_CONSTEXPR_TABLE_FUNCTION
#include <boost/math/distributions/hypergeometric.hpp>
#include <boost/math/distributions/normal.hpp>
#include <cctype>
#include <cmath>
#include <map>
#include <set>
#include <unordered_set>
#include <utility>

namespace triage {

namespace {

// Tables whose probability differs from the observed one's only by rounding
// count as no more likely, as R's fisher.test does.
constexpr double kSameProbability = 1 + 1e-7;

// brand/product/device, the fingerprint's part before its first ':'.
std::optional<std::string> deviceOf(const std::string& fingerprint) {
    size_t colon = fingerprint.find(':');
    if (colon == std::string::npos) return std::nullopt;
    std::string device = fingerprint.substr(0, colon);
    size_t first = device.find('/');
    size_t second = first == std::string::npos ? first : device.find('/', first + 1);
    if (first == 0 || second == std::string::npos || second == first + 1 ||
        second + 1 == device.size() || device.find('/', second + 1) != std::string::npos)
        return std::nullopt;
    return device;
}

struct BuildTally {
    std::string firstTakenAt;
    size_t reports = 0;
    std::set<std::string> devices;
    std::map<std::string, size_t> modules;
    std::map<std::pair<std::string, std::string>, size_t> findings;
};

// Rollout order: by first report's time, a build without times after
// those with, the unknown build last; ties keep input order.
std::vector<std::string> rolloutOrder(const std::vector<std::string>& seen,
                                      const std::map<std::string, BuildTally>& tallies) {
    std::vector<std::string> order = seen;
    auto rank = [&](const std::string& build) {
        const std::string& at = tallies.at(build).firstTakenAt;
        return std::make_tuple(build == kUnknownBuild, at.empty(), at);
    };
    std::stable_sort(order.begin(), order.end(),
                     [&](const auto& a, const auto& b) { return rank(a) < rank(b); });
    return order;
}

}  // namespace

FleetReport fleetReportOf(const Outcome& outcome) {
    FleetReport report{outcome.build, outcome.takenAt, outcome.identity, {}};
    for (const StreamResult& stream : outcome.streams)
        report.streams.push_back({stream.verdict.module, stream.verdict.finding});
    return report;
}

std::string dayOf(const std::string& takenAt) {
    bool dated = takenAt.size() >= 10 && takenAt[4] == '-' && takenAt[7] == '-';
    for (size_t i : {0, 1, 2, 3, 5, 6, 8, 9})
        dated = dated && std::isdigit(static_cast<unsigned char>(takenAt[i]));
    return dated ? takenAt.substr(0, 10) : std::string();
}

Interval wilsonInterval(size_t with, size_t reports) {
    if (reports == 0) return {0, 1};
    static const double z =
            boost::math::quantile(boost::math::complement(boost::math::normal(), 0.025));
    double n = static_cast<double>(reports);
    double p = static_cast<double>(with) / n;
    double z2 = z * z;
    double centre = (p + z2 / (2 * n)) / (1 + z2 / n);
    double half = z / (1 + z2 / n) * std::sqrt(p * (1 - p) / n + z2 / (4 * n * n));
    return {std::max(0.0, centre - half), std::min(1.0, centre + half)};
}

// The tables no more likely than the observed one are the two tails of a
// unimodal distribution: the observed count's own, and on the mode's other
// side the counts from where the probability falls to the observed one's,
// found by bisection. Two cumulative sums then cost what a few terms do,
// where summing every table of a build of thousands of reports would not.
double fisherExactP(size_t withA, size_t reportsA, size_t withB, size_t reportsB) {
    auto with = static_cast<unsigned>(withA + withB);
    auto total = static_cast<unsigned>(reportsA + reportsB);
    auto drawn = static_cast<unsigned>(reportsA);
    if (with == 0 || with == total || drawn == 0 || drawn == total) return 1;
    boost::math::hypergeometric_distribution<double> tables(with, drawn, total);
    auto observedCount = static_cast<unsigned>(withA);
    double observed = boost::math::pdf(tables, observedCount) * kSameProbability;
    unsigned lowest = drawn + with > total ? drawn + with - total : 0;
    unsigned highest = std::min(with, drawn);
    auto mode = static_cast<unsigned>(
            std::min<double>(highest, std::floor((with + 1.0) * (drawn + 1.0) / (total + 2.0))));
    auto atMost = [&](unsigned x) { return boost::math::pdf(tables, x) <= observed; };
    // P(X >= from), and P(X <= to).
    auto upperTail = [&](unsigned from) {
        if (from > highest) return 0.0;
        return from == 0 ? 1.0 : boost::math::cdf(boost::math::complement(tables, from - 1));
    };
    auto lowerTail = [&](unsigned to) { return boost::math::cdf(tables, to); };
    double p;
    if (observedCount <= mode) {
        // The first count from the mode on at most as likely (a second
        // mode, tied with the observed count, among them).
        unsigned from = std::max(mode, observedCount + 1), to = highest + 1;
        while (from < to) {
            unsigned middle = from + (to - from) / 2;
            if (atMost(middle)) {
                to = middle;
            } else {
                from = middle + 1;
            }
        }
        p = lowerTail(observedCount) + upperTail(from);
    } else {
        // The first count up to the mode more likely: the ones before it
        // are at most as likely, if any.
        unsigned from = lowest, to = mode + 1;
        while (from < to) {
            unsigned middle = from + (to - from) / 2;
            if (atMost(middle)) {
                from = middle + 1;
            } else {
                to = middle;
            }
        }
        p = upperTail(observedCount) + (from > lowest ? lowerTail(from - 1) : 0.0);
    }
    return std::min(1.0, p);
}

std::vector<ShareChange> compareBuilds(const BuildHealth& from, const BuildHealth& to) {
    std::vector<ShareChange> changes;
    bool enough = from.reports >= kMinReportsToMark && to.reports >= kMinReportsToMark;
    for (size_t m = 0; m < from.modules.size() && m < to.modules.size(); ++m) {
        ShareChange change;
        change.change = to.modules[m].share - from.modules[m].share;
        change.p = fisherExactP(from.modules[m].reportsWith, from.reports,
                                to.modules[m].reportsWith, to.reports);
        if (enough && change.p < kMarkBelowP && change.change != 0)
            change.mark = change.change < 0 ? "fixed" : "regressed";
        changes.push_back(std::move(change));
    }
    return changes;
}

FleetHealth judgeFleet(const std::vector<FleetReport>& reports) {
    std::map<std::string, BuildTally> tallies;
    std::vector<std::string> seenBuilds;
    std::map<std::string, size_t> moduleReports;
    std::vector<std::pair<std::string, std::string>> seenFindings;
    std::map<std::string, std::map<std::string, size_t>> dayModules;
    std::map<std::string, size_t> dayReports;
    std::unordered_set<std::string> identities;
    for (const FleetReport& report : reports) {
        if (!report.identity.empty() && !identities.insert(report.identity).second) continue;
        const std::string build = report.build.empty() ? kUnknownBuild : report.build;
        auto [at, added] = tallies.try_emplace(build);
        BuildTally& tally = at->second;
        if (added) seenBuilds.push_back(build);
        if (!report.takenAt.empty() &&
            (tally.firstTakenAt.empty() || report.takenAt < tally.firstTakenAt))
            tally.firstTakenAt = report.takenAt;
        ++tally.reports;
        if (std::optional<std::string> device = deviceOf(report.build))
            tally.devices.insert(*device);
        std::set<std::string> modules;
        std::set<std::pair<std::string, std::string>> findings;
        for (const FleetStream& stream : report.streams) {
            if (stream.module.empty()) continue;
            modules.insert(stream.module);
            findings.emplace(stream.module, stream.finding);
        }
        const std::string day = dayOf(report.takenAt);
        if (!day.empty()) ++dayReports[day];
        for (const std::string& module : modules) {
            ++tally.modules[module];
            ++moduleReports[module];
            if (!day.empty()) ++dayModules[day][module];
        }
        for (const auto& finding : findings) {
            if (tally.findings[finding]++ == 0 &&
                std::find(seenFindings.begin(), seenFindings.end(), finding) == seenFindings.end())
                seenFindings.push_back(finding);
        }
    }

    FleetHealth fleet;
    for (const auto& [module, count] : moduleReports) fleet.modules.push_back(module);
    std::stable_sort(fleet.modules.begin(), fleet.modules.end(), [&](const auto& a, const auto& b) {
        return moduleReports[a] > moduleReports[b];
    });
    const std::vector<std::string> order = rolloutOrder(seenBuilds, tallies);
    for (const std::string& build : order) {
        const BuildTally& tally = tallies.at(build);
        BuildHealth health{build, tally.firstTakenAt, tally.reports, std::nullopt, {}, {}};
        if (!tally.devices.empty()) health.devices = tally.devices.size();
        for (const std::string& module : fleet.modules) {
            auto count = tally.modules.find(module);
            size_t with = count == tally.modules.end() ? 0 : count->second;
            health.modules.push_back({with, static_cast<double>(with) / tally.reports,
                                      wilsonInterval(with, tally.reports)});
        }
        if (!fleet.builds.empty() && build != kUnknownBuild)
            health.changes = compareBuilds(fleet.builds.back(), health);
        fleet.builds.push_back(std::move(health));
    }

    for (const auto& key : seenFindings) {
        FindingSeen seen{key.first, key.second, order.size(), 0, {}, false};
        for (size_t b = 0; b < order.size(); ++b) {
            const auto& findings = tallies.at(order[b]).findings;
            auto count = findings.find(key);
            seen.reportsWith.push_back(count == findings.end() ? 0 : count->second);
            if (seen.reportsWith.back() == 0) continue;
            seen.firstBuild = std::min(seen.firstBuild, b);
            seen.lastBuild = b;
        }
        seen.isNew = seen.firstBuild > 0 && order[seen.firstBuild] != kUnknownBuild;
        fleet.findings.push_back(std::move(seen));
    }
    std::stable_sort(fleet.findings.begin(), fleet.findings.end(),
                     [](const auto& a, const auto& b) { return a.firstBuild < b.firstBuild; });

    for (const auto& [day, count] : dayReports) {
        DayCount counts{day, count, {}};
        for (const std::string& module : fleet.modules) {
            auto modules = dayModules.find(day);
            size_t with = 0;
            if (modules != dayModules.end()) {
                auto found = modules->second.find(module);
                if (found != modules->second.end()) with = found->second;
            }
            counts.reportsWith.push_back(with);
        }
        fleet.days.push_back(std::move(counts));
    }
    return fleet;
}

}  // namespace triage
