// Clients and components that call the service back from inside its own
// calls to them, on the same thread, as binder delivers nested calls. Each
// of these waited forever for a lock its own thread held.
#include <android/log.h>

#include "support/LogCapture.h"
#include "support/ServiceTestSupport.h"

namespace c2info_test {
namespace {

using ::testing::_;
using ::testing::InvokeWithoutArgs;

class ReentrancyTest : public ServiceTest {
protected:
    static std::string refusal(const char* function) {
        return std::string("[") + function +
               "] called from inside a callback of the service: refused";
    }
};

// Registering an information listener takes only its own lock, so an
// application may do it on hearing of a stream: the stream is not listed
// yet while its addition is told, and still is while its removal is.
TEST_F(ReentrancyTest, AStreamListenerRegistersAnInformationListenerWhileBeingTold) {
    sp<MockStreamListener> streams = makeStreamListener();
    sp<MockInfoListener> info = makeInfoListener();
    registerStreamListener(streams);
    std::vector<CmtReturn> answers;
    auto registerInfo = [&] { answers.push_back(mService->registerListener(5, info, {})); };
    EXPECT_CALL(*streams, notified(0, 5, _)).WillOnce(InvokeWithoutArgs(registerInfo));
    EXPECT_CALL(*streams, notified(1, 5, _)).WillOnce(InvokeWithoutArgs(registerInfo));
    EXPECT_CALL(*info, notified(5, _, _, _)).Times(0);

    Codec2InfoInternal::addStreamInfo(makeStream(5));
    Codec2InfoInternal::removeStreamInfoByUniqueId(5);
    EXPECT_EQ(answers, (std::vector<CmtReturn>{CmtReturn::FAILURE, CmtReturn::SUCCESS}));
    EXPECT_EQ(mService->unregisterListener(5), CmtReturn::SUCCESS);
}

TEST_F(ReentrancyTest, AStreamListenerThatQueriesTheRegistryIsAnsweredEmptyOnce) {
    sp<MockStreamListener> streams = makeStreamListener();
    registerStreamListener(streams);
    int answers = 0;
    EXPECT_CALL(*streams, notified(0, 5, _)).WillOnce(InvokeWithoutArgs([&] {
        mService->getStreamList([&](InfoReturn ret, const hidl_vec<ST_STREAM_LIST>& list) {
            ++answers;
            EXPECT_EQ(ret, InfoReturn::FAILURE);
            EXPECT_EQ(list.size(), 0u);
        });
    }));
    LogCapture log;
    Codec2InfoInternal::addStreamInfo(makeStream(5));
    EXPECT_EQ(answers, 1);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, refusal("getStreamList")), 1u);
    EXPECT_EQ(streamList().size(), 1u);
}

// Refused, the listener stays subscribed and hears the next event too.
TEST_F(ReentrancyTest, ListenersCannotLeaveFromInsideTheirOwnNotification) {
    Codec2InfoInternal::addStreamInfo(makeStream(5));
    sp<MockEventListener> events = makeEventListener();
    sp<MockInfoListener> info = makeInfoListener();
    uint64_t eventId = registerEventListener(5, {"hdr_change"}, events).second;
    mService->registerListener(5, info, {});
    std::vector<InfoReturn> eventAnswers;
    std::vector<CmtReturn> infoAnswers;
    EXPECT_CALL(*events, notified("hdr_change", _, _))
            .Times(2)
            .WillRepeatedly(InvokeWithoutArgs(
                    [&] { eventAnswers.push_back(mService->unregisterEventListener(eventId)); }));
    EXPECT_CALL(*info, notified(5, _, _, _)).Times(2).WillRepeatedly(InvokeWithoutArgs([&] {
        infoAnswers.push_back(mService->unregisterListener(5));
    }));

    LogCapture log;
    EXPECT_TRUE(Codec2InfoInternal::postCodec2EventToAPK(5, NotifyEvent::HDR_CHANGE));
    EXPECT_TRUE(Codec2InfoInternal::postCodec2EventToAPK(5, NotifyEvent::HDR_CHANGE));
    EXPECT_EQ(eventAnswers, std::vector<InfoReturn>(2, InfoReturn::FAILURE));
    EXPECT_EQ(infoAnswers, std::vector<CmtReturn>(2, CmtReturn::FAILURE));
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, refusal("unregisterEventListener")), 2u);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, refusal("unregisterListener")), 2u);
}

