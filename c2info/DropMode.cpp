// Drop modes that clients request and components read. The service drops
// nothing itself; both values are atomics because clients and components
// touch them from different threads without the main lock.
#include <Codec2InfoService.h>

#include "ServiceLog.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {
constexpr uint32_t kTimedDropRequested = 1u << 0;
constexpr uint32_t kDropOn = 1u << 1;
}  // namespace

// The timed bit is never cleared again; a later request only moves the time.
Return<void> Codec2InfoService::setTimedDropMode(int64_t systime) {
    logDebugLine(831, "setTimedMode", "systime = %lld", static_cast<long long>(systime));
    mMode |= kTimedDropRequested;
    mBootCompleteTime = systime;
    return Void();
}

Return<void> Codec2InfoService::setDropMode(bool enable) {
    logDebugLine(838, "setMode", "enable = %d", enable);
    if (enable) {
        mMode |= kDropOn;
    } else {
        mMode &= ~kDropOn;
    }
    return Void();
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
