// How one stream's debug snapshot changed between two generations: each
// field is newer minus older in the field's own width, wrapping as unsigned
// arithmetic does.
#pragma once

#include <cstdint>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

struct _DiffInfo {
    uint32_t seconds;      // |difference of the record times|, whole seconds
    uint32_t nanoseconds;  // and the rest
    uint8_t negative;      // the newer record is the earlier one
    int64_t diffNs;
    uint32_t streamId;
    uint8_t inputPortDelay;
    uint8_t outputPortDelay;
    uint8_t requestBufCnt;
    uint8_t allocatedBufCnt;
    uint8_t pendingES;
    uint8_t pendingFB;
    uint8_t pendingSBB;
    uint8_t pendingSBW;
    int64_t timestamp;
    int64_t workIn;
    int64_t workOut;
    int32_t input;
    int32_t decode;
    int32_t push;
    int32_t pop;
    int32_t skip;
    int32_t queue;
    int32_t get;
    int32_t drop;
    int32_t inputLate;
    int32_t decodeLate;
    int32_t fbLate;
    int32_t busy;
    int32_t gap;
    int32_t back;
    double inputFps;
    double decodeFps;
    uint64_t lastGetPts;
    uint8_t pendingFlip;
    uint8_t pendingRender;
    int32_t queueCnt;
    int32_t flipCnt;
    uint64_t clockTime_internal;
    uint64_t clockTime_videoSync;
    uint64_t clockTime_using;
    uint32_t executeCount;
    uint32_t finishCount;
    int32_t executeFlushCount;
    int32_t c2BwmPending;
};

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
