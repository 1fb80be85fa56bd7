// The dump report: both snapshot generations, then how each stream changed
// between them and a verdict on stuck or jerky playback. Engineers' scripts
// read this text, so every line stays as it is.
#include "DebugReports.h"

#include <Codec2InfoService.h>
#include <DumpLayout.h>
#include <stdio.h>

#include <iterator>
#include <type_traits>

#include "DebugOutput.h"
#include "DiffInfo.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {

// newer - older in the width of the field, wrapping instead of overflowing.
template <typename T>
T wrappingDiff(T newer, T older) {
    using Unsigned = std::make_unsigned_t<T>;
    return static_cast<T>(
            static_cast<Unsigned>(static_cast<Unsigned>(newer) - static_cast<Unsigned>(older)));
}

struct InputSource {
    const char* name;
    const char* decoder;
};

// By the source's number; file and stream playback share one decoder.
constexpr InputSource kInputSources[] = {
        {"HDMI", "VCodecHdmi"},
        {"VGA", "VCodecVga"},
        {"ATV", "VCodecAtv"},
        {"component", "VCodecComponent"},
        {"composite", "VCodecComposite"},
        {"video", "VCodecVideo"},
        {"video", "VCodecVideo"},
        {"image", "VCodecImage"},
};
constexpr InputSource kUnknownInputSource{"unknown", "VCodecVideo"};

const InputSource& inputSourceOf(uint8_t inputSource) {
    return inputSource < std::size(kInputSources) ? kInputSources[inputSource]
                                                  : kUnknownInputSource;
}

}  // namespace

uint8_t invertPostProcess(uint8_t postProcess) {
    return static_cast<uint8_t>(postProcess ^ 1);
}

int32_t decoderPending(int32_t pop, int32_t skip, int32_t get) {
    return wrappingDiff(wrappingDiff(pop, skip), get);
}

const char* inputSourceName(uint8_t inputSource) {
    return inputSourceOf(inputSource).name;
}

const char* decoderName(uint8_t inputSource) {
    return inputSourceOf(inputSource).decoder;
}

void printSnapshot(int fd, uint32_t streamId, const _DebugDescription& d) {
    printEqualsLine(fd);
    printLine<kSnapshotFirst>(fd, static_cast<int>(streamId), d.component.c_str(), d.width,
                              d.height, static_cast<int>(d.frameRate), d.interlaced,
                              static_cast<double>(static_cast<float>(d.frameInterval) / 1000.0f));
    printTimeLine<kRecordTimeLine>(fd, d.recordTime, false);
    printDashLine(fd);
    printLine<kStateLine>(fd, d.init, d.header, d.eosIn, d.eosOut, d.flushing, d.stopping);
    printLine<kReleaseLine>(fd, d.releasing, d.released, d.releaseProgress);
    printLine<kModeLine>(fd, d.sideBand, d.bufferQueue, d.renderMode, d.secureMode, d.inputSource,
                         d.hdrType);
    printLine<kPictureLine>(fd, d.inputPassthrough, invertPostProcess(d.postProcessOff), d.pqType,
                            d.aiVision);
    printDashLine(fd);
    printLine<kDecodeHeader>(fd);
    printLine<kDecodeLine>(fd, d.decode, d.decodeFps, d.decodeLate,
                           static_cast<long long>(d.workIn), static_cast<long long>(d.workOut),
                           static_cast<long long>(wrappingDiff(d.workIn, d.workOut)), d.busy,
                           d.fbLate, d.gap, d.back, static_cast<long long>(d.timestamp));
    printDashLine(fd);
    printLine<kInputHeader>(fd);
    printLine<kInputLine>(fd, d.input, d.inputFps, d.inputLate, d.push, d.pop, d.skip, d.queue,
                          d.get, d.drop, d.pendingES, d.pendingFB,
                          decoderPending(d.pop, d.skip, d.get));
    printDashLine(fd);
    printLine<kBufferLine>(fd, d.singleBuffer, d.requestBufCnt, d.allocatedBufCnt, d.inputPortDelay,
                           d.outputPortDelay);
    printDashLine(fd);
    printLine<kTunnelLine>(fd, d.hwSyncId, d.tpcPipelineConnected, d.tpcPipelineDisconnected);
    printLine<kFirstFrameLine>(fd, static_cast<unsigned long long>(d.firstPts),
                               d.firstFrameNotifiedToTpc, d.pauseState, d.connectedDispLinkId);
    if (d.sideBand != 0) {
        printLine<kSideBandHeader>(fd);
        printLine<kSideBandStateLine>(fd, d.state, d.c2BwmReady, d.bypassMode, d.preloadDone,
                                      d.toPts, d.dispLinkOpened, d.dispLinkConfigured,
                                      d.dispLinkDisconnect);
        printLine<kSideBandQueueLine>(fd, d.firstFrameRdy, d.queueCnt, d.flipCnt, d.pendingFlip,
                                      d.pendingRender, d.pendingSBB, d.pendingSBW);
        printLine<kClockLine>(fd, d.usingClock.c_str(),
                              static_cast<unsigned long long>(d.clockTime_using),
                              static_cast<unsigned long long>(d.clockTime_internal),
                              static_cast<unsigned long long>(d.clockTime_videoSync));
        printLine<kDtvDropLine>(fd, d.autoDrop, d.isDtv, d.dtvInitialDropBegin,
                                d.dtvInitialDropFinish);
        printLine<kDtvDropTimeLine>(fd, static_cast<unsigned long long>(d.dtvInitialDropStartTime),
                                    static_cast<unsigned long long>(d.dtvInitialDropDueTime),
                                    static_cast<unsigned long long>(d.sysTimeUs),
                                    static_cast<unsigned long long>(d.dtvInitialDropTargetPts),
                                    static_cast<unsigned long long>(d.lastGetPts));
    }
    printLine<kExternalInputHeader>(fd);
    printLine<kExternalInputLine>(fd, d.decHandle, d.pause, d.firstFrame, d.streamOn, d.signal,
                                  d.muteAction, d.muteFactor);
    printLine<kExternalInputModeLine>(fd, d.allm, d.dvGame, d.hdr10pAllm, d.fmmMode, d.sbtmMode,
                                      d.contentType, d.colorDepth, d.colorFormat);
    printLine<kExternalInputPictureLine>(fd, d.sstm, d.vrr, d.displayMode, d.afd, d.picAr, d.imax,
                                         d.matrixCoeff, d.colorimetry);
    printEqualsLine(fd);
}

