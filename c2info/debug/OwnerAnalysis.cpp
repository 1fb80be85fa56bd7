// Names the module to dispatch stuck playback to: every stream of the latest
// snapshot generation goes through the checks in order, and the first check
// that fails names its owner. The owners' texts differ in their capitals;
// engineers' scripts match them as they are.
#include <Codec2InfoService.h>
#include <stdio.h>

#include "DebugOutput.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {

constexpr const char* kApkOwner = "  dispatch to **APK owner** \n";
constexpr const char* kTpcOwner = "  dispatch to **TPC owner** \n";
constexpr const char* kC2Owner = "  dispatch to **C2 Owner** \n";
constexpr const char* kC2LowerOwner = "  dispatch to **C2 owner** \n";
constexpr const char* kDisplinkOwner = "  dispatch to **Displink Owner** \n";
constexpr const char* kDisplinkLowerOwner = "  dispatch to **Displink owner** \n";
constexpr const char* kC2BwmOwner = "  dispatch to **C2BWM Owner** \n";

// File and stream sources; their counts of input and output are judged.
bool isVideoSource(uint8_t inputSource) {
    return inputSource == 5 || inputSource == 6;
}

// Writes the findings for one stream; returns once an owner is named.
void analyseStream(int fd, uint32_t streamId, const _DebugDescription& d) {
    bool tunnel = d.sideBand != 0;
    dprintf(fd, "  strId(%d) - component(%s) inputSource:%d %s mode\n", static_cast<int>(streamId),
            d.component.c_str(), d.inputSource, tunnel ? "tunnel" : "non-tunnel");

    if (d.releasing != 0 && d.released == 0) {
        dprintf(fd, "  C2 releasing and stuck in state:%d \n", d.releaseProgress);
        dprintf(fd, "%s", kC2Owner);
        return;
    }
    dprintf(fd, "  [Checked] C2 is not in releasing state\n");

    if (isVideoSource(d.inputSource) && d.input <= 9) {
        if (d.pendingES > 4) {
            dprintf(fd, "  pending es larger than pendingThreshold:%d \n", d.pendingES);
            dprintf(fd, "%s", kC2Owner);
        } else {
            dprintf(fd, "  NO input data \n");
            dprintf(fd, "%s", kApkOwner);
        }
        return;
    }
    dprintf(fd, "  [Checked] C2 input es is not empty\n");

    if (tunnel && d.hwSyncId == 0) {
        dprintf(fd, "  hwSyncId not set to C2 \n");
        dprintf(fd, "%s", kApkOwner);
        return;
    }
    dprintf(fd, "  [Checked] C2 has been set hwSyncId\n");

    if (tunnel && d.tpcPipelineConnected == 0) {
        dprintf(fd, "  C2 not connect TPC pipeline \n");
        dprintf(fd, "%s", kTpcOwner);
        return;
    }
    dprintf(fd, "  [Checked] C2 has connected to TPC pipeline\n");

    if (tunnel && d.firstFrameNotifiedToTpc == 0) {
        dprintf(fd, "  C2 not notify first pts to TPC \n");
        dprintf(fd, "%s", kC2LowerOwner);
        return;
    }
    dprintf(fd, "  [Checked] C2 has received first pts and notify to TPC\n");

    if (tunnel && d.connectedDispLinkId == 0) {
        dprintf(fd, "  displink not connected to c2 \n");
        if (d.c2BwmPending != 0) {
            dprintf(fd, "  check destroy displink id list by:\n");
            dprintf(fd,
                    "  lshal debug -E "
                    "vendor.larkspan.hardware.dispservice@1.0::IDispService/default "
                    "--debug mediator\n");
            dprintf(fd, "%s", kC2Owner);
        } else {
            dprintf(fd, "%s", kDisplinkOwner);
        }
        return;
    }
    dprintf(fd, "  [Checked] C2 has connected to displink (displinkId:%d)\n",
            d.connectedDispLinkId);

    if (tunnel && d.preloadDone == 0) {
        dprintf(fd, "  Displink not preload done \n");
        dprintf(fd, "%s", kDisplinkLowerOwner);
        return;
    }
    dprintf(fd, "  [Checked] C2 has received displink preload done\n");

    if (tunnel && d.pauseState != 0) {
        dprintf(fd, "  C2 pause state %d, not in play state \n", d.pauseState);
        dprintf(fd, "%s", kTpcOwner);
        return;
    }
    dprintf(fd, "  [Checked] TPC has set play to C2\n");

    if (tunnel && d.isDtv != 0 && d.dtvInitialDropBegin != 0 && d.dtvInitialDropFinish == 0) {
        dprintf(fd, "  C2 DTV initial drop not finished \n");
        dprintf(fd, "%s", kC2LowerOwner);
        return;
    }
    dprintf(fd, "  [Checked] C2 is not in DTV initial drop state\n");

    if (tunnel && d.autoDrop != 0) {
        dprintf(fd, "  C2 in autoDrop mode \n");
        dprintf(fd, "%s", kC2LowerOwner);
        return;
    }
    dprintf(fd, "  [Checked] C2 is not in auto drop state\n");

    if (d.executeCount > d.finishCount || d.finishCount == 0) {
        dprintf(fd, "  pause by c2bwm: exe:%d finish:%d\n", static_cast<int>(d.executeCount),
                static_cast<int>(d.finishCount));
        dprintf(fd, "%s", kC2BwmOwner);
        return;
    }
    dprintf(fd, "  [Checked] C2 is not paused by C2Bwm\n");

    if (isVideoSource(d.inputSource) && static_cast<uint32_t>(d.get) <= 9) {
        dprintf(fd, "  insufficient output data :%d \n", d.get);
        dprintf(fd, "%s", kC2Owner);
        return;
    }
    dprintf(fd, "  [Checked] C2 has sufficient output frame data\n");
    dprintf(fd,
            "  No abnormal case found. By default, dispatch to **displink owner** to confirm \n");
}

}  // namespace

void Codec2InfoService::dumpGetOwner_l(int fd) {
    dprintf(fd,
            "%s - owner\t(GetDebugInfo cmdCnt:%llu, using mDebugDescList[%d] as latest "
            "DebugDescList)\n",
            kDebugBanner, static_cast<unsigned long long>(mDebugInfoCount),
            static_cast<int>(mLatestDebugDescIndex));
    const std::map<uint32_t, _DebugDescription>& latest = mDebugDescList[mLatestDebugDescIndex];
    if (latest.empty()) {
        dprintf(fd, "  No any C2 component created \n");
        dprintf(fd, "%s", kApkOwner);
        dprintf(fd, "  [Finish] No more C2 stream. Exit analysis.\n");
        return;
    }
    for (const auto& [streamId, description] : latest) {
        analyseStream(fd, streamId, description);
        dprintf(fd, "  Continue to check next stream... \n");
    }
    dprintf(fd, "  [Finish] No more C2 stream. Exit analysis.\n");
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
