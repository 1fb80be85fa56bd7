// The dump report: both snapshot generations, then how each stream changed
// between them and a verdict on stuck or jerky playback. Engineers' scripts
// read this text, so every line stays as it is.
#include "DebugReports.h"

#include <Codec2InfoService.h>
#include <stdio.h>

#include <iterator>
#include <string>
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

void printSectionLine(int fd, const char* text, int fill) {
    dprintf(fd, "%s%s\n", text, std::string(fill, '=').c_str());
}

const char* kDecodeHeader =
        "  decode /  fps / late  |  workIn / workOut / diff /  busy  | fb late |  gap / back / "
        "timestamp\n";
const char* kDecodeLine = "%8d /%5.1lf /%5d  |%8lld /%8lld /%5lld /%6d  |%8d |%5d /%5d / %lld\n";
const char* kInputHeader =
        "   input /  fps / late  |   push |    pop | skip |  queue |    get | drop | "
        "pending(ES/FB/VDEC)\n";
const char* kInputLine = "%8d /%5.1lf /%5d  |%7d |%7d |%5d |%7d |%7d |%5d |        (%2d/%2d/%4d)\n";
const char* kSideBandHeader =
        "-----------------------------------------------SideBand-----------------------------------"
        "---------\n";
const char* kClockLine =
        "  usingClock(%s) clockTime_using(%llu) clockTime_internal(%llu) "
        "clockTime_videoSync(%llu)\n";

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
    dprintf(fd, "  strId(%d) - component(%s) [%d x %d @ %d, i/p(%d)] 1/fr(%.1lf)\n",
            static_cast<int>(streamId), d.component.c_str(), d.width, d.height,
            static_cast<int>(d.frameRate), d.interlaced,
            static_cast<double>(static_cast<float>(d.frameInterval) / 1000.0f));
    printTime(fd, "  RecordTime", d.recordTime, false);
    printDashLine(fd);
    dprintf(fd, "  init(%d) header(%d) eosIn(%d) eosOut(%d) flushing(%d) stopping(%d)\n", d.init,
            d.header, d.eosIn, d.eosOut, d.flushing, d.stopping);
    dprintf(fd, "  releasing(%d) released(%d) releaseProgress(%d)\n", d.releasing, d.released,
            d.releaseProgress);
    dprintf(fd,
            "  sideBand(%d) bufferQueue(%d) renderMode(%d) secureMode(%d) inputSource(%d) "
            "hdrType(%d)\n",
            d.sideBand, d.bufferQueue, d.renderMode, d.secureMode, d.inputSource, d.hdrType);
    dprintf(fd, "  inputPassthrough(%d) postProcess(%d) pqType(%d) aiVision(%d)\n",
            d.inputPassthrough, invertPostProcess(d.postProcessOff), d.pqType, d.aiVision);
    printDashLine(fd);
    dprintf(fd, "%s", kDecodeHeader);
    dprintf(fd, kDecodeLine, d.decode, d.decodeFps, d.decodeLate, static_cast<long long>(d.workIn),
            static_cast<long long>(d.workOut),
            static_cast<long long>(wrappingDiff(d.workIn, d.workOut)), d.busy, d.fbLate, d.gap,
            d.back, static_cast<long long>(d.timestamp));
    printDashLine(fd);
    dprintf(fd, "%s", kInputHeader);
    dprintf(fd, kInputLine, d.input, d.inputFps, d.inputLate, d.push, d.pop, d.skip, d.queue, d.get,
            d.drop, d.pendingES, d.pendingFB, decoderPending(d.pop, d.skip, d.get));
    printDashLine(fd);
    dprintf(fd,
            "  singleBuffer(%d) requestBufCnt(%d) allocatedBufCnt(%d) inputPortDelay(%d) "
            "outputPortDelay(%d)\n",
            d.singleBuffer, d.requestBufCnt, d.allocatedBufCnt, d.inputPortDelay,
            d.outputPortDelay);
    printDashLine(fd);
    dprintf(fd, "  hwSyncId(%d) tpcPipelineConnected(%d) tpcPipelineDisconnected(%d)\n", d.hwSyncId,
            d.tpcPipelineConnected, d.tpcPipelineDisconnected);
    dprintf(fd,
            "  firstPts(%llu) firstFrameNotifiedToTpc(%d) pauseState(%d) "
            "connectedDispLinkId(%d)\n",
            static_cast<unsigned long long>(d.firstPts), d.firstFrameNotifiedToTpc, d.pauseState,
            d.connectedDispLinkId);
    if (d.sideBand != 0) {
        dprintf(fd, "%s", kSideBandHeader);
        dprintf(fd,
                "  state(%d) c2BwmReady(%d) bypassMode(%d) preloadDone(%d) toPts(%d) | DispLink - "
                "opened(%d) configured(%d) disconnect(%d)\n",
                d.state, d.c2BwmReady, d.bypassMode, d.preloadDone, d.toPts, d.dispLinkOpened,
                d.dispLinkConfigured, d.dispLinkDisconnect);
        dprintf(fd,
                "  1stFrameRdy(%d) queueCnt(%d) flipCnt(%d) pendingFlip(%d) pendingRender(%d) "
                "pendingSBB(%d) pendingSBW(%d)\n",
                d.firstFrameRdy, d.queueCnt, d.flipCnt, d.pendingFlip, d.pendingRender,
                d.pendingSBB, d.pendingSBW);
        dprintf(fd, kClockLine, d.usingClock.c_str(),
                static_cast<unsigned long long>(d.clockTime_using),
                static_cast<unsigned long long>(d.clockTime_internal),
                static_cast<unsigned long long>(d.clockTime_videoSync));
        dprintf(fd, "  autoDrop(%d) isDtv(%d) dtvInitialDropBegin(%d) dtvInitialDropFinish(%d)\n",
                d.autoDrop, d.isDtv, d.dtvInitialDropBegin, d.dtvInitialDropFinish);
        dprintf(fd,
                "  dtvInitialDropStartTime(%llu) dtvInitialDropDueTime(%llu) sysTimeUs(%llu) "
                "dtvInitialDropTargetPts(%llu) lastGetPts(%llu)\n",
                static_cast<unsigned long long>(d.dtvInitialDropStartTime),
                static_cast<unsigned long long>(d.dtvInitialDropDueTime),
                static_cast<unsigned long long>(d.sysTimeUs),
                static_cast<unsigned long long>(d.dtvInitialDropTargetPts),
                static_cast<unsigned long long>(d.lastGetPts));
    }
    dprintf(fd,
            "---------------------------------------HDMI/ATV/CVBS/YPBPR "
            "state-----------------------------------\n");
    dprintf(fd,
            "  DecHandle(0x%x) Pause(%u) FirstFrame(%u) StreamOn(%u) Signal(%u) MuteAction(%u) "
            "MuteFactor(%u)\n",
            d.decHandle, d.pause, d.firstFrame, d.streamOn, d.signal, d.muteAction, d.muteFactor);
    dprintf(fd,
            "  ALLM(%u) DV_GAME(%u) HDR10pALLM(%u) FMM_Mode(%u) SBTM_mode(%u) ContentType(%u) "
            "ColorDepth(%u) ColorFormat(%u)\n",
            d.allm, d.dvGame, d.hdr10pAllm, d.fmmMode, d.sbtmMode, d.contentType, d.colorDepth,
            d.colorFormat);
    dprintf(fd,
            "  SSTM(%u) VRR(%u) DisplayMode(%u) AFD(%u) PIC_AR(%u), IMAX(%u), MatrixCoeff(%u), "
            "Colorimetry(%u)\n",
            d.sstm, d.vrr, d.displayMode, d.afd, d.picAr, d.imax, d.matrixCoeff, d.colorimetry);
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
    dprintf(fd, "===== Total Cnt of GetDebugInfo: %llu, Latest DebugDescList index: %u %s\n",
            static_cast<unsigned long long>(mDebugInfoCount), latest, std::string(65, '=').c_str());
    for (uint32_t index : order) {
        dprintf(fd, "===== DebugDescList[%d] Begin %s\n", static_cast<int>(index),
                std::string(94, '=').c_str());
        for (const auto& [streamId, description] : mDebugDescList[index]) {
            printSnapshot(fd, streamId, description);
        }
        dprintf(fd, "===== DebugDescList[%d] End %s\n\n", static_cast<int>(index),
                std::string(96, '=').c_str());
    }
    if (mDebugDescList[0].empty() && mDebugDescList[1].empty()) {
        printSystemTime(fd, "No codec2 can dump");
        return;
    }
    printSectionLine(fd, "===== Each Stream Info Diff Begin ", 94);
    std::map<uint32_t, _DebugDescription>& older = mDebugDescList[1 - latest];
    for (auto& [streamId, newer] : mDebugDescList[latest]) {
        auto before = older.find(streamId);
        if (before == older.end()) continue;
        _DiffInfo diff{};
        diff.streamId = streamId;
        dumpDebugInfoDiff_l(fd, diff, before->second, newer);
    }
    printSectionLine(fd, "===== Each Stream Info Diff End ", 94);
}

