#include "SimApplication.h"

#include <android-base/stringprintf.h>
#include <hidl/RemotePeer.h>
#include <vendor/larkspan/hardware/c2/info/1.0/ICodec2InfoServiceEventListener.h>
#include <vendor/larkspan/hardware/c2/info/1.0/ICodec2InfoServiceStreamListener.h>
#include <vendor/larkspan/hardware/cmt/1.0/ICmtInfoServiceListener.h>

#include <algorithm>
#include <utility>

#include "Output.h"

namespace sim {

using ::android::sp;
using ::android::base::StringPrintf;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::RemotePeer;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoService;
using ::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoServiceEventListener;
using ::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoServiceStreamListener;
using ::vendor::larkspan::hardware::c2::info::V1_0::InfoReturn;
using ::vendor::larkspan::hardware::c2::info::V1_0::NotifyEventInfo;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtInfoStruct;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtReturn;
using ::vendor::larkspan::hardware::cmt::V1_0::ICmtInfoServiceListener;

// onNotify's type for a stream added; a removed one has 1.
constexpr uint32_t kStreamAdded = 0;

struct SimApplication::Inbox {
    void hear(std::string line, std::optional<uint64_t> newStream = std::nullopt) {
        std::lock_guard<std::mutex> lock(mLock);
        mLines.push_back(std::move(line));
        if (newStream) mNewStreams.push_back(*newStream);
        mWork.notify_one();
    }

    std::mutex mLock;
    std::condition_variable mWork;
    std::deque<std::string> mLines;
    std::deque<uint64_t> mNewStreams;
    bool mEnding = false;
};

class SimApplication::StreamListener : public RemotePeer<ICodec2InfoServiceStreamListener> {
public:
    explicit StreamListener(std::shared_ptr<Inbox> inbox) : mInbox(std::move(inbox)) {}

    Return<void> onNotify(uint32_t type, uint64_t streamId, const hidl_string& info) override {
        if (auto status = transportStatus(); !status.isOk()) return status;
        auto id = static_cast<unsigned long long>(streamId);
        if (type != kStreamAdded) {
            mInbox->hear(StringPrintf("app: stream %llu removed (%s)", id, info.c_str()));
        } else {
            mInbox->hear(StringPrintf("app: stream %llu added (%s)", id, info.c_str()), streamId);
        }
        return Void();
    }

private:
    const std::shared_ptr<Inbox> mInbox;
};

// One per stream: the notification does not say whose event it is.
class SimApplication::EventListener : public RemotePeer<ICodec2InfoServiceEventListener> {
public:
    EventListener(std::shared_ptr<Inbox> inbox, uint64_t streamId)
        : mInbox(std::move(inbox)), mStreamId(streamId) {}

    Return<void> onNotify(const NotifyEventInfo& event) override {
        if (auto status = transportStatus(); !status.isOk()) return status;
        mInbox->hear(StringPrintf("app: event %s of stream %llu (value %d \"%s\")",
                                  event.event.c_str(), static_cast<unsigned long long>(mStreamId),
                                  event.info.intValue, event.info.strValue.c_str()));
        return Void();
    }

private:
    const std::shared_ptr<Inbox> mInbox;
    const uint64_t mStreamId;
};

class SimApplication::InfoListener : public RemotePeer<ICmtInfoServiceListener> {
public:
    explicit InfoListener(std::shared_ptr<Inbox> inbox) : mInbox(std::move(inbox)) {}

