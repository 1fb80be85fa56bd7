// The debug monitor thread and its two snapshot generations.
#include <regex>

#include "support/DebugTestSupport.h"
#include "support/Transcript.h"

namespace c2info_test {
namespace {

// Snapshots whose input count rises by 100 and decode count by 50 each time.
std::vector<_DebugDescription> risingCounts(int count) {
    std::vector<_DebugDescription> snapshots;
    for (int n = 1; n <= count; ++n) {
        _DebugDescription d{};
        d.input = 100 * n;
        d.decode = 50 * n;
        snapshots.push_back(d);
    }
    return snapshots;
}

// The rates printed in a generation's block: {decode fps, input fps}.
std::pair<double, double> ratesIn(const std::string& dump, int generation) {
    std::string begin = "===== DebugDescList[" + std::to_string(generation) + "] Begin";
    size_t at = dump.find(begin);
    EXPECT_NE(at, std::string::npos);
    std::smatch decode, input;
    std::string rest = dump.substr(at);
    static const std::regex kRateLine("\n +-?\\d+ / *(-?\\d+\\.\\d) /");
    EXPECT_TRUE(std::regex_search(rest, decode, kRateLine));
    std::string afterDecode = decode.suffix();
    EXPECT_TRUE(std::regex_search(afterDecode, input, kRateLine));
    return {std::stod(decode[1]), std::stod(input[1])};
}

class DebugMonitorTest : public ServiceTest {};

TEST_F(DebugMonitorTest, RatesAppearFromTheThirdCycleAtAboutTwiceThePerSecondRate) {
    Codec2InfoInternal::setCodec2InfoServiceCallback(component("m#1", nullptr, risingCounts(10)),
                                                     1);
    runDebug(*mService, {"--enable"});
    ASSERT_TRUE(awaitTranscribed("  m#1 snapshot", 3));
    std::string dump = runDebug(*mService, {"--dump"});
    runDebug(*mService, {"--disable"});

    EXPECT_NE(dump.find("===== Total Cnt of GetDebugInfo: 3, Latest DebugDescList index: 1 "),
              std::string::npos)
            << dump;
    EXPECT_EQ(ratesIn(dump, 0), std::make_pair(0.0, 0.0));  // its map was empty then
    auto [decodeFps, inputFps] = ratesIn(dump, 1);
    EXPECT_NEAR(decodeFps, 100.0, 25.0);
    EXPECT_NEAR(inputFps, 200.0, 50.0);
    EXPECT_EQ(transcribedAfter("  m#1 debug "),
              (std::vector<std::string>{"true", "true", "true", "false"}));
}

TEST_F(DebugMonitorTest, StopThenStartKeepsTheCountButStartsTheRatesAgain) {
    Codec2InfoInternal::setCodec2InfoServiceCallback(component("m#1", nullptr, risingCounts(10)),
                                                     1);
    runDebug(*mService, {"--enable"});
    ASSERT_TRUE(awaitTranscribed("  m#1 snapshot", 1));
    runDebug(*mService, {"--disable"});
    runDebug(*mService, {"--enable"});
    ASSERT_TRUE(awaitTranscribed("  m#1 snapshot", 2));
    std::string dump = runDebug(*mService, {"--dump"});
    EXPECT_NE(dump.find("===== Total Cnt of GetDebugInfo: 2, Latest DebugDescList index: 0 "),
              std::string::npos)
            << dump;
    EXPECT_EQ(dump.find("===== DebugDescList[1] Begin " + std::string(94, '=') + "\n" +
                        std::string(99, '=')),
              std::string::npos)
            << "the first run's snapshot went with the stop";
    EXPECT_EQ(ratesIn(dump, 0), std::make_pair(0.0, 0.0));
}

TEST_F(DebugMonitorTest, AStreamRemovedWhileTheMonitorRunsLeavesBothGenerations) {
    Codec2InfoInternal::setCodec2InfoServiceCallback(component("m#1", nullptr, {{}}), 1);
    // A component without diagnostics is passed over, not called.
    Codec2InfoInternal::setCodec2InfoServiceCallback(std::make_shared<Callbacks>(), 2);
    logIntoTranscript();
    runDebug(*mService, {"--enable"});
    ASSERT_TRUE(awaitTranscribed("  m#1 snapshot", 2));
    EXPECT_EQ(transcript().find("  E/"), std::string::npos) << transcript();
    Codec2InfoInternal::removeStreamInfoByUniqueId(1);
    std::string dump = withoutSystemTimes(runDebug(*mService, {"--dump"}));
    EXPECT_EQ(dump.find("strId(1)"), std::string::npos) << dump;
    EXPECT_NE(dump.find("C2 LsHal Ver-1.3 - No codec2 can dump, System Time: <now>\n"),
              std::string::npos);
}

TEST_F(DebugMonitorTest, TheProcessCanExitWhileTheMonitorRuns) {
    Codec2InfoInternal::setCodec2InfoServiceCallback(component("m#1", nullptr, {{}}), 1);
    runDebug(*mService, {"--enable"});
    ASSERT_TRUE(awaitTranscribed("  m#1 snapshot", 1));
    // Not disabled: the process ends with the monitor running.
}

}  // namespace
}  // namespace c2info_test
