// Names the module to dispatch stuck playback to: every stream of the latest
// snapshot generation goes through the checks in order, and the first check
// that fails names its owner. The owners' texts differ in their capitals;
// engineers' scripts match them as they are.
#include "OwnerAnalysis.h"

#include <Codec2InfoService.h>
#include <android-base/stringprintf.h>
#include <stdio.h>

#include <algorithm>

#include "DebugOutput.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {

using ::android::base::StringAppendF;
using ::android::base::StringPrintf;

struct Owner {
    const char* line;
    const char* name;
    const char* module;
};

constexpr Owner kApkOwner{"  dispatch to **APK owner** ", "APK owner", "APK"};
constexpr Owner kTpcOwner{"  dispatch to **TPC owner** ", "TPC owner", "TPC"};
constexpr Owner kC2Owner{"  dispatch to **C2 Owner** ", "C2 Owner", "C2"};
constexpr Owner kC2LowerOwner{"  dispatch to **C2 owner** ", "C2 owner", "C2"};
constexpr Owner kDisplinkOwner{"  dispatch to **Displink Owner** ", "Displink Owner", "Displink"};
constexpr Owner kDisplinkLowerOwner{"  dispatch to **Displink owner** ", "Displink owner",
                                    "Displink"};
constexpr Owner kC2BwmOwner{"  dispatch to **C2BWM Owner** ", "C2BWM Owner", "C2BWM"};
constexpr Owner kDisplinkToConfirm{
        "  No abnormal case found. By default, dispatch to **displink owner** to confirm ",
        "displink owner", "Displink"};

constexpr const char* kNoStream = "  No any C2 component created ";
constexpr const char* kContinue = "  Continue to check next stream... ";
constexpr const char* kFinish = "  [Finish] No more C2 stream. Exit analysis.";

// File and stream sources; their counts of input and output are judged.
bool isVideoSource(uint8_t inputSource) {
    return inputSource == 5 || inputSource == 6;
}

std::string trimmedLeft(const std::string& line) {
    return line.substr(std::min(line.find_first_not_of(' '), line.size()));
}

std::string trimmed(const std::string& line) {
    size_t begin = line.find_first_not_of(' ');
    size_t end = line.find_last_not_of(' ');
    return begin == std::string::npos ? std::string() : line.substr(begin, end - begin + 1);
}

// The checks of one stream, in order; the first that fails names the owner.
class StreamAnalysis {
public:
    explicit StreamAnalysis(const OwnerRecord& input)
        : mInput(input), d(*input.record), mTunnel(d.sideBand != 0) {}

