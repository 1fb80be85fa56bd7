// An application of the simulated codec process, as if in a process of its
// own: it follows streams, subscribes to events and to the information of
// every stream it hears of, and prints one line per thing it hears. It can
// be made to die, after which the service drops its listeners. Its
// listeners only note what they hear: the printing and the subscribing are
// done on the application's own thread, never inside the service's calls.
#pragma once

#include <vendor/larkspan/hardware/c2/info/1.0/ICodec2InfoService.h>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace sim {

class SimApplication {
public:
    // Subscribes to `eventNames` of every stream.
    SimApplication(
            ::android::sp<::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoService> service,
            std::vector<std::string> eventNames);
    ~SimApplication();

    // Registers the stream listener; false when the service refuses it.
    bool start();
    // The application's process ends: its listeners die with it.
    void die();
    // Unregisters what is still registered, as an application that closes.
    void stop();

private:
    class StreamListener;
    class EventListener;
    class InfoListener;
    struct Inbox;

    void endSubscriber();
    std::vector<std::pair<uint64_t, ::android::sp<EventListener>>> takeEventListeners();
    void subscriber();
    void subscribe(uint64_t streamId);

    const ::android::sp<::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoService> mService;
    const std::vector<std::string> mEventNames;
    // What the listeners hear, shared with them: the service may still be
    // telling one when the application is gone.
    const std::shared_ptr<Inbox> mInbox;
    ::android::sp<StreamListener> mStreamListener;
    ::android::sp<InfoListener> mInfoListener;

    // Guards what follows. Never held while calling the service.
    std::mutex mLock;
    bool mDead = false;
    std::optional<uint64_t> mStreamListenerId;
    std::vector<std::pair<uint64_t, ::android::sp<EventListener>>> mEventListeners;
    std::vector<uint64_t> mInfoStreams;
    std::thread mThread;
};

}  // namespace sim
