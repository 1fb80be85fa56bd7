// Clients and components that call the service back from inside its own
// calls to them, on the same thread, as binder delivers nested calls. Each
// of these waited forever for a lock its own thread held.
#include <android/log.h>

#include "support/DebugTestSupport.h"
#include "support/LogCapture.h"

namespace c2info_test {
namespace {

using ::testing::_;
using ::testing::InvokeWithoutArgs;

// What a nested call answered: its success with what any other thread
// gets, its failure result with nothing, or anything else.
enum class Answer { kNormal, kFailure, kOther };

template <typename Result>
Answer answerOf(Result result, bool normal = true, bool nothing = true) {
    if (result == Result{0} && normal) return Answer::kNormal;
    if (result == Result{1} && nothing) return Answer::kFailure;
    return Answer::kOther;
}

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

// An event listener is told under the main lock: every entry point that
// needs it refuses at once and changes nothing, while information listeners
// may still come and go. The information listener is told with only the
// post lock held: it is served like any client, except that it cannot post.
TEST_F(ReentrancyTest, NestedCallsAreRefusedOnlyWhereTheirThreadHoldsTheLock) {
    Codec2InfoInternal::addStreamInfo(makeStream(5));
    native_handle_t* buffer = native_handle_create(0, 0);
    auto callbacks = std::make_shared<Callbacks>();
    callbacks->getInfoCb = [](std::vector<std::string> keys, uint32_t) {
        return std::vector<CmtInfoStruct>{{7, keys.at(0)}};
    };
    callbacks->captureBufferCb = [&] { Codec2InfoInternal::bindCaptured(5, buffer); };
    callbacks->releaseBufferCb = [] {};
    callbacks->enableCaptureCb = [](bool, uint64_t) {};
    Codec2InfoInternal::setCodec2InfoServiceCallback(callbacks, 5);
    sp<MockInfoListener> info = makeInfoListener();
    sp<MockEventListener> events = makeEventListener();
    sp<MockStreamListener> streams = makeStreamListener();
    uint64_t eventId = registerEventListener(5, {"hdr_change"}, events).second;
    mService->registerListener(5, info, {});

    uint64_t newEventId = 0;
    struct Case {
        const char* name;
        bool refusedUnderMainLock;
        std::function<Answer()> call;
    } cases[] = {
            {"addStreamInfo", true,
             [] { return answerOf<InfoReturn>(Codec2InfoInternal::addStreamInfo(makeStream(6))); }},
            {"removeStreamInfoByUniqueId", true,
             [] {
                 return answerOf<InfoReturn>(Codec2InfoInternal::removeStreamInfoByUniqueId(6));
             }},
            {"updateStreamInfo", true,
             [] {
                 uint32_t width = 1920;
                 return answerOf<InfoReturn>(
                         Codec2InfoInternal::updateStreamInfo(5, {{1, &width, 4}}));
             }},
            {"unregisterListener", false,
             [&] { return answerOf<CmtReturn>(mService->unregisterListener(5)); }},
            {"registerListener", false,
             [&] { return answerOf<CmtReturn>(mService->registerListener(5, info, {})); }},
            {"registerStreamListener", true,
             [&] {
                 Answer answer = Answer::kOther;
                 mService->registerStreamListener(streams, [&](InfoReturn ret, uint64_t id) {
                     answer = answerOf(ret, id == 0, id == UINT64_MAX);
                 });
                 return answer;
             }},
            {"unregisterStreamListener", true,
             [&] { return answerOf<InfoReturn>(mService->unregisterStreamListener(0)); }},
            {"registerEventListener", true,
             [&] {
                 Answer answer = Answer::kOther;
                 mService->registerEventListener(
                         5, {"hdr_change"}, makeEventListener(), [&](InfoReturn ret, uint64_t id) {
                             newEventId = id;
                             answer = answerOf(ret, id == eventId + 1, id == UINT64_MAX);
                         });
                 return answer;
             }},
            {"updateListenEvents", true,
             [&] { return answerOf<InfoReturn>(mService->updateListenEvents(newEventId, {})); }},
            {"unregisterEventListener", true,
             [&] { return answerOf<InfoReturn>(mService->unregisterEventListener(newEventId)); }},
            {"getIdList", true,
             [&] {
                 Answer answer = Answer::kOther;
                 mService->getIdList([&](CmtReturn ret, auto, const hidl_vec<uint64_t>& ids) {
                     answer = answerOf(ret, ids == hidl_vec<uint64_t>{5}, ids.size() == 0);
                 });
                 return answer;
             }},
            {"getStreamList", true,
             [&] {
                 Answer answer = Answer::kOther;
                 mService->getStreamList([&](InfoReturn ret, const auto& list) {
                     answer = answerOf(ret, list.size() == 1, list.size() == 0);
                 });
                 return answer;
             }},
            {"getInfo", true,
             [&] {
                 Answer answer = Answer::kOther;
                 mService->getInfo(5, {"codec"}, [&](CmtReturn ret, const auto& items) {
                     bool itemOfComponent = items.size() == 1 && items[0].intValue == 7 &&
                                            items[0].strValue == "codec";
                     answer = answerOf(ret, itemOfComponent, items.size() == 0);
                 });
                 return answer;
             }},
            {"convertHwSyncIdToStreamId", true,
             [&] {
                 Answer answer = Answer::kOther;
                 mService->convertHwSyncIdToStreamId(
                         makeStream(5).hwSyncId, [&](InfoReturn ret, uint32_t id) {
                             answer = answerOf(ret, id == 5, id == 0xFFFFFFFF);
                         });
                 return answer;
             }},
            {"getCurrentVDECBuffer", true,
             [&] {
                 Answer answer = Answer::kOther;
                 mService->getCurrentVDECBuffer(5, [&](InfoReturn ret, const auto& desc) {
                     const native_handle_t* handle = desc.buffer.getNativeHandle();
                     answer = answerOf(ret, handle == buffer, handle == nullptr);
                 });
                 return answer;
             }},
            {"releaseVDECBuffer", true,
             [&] { return answerOf<InfoReturn>(mService->releaseVDECBuffer(5)); }},
            {"enableCapture", true,
             [&] { return answerOf<InfoReturn>(mService->enableCapture(5, true, 0)); }},
            {"debug", true,
             [&] {
                 std::string output = runDebug(*mService, {"--reset"});
                 if (output == "C2 LsHal Ver-1.3 - Reset\n") return Answer::kNormal;
                 return output.empty() ? Answer::kFailure : Answer::kOther;
             }},
    };
    // Each call is either refused, with its failure result, or answered.
    auto runCases = [&](std::vector<std::string>* refused, std::vector<std::string>* wrong) {
        LogCapture log;
        for (const Case& c : cases) {
            Answer answer = c.call();
            bool refusedNow = log.count(ANDROID_LOG_ERROR, refusal(c.name)) != 0;
            if (refusedNow) refused->push_back(c.name);
            if (answer != (refusedNow ? Answer::kFailure : Answer::kNormal)) {
                wrong->push_back(c.name);
            }
        }
        if (Codec2InfoInternal::postCodec2EventToAPK(5, NotifyEvent::HDR_CHANGE) ||
            log.count(ANDROID_LOG_ERROR, refusal("postCodec2EventToAPK")) != 1) {
            wrong->push_back("postCodec2EventToAPK");
        }
    };
    std::vector<std::string> refusedInEvent, wrongInEvent, refusedInInfo, wrongInInfo;
    EXPECT_CALL(*events, notified("hdr_change", _, _))
            .WillOnce(InvokeWithoutArgs([&] { runCases(&refusedInEvent, &wrongInEvent); }))
            .WillOnce(::testing::Return());
    EXPECT_CALL(*info, notified(5, _, _, _))
            .WillOnce(InvokeWithoutArgs([&] { runCases(&refusedInInfo, &wrongInInfo); }))
            .WillOnce(::testing::Return());
    EXPECT_TRUE(Codec2InfoInternal::postCodec2EventToAPK(5, NotifyEvent::HDR_CHANGE));

    std::vector<std::string> refusedUnderMainLock;
    for (const Case& c : cases) {
        if (c.refusedUnderMainLock) refusedUnderMainLock.push_back(c.name);
    }
    EXPECT_EQ(refusedInEvent, refusedUnderMainLock);
    EXPECT_EQ(wrongInEvent, std::vector<std::string>{});
    EXPECT_EQ(refusedInInfo, std::vector<std::string>{});
    EXPECT_EQ(wrongInInfo, std::vector<std::string>{});
    // Nothing was lost: both listeners hear the next event.
    EXPECT_TRUE(Codec2InfoInternal::postCodec2EventToAPK(5, NotifyEvent::HDR_CHANGE));
    EXPECT_EQ(streamList().size(), 1u);
    native_handle_delete(buffer);
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
