// Whole debug outputs against golden files, for components whose records
// come from scenario files: each stream's component answers the scenario's
// snapshots in turn, the n-th recorded n steps after 01-04 01:01:01.250 UTC.
#include <Scenario.h>

#include <cstdlib>
#include <regex>

#include "support/DebugTestSupport.h"
#include "support/Transcript.h"

namespace c2info_test {
namespace {

struct Report {
    const char* name;     // of the golden file, and of the scenario if it has one
    bool withComponents;  // false: no component at all
    std::vector<std::string> words;
    long stepMs;  // between two records of a stream
};

void PrintTo(const Report& report, std::ostream* out) {
    *out << report.name;
}

class DebugReportTest : public ServiceTest, public ::testing::WithParamInterface<Report> {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        ServiceTest::SetUp();
    }

    void registerComponents(const Report& report) {
        sim::Scenario scenario = sim::readScenarioFile(std::string(C2INFO_TEST_SCENARIOS) + "/" +
                                                       report.name + ".json");
        for (const sim::StreamScenario& stream : scenario.streams) {
            std::vector<_DebugDescription> records = stream.snapshots;
            if (records.empty()) records.push_back(stream.debug);
            for (size_t n = 0; n < records.size(); ++n) {
                long ms = 250 + report.stepMs * static_cast<long>(n);
                _DebugDescription at =
                        snapshotAt(3 * 86400 + 3600 + 61 + ms / 1000, ms % 1000 * 1000000);
                records[n].recordTime = at.recordTime;
                records[n].recordTimeNs = at.recordTimeNs;
            }
            mNames.push_back(stream.component);
            Codec2InfoInternal::setCodec2InfoServiceCallback(
                    component(stream.component, nullptr, records), stream.stream.streamid);
        }
    }

    std::vector<std::string> mNames;
};

TEST_P(DebugReportTest, MatchesItsGolden) {
    const Report& report = GetParam();
    if (report.withComponents) registerComponents(report);
    // The analysis reads what the monitor has taken; how often it ran is the
    // clock's business.
    bool monitored = report.words != std::vector<std::string>{};
    if (monitored) {
        runDebug(*mService, {"--enable"});
        for (const std::string& name : mNames)
            ASSERT_TRUE(awaitTranscribed("  " + name + " snapshot", 1));
    }
    std::string output = withoutSystemTimes(runDebug(*mService, report.words));
    output = std::regex_replace(output, std::regex("cmdCnt:\\d+, using mDebugDescList\\[\\d\\]"),
                                "cmdCnt:<n>, using mDebugDescList[<n>]");
    EXPECT_EQ(output, golden(std::string(report.name) + ".txt"));
    if (monitored) runDebug(*mService, {"--disable"});
    // Both passes of the default command switch the components' debug on,
    // the end switches it off.
    if (!monitored && !mNames.empty()) {
        EXPECT_EQ(transcribedAfter("  " + mNames[0] + " debug "),
                  (std::vector<std::string>{"true", "true", "false"}));
    }
}

INSTANTIATE_TEST_SUITE_P(Outputs, DebugReportTest,
                         ::testing::Values(Report{"default-without-components", false, {}, 0},
                                           Report{"default-report", true, {}, 1500},
                                           Report{"owner-checks", true, {"--owner"}, 0}));

TEST_F(ServiceTest, TheTimeBetweenSnapshotsIsSignedAndZeroIsNotNegative) {
    setenv("TZ", "UTC", 1);
    tzset();
    const struct {
        time_t seconds;
        long nanoseconds;
        const char* line;
    } kCases[] = {
            {197, 750000000, "  strId(3) Diff of debug info  RecordTime: -01-01 00:00:02.250"},
            {200, 0, "  strId(3) Diff of debug info  RecordTime: 01-01 00:00:00.000"},
    };
    for (const auto& c : kCases) {
        Codec2InfoInternal::setCodec2InfoServiceCallback(
                component("c#3", nullptr,
                          {snapshotAt(200, 0), snapshotAt(c.seconds, c.nanoseconds)}),
                3);
        std::vector<std::string> lines = linesOf(runDebug(*mService, {}));
        Codec2InfoInternal::removeStreamInfoByUniqueId(3);
        EXPECT_NE(std::find(lines.begin(), lines.end(), c.line), lines.end()) << c.line;
    }
}

TEST_F(ServiceTest, WithoutSnapshotsTheOwnerIsTheApplication) {
    runDebug(*mService, {"--enable"});
    std::vector<std::string> lines = linesOf(runDebug(*mService, {"--owner"}));
    ASSERT_EQ(lines.size(), 6u);
    // The monitor may or may not have taken its first snapshot yet.
    EXPECT_TRUE(std::regex_match(
            lines[2], std::regex("C2 LsHal Ver-1.3 - owner\t\\(GetDebugInfo cmdCnt:[01], "
                                 "using mDebugDescList\\[[01]\\] as latest "
                                 "DebugDescList\\)")))
            << lines[2];
    EXPECT_EQ(std::vector<std::string>(lines.begin() + 3, lines.end()),
              (std::vector<std::string>{"  No any C2 component created ",
                                        "  dispatch to **APK owner** ",
                                        "  [Finish] No more C2 stream. Exit analysis."}));
}

}  // namespace
}  // namespace c2info_test
