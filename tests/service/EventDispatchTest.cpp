// Event listeners, information listeners and the posting of playback events.
#include <android/log.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "support/LogCapture.h"
#include "support/ServiceTestSupport.h"

namespace c2info_test {
namespace {

using ::testing::_;
using ::testing::InSequence;

const CmtInfoStruct kPayload{42, "1920x1080"};

class EventDispatchTest : public ServiceTest {
protected:
    CmtReturn registerInfoListener(uint64_t id, const sp<MockInfoListener>& listener,
                                   std::vector<uint64_t> events) {
        return mService->registerListener(id, listener, hidl_vec<uint64_t>(events));
    }
    InfoReturn update(uint64_t id, std::vector<std::string> names) {
        return mService->updateListenEvents(id, hidl_vec<hidl_string>(names.begin(), names.end()));
    }
};

TEST_F(EventDispatchTest, ListenersOfTheStreamAndEventHearTheNameAndPayloadInIdOrder) {
    sp<MockEventListener> first = makeEventListener();
    sp<MockEventListener> second = makeEventListener();
    sp<MockEventListener> otherStream = makeEventListener();
    sp<MockEventListener> otherEvent = makeEventListener();
    EXPECT_EQ(registerEventListener(5, {"resolution_change"}, second),
              std::make_pair(InfoReturn::SUCCESS, uint64_t{0}));
    EXPECT_EQ(registerEventListener(5, {"hdr_change", "resolution_change", "resolution_change"},
                                    first)
                      .second,
              1u);
    registerEventListener(6, {"resolution_change"}, otherStream);
    registerEventListener(5, {"hdr_change"}, otherEvent);

    InSequence inOrder;
    EXPECT_CALL(*second, notified("resolution_change", 42, "1920x1080"));
    EXPECT_CALL(*first, notified("resolution_change", 42, "1920x1080"));  // once despite the twin
    EXPECT_CALL(*otherStream, notified(_, _, _)).Times(0);
    EXPECT_CALL(*otherEvent, notified(_, _, _)).Times(0);
    EXPECT_FALSE(
            Codec2InfoInternal::postCodec2EventToAPK(5, NotifyEvent::RESOLUTION_CHANGE, kPayload));
}

TEST_F(EventDispatchTest, NamesResolveExactlyAndUnknownOnesAreSkippedWithAWarning) {
    sp<MockEventListener> listener = makeEventListener();
    LogCapture log;
    EXPECT_EQ(registerEventListener(1, {"HDR_CHANGE", "vrr_change", ""}, listener).first,
              InfoReturn::SUCCESS);
    EXPECT_EQ(log.texts(ANDROID_LOG_WARN),
              (std::vector<std::string>{"[L 906][registerEventListener] unknown event HDR_CHANGE",
                                        "[L 906][registerEventListener] unknown event "}));
    EXPECT_EQ(log.texts(ANDROID_LOG_DEBUG), std::vector<std::string>{});  // the switch is off
    EXPECT_CALL(*listener, notified("vrr_change", 0, ""));
    EXPECT_CALL(*listener, notified("hdr_change", _, _)).Times(0);
    Codec2InfoInternal::postCodec2EventToAPK(1, NotifyEvent::HDR_CHANGE);
    Codec2InfoInternal::postCodec2EventToAPK(1, NotifyEvent::VRR_CHANGE);
}

TEST_F(EventDispatchTest, UpdatingEventsReplacesTheSubscription) {
    sp<MockEventListener> listener = makeEventListener();
    uint64_t id = registerEventListener(1, {}, listener).second;
    EXPECT_CALL(*listener, notified(_, _, _)).Times(0);
    Codec2InfoInternal::postCodec2EventToAPK(1, NotifyEvent::SIGNAL_CHANGE);

    LogCapture log;
    EXPECT_EQ(update(id, {"signal_change", "nonsense"}), InfoReturn::SUCCESS);
    EXPECT_EQ(log.texts(ANDROID_LOG_WARN),
              std::vector<std::string>{"[L 955][updateListenEvents] unknown event nonsense"});
    EXPECT_EQ(log.texts(ANDROID_LOG_INFO),
              std::vector<std::string>{"[L 959][updateListenEvents] update EventListenerId 0"});
    ::testing::Mock::VerifyAndClearExpectations(listener.get());
    EXPECT_CALL(*listener, notified("signal_change", 0, ""));
    Codec2InfoInternal::postCodec2EventToAPK(1, NotifyEvent::SIGNAL_CHANGE);

    log.clear();
    EXPECT_EQ(update(id + 1, {"signal_change"}), InfoReturn::FAILURE);
    EXPECT_EQ(
            log.texts(ANDROID_LOG_ERROR),
            std::vector<std::string>{"[L 962][updateListenEvents] cannot find EventListenerId 1"});
}

TEST_F(EventDispatchTest, UnregisteredFailingAndDeadListenersAreHandledApart) {
    sp<MockEventListener> leaving = makeEventListener();
    sp<MockEventListener> failing = makeEventListener();
    sp<MockEventListener> dying = makeEventListener();
    sp<MockEventListener> staying = makeEventListener();
    uint64_t leavingId = registerEventListener(2, {"afd_change"}, leaving).second;
    registerEventListener(2, {"afd_change"}, failing);
    registerEventListener(2, {"afd_change"}, dying);
    registerEventListener(2, {"afd_change"}, staying);
    EXPECT_EQ(mService->unregisterEventListener(leavingId), InfoReturn::SUCCESS);
    failing->setTransportFailing(true);
    dying->die();

    EXPECT_CALL(*leaving, notified(_, _, _)).Times(0);
    EXPECT_CALL(*staying, notified("afd_change", 0, ""));
    LogCapture log;
    Codec2InfoInternal::postCodec2EventToAPK(2, NotifyEvent::AFD_CHANGE);
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR),
              std::vector<std::string>{"Listener onNotify error: Status(EX_TRANSACTION_FAILED): "
                                       "'FAILED_TRANSACTION: '"});
    log.clear();
    EXPECT_EQ(mService->unregisterEventListener(leavingId), InfoReturn::FAILURE);
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR),
              std::vector<std::string>{"[L 933][unregisterEventListener] erase Cb fail"});
}

