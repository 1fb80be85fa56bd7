#include "SimComponent.h"

#include <Codec2InfoInternal.h>
#include <Codec2InfoService.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "Output.h"

namespace sim {

using ::android::hardware::hidl_handle;
using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoDebugTarget;
using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoInternal;
using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoService;
using ::vendor::larkspan::hardware::c2::info::implementation::StreamInfoItem;
using ::vendor::larkspan::hardware::c2::info::V1_0::InfoReturn;

// "--<component>" on the service's debug interface. The service keeps its
// targets for good, so this one outlives the component and says so.
class SimComponent::DebugTarget : public Codec2InfoDebugTarget {
public:
    DebugTarget(std::weak_ptr<SimComponent> component, std::string name, uint32_t streamId)
        : mComponent(std::move(component)), mName(std::move(name)), mStreamId(streamId) {}

    const std::string& targetName() override { return mName; }

    void printUsage(int fd, int indent) override {
        dprintf(fd, "%*s--%s state: the state of the simulated component of stream %u\n", indent,
                "", mName.c_str(), mStreamId);
    }

    void dump(int fd, const std::vector<std::string_view>& args) override {
        if (args.size() != 1 || args[0] != "state") {
            dprintf(fd, "--%s: unknown command; try --%s state\n", mName.c_str(), mName.c_str());
            return;
        }
        std::shared_ptr<SimComponent> component = mComponent.lock();
        if (component == nullptr) {
            dprintf(fd, "%s (stream %u): ended\n", mName.c_str(), mStreamId);
            return;
        }
        component->printState(fd);
    }

private:
    const std::weak_ptr<SimComponent> mComponent;
    const std::string mName;
    const uint32_t mStreamId;
};

SimComponent::SimComponent(StreamScenario scenario, double seconds)
    : mScenario(std::move(scenario)),
      mStreamId(mScenario.stream.streamid),
      mRunTime(std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds))),
      mStream(mScenario.stream) {}

SimComponent::~SimComponent() {
    stop();
}

bool SimComponent::start() {
    ST_STREAM_LIST stream;
    {
        std::lock_guard<std::mutex> lock(mLock);
        newFrame_l();
        stream = mStream;
        mStart = Clock::now();
    }
    if (Codec2InfoInternal::addStreamInfo(stream).withDefault(InfoReturn::FAILURE) !=
        InfoReturn::SUCCESS) {
        return false;
    }

    std::weak_ptr<SimComponent> self = weak_from_this();
    auto callbacks = std::make_shared<Codec2InfoInternal::Codec2InfoServiceCallback>();
    callbacks->getInfoCb = [this](std::vector<std::string> keys, uint32_t) { return answer(keys); };
    callbacks->captureBufferCb = [this] { captureFrame(); };
    callbacks->releaseBufferCb = [this] { releaseFrame(); };
    callbacks->enableDebugCb = [this](bool enable) {
        std::lock_guard<std::mutex> lock(mLock);
        mDebugEnabled = enable;
    };
    callbacks->getDebugInfoCb = [this](_DebugDescription* description) {
        fillDebugInfo(description);
    };
    callbacks->enableCaptureCb = [this](bool enable, uint64_t value) {
        // Posting from in here would be refused: the service is calling us.
        std::lock_guard<std::mutex> lock(mLock);
        mFirstFrameToAnnounce = enable && !mCaptureEnabled;
        mCaptureEnabled = enable;
        mCaptureValue = value;
    };
    callbacks->c2DumpCb = [this](bool enable) {
        std::lock_guard<std::mutex> lock(mLock);
        mC2Dump = enable;
    };
    callbacks->reloadPropCb = [this] {
        std::lock_guard<std::mutex> lock(mLock);
        ++mReloads;
    };
    Codec2InfoInternal::setCodec2InfoServiceCallback(callbacks, mStreamId);
    Codec2InfoService::getInstance()->addDebugTarget(
            std::make_shared<DebugTarget>(self, mScenario.component, mStreamId));
    mThread = std::thread([this] { run(); });
    return true;
}

void SimComponent::stop() {
    {
        std::lock_guard<std::mutex> lock(mLock);
        mStopping = true;
    }
    mStopped.notify_all();
    if (mThread.joinable()) mThread.join();
}

// The stream's callables are dropped with it, so none runs once this
// returns.
void SimComponent::run() {
    std::unique_lock<std::mutex> lock(mLock);
    while (!mStopping && Clock::now() - mStart < mRunTime) {
        auto elapsedMs =
                std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - mStart);
        std::vector<ScheduledEvent> due;
        while (mNextEvent < mScenario.events.size() &&
               mScenario.events[mNextEvent].atMs <= elapsedMs.count()) {
            due.push_back(mScenario.events[mNextEvent++]);
        }
        bool announce = mFirstFrameToAnnounce;
        mFirstFrameToAnnounce = false;

        lock.unlock();
        for (const ScheduledEvent& scheduled : due) postScheduled(scheduled);
        if (announce) {
            Codec2InfoInternal::postCodec2EventToAPK(mStreamId, NotifyEvent::FIRST_FRAME_CAPTURED);
        }
        uint32_t dropMode = Codec2InfoInternal::getDropMode();
        lock.lock();

        mDropMode = dropMode;
        mStopped.wait_for(lock, std::chrono::milliseconds(20));
    }
    mEnded = true;
    lock.unlock();
    (void)Codec2InfoInternal::removeStreamInfoByUniqueId(mStreamId).isOk();
}

void SimComponent::postScheduled(const ScheduledEvent& scheduled) {
    if (!scheduled.updates.empty()) updateStream(scheduled);
    Codec2InfoInternal::postCodec2EventToAPK(mStreamId, scheduled.event);
}

