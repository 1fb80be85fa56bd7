// A decoder component of the simulated codec process: on a thread of its own
// it registers its stream and callables, advances its counters at the
// scenario's rates, posts the scenario's events and hands out real tiled
// frames, all through Codec2InfoInternal as a component on the TV does.
#pragma once

#include <Codec2InfoDebugTarget.h>
#include <SharedFrame.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "Scenario.h"

namespace sim {

class SimComponent : public std::enable_shared_from_this<SimComponent> {
public:
    SimComponent(StreamScenario scenario, double seconds);
    ~SimComponent();

    // Registers the stream and its debug target, then runs until the
    // scenario's time is up or stop() is called, and removes the stream.
    // False when the stream could not be registered.
    bool start();
    // Ends the component and waits until its stream is gone.
    void stop();

    uint32_t streamId() const { return mStreamId; }

private:
    class DebugTarget;
    using Clock = std::chrono::steady_clock;

    void run();
    // Applies the scheduled update, if any, and posts the event.
    void postScheduled(const ScheduledEvent& scheduled);
    void updateStream(const ScheduledEvent& scheduled);
    // A new frame of the record's size; the record gets its geometry.
    void newFrame_l();
    double elapsedSeconds() const;
    // What the component reports now; a replayed snapshot moves on only
    // when the service takes one.
    _DebugDescription current_l() const;

    // The callables, run on the service's clients' threads under the
    // service's lock: they take mLock, and the component's own thread
    // never calls the service while holding it.
    std::vector<CmtInfoStruct> answer(const std::vector<std::string>& keys);
    void captureFrame();
    void releaseFrame();
    void fillDebugInfo(_DebugDescription* description);
    void printState(int fd);

    const StreamScenario mScenario;
    const uint32_t mStreamId;
    const Clock::duration mRunTime;
    Clock::time_point mStart;
    std::thread mThread;

    std::mutex mLock;
    std::condition_variable mStopped;
    bool mStopping = false;
    ST_STREAM_LIST mStream;
    std::shared_ptr<SharedFrame> mFrame;
    // Kept until the application releases it, even across a resolution
    // change.
    std::shared_ptr<SharedFrame> mCaptured;
    size_t mNextSnapshot = 0;
    size_t mNextEvent = 0;
    bool mDebugEnabled = false;
    bool mCaptureEnabled = false;
    bool mFirstFrameToAnnounce = false;
    uint64_t mCaptureValue = 0;
    bool mC2Dump = false;
    uint32_t mDropMode = 0;
    uint32_t mCaptures = 0;
    uint32_t mReloads = 0;
    bool mEnded = false;
};

}  // namespace sim
