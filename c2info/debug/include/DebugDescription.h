// The debug snapshot that a decoder component fills for the service's
// diagnostics. Components are compiled separately from the service, so the
// order and widths of the fields are a contract: on the 32-bit ARM target the
// record is 368 bytes.
#pragma once

#include <time.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

// Flags are 8-bit values, 0 or 1 in practice; u8 fields are small counts or
// codes. Fields the service fills are marked so; the component fills the rest.
struct _DebugDescription {
    timespec recordTime;    // service: wall-clock time of the snapshot
    uint64_t recordTimeNs;  // service: the same instant in nanoseconds
    std::string component;
    uint8_t init;
    uint8_t header;
    uint8_t firstFrameRdy;
    uint8_t eosIn;
    uint8_t eosOut;
    uint8_t flushing;
    uint8_t stopping;
    uint8_t releasing;
    uint8_t released;
    uint8_t releaseProgress;
    uint8_t sideBand;
    uint8_t bufferQueue;
    uint8_t renderMode;
    // 0 HDMI, 1 VGA, 2 ATV, 3 component, 4 composite, 5 and 6 video, 7 image.
    uint8_t inputSource;
    uint8_t hdrType;
    uint8_t inputPassthrough;
    uint8_t secureMode;
    uint8_t pqType;
    uint8_t aiVision;
    uint8_t postProcessOff;
    uint8_t singleBuffer;
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
    int32_t input;  // cumulative counts from here to `back`
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
    double inputFps;   // service
    double decodeFps;  // service
    int32_t width;
    int32_t height;
    uint32_t frameRate;  // thousandths of a frame per second
    uint32_t frameInterval;
    uint8_t interlaced;
    int32_t hwSyncId;
    uint8_t tpcPipelineConnected;
    uint8_t tpcPipelineDisconnected;
    uint64_t firstPts;
    uint8_t firstFrameNotifiedToTpc;
    int32_t pauseState;
    int32_t connectedDispLinkId;
    uint8_t state;
    uint8_t c2BwmReady;
    uint8_t bypassMode;
    uint8_t preloadDone;
    uint8_t toPts;
    uint8_t dispLinkOpened;
    uint8_t dispLinkConfigured;
    uint8_t dispLinkDisconnect;
    uint8_t autoDrop;
    uint8_t isDtv;
    uint8_t dtvInitialDropBegin;
    uint8_t dtvInitialDropFinish;
    uint64_t dtvInitialDropStartTime;
    uint64_t dtvInitialDropDueTime;
    uint64_t dtvInitialDropTargetPts;
    uint64_t lastGetPts;
    uint64_t sysTimeUs;
    uint8_t pendingFlip;
    uint8_t pendingRender;
    int32_t queueCnt;
    int32_t flipCnt;
    std::string usingClock;
    uint64_t clockTime_internal;
    uint64_t clockTime_videoSync;
    uint64_t clockTime_using;
    uint32_t executeCount;
    uint32_t finishCount;
    int32_t executeFlushCount;
    int32_t c2BwmPending;
    uint32_t c2BwmExtra;
    uint32_t c2BwmState;
    uint32_t decHandle;
    // State of the external-input (HDMI/ATV/CVBS/YPBPR) path.
    uint8_t pause;
    uint8_t firstFrame;
    uint8_t streamOn;
    uint8_t signal;
    uint8_t muteAction;
    uint8_t muteFactor;
    uint8_t allm;
    uint8_t dvGame;
    uint8_t hdr10pAllm;
    uint8_t fmmMode;
    uint8_t sbtmMode;
    uint8_t contentType;
    uint8_t colorDepth;
    uint8_t colorFormat;
    uint8_t sstm;
    uint8_t vrr;
    uint8_t displayMode;
    uint8_t afd;
    uint8_t picAr;
    uint8_t imax;
    uint8_t matrixCoeff;
    uint8_t colorimetry;
};

#if defined(__arm__) && defined(_LIBCPP_VERSION)
// The product's ABI (32-bit ARM, libc++): std::string is 12 bytes and
// timespec 8 there, wider elsewhere.
static_assert(sizeof(_DebugDescription) == 368, "_DebugDescription layout");
static_assert(offsetof(_DebugDescription, component) == 16, "_DebugDescription layout");
static_assert(offsetof(_DebugDescription, pendingSBW) == 56, "_DebugDescription layout");
static_assert(offsetof(_DebugDescription, timestamp) == 64, "_DebugDescription layout");
static_assert(offsetof(_DebugDescription, inputFps) == 144, "_DebugDescription layout");
static_assert(offsetof(_DebugDescription, interlaced) == 176, "_DebugDescription layout");
static_assert(offsetof(_DebugDescription, hwSyncId) == 180, "_DebugDescription layout");
static_assert(offsetof(_DebugDescription, tpcPipelineDisconnected) == 185,
              "_DebugDescription layout");
static_assert(offsetof(_DebugDescription, firstPts) == 192, "_DebugDescription layout");
static_assert(offsetof(_DebugDescription, pauseState) == 204, "_DebugDescription layout");
static_assert(offsetof(_DebugDescription, dtvInitialDropFinish) == 223, "_DebugDescription layout");
static_assert(offsetof(_DebugDescription, pendingRender) == 265, "_DebugDescription layout");
static_assert(offsetof(_DebugDescription, queueCnt) == 268, "_DebugDescription layout");
static_assert(offsetof(_DebugDescription, usingClock) == 276, "_DebugDescription layout");
static_assert(offsetof(_DebugDescription, decHandle) == 336, "_DebugDescription layout");
static_assert(offsetof(_DebugDescription, colorimetry) == 361, "_DebugDescription layout");
#endif

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
