// The debug monitor: while diagnostics are on, once a second it switches
// every component's diagnostics on and keeps a snapshot of each, in two
// alternating generations.
#include <Codec2InfoService.h>
#include <utils/Timers.h>

#include <chrono>

#include "../ComponentCall.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

void Codec2InfoService::debugMonitorTask() {
    if (!mDebugMonitorRunning) return;
    MuxLock lock(mLock);
    for (;;) {
        // Every cycle, so that a component registered meanwhile joins in.
        enableDebug_l();
        getDebugInfo_l();
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
        while (mDebugMonitorRunning && std::chrono::steady_clock::now() < deadline) {
            mDebugMonitorWakeUp.wait_until(lock, deadline);
        }
        if (!mDebugMonitorRunning) break;
        lock.unlock();
        // Stopped in this very moment: leave without switching anything off.
        if (!mDebugMonitorRunning) return;
        lock.lock();
    }
    disableDebug_l();
}

// The rate is taken against the record in the map about to be overwritten,
// written two cycles ago, over one cycle's time: about twice the real rate
// at the monitor's period. The reports and the owner analysis are tuned to
// these values.
void Codec2InfoService::getDebugInfo_l() {
    ++mDebugInfoCount;
    mLatestDebugDescIndex = static_cast<uint32_t>(mDebugInfoCount & 1);
    auto now = static_cast<uint32_t>(systemTime(SYSTEM_TIME_MONOTONIC) / 1000000);
    std::map<uint32_t, _DebugDescription>& latest = mDebugDescList[mLatestDebugDescIndex];
    for (const auto& [streamId, callbacks] : Codec2InfoInternalCallbacks) {
        if (callbacks == nullptr || !callbacks->getDebugInfoCb) continue;
        _DebugDescription description{};
        timespec recordTime;
        if (clock_gettime(CLOCK_REALTIME, &recordTime) == 0) {
            description.recordTime = recordTime;
            description.recordTimeNs = static_cast<uint64_t>(recordTime.tv_sec) * 1000000000 +
                                       static_cast<uint64_t>(recordTime.tv_nsec);
        }
        if (!callComponent("getDebugInfo_l", "getDebugInfoCb", [&, &component = callbacks] {
                component->getDebugInfoCb(&description);
            })) {
            continue;
        }

        auto stored = latest.find(streamId);
        uint32_t elapsed = now - mLastDebugInfoTimeMs;
        if (stored != latest.end() && mLastDebugInfoTimeMs != 0 && elapsed != 0) {
            const _DebugDescription& before = stored->second;
            if (description.input != 0) {
                uint32_t frames = static_cast<uint32_t>(description.input) -
                                  static_cast<uint32_t>(before.input);
                description.inputFps = frames * 1000.0 / elapsed;
            }
            if (description.decode != 0) {
                uint32_t frames = static_cast<uint32_t>(description.decode) -
                                  static_cast<uint32_t>(before.decode);
                description.decodeFps = frames * 1000.0 / elapsed;
            }
        }
        latest[streamId] = std::move(description);
    }
    mLastDebugInfoTimeMs = now;
}

void Codec2InfoService::enableDebug_l() {
    setComponentsDebug_l(true);
}

void Codec2InfoService::disableDebug_l() {
    setComponentsDebug_l(false);
}

void Codec2InfoService::setComponentsDebug_l(bool enable) {
    for (const auto& [streamId, callbacks] : Codec2InfoInternalCallbacks) {
        if (callbacks == nullptr || !callbacks->enableDebugCb) continue;
        callComponent(enable ? "enableDebug_l" : "disableDebug_l", "enableDebugCb",
                      [&, &component = callbacks] { component->enableDebugCb(enable); });
    }
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
