#include "ServiceTestSupport.h"

namespace c2info_test {

namespace {
int gTestsInThisProcess = 0;
}  // namespace

ST_STREAM_LIST makeStream(uint32_t streamId, const std::string& info) {
    ST_STREAM_LIST stream{};
    stream.sourcetype = static_cast<int32_t>(streamId % 7);
    stream.width = 1920;
    stream.height = 1080;
    stream.field3 = streamId + 3;
    stream.field4 = streamId + 4;
    stream.field5 = streamId + 5;
    stream.field6 = streamId + 6;
    stream.field7 = streamId + 7;
    stream.framerate = 60;
    stream.streamid = streamId;
    stream.pqid = -static_cast<int32_t>(streamId);
    stream.hwSyncId = 0x100000000ull + streamId;
    stream.portId = streamId + 12;
    stream.interlace = 0;
    stream.colorformat = 1;
    stream.lumaoffset = 0x200000000ull + streamId;
    stream.chromaoffset = 0x300000000ull + streamId;
    stream.info = info;
    return stream;
}

void ServiceTest::SetUp() {
    ASSERT_EQ(gTestsInThisProcess++, 0)
            << "each test needs a service of its own: run the tests through ctest, or one at "
               "a time with --gtest_filter";
    mService = Codec2InfoService::getInstance();
}

void ServiceTest::TearDown() {
    for (auto& [keepAlive, mock] : mMocks) ::testing::Mock::VerifyAndClearExpectations(mock);
}

std::vector<ST_STREAM_LIST> ServiceTest::streamList() {
    std::vector<ST_STREAM_LIST> streams;
    int calls = 0;
    EXPECT_TRUE(mService->getStreamList([&](InfoReturn ret, const hidl_vec<ST_STREAM_LIST>& list) {
                            ++calls;
                            EXPECT_EQ(ret, InfoReturn::SUCCESS);
                            streams = list;
                        })
                        .isOk());
    EXPECT_EQ(calls, 1);
    return streams;
}

std::pair<InfoReturn, uint64_t> ServiceTest::registerStreamListener(
        const sp<MockStreamListener>& listener) {
    std::pair<InfoReturn, uint64_t> answer{InfoReturn::FAILURE, 0};
    int calls = 0;
    mService->registerStreamListener(listener, [&](InfoReturn ret, uint64_t id) {
        ++calls;
        answer = {ret, id};
    });
    EXPECT_EQ(calls, 1);
    return answer;
}

std::pair<InfoReturn, uint64_t> ServiceTest::registerEventListener(
        uint64_t streamId, std::vector<std::string> names, const sp<MockEventListener>& listener) {
    std::pair<InfoReturn, uint64_t> answer{InfoReturn::FAILURE, 0};
    hidl_vec<hidl_string> events(names.begin(), names.end());
    EXPECT_TRUE(mService->registerEventListener(streamId, events, listener,
                                                [&](InfoReturn ret, uint64_t id) {
                                                    answer = {ret, id};
                                                })
                        .isOk());
    return answer;
}

}  // namespace c2info_test
