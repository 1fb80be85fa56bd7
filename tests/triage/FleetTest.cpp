// Release health on fleets whose answer is known: Wilson bounds and Fisher
// p values from the literature, and which changes between builds are called.
#include <gtest/gtest.h>

#include "ByBuild.h"
#include "Fleet.h"

namespace {

using triage::FleetReport;

TEST(FleetTest, WilsonBoundsAreNewcombesScoreIntervals) {
    // Newcombe (1998), Statistics in Medicine 17:857, table I, method 3.
    struct Case {
        size_t with, reports;
        double low, high;
    } const cases[] = {{81, 263, 0.2553, 0.3662},
                       {15, 148, 0.0624, 0.1605},
                       {0, 20, 0.0, 0.1611},
                       {1, 29, 0.0061, 0.1718}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.with << "/" << c.reports);
        triage::Interval interval = triage::wilsonInterval(c.with, c.reports);
        EXPECT_NEAR(interval.low, c.low, 5e-5);
        EXPECT_NEAR(interval.high, c.high, 5e-5);
    }
}

TEST(FleetTest, FisherPIsTheTwoSidedExactOne) {
    struct Case {
        const char* name;
        size_t withA, reportsA, withB, reportsB;
        double p;
    } const cases[] = {
            {"Fisher's tea tasting", 3, 4, 1, 4, 34.0 / 70},
            {"the dieting example, 1/12 and 9/12", 1, 12, 9, 12, 0.002759456},
            {"tables as likely as the observed one count", 2, 4, 2, 4, 1.0},
            {"nobody with it", 0, 30, 0, 30, 1.0},
            {"two modes, the observed count one of them", 0, 1, 2, 3, 1.0},
            {"builds of thousands: 1200/4000 and 1100/4000", 1200, 4000, 1100, 4000, 0.01445304262},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_NEAR(triage::fisherExactP(c.withA, c.reportsA, c.withB, c.reportsB), c.p, 1e-8);
    }
}

// `count` reports of one build, the first `with` with a stream of `module`
// and the first `other` with one of `otherModule`.
void addReports(std::vector<FleetReport>* fleet, const std::string& build, const std::string& at,
                size_t count, size_t with, size_t other, const std::string& finding = "late") {
    for (size_t i = 0; i < count; ++i) {
        FleetReport report{build, at, build + "#" + std::to_string(i), {}};
        if (i < with) report.streams.push_back({"C2", finding});
        if (i < other) report.streams.push_back({"Displink", "stuck"});
        report.streams.push_back({"", ""});
        fleet->push_back(std::move(report));
    }
}

TEST(FleetTest, CallsOnlyTheChangesTheNumbersCarry) {
    const std::string a = "lark/tv/dev1:12/SA1/1:user/release-keys";
    const std::string b = "lark/tv/dev1:12/SA1/2:user/release-keys";
    const std::string c = "3.1-beta";
    std::vector<FleetReport> fleet;
    // Input order is not rollout order.
    addReports(&fleet, b, "2026-11-08T09:00:00", 40, 4, 14);
    fleet.push_back(fleet.front());  // the same report under another name
    addReports(&fleet, a, "2026-11-01T10:00:00", 40, 20, 10);
    addReports(&fleet, c, "2026-11-10T08:00:00", 10, 10, 0, "overflow");
    addReports(&fleet, "", "", 2, 1, 0);

    triage::FleetHealth health = triage::judgeFleet(fleet);
    ASSERT_EQ(health.modules, (std::vector<std::string>{"C2", "Displink"}));
    struct Row {
        std::string build;
        size_t reports;
        std::optional<size_t> devices;
        size_t c2With;
        double c2P;
        const char* c2Mark;
        const char* displinkMark;
    } const rows[] = {
            {a, 40, 1, 20, -1, "", ""},
            {b, 40, 1, 4, 0.000172424, "fixed", ""},       // Displink 10/40 -> 14/40: p 0.46
            {c, 10, std::nullopt, 10, 9.7447e-8, "", ""},  // under 20 reports
            {triage::kUnknownBuild, 2, std::nullopt, 1, -1, "", ""},
    };
    ASSERT_EQ(health.builds.size(), std::size(rows));
    for (size_t i = 0; i < std::size(rows); ++i) {
        const Row& row = rows[i];
        const triage::BuildHealth& build = health.builds[i];
        SCOPED_TRACE(row.build);
        EXPECT_EQ(build.build, row.build);
        EXPECT_EQ(build.reports, row.reports);
        EXPECT_EQ(build.devices, row.devices);
        EXPECT_EQ(build.modules[0].reportsWith, row.c2With);
        if (row.c2P < 0) {
            EXPECT_TRUE(build.changes.empty());
            continue;
        }
        ASSERT_EQ(build.changes.size(), 2u);
        EXPECT_NEAR(build.changes[0].p, row.c2P, row.c2P * 1e-4);
        EXPECT_EQ(build.changes[0].mark, row.c2Mark);
        EXPECT_EQ(build.changes[1].mark, row.displinkMark);
    }
    // The same comparison between any two builds: A against C is called.
    EXPECT_EQ(triage::compareBuilds(health.builds[2], health.builds[0])[0].mark, "");
    EXPECT_EQ(triage::compareBuilds(health.builds[1], health.builds[0])[0].mark, "regressed");

    ASSERT_EQ(health.findings.size(), 3u);
    EXPECT_EQ(health.findings[0].finding, "late");
    EXPECT_EQ(health.findings[0].firstBuild, 0u);
    EXPECT_EQ(health.findings[0].lastBuild, 3u);
    EXPECT_FALSE(health.findings[0].isNew);
    EXPECT_EQ(health.findings[2].finding, "overflow");
    EXPECT_EQ(health.findings[2].firstBuild, 2u);
    EXPECT_TRUE(health.findings[2].isNew);
    ASSERT_EQ(health.days.size(), 3u);
    EXPECT_EQ(health.days[1].day, "2026-11-08");
    EXPECT_EQ(health.days[1].reportsWith, (std::vector<size_t>{4, 14}));
}

// A month's builds of thousands give p values below the smallest normal
// double; the table keeps them rather than failing on them.
TEST(FleetTest, TheTableKeepsAPBelowTheSmallestNormalDouble) {
    std::vector<FleetReport> fleet;
    addReports(&fleet, "1", "2026-10-01T10:00:00", 2000, 865, 0);
    addReports(&fleet, "2", "2026-10-08T10:00:00", 2000, 0, 0);
    auto table = triage::byBuildJson(triage::judgeFleet(fleet));
    double p = table["builds"][1]["p"].get<double>();  // build 2, module C2
    EXPECT_GT(p, 0);
    EXPECT_LT(p, 1e-310);
}

}  // namespace
