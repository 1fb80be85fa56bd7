// Names the module to dispatch stuck playback to: every stream of the latest
// snapshot generation goes through the checks in order, and the first check
// that fails names its owner. The owners' texts differ in their capitals;
// engineers' scripts match them as they are.
#include "OwnerAnalysis.h"

#include <Codec2InfoService.h>
#include <stdio.h>

#include <algorithm>
#include <cstdarg>

#include "DebugOutput.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {

struct Owner {
    const char* line;
    const char* name;
};

constexpr Owner kApkOwner{"  dispatch to **APK owner** \n", "APK owner"};
constexpr Owner kTpcOwner{"  dispatch to **TPC owner** \n", "TPC owner"};
constexpr Owner kC2Owner{"  dispatch to **C2 Owner** \n", "C2 Owner"};
constexpr Owner kC2LowerOwner{"  dispatch to **C2 owner** \n", "C2 owner"};
constexpr Owner kDisplinkOwner{"  dispatch to **Displink Owner** \n", "Displink Owner"};
constexpr Owner kDisplinkLowerOwner{"  dispatch to **Displink owner** \n", "Displink owner"};
constexpr Owner kC2BwmOwner{"  dispatch to **C2BWM Owner** \n", "C2BWM Owner"};
constexpr Owner kDisplinkToConfirm{
        "  No abnormal case found. By default, dispatch to **displink owner** to confirm \n",
        "displink owner"};

// File and stream sources; their counts of input and output are judged.
bool isVideoSource(uint8_t inputSource) {
    return inputSource == 5 || inputSource == 6;
}

// printf into the end of text.
void appendv(std::string* text, const char* format, va_list args) {
    va_list again;
    va_copy(again, args);
    int length = vsnprintf(nullptr, 0, format, args);
    if (length > 0) {
        size_t end = text->size();
        text->resize(end + static_cast<size_t>(length) + 1);
        vsnprintf(text->data() + end, static_cast<size_t>(length) + 1, format, again);
        text->pop_back();
    }
    va_end(again);
}

void appendf(std::string* text, const char* format, ...) __attribute__((format(printf, 2, 3)));
void appendf(std::string* text, const char* format, ...) {
    va_list args;
    va_start(args, format);
    appendv(text, format, args);
    va_end(args);
}

std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string formatted(const char* format, ...) {
    std::string text;
    va_list args;
    va_start(args, format);
    appendv(&text, format, args);
    va_end(args);
    return text;
}

// The checks of one stream, in order; the first that fails names the owner.
class StreamAnalysis {
public:
    StreamAnalysis(std::string* text, const OwnerRecord& input)
        : mText(text), mInput(input), d(*input.record), mTunnel(d.sideBand != 0) {}

