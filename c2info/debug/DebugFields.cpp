#include "DebugFields.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {

#define DEBUG_FIELD(name) \
    { #name, &_DebugDescription::name }

const DebugField kDebugFields[] = {
        DEBUG_FIELD(component),
        DEBUG_FIELD(init),
        DEBUG_FIELD(header),
        DEBUG_FIELD(firstFrameRdy),
        DEBUG_FIELD(eosIn),
        DEBUG_FIELD(eosOut),
        DEBUG_FIELD(flushing),
        DEBUG_FIELD(stopping),
        DEBUG_FIELD(releasing),
        DEBUG_FIELD(released),
        DEBUG_FIELD(releaseProgress),
        DEBUG_FIELD(sideBand),
        DEBUG_FIELD(bufferQueue),
        DEBUG_FIELD(renderMode),
        DEBUG_FIELD(inputSource),
        DEBUG_FIELD(hdrType),
        DEBUG_FIELD(inputPassthrough),
        DEBUG_FIELD(secureMode),
        DEBUG_FIELD(pqType),
        DEBUG_FIELD(aiVision),
        DEBUG_FIELD(postProcessOff),
        DEBUG_FIELD(singleBuffer),
        DEBUG_FIELD(inputPortDelay),
        DEBUG_FIELD(outputPortDelay),
        DEBUG_FIELD(requestBufCnt),
        DEBUG_FIELD(allocatedBufCnt),
        DEBUG_FIELD(pendingES),
        DEBUG_FIELD(pendingFB),
        DEBUG_FIELD(pendingSBB),
        DEBUG_FIELD(pendingSBW),
        DEBUG_FIELD(timestamp),
        DEBUG_FIELD(workIn),
        DEBUG_FIELD(workOut),
        DEBUG_FIELD(input),
        DEBUG_FIELD(decode),
        DEBUG_FIELD(push),
        DEBUG_FIELD(pop),
        DEBUG_FIELD(skip),
        DEBUG_FIELD(queue),
        DEBUG_FIELD(get),
        DEBUG_FIELD(drop),
        DEBUG_FIELD(inputLate),
        DEBUG_FIELD(decodeLate),
        DEBUG_FIELD(fbLate),
        DEBUG_FIELD(busy),
        DEBUG_FIELD(gap),
        DEBUG_FIELD(back),
        DEBUG_FIELD(width),
        DEBUG_FIELD(height),
        DEBUG_FIELD(frameRate),
        DEBUG_FIELD(frameInterval),
        DEBUG_FIELD(interlaced),
        DEBUG_FIELD(hwSyncId),
        DEBUG_FIELD(tpcPipelineConnected),
        DEBUG_FIELD(tpcPipelineDisconnected),
        DEBUG_FIELD(firstPts),
        DEBUG_FIELD(firstFrameNotifiedToTpc),
        DEBUG_FIELD(pauseState),
        DEBUG_FIELD(connectedDispLinkId),
        DEBUG_FIELD(state),
        DEBUG_FIELD(c2BwmReady),
        DEBUG_FIELD(bypassMode),
        DEBUG_FIELD(preloadDone),
        DEBUG_FIELD(toPts),
        DEBUG_FIELD(dispLinkOpened),
        DEBUG_FIELD(dispLinkConfigured),
        DEBUG_FIELD(dispLinkDisconnect),
        DEBUG_FIELD(autoDrop),
        DEBUG_FIELD(isDtv),
        DEBUG_FIELD(dtvInitialDropBegin),
        DEBUG_FIELD(dtvInitialDropFinish),
        DEBUG_FIELD(dtvInitialDropStartTime),
        DEBUG_FIELD(dtvInitialDropDueTime),
        DEBUG_FIELD(dtvInitialDropTargetPts),
        DEBUG_FIELD(lastGetPts),
        DEBUG_FIELD(sysTimeUs),
        DEBUG_FIELD(pendingFlip),
        DEBUG_FIELD(pendingRender),
        DEBUG_FIELD(queueCnt),
        DEBUG_FIELD(flipCnt),
        DEBUG_FIELD(usingClock),
        DEBUG_FIELD(clockTime_internal),
        DEBUG_FIELD(clockTime_videoSync),
        DEBUG_FIELD(clockTime_using),
        DEBUG_FIELD(executeCount),
        DEBUG_FIELD(finishCount),
        DEBUG_FIELD(executeFlushCount),
        DEBUG_FIELD(c2BwmPending),
        DEBUG_FIELD(c2BwmExtra),
        DEBUG_FIELD(c2BwmState),
        DEBUG_FIELD(decHandle),
        DEBUG_FIELD(pause),
        DEBUG_FIELD(firstFrame),
        DEBUG_FIELD(streamOn),
        DEBUG_FIELD(signal),
        DEBUG_FIELD(muteAction),
        DEBUG_FIELD(muteFactor),
        DEBUG_FIELD(allm),
        DEBUG_FIELD(dvGame),
        DEBUG_FIELD(hdr10pAllm),
        DEBUG_FIELD(fmmMode),
        DEBUG_FIELD(sbtmMode),
        DEBUG_FIELD(contentType),
        DEBUG_FIELD(colorDepth),
        DEBUG_FIELD(colorFormat),
        DEBUG_FIELD(sstm),
        DEBUG_FIELD(vrr),
        DEBUG_FIELD(displayMode),
        DEBUG_FIELD(afd),
        DEBUG_FIELD(picAr),
        DEBUG_FIELD(imax),
        DEBUG_FIELD(matrixCoeff),
        DEBUG_FIELD(colorimetry),
};

}  // namespace

const DebugField* findDebugField(std::string_view name) {
    for (const DebugField& field : kDebugFields) {
        if (name == field.name) return &field;
    }
    return nullptr;
}

std::vector<const DebugField*> debugFields() {
    std::vector<const DebugField*> fields;
    for (const DebugField& field : kDebugFields) fields.push_back(&field);
    return fields;
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