// A new size brings a new frame, whose geometry goes to the service with
// the update.
void SimComponent::updateStream(const ScheduledEvent& scheduled) {
    ST_STREAM_LIST stream;
    bool resized;
    {
        std::lock_guard<std::mutex> lock(mLock);
        uint32_t width = mStream.width;
        uint32_t height = mStream.height;
        for (const auto& [field, value] : scheduled.updates) assign(&mStream, *field, value);
        resized = mStream.width != width || mStream.height != height;
        if (resized) newFrame_l();
        stream = mStream;
    }
    // Each value is read where the record keeps it, in the field's width.
    std::vector<StreamInfoItem> items;
    auto add = [&](const StreamField& field) {
        std::visit(
                [&](auto member) {
                    items.push_back({field.attr, &(stream.*member),
                                     static_cast<int32_t>(sizeof(stream.*member))});
                },
                field.member);
    };
    for (const auto& [field, value] : scheduled.updates) add(*field);
    if (resized) {
        for (const StreamField* field : frameFields()) add(*field);
    }
    (void)Codec2InfoInternal::updateStreamInfo(mStreamId, items).isOk();
}

// Without memory for a frame the component goes on without one; its
// captures then fail.
void SimComponent::newFrame_l() {
    mFrame = SharedFrame::create(mStream.width, mStream.height, FrameGenerator::kFormatTiledNV12);
    if (mFrame == nullptr) {
        sim::announce("%s: no memory for a %ux%u frame", mScenario.component.c_str(), mStream.width,
                      mStream.height);
        return;
    }
    for (const StreamField* field : frameFields()) {
        assign(&mStream, *field, field->fromFrame(mFrame->info()));
    }
}

double SimComponent::elapsedSeconds() const {
    return std::chrono::duration<double>(Clock::now() - mStart).count();
}

_DebugDescription SimComponent::current_l() const {
    if (!mScenario.snapshots.empty()) {
        return mScenario.snapshots[std::min(mNextSnapshot, mScenario.snapshots.size() - 1)];
    }
    _DebugDescription description = mScenario.debug;
    double seconds = elapsedSeconds();
    for (const CounterRate& rate : mScenario.rates) {
        std::visit(
                [&](auto member) {
                    using Value = std::remove_reference_t<decltype(description.*member)>;
                    if constexpr (!std::is_same_v<Value, std::string>) {
                        // Counters wrap at their width, as the component's do.
                        using Wrapping = std::make_unsigned_t<Value>;
                        auto increment = static_cast<uint64_t>(rate.perSecond * seconds);
                        description.*member =
                                static_cast<Value>(static_cast<Wrapping>(description.*member) +
                                                   static_cast<Wrapping>(increment));
                    }
                },
                rate.field->member);
    }
    description.width = static_cast<int32_t>(mStream.width);
    description.height = static_cast<int32_t>(mStream.height);
    return description;
}

std::vector<CmtInfoStruct> SimComponent::answer(const std::vector<std::string>& keys) {
    std::vector<CmtInfoStruct> items;
    for (const std::string& key : keys) {
        auto found = mScenario.info.find(key);
        if (found != mScenario.info.end()) items.push_back(found->second);
    }
    return items;
}

void SimComponent::captureFrame() {
    std::shared_ptr<SharedFrame> frame;
    {
        std::lock_guard<std::mutex> lock(mLock);
        if (mFrame == nullptr) return;
        auto frameNumber = static_cast<uint32_t>(current_l().decode);
        mFrame->writePicture(drawColorBars(mStream.width, mStream.height, frameNumber));
        mFrame->storeMetaData({static_cast<uint64_t>(elapsedSeconds() * 1e6), frameNumber,
                               mStream.width, mStream.height});
        mCaptured = mFrame;
        frame = mCaptured;
        ++mCaptures;
    }
    (void)Codec2InfoInternal::bindCaptured(mStreamId, hidl_handle(frame->handle())).isOk();
}

void SimComponent::releaseFrame() {
    std::lock_guard<std::mutex> lock(mLock);
    mCaptured.reset();
}

// The service stamps the record's time before it asks; the rest is ours.
void SimComponent::fillDebugInfo(_DebugDescription* description) {
    std::lock_guard<std::mutex> lock(mLock);
    timespec recordTime = description->recordTime;
    uint64_t recordTimeNs = description->recordTimeNs;
    *description = current_l();
    ++mNextSnapshot;
    description->recordTime = recordTime;
    description->recordTimeNs = recordTimeNs;
}

void SimComponent::printState(int fd) {
    std::lock_guard<std::mutex> lock(mLock);
    dprintf(fd, "%s (stream %u): %s, %ux%u, %.1f s in, frame %d\n", mScenario.component.c_str(),
            mStreamId, mEnded ? "ended" : "running", mStream.width, mStream.height,
            elapsedSeconds(), current_l().decode);
    dprintf(fd, "    debug %s, capture %s (value %llu), c2dump %s, drop mode %u\n",
            mDebugEnabled ? "on" : "off", mCaptureEnabled ? "on" : "off",
            static_cast<unsigned long long>(mCaptureValue), mC2Dump ? "on" : "off", mDropMode);
    dprintf(fd, "    %u frame(s) captured, %s, %u property reload(s), snapshot %zu of %zu\n",
            mCaptures, mCaptured != nullptr ? "one held by the application" : "none held", mReloads,
            std::min(mNextSnapshot, mScenario.snapshots.size()), mScenario.snapshots.size());
}

}  // namespace sim