void Codec2InfoService::dumpDebugInfoDiff_l(int fd, _DiffInfo& diff, _DebugDescription& older,
                                            _DebugDescription& newer) {
    fillDebugDiff(diff, older, newer);
    printEqualsLine(fd);
    dprintf(fd, "  strId(%d) Diff of debug info", static_cast<int>(diff.streamId));
    timespec span{static_cast<time_t>(diff.seconds), static_cast<long>(diff.nanoseconds)};
    printTime(fd, "  RecordTime", span, diff.negative != 0);
    printDashLine(fd);
    dprintf(fd, "%s", kDecodeHeader);
    dprintf(fd, kDecodeLine, diff.decode, diff.decodeFps, diff.decodeLate,
            static_cast<long long>(diff.workIn), static_cast<long long>(diff.workOut),
            static_cast<long long>(wrappingDiff(diff.workIn, diff.workOut)), diff.busy, diff.fbLate,
            diff.gap, diff.back, static_cast<long long>(diff.timestamp));
    printDashLine(fd);
    dprintf(fd, "%s", kInputHeader);
    dprintf(fd, kInputLine, diff.input, diff.inputFps, diff.inputLate, diff.push, diff.pop,
            diff.skip, diff.queue, diff.get, diff.drop, diff.pendingES, diff.pendingFB,
            decoderPending(diff.pop, diff.skip, diff.get));
    printDashLine(fd);
    dprintf(fd, "  requestBufCnt(%d) allocatedBufCnt(%d) inputPortDelay(%d) outputPortDelay(%d)\n",
            diff.requestBufCnt, diff.allocatedBufCnt, diff.inputPortDelay, diff.outputPortDelay);
    if (newer.sideBand != 0) {
        dprintf(fd, "%s", kSideBandHeader);
        dprintf(fd,
                "  queueCnt(%d) flipCnt(%d) pendingFlip(%d) pendingRender(%d) pendingSBB(%d) "
                "pendingSBW(%d)\n",
                diff.queueCnt, diff.flipCnt, diff.pendingFlip, diff.pendingRender, diff.pendingSBB,
                diff.pendingSBW);
        dprintf(fd, kClockLine, newer.usingClock.c_str(),
                static_cast<unsigned long long>(diff.clockTime_using),
                static_cast<unsigned long long>(diff.clockTime_internal),
                static_cast<unsigned long long>(diff.clockTime_videoSync));
    }
    dprintf(fd,
            "-------------------------------------------C2BWM STATE "
            ":(%u)---------------------------------------\n",
            newer.c2BwmState);
    dprintf(fd, "  executeCount(%u) finishCount(%u) executeFlushCount(%d) pending(%d)\n",
            diff.executeCount, diff.finishCount, diff.executeFlushCount, diff.c2BwmPending);
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