    OwnerVerdict run() {
        appendf(mText, "  strId(%d) - component(%s) inputSource:%d %s mode\n",
                static_cast<int>(mInput.streamId), d.component.c_str(), d.inputSource,
                mTunnel ? "tunnel" : "non-tunnel");
        runChecks();
        OwnerVerdict verdict{true,        mInput.streamId,
                             d.component, d.inputSource,
                             mTunnel,     mFinding,
                             "",          mComplete,
                             0,           0};
        std::string candidates;
        for (const char* owner : mOwners) {
            verdict.owner += (verdict.owner.empty() ? "" : " or ") + std::string(owner);
            candidates += (candidates.empty() ? "**" : " or **") + std::string(owner) + "**";
        }
        // Undecided, no one owner is the verdict: the line names them all.
        if (!mComplete) appendf(mText, "  dispatch to %s \n", candidates.c_str());
        return verdict;
    }

private:
    void runChecks() {
        if (d.releasing != 0 && d.released == 0) {
            return dispatch(formatted("  C2 releasing and stuck in state:%d \n", d.releaseProgress),
                            kC2Owner);
        }
        passed("  [Checked] C2 is not in releasing state\n");

        if (isVideoSource(d.inputSource) && d.input <= 9) {
            if (d.pendingES > 4) {
                return dispatch(
                        formatted("  pending es larger than pendingThreshold:%d \n", d.pendingES),
                        kC2Owner);
            }
            return dispatch("  NO input data \n", kApkOwner);
        }
        passed("  [Checked] C2 input es is not empty\n");

        if (mTunnel && d.hwSyncId == 0) return dispatch("  hwSyncId not set to C2 \n", kApkOwner);
        passed("  [Checked] C2 has been set hwSyncId\n");

        if (mTunnel && d.tpcPipelineConnected == 0) {
            return dispatch("  C2 not connect TPC pipeline \n", kTpcOwner);
        }
        passed("  [Checked] C2 has connected to TPC pipeline\n");

        if (mTunnel && d.firstFrameNotifiedToTpc == 0) {
            return dispatch("  C2 not notify first pts to TPC \n", kC2LowerOwner);
        }
        passed("  [Checked] C2 has received first pts and notify to TPC\n");

        if (mTunnel && d.connectedDispLinkId == 0) return displinkNotConnected();
        appendf(mText, "  [Checked] C2 has connected to displink (displinkId:%d)\n",
                d.connectedDispLinkId);

        if (mTunnel && d.preloadDone == 0) {
            return dispatch("  Displink not preload done \n", kDisplinkLowerOwner);
        }
        passed("  [Checked] C2 has received displink preload done\n");

        if (mTunnel && d.pauseState != 0) {
            return dispatch(formatted("  C2 pause state %d, not in play state \n", d.pauseState),
                            kTpcOwner);
        }
        passed("  [Checked] TPC has set play to C2\n");

        if (mTunnel && d.isDtv != 0 && d.dtvInitialDropBegin != 0 && d.dtvInitialDropFinish == 0) {
            return dispatch("  C2 DTV initial drop not finished \n", kC2LowerOwner);
        }
        passed("  [Checked] C2 is not in DTV initial drop state\n");

        if (mTunnel && d.autoDrop != 0) return dispatch("  C2 in autoDrop mode \n", kC2LowerOwner);
        passed("  [Checked] C2 is not in auto drop state\n");

        if (!mInput.holdsC2BwmCounts) {
            undecided("paused by c2bwm? executeCount and finishCount are not in the dump",
                      kC2BwmOwner, "[If not paused by c2bwm]");
        } else if (d.executeCount > d.finishCount || d.finishCount == 0) {
            return dispatch(
                    formatted("  pause by c2bwm: exe:%d finish:%d\n",
                              static_cast<int>(d.executeCount), static_cast<int>(d.finishCount)),
                    kC2BwmOwner);
        } else {
            passed("  [Checked] C2 is not paused by C2Bwm\n");
        }

        if (isVideoSource(d.inputSource) && static_cast<uint32_t>(d.get) <= 9) {
            return dispatch(formatted("  insufficient output data :%d \n", d.get), kC2Owner);
        }
        passed("  [Checked] C2 has sufficient output frame data\n");
        mFinding = "No abnormal case found.";
        if (!mComplete) passed("  No abnormal case found.\n");
        owner(kDisplinkToConfirm);
    }

    // A C2BWM that still holds buffers is the decoder's to look at first.
    void displinkNotConnected() {
        const char* finding = "  displink not connected to c2 \n";
        if (!mInput.holdsC2BwmCounts) {
            *mText += finding;
            mFinding = trimmed(finding);
            undecided("C2BWM pending count is not in the dump", kC2Owner,
                      "[If C2BWM pending is not 0]");
            destroyedDisplinkHint();
            return owner(kDisplinkOwner);
        }
        if (d.c2BwmPending == 0) return dispatch(finding, kDisplinkOwner);
        *mText += finding;
        mFinding = trimmed(finding);
        destroyedDisplinkHint();
        owner(kC2Owner);
    }

