// Posts for one stream from several threads, while the information
// listener is registered again and again.
#include <atomic>
#include <mutex>
#include <thread>

#include "support/ServiceTestSupport.h"

namespace c2info_test {
namespace {

using ::testing::_;

// Before, the event listeners and the information listener were told under
// different locks one after the other: a post could overtake another
// between the two, most of all while a client held the information
// listeners' lock.
TEST_F(ServiceTest, PostsForOneStreamReachEveryListenerInOneOrder) {
    constexpr int kPostsPerThread = 300;
    Codec2InfoInternal::addStreamInfo(makeStream(3));
    sp<MockInfoListener> info = makeInfoListener();
    sp<MockEventListener> events = makeEventListener();
    mService->registerListener(3, info, {});
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
        while (posting) mService->registerListener(3, info, {});
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

}  // namespace
}  // namespace c2info_test