void fillDebugDiff(_DiffInfo& diff, const _DebugDescription& older,
                   const _DebugDescription& newer) {
    diff.diffNs = static_cast<int64_t>(wrappingDiff(newer.recordTimeNs, older.recordTimeNs));
    uint64_t magnitude = static_cast<uint64_t>(diff.diffNs);
    if (diff.diffNs < 0) {
        diff.negative = 1;
        magnitude = 0 - magnitude;
    }
    diff.seconds = static_cast<uint32_t>(magnitude / 1000000000);
    diff.nanoseconds = static_cast<uint32_t>(magnitude % 1000000000);
#define DIFF(field) diff.field = wrappingDiff(newer.field, older.field)
    DIFF(inputPortDelay);
    DIFF(outputPortDelay);
    DIFF(requestBufCnt);
    DIFF(allocatedBufCnt);
    DIFF(pendingES);
    DIFF(pendingFB);
    DIFF(pendingSBB);
    DIFF(pendingSBW);
    DIFF(timestamp);
    DIFF(workIn);
    DIFF(workOut);
    DIFF(input);
    DIFF(decode);
    DIFF(push);
    DIFF(pop);
    DIFF(skip);
    DIFF(queue);
    DIFF(get);
    DIFF(drop);
    DIFF(inputLate);
    DIFF(decodeLate);
    DIFF(fbLate);
    DIFF(busy);
    DIFF(gap);
    DIFF(back);
    DIFF(lastGetPts);
    DIFF(pendingFlip);
    DIFF(pendingRender);
    DIFF(queueCnt);
    DIFF(flipCnt);
    DIFF(clockTime_internal);
    DIFF(clockTime_videoSync);
    DIFF(clockTime_using);
    DIFF(executeCount);
    DIFF(finishCount);
    DIFF(executeFlushCount);
    DIFF(c2BwmPending);
#undef DIFF
    diff.inputFps = newer.inputFps - older.inputFps;
    diff.decodeFps = newer.decodeFps - older.decodeFps;
}

