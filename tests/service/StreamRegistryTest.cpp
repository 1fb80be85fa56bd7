// The registry of decoder streams: what components add, update and remove,
// and what clients read back.
#include <android/log.h>

#include "support/LogCapture.h"
#include "support/ServiceTestSupport.h"

namespace c2info_test {
namespace {

using ::testing::_;

std::vector<uint32_t> ids(const std::vector<ST_STREAM_LIST>& streams) {
    std::vector<uint32_t> result;
    for (const ST_STREAM_LIST& s : streams) result.push_back(s.streamid);
    return result;
}

class StreamRegistryTest : public ServiceTest {};

TEST_F(StreamRegistryTest, FirstComponentCallCreatesTheServiceAndRegistersTheStream) {
    EXPECT_EQ(Codec2InfoInternal::addStreamInfo(makeStream(5)), InfoReturn::SUCCESS);
    std::vector<ST_STREAM_LIST> streams = streamList();
    ASSERT_EQ(streams.size(), 1u);
    EXPECT_EQ(streams[0], makeStream(5));
}

TEST_F(StreamRegistryTest, AddingAStreamAgainReplacesItAtTheEndAndTellsNobody) {
    sp<MockStreamListener> listener = makeStreamListener();
    mService->registerStreamListener(listener, [](InfoReturn, uint64_t) {});
    EXPECT_CALL(*listener, notified(0, 1, "first")).Times(1);
    EXPECT_CALL(*listener, notified(0, 2, _)).Times(1);

    Codec2InfoInternal::addStreamInfo(makeStream(1, "first"));
    Codec2InfoInternal::addStreamInfo(makeStream(2));
    ST_STREAM_LIST second = makeStream(1, "second");
    second.width = 640;
    Codec2InfoInternal::addStreamInfo(second);

    std::vector<ST_STREAM_LIST> streams = streamList();
    EXPECT_EQ(ids(streams), (std::vector<uint32_t>{2, 1}));
    EXPECT_EQ(streams[1], second);
}

TEST_F(StreamRegistryTest, RemovalDropsEveryMatchingRecordAndTellsOfEach) {
    Codec2InfoInternal::addStreamInfo(makeStream(1, "one"));
    Codec2InfoInternal::addStreamInfo(makeStream(2, "two"));
    Codec2InfoInternal::addStreamInfo(makeStream(3, "three"));
    // Re-keying stream 2 is the one way to get two records of one id.
    uint32_t one = 1;
    ASSERT_EQ(Codec2InfoInternal::updateStreamInfo(2, {{9, &one, 4}}), InfoReturn::SUCCESS);

    sp<MockStreamListener> listener = makeStreamListener();
    mService->registerStreamListener(listener, [](InfoReturn, uint64_t) {});
    ::testing::InSequence inOrder;
    EXPECT_CALL(*listener, notified(1, 1, "one"));
    EXPECT_CALL(*listener, notified(1, 1, "two"));

    LogCapture log;
    EXPECT_EQ(Codec2InfoInternal::removeStreamInfoByUniqueId(1), InfoReturn::SUCCESS);
    EXPECT_EQ(ids(streamList()), (std::vector<uint32_t>{3}));
    EXPECT_EQ(log.count(ANDROID_LOG_INFO,
                        "[L 439][removeStreamInfoByUniqueId] removed uniqueId(1) "
                        "Info form mStreamList"),
              2u);
}

TEST_F(StreamRegistryTest, RemovingAnUnknownStreamChangesNothing) {
    Codec2InfoInternal::addStreamInfo(makeStream(1));
    turnLogSwitchOn();
    LogCapture log;
    EXPECT_EQ(Codec2InfoInternal::removeStreamInfoByUniqueId(99), InfoReturn::SUCCESS);
    EXPECT_EQ(ids(streamList()), (std::vector<uint32_t>{1}));
    ASSERT_EQ(log.lines().size(), 3u);  // this line, and getStreamList's two
    EXPECT_EQ(log.lines()[0].text, "[L 445][removeStreamInfoByUniqueId] unlock");
}

TEST_F(StreamRegistryTest, UpdatesWriteEachAttributeWithItsWidth) {
    Codec2InfoInternal::addStreamInfo(makeStream(1));
    int32_t source = -3, pqid = -9, interlace = 1, colorformat = 4;
    uint32_t width = 3840, height = 2160, f3 = 13, f4 = 14, f5 = 15, f6 = 16, f7 = 17, rate = 50,
             port = 8;
    uint64_t hwSync = 0xABCDEF0123ull, luma = 0x1122334455ull, chroma = 0x5566778899ull;
    std::vector<StreamInfoItem> items = {
            {0, &source, 4},     {1, &width, 4},        {2, &height, 4},  {3, &f3, 4},
            {4, &f4, 4},         {5, &f5, 4},           {6, &f6, 4},      {7, &f7, 4},
            {8, &rate, 4},       {10, &pqid, 4},        {11, &hwSync, 8}, {12, &port, 4},
            {13, &interlace, 4}, {14, &colorformat, 4}, {15, &luma, 8},   {16, &chroma, 8},
    };
    EXPECT_EQ(Codec2InfoInternal::updateStreamInfo(1, items), InfoReturn::SUCCESS);

    ST_STREAM_LIST expected{source, width,     height,      f3,   f4,     f5,
                            f6,     f7,        rate,        1,    pqid,   hwSync,
                            port,   interlace, colorformat, luma, chroma, "stream"};
    std::vector<ST_STREAM_LIST> streams = streamList();
    ASSERT_EQ(streams.size(), 1u);
    EXPECT_EQ(streams[0], expected);
}

TEST_F(StreamRegistryTest, UpdateFailuresKeepWhatWasAppliedBefore) {
    Codec2InfoInternal::addStreamInfo(makeStream(1));
    uint32_t width = 720;
    struct Case {
        const char* name;
        uint32_t streamId;
        std::vector<StreamInfoItem> items;
        const char* error;
    } cases[] = {
            {"unknown stream, even with no items",
             7,
             {},
             "[updateStreamInfo]find streamid 7 error"},
            {"attribute past the table",
             1,
             {{1, &width, 4}, {17, &width, 4}},
             "[updateStreamInfo]unknown item"},
            {"negative attribute", 1, {{-1, &width, 4}}, "[updateStreamInfo]unknown item"},
            {"null value", 1, {{2, nullptr, 4}}, "[updateStreamInfo]value is NULL"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        LogCapture log;
        EXPECT_EQ(Codec2InfoInternal::updateStreamInfo(c.streamId, c.items), InfoReturn::FAILURE);
        EXPECT_EQ(log.texts(ANDROID_LOG_ERROR), std::vector<std::string>{c.error});
    }
    EXPECT_EQ(streamList()[0].width, 720u);
    EXPECT_EQ(streamList()[0].height, 1080u);
    EXPECT_EQ(Codec2InfoInternal::updateStreamInfo(1, {}), InfoReturn::SUCCESS);
}

TEST_F(StreamRegistryTest, HwSyncIdLookupAnswersTheOldestMatch) {
    auto convert = [&](uint64_t hwSyncId) {
        std::pair<InfoReturn, uint32_t> answer{InfoReturn::SUCCESS, 0};
        int calls = 0;
        mService->convertHwSyncIdToStreamId(hwSyncId, [&](InfoReturn ret, uint32_t id) {
            ++calls;
            answer = {ret, id};
        });
        EXPECT_EQ(calls, 1);
        return answer;
    };
    EXPECT_EQ(convert(5), std::make_pair(InfoReturn::FAILURE, 0xFFFFFFFFu));

    ST_STREAM_LIST older = makeStream(4), newer = makeStream(3);
    older.hwSyncId = newer.hwSyncId = 0x700000001ull;
    Codec2InfoInternal::addStreamInfo(older);
    Codec2InfoInternal::addStreamInfo(newer);
    EXPECT_EQ(convert(0x700000001ull), std::make_pair(InfoReturn::SUCCESS, 4u));
    EXPECT_EQ(convert(0x000000001ull), std::make_pair(InfoReturn::FAILURE, 0xFFFFFFFFu));
}

TEST_F(StreamRegistryTest, AddWritesItsInformationLineAlwaysAndDebugLinesOnlyWithTheSwitch) {
    const std::string info =
            "[L 312][addStreamInfo] addStreamInfo, sourcetype(1),width(1920),height(1080),"
            "framerate(60),streamid(8),pqid(-8),hwSyncId(4294967304),portId(20),interlace(0), "
            "colorformat(1), lumaoffset (8589934600) ,chromaoffset(12884901896)";
    {
        LogCapture log;
        Codec2InfoInternal::addStreamInfo(makeStream(8));
        EXPECT_EQ(log.texts(ANDROID_LOG_INFO), std::vector<std::string>{info});
        EXPECT_TRUE(log.texts(ANDROID_LOG_DEBUG).empty());
        EXPECT_EQ(log.lines()[0].tag, "service_tests");  // the platform's default: no tag of ours
    }
    Codec2InfoInternal::removeStreamInfoByUniqueId(8);
    turnLogSwitchOn();
    sp<MockStreamListener> listener = makeStreamListener();
    mService->registerStreamListener(listener, [](InfoReturn, uint64_t) {});
    EXPECT_CALL(*listener, notified(0, 8, _));

    LogCapture log;
    Codec2InfoInternal::addStreamInfo(makeStream(8));
    EXPECT_EQ(log.texts(ANDROID_LOG_DEBUG),
              (std::vector<std::string>{"[L 301][addStreamInfo] onNotify STREAM_INFO_ADD",
                                        "[L 308][addStreamInfo] streamlist size:0"}));
    EXPECT_EQ(log.texts(ANDROID_LOG_INFO), std::vector<std::string>{info});
}

}  // namespace
}  // namespace c2info_test
