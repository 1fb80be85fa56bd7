// Posting takes the information listeners' lock and then the main lock;
// nothing takes them the other way round. Registrations of every kind on
// other threads while components post must neither deadlock nor race
// (ThreadSanitizer runs this too).
#include <atomic>
#include <thread>

#include "support/ServiceTestSupport.h"

namespace c2info_test {
namespace {

using ::testing::_;
using ::testing::AnyNumber;

class LockOrderTest : public ServiceTest {};

TEST_F(LockOrderTest, PostingWhileListenersComeAndGoNeverDeadlocks) {
    constexpr int kRounds = 300;
    Codec2InfoInternal::addStreamInfo(makeStream(1));
    sp<MockInfoListener> info = makeInfoListener();
    sp<MockEventListener> events = makeEventListener();
    sp<MockStreamListener> streams = makeStreamListener();
    EXPECT_CALL(*info, notified(_, _, _, _)).Times(AnyNumber());
    EXPECT_CALL(*events, notified(_, _, _)).Times(AnyNumber());
    EXPECT_CALL(*streams, notified(_, _, _)).Times(AnyNumber());

    std::atomic<bool> posting{true};
    std::thread component([&] {
        while (posting) {
            Codec2InfoInternal::postCodec2EventToAPK(1, NotifyEvent::HDR_CHANGE);
            Codec2InfoInternal::updateStreamInfo(1, {});
        }
    });
    std::thread infoClient([&] {
        for (int i = 0; i < kRounds; ++i) {
            mService->registerListener(1, info, hidl_vec<uint64_t>());
            mService->unregisterListener(1);
        }
    });
    std::thread eventClient([&] {
        for (int i = 0; i < kRounds; ++i) {
            uint64_t id = registerEventListener(1, {"hdr_change"}, events).second;
            mService->updateListenEvents(id, hidl_vec<hidl_string>{"vrr_change", "hdr_change"});
            mService->unregisterEventListener(id);
        }
    });
    std::thread streamClient([&] {
        for (int i = 0; i < kRounds; ++i) {
            uint64_t id = 0;
            mService->registerStreamListener(streams,
                                             [&](InfoReturn, uint64_t newId) { id = newId; });
            Codec2InfoInternal::addStreamInfo(makeStream(2));
            Codec2InfoInternal::removeStreamInfoByUniqueId(2);
            mService->unregisterStreamListener(id);
        }
    });
    infoClient.join();
    eventClient.join();
    streamClient.join();
    posting = false;
    component.join();
}

}  // namespace
}  // namespace c2info_test
