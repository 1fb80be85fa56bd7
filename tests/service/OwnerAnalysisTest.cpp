// The stuck-playback owner analysis of the latest snapshots.
#include <regex>

#include "support/DebugTestSupport.h"

namespace c2info_test {
namespace {

// A stream that passes every check.
_DebugDescription healthy(bool tunnel) {
    _DebugDescription d = snapshotAt(100);
    d.component = "c2.dec";
    d.inputSource = 5;
    d.sideBand = tunnel;
    d.input = 10;
    d.get = 10;
    d.hwSyncId = 1;
    d.tpcPipelineConnected = 1;
    d.firstFrameNotifiedToTpc = 1;
    d.connectedDispLinkId = 4;
    d.preloadDone = 1;
    d.executeCount = 3;
    d.finishCount = 3;
    return d;
}

const std::vector<std::string> kPassedAll = {
        "  [Checked] C2 is not in releasing state",
        "  [Checked] C2 input es is not empty",
        "  [Checked] C2 has been set hwSyncId",
        "  [Checked] C2 has connected to TPC pipeline",
        "  [Checked] C2 has received first pts and notify to TPC",
        "  [Checked] C2 has connected to displink (displinkId:4)",
        "  [Checked] C2 has received displink preload done",
        "  [Checked] TPC has set play to C2",
        "  [Checked] C2 is not in DTV initial drop state",
        "  [Checked] C2 is not in auto drop state",
        "  [Checked] C2 is not paused by C2Bwm",
        "  [Checked] C2 has sufficient output frame data",
        "  No abnormal case found. By default, dispatch to **displink owner** to confirm ",
};

// The checks passed before the n-th (from 0), then the finding.
std::vector<std::string> stopsAt(size_t check, std::vector<std::string> finding) {
    std::vector<std::string> lines(kPassedAll.begin(), kPassedAll.begin() + check);
    lines.insert(lines.end(), finding.begin(), finding.end());
    return lines;
}

class OwnerAnalysisTest : public ServiceTest {
protected:
    // Registers one component per record (stream ids from 1), takes a
    // snapshot through the monitor and runs the analysis.
    std::vector<std::string> analyse(const std::vector<_DebugDescription>& records) {
        for (size_t i = 0; i < records.size(); ++i) {
            mComponents.push_back(std::make_unique<DebugComponent>());
            mComponents.back()->setSnapshots({records[i]});
            mComponents.back()->registerFor(static_cast<uint32_t>(i + 1));
        }
        runDebug(*mService, {"--enable"});
        for (auto& component : mComponents) EXPECT_TRUE(component->waitForSnapshots(1));
        std::vector<std::string> lines = linesOf(runDebug(*mService, {"--owner"}));
        runDebug(*mService, {"--disable"});
        EXPECT_GE(lines.size(), 3u);
        EXPECT_EQ(lines[0], "C2 LsHal Ver-1.3 - Owner");
        EXPECT_EQ(lines[2].rfind("C2 LsHal Ver-1.3 - owner\t(GetDebugInfo cmdCnt:", 0), 0u);
        return std::vector<std::string>(lines.begin() + 3, lines.end());
    }

