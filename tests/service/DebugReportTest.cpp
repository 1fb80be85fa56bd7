// The dump report, read through the default debug command: its two passes a
// second apart print one generation, then both with their difference.
#include <cstdlib>

#include "support/DebugTestSupport.h"

namespace c2info_test {
namespace {

std::string join(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

// The text between the line that starts with `begin` and the next line
// that starts with `end`, both excluded; from the n-th `begin` on.
std::string section(const std::string& output, const std::string& begin, const std::string& end,
                    int nth = 0) {
    std::vector<std::string> lines = linesOf(output);
    std::vector<std::string> inside;
    int seen = -1;
    bool in = false;
    for (const std::string& line : lines) {
        if (!in && line.rfind(begin, 0) == 0 && ++seen == nth) {
            in = true;
        } else if (in && line.rfind(end, 0) == 0) {
            break;
        } else if (in) {
            inside.push_back(line);
        }
    }
    return join(inside);
}

// 01-04 01:01:01.250 UTC.
_DebugDescription olderSnapshot() {
    _DebugDescription d = snapshotAt(3 * 86400 + 3600 + 61, 250000000);
    d.component = "c2.lark.avc.decoder";
    d.init = d.header = d.firstFrameRdy = 1;
    d.sideBand = 1;
    d.renderMode = 2;
    d.inputSource = 5;
    d.hdrType = 1;
    d.secureMode = 1;
    d.pqType = 3;
    d.aiVision = 1;
    d.postProcessOff = 1;
    d.singleBuffer = 1;
    d.inputPortDelay = 4;
    d.outputPortDelay = 2;
    d.requestBufCnt = 12;
    d.allocatedBufCnt = 10;
    d.pendingES = 3;
    d.pendingFB = 2;
    d.pendingSBB = 1;
    d.pendingSBW = 5;
    d.timestamp = 33366666;
    d.workIn = 1200;
    d.workOut = 1190;
    d.input = 1250;
    d.decode = 1195;
    d.push = 1240;
    d.pop = 1230;
    d.skip = 5;
    d.queue = 1180;
    d.get = 1175;
    d.drop = 7;
    d.inputLate = 2;
    d.decodeLate = 1;
    d.fbLate = 3;
    d.busy = 9;
    d.back = 1;
    d.width = 3840;
    d.height = 2160;
    d.frameRate = 59940;
    d.frameInterval = 16683;
    d.hwSyncId = 17;
    d.tpcPipelineConnected = 1;
    d.firstPts = 90000;
    d.firstFrameNotifiedToTpc = 1;
    d.connectedDispLinkId = 2;
    d.state = 3;
    d.c2BwmReady = d.preloadDone = d.toPts = d.dispLinkOpened = d.dispLinkConfigured = 1;
    d.isDtv = d.dtvInitialDropBegin = d.dtvInitialDropFinish = 1;
    d.dtvInitialDropStartTime = 1000;
    d.dtvInitialDropDueTime = 2000;
    d.dtvInitialDropTargetPts = 3000;
    d.lastGetPts = 4000;
    d.sysTimeUs = 5000;
    d.pendingFlip = 1;
    d.pendingRender = 2;
    d.queueCnt = 600;
    d.flipCnt = 598;
    d.usingClock = "videoSync";
    d.clockTime_internal = 7000;
    d.clockTime_videoSync = 7001;
    d.clockTime_using = 7002;
    d.executeCount = 40;
    d.finishCount = 39;
    d.executeFlushCount = 1;
    d.c2BwmPending = 2;
    d.c2BwmState = 4;
    d.decHandle = 0xbeef;
    d.firstFrame = d.streamOn = 1;
    d.signal = 2;
    d.muteFactor = 3;
    d.hdr10pAllm = d.sbtmMode = 1;
    d.contentType = 2;
    d.colorDepth = 10;
    d.colorFormat = 1;
    d.vrr = 1;
    d.displayMode = 2;
    d.afd = 8;
    d.picAr = 3;
    d.matrixCoeff = 9;
    d.colorimetry = 6;
    return d;
}

// One and a half seconds later, with the counters moved on.
_DebugDescription newerSnapshot() {
    _DebugDescription d = olderSnapshot();
    d.recordTime.tv_sec += 1;
    d.recordTime.tv_nsec += 500000000;
    d.recordTimeNs += 1500000000;
    d.decode += 60;
    d.workIn += 62;
    d.workOut += 60;
    d.fbLate += 4;
    d.timestamp += 1000000;
    d.input += 62;
    d.inputLate += 6;
    d.push += 62;
    d.pop += 60;
    d.queue += 60;
    d.get += 60;
    d.pendingES = 1;    // wraps: 1 - 3 is 254
    d.pendingFlip = 0;  // and 0 - 1 is 255
    d.queueCnt += 60;
    d.flipCnt += 59;
    d.clockTime_internal += 1000;
    d.clockTime_videoSync += 1000;
    d.clockTime_using += 1000;
    d.executeCount += 60;
    d.finishCount += 60;
    d.c2BwmPending = 0;
    d.c2BwmState = 5;
    return d;
}

class DebugReportTest : public ServiceTest {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        ServiceTest::SetUp();
    }
    std::string defaultCommand() { return withoutSystemTimes(runDebug(*mService, {})); }
};

TEST_F(DebugReportTest, WithoutComponentsBothPassesPrintEmptyGenerations) {
    EXPECT_EQ(defaultCommand(), golden("default-without-components.txt"));
}

TEST_F(DebugReportTest, ASnapshotBlockShowsEveryField) {
    DebugComponent component;
    component.registerFor(7);
    component.setSnapshots({olderSnapshot()});
    std::string output = defaultCommand();
    EXPECT_EQ(section(output, "===== DebugDescList[1] Begin", "===== DebugDescList[1] End"),
              golden("snapshot-block.txt"));
    EXPECT_EQ(component.debugSwitches(), (std::vector<bool>{true, true, false}));
}

TEST_F(DebugReportTest, ADiffBlockShowsWrappingDifferencesAndAVerdict) {
    DebugComponent component;
    component.registerFor(7);
    component.setSnapshots({olderSnapshot(), newerSnapshot()});
    std::string output = defaultCommand();
    // Right after the first snapshot the difference section is empty.
    EXPECT_EQ(
            section(output, "===== Each Stream Info Diff Begin", "===== Each Stream Info Diff End"),
            "");
    EXPECT_EQ(section(output, "===== Each Stream Info Diff Begin",
                      "===== Each Stream Info Diff End", 1),
              golden("diff-block.txt"));
}

// Each stream's verdict, for streams at the edges of the thresholds; one
// default command analyses all of them, each on its own.
TEST_F(DebugReportTest, VerdictsFollowTheirThresholdsPerStream) {
    const std::string kInputChecked = "  [Checked] Input ES not in low speed";
    const std::string kLateChecked = "  [Checked] Frame late count over 5";
    struct Case {
        int32_t inputLateRise;
        uint32_t frameRate;
        int32_t fbLateRise;
        uint8_t inputSource;
        bool sideBand;
        const char* lowInputOwner;  // null: input not in low speed
        const char* fewLatesOwner;  // null: late count over 5
    } cases[] = {
            {5, 60000, 4, 0, false, nullptr, "C2 VCodecHdmi"},
            {6, 0, 5, 1, false, nullptr, nullptr},
            {6, 1, 5, 2, true, "Apk(depends on application)", nullptr},
            {0, 0, -1, 3, false, nullptr, "C2 VCodecComponent"},
            {0, 0, 0, 4, false, nullptr, "C2 VCodecComposite"},
            {0, 0, 0, 6, false, nullptr, "C2 VCodecVideo"},
            {0, 0, 0, 7, false, nullptr, "C2 VCodecImage"},
            {0, 0, 0, 9, false, nullptr, "C2 VCodecVideo"},
    };
    std::vector<std::unique_ptr<DebugComponent>> components;
    for (const Case& c : cases) {
        _DebugDescription older = snapshotAt(100), newer = snapshotAt(101);
        older.inputSource = newer.inputSource = c.inputSource;
        older.sideBand = newer.sideBand = c.sideBand;
        newer.inputLate = c.inputLateRise;
        newer.fbLate = c.fbLateRise;
        newer.frameRate = c.frameRate;
        components.push_back(std::make_unique<DebugComponent>());
        components.back()->registerFor(static_cast<uint32_t>(components.size()));
        components.back()->setSnapshots({older, newer});
    }
    std::vector<std::string> lines =
            linesOf(section(defaultCommand(), "===== Each Stream Info Diff Begin",
                            "===== Each Stream Info Diff End", 1));
    auto probable = lines.begin();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.inputSource);
        probable = std::find(probable, lines.end(),
                             "Probable candidate for playback stuck or not smooth (if existed):");
        ASSERT_NE(probable, lines.end());
        std::vector<std::string> expected;
        if (c.lowInputOwner == nullptr) {
            expected.push_back(kInputChecked);
        } else {
            expected.push_back("  Input ES in low speed ");
            expected.push_back("  dispatch to **" + std::string(c.lowInputOwner) + " owner** ");
        }
        if (c.fewLatesOwner == nullptr) {
            expected.push_back(kLateChecked);
        } else {
            expected.push_back("  Frame late count lower than 5 ");
            expected.push_back("  dispatch to **" + std::string(c.fewLatesOwner) + " owner** ");
        }
        ++probable;
        ASSERT_LE(expected.size(), static_cast<size_t>(lines.end() - probable));
        EXPECT_EQ(std::vector<std::string>(probable, probable + expected.size()), expected);
    }
}

TEST_F(DebugReportTest, TheTimeBetweenSnapshotsIsSignedAndZeroIsNotNegative) {
    const struct {
        time_t seconds;
        long nanoseconds;
        const char* line;
    } kCases[] = {
            {197, 750000000, "  strId(3) Diff of debug info  RecordTime: -01-01 00:00:02.250"},
            {200, 0, "  strId(3) Diff of debug info  RecordTime: 01-01 00:00:00.000"},
    };
    for (const auto& c : kCases) {
        DebugComponent component;
        component.registerFor(3);
        component.setSnapshots({snapshotAt(200, 0), snapshotAt(c.seconds, c.nanoseconds)});
        std::vector<std::string> lines = linesOf(defaultCommand());
        EXPECT_NE(std::find(lines.begin(), lines.end(), c.line), lines.end()) << c.line;
    }
}

}  // namespace
}  // namespace c2info_test