    OwnerVerdict run() {
        mVerdict.streamId = mInput.streamId;
        mVerdict.component = d.component;
        mVerdict.inputSource = d.inputSource;
        mVerdict.tunnel = mTunnel;
        say(OwnerLineKind::kStreamHeader,
            StringPrintf("  strId(%d) - component(%s) inputSource:%d %s mode",
                         static_cast<int>(mInput.streamId), d.component.c_str(), d.inputSource,
                         mTunnel ? "tunnel" : "non-tunnel"));
        runChecks();
        // Undecided, no one owner is the verdict: the line names them all.
        if (!mVerdict.complete) {
            std::string candidates;
            for (const Owner* owner : mOwners) {
                candidates +=
                        (candidates.empty() ? "**" : " or **") + std::string(owner->name) + "**";
            }
            add(OwnerLineKind::kDispatch, "  dispatch to " + candidates + " ");
        }
        for (const Owner* owner : mOwners) {
            const char* separator = mVerdict.owner.empty() ? "" : " or ";
            mVerdict.owner += separator + std::string(owner->name);
            mVerdict.module += separator + std::string(owner->module);
        }
        add(OwnerLineKind::kContinue, kContinue);
        return std::move(mVerdict);
    }

private:
    void runChecks() {
        if (d.releasing != 0 && d.released == 0) {
            return dispatch(
                    StringPrintf("  C2 releasing and stuck in state:%d ", d.releaseProgress),
                    kC2Owner);
        }
        passed("  [Checked] C2 is not in releasing state");

        if (isVideoSource(d.inputSource) && d.input <= 9) {
            if (d.pendingES > 4) {
                return dispatch(
                        StringPrintf("  pending es larger than pendingThreshold:%d ", d.pendingES),
                        kC2Owner);
            }
            return dispatch("  NO input data ", kApkOwner);
        }
        passed("  [Checked] C2 input es is not empty");

        if (mTunnel && d.hwSyncId == 0) return dispatch("  hwSyncId not set to C2 ", kApkOwner);
        passed("  [Checked] C2 has been set hwSyncId");

        if (mTunnel && d.tpcPipelineConnected == 0) {
            return dispatch("  C2 not connect TPC pipeline ", kTpcOwner);
        }
        passed("  [Checked] C2 has connected to TPC pipeline");

        if (mTunnel && d.firstFrameNotifiedToTpc == 0) {
            return dispatch("  C2 not notify first pts to TPC ", kC2LowerOwner);
        }
        passed("  [Checked] C2 has received first pts and notify to TPC");

        if (mTunnel && d.connectedDispLinkId == 0) return displinkNotConnected();
        passed(StringPrintf("  [Checked] C2 has connected to displink (displinkId:%d)",
                            d.connectedDispLinkId));

        if (mTunnel && d.preloadDone == 0) {
            return dispatch("  Displink not preload done ", kDisplinkLowerOwner);
        }
        passed("  [Checked] C2 has received displink preload done");

        if (mTunnel && d.pauseState != 0) {
            return dispatch(StringPrintf("  C2 pause state %d, not in play state ", d.pauseState),
                            kTpcOwner);
        }
        passed("  [Checked] TPC has set play to C2");

        if (mTunnel && d.isDtv != 0 && d.dtvInitialDropBegin != 0 && d.dtvInitialDropFinish == 0) {
            return dispatch("  C2 DTV initial drop not finished ", kC2LowerOwner);
        }
        passed("  [Checked] C2 is not in DTV initial drop state");

        if (mTunnel && d.autoDrop != 0) return dispatch("  C2 in autoDrop mode ", kC2LowerOwner);
        passed("  [Checked] C2 is not in auto drop state");

        if (!mInput.holdsC2BwmCounts) {
            undecided("paused by c2bwm? executeCount and finishCount are not in the dump",
                      kC2BwmOwner, "[If not paused by c2bwm]");
        } else if (d.executeCount > d.finishCount || d.finishCount == 0) {
            return dispatch(
                    StringPrintf("  pause by c2bwm: exe:%d finish:%d",
                                 static_cast<int>(d.executeCount), static_cast<int>(d.finishCount)),
                    kC2BwmOwner);
        } else {
            passed("  [Checked] C2 is not paused by C2Bwm");
        }

        if (isVideoSource(d.inputSource) && static_cast<uint32_t>(d.get) <= 9) {
            return dispatch(StringPrintf("  insufficient output data :%d ", d.get), kC2Owner);
        }
        passed("  [Checked] C2 has sufficient output frame data");
        mVerdict.finding = "No abnormal case found.";
        if (!mVerdict.complete) say(OwnerLineKind::kFinding, "  No abnormal case found.");
        owner(kDisplinkToConfirm);
    }

    // A C2BWM that still holds buffers is the decoder's to look at first.
    void displinkNotConnected() {
        const char* finding = "  displink not connected to c2 ";
        if (!mInput.holdsC2BwmCounts) {
            found(finding);
            undecided("C2BWM pending count is not in the dump", kC2Owner,
                      "[If C2BWM pending is not 0]");
            destroyedDisplinkHint();
            return owner(kDisplinkOwner);
        }
        if (d.c2BwmPending == 0) return dispatch(finding, kDisplinkOwner);
        found(finding);
        destroyedDisplinkHint();
        owner(kC2Owner);
    }

    void destroyedDisplinkHint() {
        say(OwnerLineKind::kNote, "  check destroy displink id list by:");
        say(OwnerLineKind::kNote,
            "  lshal debug -E vendor.larkspan.hardware.dispservice@1.0::IDispService/default "
            "--debug mediator");
    }

    void passed(const std::string& line) { say(OwnerLineKind::kPassed, line); }