    std::vector<std::unique_ptr<DebugComponent>> mComponents;
};

TEST_F(OwnerAnalysisTest, EachStreamStopsAtItsFirstFailingCheck) {
    struct Case {
        const char* name;
        std::function<void(_DebugDescription&)> spoil;
        std::vector<std::string> findings;
    };
    std::vector<Case> cases = {
            {"releasing",
             [](auto& d) {
                 d.releasing = 1;
                 d.releaseProgress = 3;
             },
             stopsAt(0, {"  C2 releasing and stuck in state:3 ", "  dispatch to **C2 Owner** "})},
            {"no input",
             [](auto& d) {
                 d.input = 9;
                 d.pendingES = 4;
             },
             stopsAt(1, {"  NO input data ", "  dispatch to **APK owner** "})},
            {"input stuck in the decoder",
             [](auto& d) {
                 d.input = 0;
                 d.pendingES = 5;
             },
             stopsAt(1, {"  pending es larger than pendingThreshold:5 ",
                         "  dispatch to **C2 Owner** "})},
            {"no sync id", [](auto& d) { d.hwSyncId = 0; },
             stopsAt(2, {"  hwSyncId not set to C2 ", "  dispatch to **APK owner** "})},
            {"no pipeline", [](auto& d) { d.tpcPipelineConnected = 0; },
             stopsAt(3, {"  C2 not connect TPC pipeline ", "  dispatch to **TPC owner** "})},
            {"no first pts", [](auto& d) { d.firstFrameNotifiedToTpc = 0; },
             stopsAt(4, {"  C2 not notify first pts to TPC ", "  dispatch to **C2 owner** "})},
            {"no display link", [](auto& d) { d.connectedDispLinkId = 0; },
             stopsAt(5, {"  displink not connected to c2 ", "  dispatch to **Displink Owner** "})},
            {"display link destroyed",
             [](auto& d) {
                 d.connectedDispLinkId = 0;
                 d.c2BwmPending = 1;
             },
             stopsAt(5, {"  displink not connected to c2 ", "  check destroy displink id list by:",
                         "  lshal debug -E "
                         "vendor.larkspan.hardware.dispservice@1.0::IDispService/default --debug "
                         "mediator",
                         "  dispatch to **C2 Owner** "})},
            {"no preload", [](auto& d) { d.preloadDone = 0; },
             stopsAt(6, {"  Displink not preload done ", "  dispatch to **Displink owner** "})},
            {"paused", [](auto& d) { d.pauseState = 2; },
             stopsAt(7,
                     {"  C2 pause state 2, not in play state ", "  dispatch to **TPC owner** "})},
            {"initial drop", [](auto& d) { d.isDtv = d.dtvInitialDropBegin = 1; },
             stopsAt(8, {"  C2 DTV initial drop not finished ", "  dispatch to **C2 owner** "})},
            {"auto drop", [](auto& d) { d.autoDrop = 1; },
             stopsAt(9, {"  C2 in autoDrop mode ", "  dispatch to **C2 owner** "})},
            {"c2bwm behind", [](auto& d) { d.executeCount = 4; },
             stopsAt(10, {"  pause by c2bwm: exe:4 finish:3", "  dispatch to **C2BWM Owner** "})},
            {"c2bwm never finished", [](auto& d) { d.executeCount = d.finishCount = 0; },
             stopsAt(10, {"  pause by c2bwm: exe:0 finish:0", "  dispatch to **C2BWM Owner** "})},
            {"little output", [](auto& d) { d.get = 9; },
             stopsAt(11, {"  insufficient output data :9 ", "  dispatch to **C2 Owner** "})},
            {"all well", [](auto&) {}, kPassedAll},
    };
    std::vector<_DebugDescription> records;
    std::vector<std::string> expected;
    for (size_t i = 0; i < cases.size(); ++i) {
        records.push_back(healthy(true));
        cases[i].spoil(records.back());
        expected.push_back("  strId(" + std::to_string(i + 1) +
                           ") - component(c2.dec) inputSource:5 tunnel mode");
        expected.insert(expected.end(), cases[i].findings.begin(), cases[i].findings.end());
        expected.push_back("  Continue to check next stream... ");
    }
    expected.push_back("  [Finish] No more C2 stream. Exit analysis.");
    EXPECT_EQ(analyse(records), expected);
}

TEST_F(OwnerAnalysisTest, TunnelChecksPassForNonTunnelStreamsAndOtherSourcesSkipTheCounts) {
    _DebugDescription hdmi = healthy(false);
    hdmi.inputSource = 0;
    hdmi.input = hdmi.get = 0;
    hdmi.hwSyncId = 0;
    hdmi.connectedDispLinkId = 0;
    std::vector<std::string> expected = {
            "  strId(1) - component(c2.dec) inputSource:0 non-tunnel mode"};
    expected.insert(expected.end(), kPassedAll.begin(), kPassedAll.end());
    expected[6] = "  [Checked] C2 has connected to displink (displinkId:0)";
    expected.push_back("  Continue to check next stream... ");
    expected.push_back("  [Finish] No more C2 stream. Exit analysis.");
    EXPECT_EQ(analyse({hdmi}), expected);
}

TEST_F(OwnerAnalysisTest, WithoutSnapshotsTheApplicationIsNamed) {
    runDebug(*mService, {"--enable"});
    std::vector<std::string> lines = linesOf(runDebug(*mService, {"--owner"}));
    ASSERT_EQ(lines.size(), 6u);
    // The monitor may or may not have taken its first snapshot yet.
    EXPECT_TRUE(std::regex_match(
            lines[2], std::regex("C2 LsHal Ver-1.3 - owner\t\\(GetDebugInfo cmdCnt:[01], "
                                 "using mDebugDescList\\[[01]\\] as latest "
                                 "DebugDescList\\)")))
            << lines[2];
    EXPECT_EQ(lines[3], "  No any C2 component created ");
    EXPECT_EQ(lines[4], "  dispatch to **APK owner** ");
    EXPECT_EQ(lines[5], "  [Finish] No more C2 stream. Exit analysis.");
}

}  // namespace
}  // namespace c2info_test