void Codec2InfoService::dumpDebugInfo_l(int fd) {
    printSystemTime(fd, "Dumping C2 info");
    uint32_t latest = mLatestDebugDescIndex;
    const uint32_t order[] = {1 - latest, latest};
    printLine<kReportHeader>(fd, static_cast<unsigned long long>(mDebugInfoCount), latest,
                             kEqualsRule.text);
    for (uint32_t index : order) {
        printLine<kGenerationBegin>(fd, static_cast<int>(index), kEqualsRule.text);
        for (const auto& [streamId, description] : mDebugDescList[index]) {
            printSnapshot(fd, streamId, description);
        }
        printLine<kGenerationEnd, 2>(fd, static_cast<int>(index), kEqualsRule.text);
    }
    if (mDebugDescList[0].empty() && mDebugDescList[1].empty()) {
        printSystemTime(fd, kNoStreamsLabel);
        return;
    }
    printLine<kDifferencesBegin>(fd, kEqualsRule.text);
    std::map<uint32_t, _DebugDescription>& older = mDebugDescList[1 - latest];
    for (auto& [streamId, newer] : mDebugDescList[latest]) {
        auto before = older.find(streamId);
        if (before == older.end()) continue;
        _DiffInfo diff{};
        diff.streamId = streamId;
        dumpDebugInfoDiff_l(fd, diff, before->second, newer);
    }
    printLine<kDifferencesEnd>(fd, kEqualsRule.text);
}

void Codec2InfoService::dumpDebugInfoDiff_l(int fd, _DiffInfo& diff, _DebugDescription& older,
                                            _DebugDescription& newer) {
    fillDebugDiff(diff, older, newer);
    printEqualsLine(fd);
    printLine<kDifferenceFirst, 0>(fd, static_cast<int>(diff.streamId));
    timespec span{static_cast<time_t>(diff.seconds), static_cast<long>(diff.nanoseconds)};
    printTimeLine<kRecordTimeLine>(fd, span, diff.negative != 0);
    printDashLine(fd);
    printLine<kDecodeHeader>(fd);
    printLine<kDecodeLine>(
            fd, diff.decode, diff.decodeFps, diff.decodeLate, static_cast<long long>(diff.workIn),
            static_cast<long long>(diff.workOut),
            static_cast<long long>(wrappingDiff(diff.workIn, diff.workOut)), diff.busy, diff.fbLate,
            diff.gap, diff.back, static_cast<long long>(diff.timestamp));
    printDashLine(fd);
    printLine<kInputHeader>(fd);
    printLine<kInputLine>(fd, diff.input, diff.inputFps, diff.inputLate, diff.push, diff.pop,
                          diff.skip, diff.queue, diff.get, diff.drop, diff.pendingES,
                          diff.pendingFB, decoderPending(diff.pop, diff.skip, diff.get));
    printDashLine(fd);
    printLine<kDifferenceBufferLine>(fd, diff.requestBufCnt, diff.allocatedBufCnt,
                                     diff.inputPortDelay, diff.outputPortDelay);
    if (newer.sideBand != 0) {
        printLine<kSideBandHeader>(fd);
        printLine<kDifferenceQueueLine>(fd, diff.queueCnt, diff.flipCnt, diff.pendingFlip,
                                        diff.pendingRender, diff.pendingSBB, diff.pendingSBW);
        printLine<kClockLine>(fd, newer.usingClock.c_str(),
                              static_cast<unsigned long long>(diff.clockTime_using),
                              static_cast<unsigned long long>(diff.clockTime_internal),
                              static_cast<unsigned long long>(diff.clockTime_videoSync));
    }
    printLine<kC2BwmHeader>(fd, newer.c2BwmState);
    printLine<kC2BwmLine>(fd, diff.executeCount, diff.finishCount, diff.executeFlushCount,
                          diff.c2BwmPending);
    printEqualsLine(fd);
    dprintf(fd, "\nProbable candidate for playback stuck or not smooth (if existed):\n");

    // The frame rate is in thousandths of a frame per second.
    if (diff.inputLate >= 6 && newer.inputFps * 1000.0 < static_cast<double>(newer.frameRate)) {
        dprintf(fd, "  Input ES in low speed \n");
        dprintf(fd, "  dispatch to **Apk(depends on application) owner** \n");
    } else {
        dprintf(fd, "  [Checked] Input ES not in low speed\n");
    }
    // The texts say "over 5" and "lower than 5"; the test is at 5.
    if (diff.fbLate >= 5) {
        dprintf(fd, "  [Checked] Frame late count over 5\n");
        return;
    }
    dprintf(fd, "  Frame late count lower than 5 \n");
    dprintf(fd, "  dispatch to **C2 %s owner** \n", decoderName(newer.inputSource));
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