TEST_F(EventDispatchTest, NullEventAndInformationListenersAreRefused) {
    Codec2InfoInternal::addStreamInfo(makeStream(1));
    LogCapture log;
    EXPECT_EQ(registerEventListener(1, {"hdr_change"}, nullptr).first, InfoReturn::FAILURE);
    EXPECT_EQ(registerInfoListener(1, nullptr, {}), CmtReturn::FAILURE);
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR),
              (std::vector<std::string>{"[registerEventListener] null listener",
                                        "[registerListener] null listener"}));
    EXPECT_FALSE(Codec2InfoInternal::postCodec2EventToAPK(1, NotifyEvent::HDR_CHANGE));
}

TEST_F(EventDispatchTest, TheInformationListenerGetsTheValueWithAnEmptyPayload) {
    Codec2InfoInternal::addStreamInfo(makeStream(3));
    sp<MockInfoListener> info = makeInfoListener();
    sp<MockEventListener> events = makeEventListener();
    EXPECT_EQ(registerInfoListener(3, info, {}), CmtReturn::SUCCESS);
    registerEventListener(3, {"hdr_change"}, events);

    InSequence inOrder;
    EXPECT_CALL(*events, notified("hdr_change", 42, "1920x1080"));
    EXPECT_CALL(*info, notified(3, 9, 0, ""));
    EXPECT_CALL(*info, notified(3, 0, 0, ""));  // unnamed: no event listener, still this one
    EXPECT_TRUE(Codec2InfoInternal::postCodec2EventToAPK(3, NotifyEvent::HDR_CHANGE, kPayload));
    EXPECT_TRUE(Codec2InfoInternal::postCodec2EventToAPK(3, NotifyEvent::NONE, kPayload));
}

TEST_F(EventDispatchTest, TheInformationListenerFilterDecidesWhatItHears) {
    Codec2InfoInternal::addStreamInfo(makeStream(3));
    sp<MockInfoListener> info = makeInfoListener();
    registerInfoListener(3, info, {8, 27});
    EXPECT_CALL(*info, notified(3, 27, 0, ""));
    EXPECT_TRUE(Codec2InfoInternal::postCodec2EventToAPK(3, NotifyEvent::BITRATE_CHANGE));
    EXPECT_TRUE(Codec2InfoInternal::postCodec2EventToAPK(3, NotifyEvent::HDR_CHANGE));  // filtered
    EXPECT_FALSE(Codec2InfoInternal::postCodec2EventToAPK(4, NotifyEvent::BITRATE_CHANGE));

    // Registering again replaces listener and filter.
    sp<MockInfoListener> replacement = makeInfoListener();
    registerInfoListener(3, replacement, {});
    EXPECT_CALL(*replacement, notified(3, 9, 0, ""));
    Codec2InfoInternal::postCodec2EventToAPK(3, NotifyEvent::HDR_CHANGE);
}