    void destroyedDisplinkHint() {
        passed("  check destroy displink id list by:\n");
        passed("  lshal debug -E vendor.larkspan.hardware.dispservice@1.0::IDispService/default "
               "--debug mediator\n");
    }

    // After an undecided check, every line holds only on an assumption,
    // which leads it.
    void passed(const std::string& line) {
        if (mAssumption != nullptr) appendf(mText, "  %s ", mAssumption);
        *mText += mAssumption != nullptr ? trimmedLeft(line) : line;
    }

    void dispatch(const std::string& finding, const Owner& named) {
        passed(finding);
        mFinding = trimmed(finding);
        owner(named);
    }

    void owner(const Owner& named) {
        if (mComplete) *mText += named.line;
        mOwners.push_back(named.name);
    }

    // A check whose input the dump does not hold: its owner stays possible,
    // and what follows assumes the other outcome.
    void undecided(const char* what, const Owner& possible, const char* assumption) {
        const _DiffInfo* change = mInput.lastChange;
        if (change == nullptr) {
            appendf(mText, "  [Undecidable from the dump] %s, nor their change\n", what);
        } else {
            appendf(mText,
                    "  [Undecidable from the dump] %s; over the last second exe:%+d finish:%+d "
                    "pending:%+d\n",
                    what, static_cast<int>(change->executeCount),
                    static_cast<int>(change->finishCount), change->c2BwmPending);
        }
        mOwners.push_back(possible.name);
        mComplete = false;
        mAssumption = assumption;
    }

    static std::string trimmedLeft(const std::string& line) {
        return line.substr(std::min(line.find_first_not_of(' '), line.size()));
    }

    static std::string trimmed(const std::string& line) {
        size_t begin = line.find_first_not_of(' ');
        size_t end = line.find_last_not_of(" \n");
        return begin == std::string::npos ? std::string() : line.substr(begin, end - begin + 1);
    }

    std::string* const mText;
    const OwnerRecord& mInput;
    const _DebugDescription& d;
    const bool mTunnel;
    std::string mFinding;
    std::vector<const char*> mOwners;
    bool mComplete = true;
    const char* mAssumption = nullptr;
};

}  // namespace

std::vector<OwnerVerdict> writeOwnerAnalysis(std::string* text, uint64_t snapshotCount,
                                             uint32_t latestIndex,
                                             const std::vector<OwnerRecord>& latest) {
    appendf(text,
            "%s - owner\t(GetDebugInfo cmdCnt:%llu, using mDebugDescList[%d] as latest "
            "DebugDescList)\n",
            kDebugBanner, static_cast<unsigned long long>(snapshotCount),
            static_cast<int>(latestIndex));
    std::vector<OwnerVerdict> verdicts;
    if (latest.empty()) {
        size_t begin = text->size();
        *text += "  No any C2 component created \n";
        *text += kApkOwner.line;
        verdicts.push_back({false, 0, "", 0, false, "No any C2 component created", kApkOwner.name,
                            true, begin, text->size()});
        *text += "  [Finish] No more C2 stream. Exit analysis.\n";
        return verdicts;
    }
    for (const OwnerRecord& record : latest) {
        size_t begin = text->size();
        verdicts.push_back(StreamAnalysis(text, record).run());
        *text += "  Continue to check next stream... \n";
        verdicts.back().textBegin = begin;
        verdicts.back().textEnd = text->size();
    }
    *text += "  [Finish] No more C2 stream. Exit analysis.\n";
    return verdicts;
}

void Codec2InfoService::dumpGetOwner_l(int fd) {
    std::vector<OwnerRecord> latest;
    for (const auto& [streamId, description] : mDebugDescList[mLatestDebugDescIndex]) {
        latest.push_back({streamId, &description});
    }
    std::string text;
    writeOwnerAnalysis(&text, mDebugInfoCount, mLatestDebugDescIndex, latest);
    dprintf(fd, "%s", text.c_str());
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