TEST_F(ReentrancyTest, AComponentCannotPostOrUpdateFromInsideItsCallables) {
    Codec2InfoInternal::addStreamInfo(makeStream(5));
    sp<MockEventListener> events = makeEventListener();
    registerEventListener(5, {"no_frame_captured"}, events);
    EXPECT_CALL(*events, notified(_, _, _)).Times(0);
    bool posted = true;
    InfoReturn updated = InfoReturn::SUCCESS;
    auto callbacks = std::make_shared<Callbacks>();
    callbacks->enableCaptureCb = [&](bool, uint64_t) {
        posted = Codec2InfoInternal::postCodec2EventToAPK(5, NotifyEvent::NO_FRAME_CAPTURED);
    };
    callbacks->getInfoCb = [&](std::vector<std::string>, uint32_t) {
        uint32_t width = 640;
        updated = Codec2InfoInternal::updateStreamInfo(5, {{1, &width, 4}});
        return std::vector<CmtInfoStruct>();
    };
    Codec2InfoInternal::setCodec2InfoServiceCallback(callbacks, 5);

    LogCapture log;
    EXPECT_EQ(mService->enableCapture(5, true, 0), InfoReturn::SUCCESS);
    mService->getInfo(5, {}, [](CmtReturn ret, const hidl_vec<CmtInfoStruct>&) {
        EXPECT_EQ(ret, CmtReturn::SUCCESS);
    });
    EXPECT_FALSE(posted);
    EXPECT_EQ(updated, InfoReturn::FAILURE);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, refusal("postCodec2EventToAPK")), 1u);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, refusal("updateStreamInfo")), 1u);
    EXPECT_EQ(streamList().at(0).width, 1920u);
}

// An information listener is told with the query-listener lock held, the
// highest: from inside it every entry point answers its failure at once and
// changes nothing.
TEST_F(ReentrancyTest, EveryEntryPointRefusesFromInsideTheHighestLock) {
    Codec2InfoInternal::addStreamInfo(makeStream(5));
    sp<MockInfoListener> info = makeInfoListener();
    mService->registerListener(5, info, {});
    sp<MockEventListener> events = makeEventListener();
    sp<MockStreamListener> streams = makeStreamListener();
    struct Case {
        const char* name;
        std::function<bool()> refused;
    } cases[] = {
            {"addStreamInfo",
             [] {
                 return Codec2InfoInternal::addStreamInfo(makeStream(6)) == InfoReturn::FAILURE;
             }},
            {"removeStreamInfoByUniqueId",
             [] {
                 return Codec2InfoInternal::removeStreamInfoByUniqueId(5) == InfoReturn::FAILURE;
             }},
            {"registerListener",
             [&] { return mService->registerListener(5, info, {}) == CmtReturn::FAILURE; }},
            {"registerStreamListener",
             [&] {
                 bool refused = false;
                 mService->registerStreamListener(streams, [&](InfoReturn ret, uint64_t id) {
                     refused = ret == InfoReturn::FAILURE && id == UINT64_MAX;
                 });
                 return refused;
             }},
            {"unregisterStreamListener",
             [&] { return mService->unregisterStreamListener(0) == InfoReturn::FAILURE; }},
            {"registerEventListener",
             [&] {
                 return registerEventListener(5, {"hdr_change"}, events) ==
                        std::make_pair(InfoReturn::FAILURE, UINT64_MAX);
             }},
            {"updateListenEvents",
             [&] { return mService->updateListenEvents(0, {}) == InfoReturn::FAILURE; }},
            {"getIdList",
             [&] {
                 bool refused = false;
                 mService->getIdList([&](CmtReturn ret, auto, const auto& ids) {
                     refused = ret == CmtReturn::FAILURE && ids.size() == 0;
                 });
                 return refused;
             }},
            {"convertHwSyncIdToStreamId",
             [&] {
                 bool refused = false;
                 mService->convertHwSyncIdToStreamId(
                         0x100000005ull, [&](InfoReturn ret, uint32_t id) {
                             refused = ret == InfoReturn::FAILURE && id == 0xFFFFFFFF;
                         });
                 return refused;
             }},
            {"enableCapture",
             [&] { return mService->enableCapture(5, true, 0) == InfoReturn::FAILURE; }},
            {"releaseVDECBuffer",
             [&] { return mService->releaseVDECBuffer(5) == InfoReturn::FAILURE; }},
    };
    std::vector<std::string> notRefused;
    EXPECT_CALL(*info, notified(5, _, _, _)).WillOnce(InvokeWithoutArgs([&] {
        for (const Case& c : cases) {
            if (!c.refused()) notRefused.push_back(c.name);
        }
    }));
    LogCapture log;
    Codec2InfoInternal::postCodec2EventToAPK(5, NotifyEvent::HDR_CHANGE);
    EXPECT_EQ(notRefused, std::vector<std::string>{});
    for (const Case& c : cases)
        EXPECT_EQ(log.count(ANDROID_LOG_ERROR, refusal(c.name)), 1u) << c.name;
    EXPECT_EQ(streamList().size(), 1u);
}

// The death is delivered on another thread that needs the lock the
// notifying thread holds: the listener is dropped once the notification
// is over.
TEST_F(ReentrancyTest, AListenerThatDiesInTheMiddleOfItsNotificationIsDropped) {
    sp<MockStreamListener> dying = makeStreamListener();
    registerStreamListener(dying);
    EXPECT_CALL(*dying, notified(0, 5, _)).WillOnce(InvokeWithoutArgs([&] {
        dying->dieDuringCall();
    }));
    Codec2InfoInternal::addStreamInfo(makeStream(5));

    dying->awaitObituaries();
    EXPECT_EQ(mService->unregisterStreamListener(0), InfoReturn::FAILURE);
}

}  // namespace
}  // namespace c2info_test