// Before, the event listeners and the information listener were told under
// different locks one after the other: a post could overtake another
// between the two, most of all while a client held the information
// listeners' lock.
TEST_F(EventDispatchTest, PostsForOneStreamReachEveryListenerInOneOrder) {
    constexpr int kPostsPerThread = 300;
    Codec2InfoInternal::addStreamInfo(makeStream(3));
    sp<MockInfoListener> info = makeInfoListener();
    sp<MockEventListener> events = makeEventListener();
    registerInfoListener(3, info, {});
    registerEventListener(3, {"hdr_change", "resolution_change"}, events);
    std::mutex heardLock;
    std::vector<uint64_t> heardByEventListener, heardByInfoListener;
    EXPECT_CALL(*events, notified(_, _, _))
            .Times(2 * kPostsPerThread)
            .WillRepeatedly([&](std::string name, int32_t, std::string) {
                std::lock_guard<std::mutex> lock(heardLock);
                heardByEventListener.push_back(static_cast<uint64_t>(
                        name == "hdr_change" ? NotifyEvent::HDR_CHANGE
                                             : NotifyEvent::RESOLUTION_CHANGE));
            });
    EXPECT_CALL(*info, notified(3, _, _, _))
            .Times(2 * kPostsPerThread)
            .WillRepeatedly([&](uint64_t, uint64_t event, int32_t, std::string) {
                std::lock_guard<std::mutex> lock(heardLock);
                heardByInfoListener.push_back(event);
            });

    std::atomic<bool> posting{true};
    std::thread reRegistering([&] {
        while (posting) registerInfoListener(3, info, {});
    });
    auto post = [](NotifyEvent event) {
        for (int i = 0; i < kPostsPerThread; ++i)
            Codec2InfoInternal::postCodec2EventToAPK(3, event);
    };
    std::thread hdr(post, NotifyEvent::HDR_CHANGE);
    std::thread resolution(post, NotifyEvent::RESOLUTION_CHANGE);
    hdr.join();
    resolution.join();
    posting = false;
    reRegistering.join();
    EXPECT_EQ(heardByEventListener, heardByInfoListener);
}

// Event values are 64 bits on every ABI: one that differs from a known event
// only above bit 31 is neither that event nor filtered as it.
TEST_F(EventDispatchTest, EventValuesKeepTheirHighBits) {
    constexpr uint64_t kHighHdr = 0x100000009ull;
    Codec2InfoInternal::addStreamInfo(makeStream(3));
    sp<MockInfoListener> info = makeInfoListener();
    sp<MockEventListener> events = makeEventListener();
    registerInfoListener(3, info, {kHighHdr});
    registerEventListener(3, {"hdr_change"}, events);

    InSequence inOrder;
    EXPECT_CALL(*info, notified(3, kHighHdr, 0, ""));
    EXPECT_CALL(*events, notified("hdr_change", 0, ""));
    EXPECT_TRUE(Codec2InfoInternal::postCodec2EventToAPK(3, static_cast<NotifyEvent>(kHighHdr)));
    EXPECT_TRUE(Codec2InfoInternal::postCodec2EventToAPK(3, NotifyEvent::HDR_CHANGE));
}

TEST_F(EventDispatchTest, InformationListenersNeedAStreamAndStayAfterUnregistering) {
    sp<MockInfoListener> info = makeInfoListener();
    LogCapture log;
    EXPECT_EQ(mService->unregisterListener(3), CmtReturn::SUCCESS);
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR),
              std::vector<std::string>{"[L 553][unregisterListener]  unregisterListener is empty"});
    Codec2InfoInternal::addStreamInfo(makeStream(3));
    log.clear();
    EXPECT_EQ(registerInfoListener(0x100000003ull, info, {}), CmtReturn::FAILURE);
    EXPECT_EQ(registerInfoListener(4, info, {}), CmtReturn::FAILURE);
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR),
              (std::vector<std::string>{
                      "[L 542][registerListener]  uniqueId(4294967299) is not exist",
                      "[L 542][registerListener]  uniqueId(4) is not exist"}));

    EXPECT_EQ(registerInfoListener(3, info, {}), CmtReturn::SUCCESS);
    log.clear();
    EXPECT_EQ(mService->unregisterListener(7), CmtReturn::FAILURE);
    EXPECT_EQ(
            log.texts(ANDROID_LOG_ERROR),
            std::vector<std::string>{"[L 562][unregisterListener]  uniqueId(7) is not exist, ok"});
    EXPECT_EQ(mService->unregisterListener(0x500000003ull), CmtReturn::SUCCESS);  // lower bits
    EXPECT_CALL(*info, notified(_, _, _, _)).Times(0);
    EXPECT_FALSE(Codec2InfoInternal::postCodec2EventToAPK(3, NotifyEvent::HDR_CHANGE));

    // Registration needs the stream at that moment.
    Codec2InfoInternal::removeStreamInfoByUniqueId(3);
    EXPECT_EQ(registerInfoListener(3, info, {}), CmtReturn::FAILURE);
}

TEST_F(EventDispatchTest, AnInformationListenerOutlivesItsStream) {
    Codec2InfoInternal::addStreamInfo(makeStream(3));
    sp<MockInfoListener> info = makeInfoListener();
    registerInfoListener(3, info, {});
    Codec2InfoInternal::removeStreamInfoByUniqueId(3);
    EXPECT_CALL(*info, notified(3, 9, 0, ""));
    LogCapture log;  // no event listener is no failure
    EXPECT_TRUE(Codec2InfoInternal::postCodec2EventToAPK(3, NotifyEvent::HDR_CHANGE));
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR), std::vector<std::string>{});
}

}  // namespace
}  // namespace c2info_test