    // After an undecided check, every check's line holds only on an
    // assumption, which leads it.
    void say(OwnerLineKind kind, const std::string& line) {
        if (mAssumption == nullptr) return add(kind, line);
        mVerdict.lines.push_back(
                {kind, true, StringPrintf("  %s %s", mAssumption, trimmedLeft(line).c_str())});
    }

    void add(OwnerLineKind kind, std::string line) {
        mVerdict.lines.push_back({kind, false, std::move(line)});
    }

    void found(const std::string& finding) {
        say(OwnerLineKind::kFinding, finding);
        mVerdict.finding = trimmed(finding);
    }

    void dispatch(const std::string& finding, const Owner& named) {
        found(finding);
        owner(named);
    }

    void owner(const Owner& named) {
        if (mVerdict.complete)
            mVerdict.lines.push_back({OwnerLineKind::kDispatch, false, named.line});
        mOwners.push_back(&named);
    }

    // A check whose input the dump does not hold: its owner stays possible,
    // and what follows assumes the other outcome.
    void undecided(const char* what, const Owner& possible, const char* assumption) {
        const _DiffInfo* change = mInput.lastChange;
        std::string line =
                change == nullptr
                        ? StringPrintf("  [Undecidable from the dump] %s, nor their change", what)
                        : StringPrintf(
                                  "  [Undecidable from the dump] %s; over the last second "
                                  "exe:%+d finish:%+d pending:%+d",
                                  what, static_cast<int>(change->executeCount),
                                  static_cast<int>(change->finishCount), change->c2BwmPending);
        add(OwnerLineKind::kUndecidable, std::move(line));
        mOwners.push_back(&possible);
        mVerdict.complete = false;
        mAssumption = assumption;
    }

    const OwnerRecord& mInput;
    const _DebugDescription& d;
    const bool mTunnel;
    OwnerVerdict mVerdict;
    std::vector<const Owner*> mOwners;
    const char* mAssumption = nullptr;
};

OwnerVerdict noStream() {
    OwnerVerdict verdict;
    verdict.hasStream = false;
    verdict.finding = trimmed(kNoStream);
    verdict.owner = kApkOwner.name;
    verdict.module = kApkOwner.module;
    verdict.lines = {{OwnerLineKind::kFinding, false, kNoStream},
                     {OwnerLineKind::kDispatch, false, kApkOwner.line}};
    return verdict;
}

}  // namespace

OwnerVerdict analyseOwner(const OwnerRecord& record) {
    return StreamAnalysis(record).run();
}

OwnerAnalysis analyseOwners(uint64_t snapshotCount, uint32_t latestIndex,
                            const std::vector<OwnerRecord>& latest) {
    OwnerAnalysis analysis{snapshotCount, latestIndex, {}};
    if (latest.empty()) analysis.verdicts.push_back(noStream());
    for (const OwnerRecord& record : latest) analysis.verdicts.push_back(analyseOwner(record));
    return analysis;
}

void printOwnerLines(std::string* text, const std::vector<OwnerLine>& lines) {
    for (const OwnerLine& line : lines) {
        *text += line.text;
        *text += '\n';
    }
}

void printOwnerAnalysis(std::string* text, const OwnerAnalysis& analysis) {
    StringAppendF(text,
                  "%s - owner\t(GetDebugInfo cmdCnt:%llu, using mDebugDescList[%d] as latest "
                  "DebugDescList)\n",
                  kDebugBanner, static_cast<unsigned long long>(analysis.snapshotCount),
                  static_cast<int>(analysis.latestIndex));
    for (const OwnerVerdict& verdict : analysis.verdicts) printOwnerLines(text, verdict.lines);
    *text += kFinish;
    *text += '\n';
}

void Codec2InfoService::dumpGetOwner_l(int fd) {
    std::vector<OwnerRecord> latest;
    for (const auto& [streamId, description] : mDebugDescList[mLatestDebugDescIndex]) {
        latest.push_back({streamId, &description});
    }
    std::string text;
    printOwnerAnalysis(&text, analyseOwners(mDebugInfoCount, mLatestDebugDescIndex, latest));
    dprintf(fd, "%s", text.c_str());
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
