// Calls racing each other: posts for one stream while its information
// listener is registered again and again, and first calls of the service.
#include <atomic>
#include <mutex>
#include <thread>

#include "support/Transcript.h"

namespace c2info_test {
namespace {

// Before, the event listeners and the information listener were told under
// different locks one after the other: a post could overtake another
// between the two, most of all while a client held the information
// listeners' lock.
TEST_F(ServiceTest, PostsForOneStreamReachEveryListenerInOneOrder) {
    Codec2InfoInternal::addStreamInfo(makeStream(3));
    sp<InfoEar> app = new InfoEar("app");
    sp<EventEar> events = new EventEar("events");
    mService->registerListener(3, app, {});
    mService->registerEventListener(3, {"hdr_change", "resolution_change"}, events,
                                    [](InfoReturn, uint64_t) {});
    // Each as event names: "hdr_change ..." and "3 9 ...".
    std::mutex heardLock;
    std::vector<std::string> heardByEvents, heardByApp;
    events->then = [&](const std::string& what) {
        std::lock_guard<std::mutex> lock(heardLock);
        heardByEvents.push_back(what.substr(0, what.find(' ')));
    };
    app->then = [&](const std::string& what) {
        auto event = static_cast<NotifyEvent>(std::stoull(what.substr(what.find(' ') + 1)));
        std::lock_guard<std::mutex> lock(heardLock);
        heardByApp.push_back(mService->eventToString(event));
    };

    std::atomic<bool> posting{true};
    std::thread reRegistering([&] {
        while (posting) mService->registerListener(3, app, {});
    });
    auto post = [](NotifyEvent event) {
        for (int i = 0; i < 300; ++i) Codec2InfoInternal::postCodec2EventToAPK(3, event);
    };
    std::thread hdr(post, NotifyEvent::HDR_CHANGE);
    std::thread resolution(post, NotifyEvent::RESOLUTION_CHANGE);
    hdr.join();
    resolution.join();
    posting = false;
    reRegistering.join();
    EXPECT_EQ(heardByEvents.size(), 600u);
    EXPECT_EQ(heardByEvents, heardByApp);
}

TEST(ServiceObjectTest, ConcurrentFirstCallsShareOneInstance) {
    std::vector<Codec2InfoService*> seen(8);
    std::vector<std::thread> threads;
    for (Codec2InfoService*& service : seen) {
        threads.emplace_back([&service] { service = Codec2InfoService::getInstance().get(); });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_NE(seen[0], nullptr);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), seen[0]), 8);
}

TEST(ServiceObjectTest, DropModeReadersBeforeTheServiceExistsAnswerZero) {
    EXPECT_EQ(Codec2InfoInternal::getDropMode(), 0u);
    EXPECT_EQ(Codec2InfoInternal::getBootCompleteTime(), 0);
}

}  // namespace
}  // namespace c2info_test