    Return<void> onNotify(uint64_t streamId, uint64_t event, const CmtInfoStruct&) override {
        if (auto status = transportStatus(); !status.isOk()) return status;
        mInbox->hear(StringPrintf("app: information of stream %llu: event %llu",
                                  static_cast<unsigned long long>(streamId),
                                  static_cast<unsigned long long>(event)));
        return Void();
    }

private:
    const std::shared_ptr<Inbox> mInbox;
};

SimApplication::SimApplication(sp<ICodec2InfoService> service, std::vector<std::string> eventNames)
    : mService(std::move(service)),
      mEventNames(std::move(eventNames)),
      mInbox(std::make_shared<Inbox>()),
      mStreamListener(new StreamListener(mInbox)),
      mInfoListener(new InfoListener(mInbox)) {}

SimApplication::~SimApplication() {
    stop();
}

bool SimApplication::start() {
    mThread = std::thread([this] { subscriber(); });
    InfoReturn result = InfoReturn::FAILURE;
    mService->registerStreamListener(mStreamListener, [&](InfoReturn ret, uint64_t id) {
        result = ret;
        if (ret != InfoReturn::SUCCESS) return;
        std::lock_guard<std::mutex> lock(mLock);
        mStreamListenerId = id;
    });
    if (result != InfoReturn::SUCCESS) say("app: the service refused the stream listener");
    return result == InfoReturn::SUCCESS;
}

void SimApplication::die() {
    {
        std::lock_guard<std::mutex> lock(mLock);
        if (mDead) return;
        mDead = true;
    }
    endSubscriber();
    say("app: dies");
    mStreamListener->die();
    mInfoListener->die();
    for (const auto& [id, listener] : takeEventListeners()) listener->die();
}

void SimApplication::stop() {
    endSubscriber();
    std::optional<uint64_t> streamListenerId;
    std::vector<uint64_t> infoStreams;
    {
        std::lock_guard<std::mutex> lock(mLock);
        if (mDead) return;
        streamListenerId = std::exchange(mStreamListenerId, std::nullopt);
        infoStreams.swap(mInfoStreams);
    }
    if (streamListenerId) (void)mService->unregisterStreamListener(*streamListenerId).isOk();
    for (const auto& [id, listener] : takeEventListeners()) {
        (void)mService->unregisterEventListener(id).isOk();
    }
    for (uint64_t streamId : infoStreams) (void)mService->unregisterListener(streamId).isOk();
}

// What was heard before the end is still printed.
void SimApplication::endSubscriber() {
    {
        std::lock_guard<std::mutex> lock(mInbox->mLock);
        mInbox->mEnding = true;
    }
    mInbox->mWork.notify_one();
    if (mThread.joinable()) mThread.join();
}

std::vector<std::pair<uint64_t, sp<SimApplication::EventListener>>>
SimApplication::takeEventListeners() {
    std::lock_guard<std::mutex> lock(mLock);
    return std::exchange(mEventListeners, {});
}

void SimApplication::subscriber() {
    Inbox& inbox = *mInbox;
    std::unique_lock<std::mutex> lock(inbox.mLock);
    for (;;) {
        inbox.mWork.wait(lock, [&] {
            return inbox.mEnding || !inbox.mLines.empty() || !inbox.mNewStreams.empty();
        });
        std::deque<std::string> lines = std::exchange(inbox.mLines, {});
        std::deque<uint64_t> streams = std::exchange(inbox.mNewStreams, {});
        bool ending = inbox.mEnding;
        lock.unlock();
        for (const std::string& line : lines) say("%s", line.c_str());
        if (ending) return;
        for (uint64_t streamId : streams) subscribe(streamId);
        lock.lock();
    }
}

void SimApplication::subscribe(uint64_t streamId) {
    hidl_vec<hidl_string> names(mEventNames.size());
    std::copy(mEventNames.begin(), mEventNames.end(), names.begin());
    sp<EventListener> eventListener = new EventListener(mInbox, streamId);
    InfoReturn events = InfoReturn::FAILURE;
    uint64_t eventListenerId = 0;
    mService->registerEventListener(streamId, names, eventListener,
                                    [&](InfoReturn ret, uint64_t id) {
                                        events = ret;
                                        eventListenerId = id;
                                    });
    CmtReturn info =
            mService->registerListener(streamId, mInfoListener, {}).withDefault(CmtReturn::FAILURE);
    say("app: stream %llu: events %s, information %s", static_cast<unsigned long long>(streamId),
        events == InfoReturn::SUCCESS ? "subscribed" : "refused",
        info == CmtReturn::SUCCESS ? "subscribed" : "refused");
    std::lock_guard<std::mutex> lock(mLock);
    if (events == InfoReturn::SUCCESS) mEventListeners.emplace_back(eventListenerId, eventListener);
    if (info == CmtReturn::SUCCESS) mInfoStreams.push_back(streamId);
}

}  // namespace sim
