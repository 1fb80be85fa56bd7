// The lshal debug front end: parses the words of a request and runs one
// command, writing to the request's descriptor.
#include <Codec2InfoService.h>
#include <android-base/strings.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <system_error>

#include "../ComponentCall.h"
#include "../ServiceLog.h"
#include "DebugOutput.h"
#include "StagedOutput.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

using ::android::base::EqualsIgnoreCase;
using ::android::base::StartsWith;

namespace {

// A base-10 integer at the start of text, as std::stoi reads it (leading
// blanks skipped, trailing characters ignored), but without throwing: false
// when there is none or it does not fit an int.
bool parseLeadingInt(const std::string& text, int* value) {
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    long parsed = strtol(begin, &end, 10);
    if (end == begin || errno == ERANGE || parsed < INT_MIN || parsed > INT_MAX) return false;
    *value = static_cast<int>(parsed);
    return true;
}

}  // namespace

Return<void> Codec2InfoService::debug(const hidl_handle& fd, const hidl_vec<hidl_string>& args) {
    const native_handle_t* handle = fd.getNativeHandle();
    if (handle == nullptr || handle->numFds < 1) {
        logText(ANDROID_LOG_ERROR, "Invalid parameters passed to debug()");
        return Void();
    }
    // A request made where other threads wait for this one (from inside a
    // component's callable or a listener, with a service lock held, or from
    // inside a capture's answer) would keep them waiting for its reader.
    bool othersWait = RankedMutex::heldFromRank(RankedMutex::kPost) || answeringCapture();
    // Without a stage the handlers would have nowhere to write; the
    // requester has been told so in one line.
    StagedOutput output(handle->data[0], othersWait ? std::chrono::milliseconds::zero()
                                                    : StagedOutput::kStallTimeout);
    if (!output.staged()) return Void();
    cmdOtpions(output, args);
    return Void();
}

// Help, reset and the debug targets take no lock of the service and answer
// from anywhere, a component's callable included. The handlers that lock
// refuse where their lock would wait for the calling thread itself.
void Codec2InfoService::cmdOtpions(StagedOutput& output, const hidl_vec<hidl_string>& args) {
    int fd = output.fd();
    if (args.size() == 0) {
        cmdDefault(output);
        return;
    }
    std::string option = args[0];
    if (!StartsWith(option, "--")) {
        dprintf(fd, "Invalid option: %s\n", option.c_str());
        return;
    }
    std::string word = option.substr(2);
    if (EqualsIgnoreCase(word, "help")) return cmdHelp(fd);
    if (EqualsIgnoreCase(word, "enable")) return cmdEnable(fd);
    if (EqualsIgnoreCase(word, "disable")) return cmdDisable(output);
    if (EqualsIgnoreCase(word, "dump")) return cmdDump(fd);
    if (EqualsIgnoreCase(word, "reset")) return cmdReset(fd);
    if (EqualsIgnoreCase(word, "owner")) return cmdOwner(fd);
    if (EqualsIgnoreCase(word, "reloadProp")) return cmdReloadProp(fd);
    if (EqualsIgnoreCase(word, "c2dump")) {
        if (args.size() < 3) {
            dprintf(fd, "Invalid option: %s, missing parameters.\n", word.c_str());
            return;
        }
        int streamId;
        int enable;
        if (args[1].empty() || args[2].empty() || !parseLeadingInt(args[1], &streamId) ||
            !parseLeadingInt(args[2], &enable)) {
            dprintf(fd, "Invalid option: %s, incorrect parameters.\n", word.c_str());
            return;
        }
        return cmdC2Dump(fd, streamId, enable != 0);
    }

    std::shared_ptr<Codec2InfoDebugTarget> target = getDebugTarget(word);
    if (target == nullptr) {
        dprintf(fd, "Invalid option: %s\n", word.c_str());
        return;
    }
    if (args.size() == 1) {
        dprintf(fd, "--%s usage:\n", target->targetName().c_str());
        callComponent("cmdOtpions", "printUsage", [&] { target->printUsage(fd, 4); });
        return;
    }
    std::vector<std::string_view> targetArgs;
    for (size_t i = 1; i < args.size(); ++i) {
        targetArgs.emplace_back(args[i].c_str(), args[i].size());
    }
    callComponent("cmdOtpions", "dump", [&] { target->dump(fd, targetArgs); });
}

void Codec2InfoService::cmdDefault(StagedOutput& output) {
    if (calledFromCallback(RankedMutex::kMain, "debug")) return;
    int fd = output.fd();
    MuxLock lock(mLock);
    dprintf(fd, "%s - Default\n", kDebugBanner);
    printSystemTime(fd, nullptr);
    enableDebug_l();
    getDebugInfo_l();
    dumpDebugInfo_l(fd);

    // Streams and captures go on meanwhile. Nobody waits for a second pass
    // that a reader who gave up will not see.
    lock.unlock();
    dprintf(fd, "sleep 1 second...\n");
    if (output.flush()) usleep(1000000);
    lock.lock();

    printSystemTime(fd, nullptr);
    enableDebug_l();
    getDebugInfo_l();
    dumpDebugInfo_l(fd);
    disableDebug_l();
    mDebugDescList[0].clear();
    mDebugDescList[1].clear();
    mLastDebugInfoTimeMs = 0;
}

void Codec2InfoService::cmdHelp(int fd) {
    dprintf(fd, "%s - Help\n", kDebugBanner);
    dprintf(fd, "Usage: \n\n");
    dprintf(fd, "[no args]: dumps status\n");
    dprintf(fd, "--help: shows this help\n");
    dprintf(fd, "--enable\n    enable dump info feature\n");
    dprintf(fd, "--disable\n    disable dump info feature\n");
    dprintf(fd, "--dump\n    dump info\n");
    dprintf(fd, "--reset\n    reset info\n");
    dprintf(fd, "--c2dump [stream_id] [1(enable)/0(disble)]\n   dump data\n");
    dprintf(fd, "--reloadProp\n    reload prop\n");
    dprintf(fd, "\n");
    for (const std::shared_ptr<Codec2InfoDebugTarget>& target : debugTargets()) {
        if (target == nullptr) continue;
        dprintf(fd, "--%s COMMAND [OPTION] ...\n", target->targetName().c_str());
        callComponent("cmdHelp", "printUsage", [&] { target->printUsage(fd, 4); });
        dprintf(fd, "\n");
    }
}

void Codec2InfoService::cmdEnable(int fd) {
    if (calledFromCallback(RankedMutex::kDebugCommand, "debug")) return;
    MuxGuard commandLock(mDebugCommandLock);
    MuxGuard lock(mLock);
    dprintf(fd, "%s - Enable\n", kDebugBanner);
    printSystemTime(fd, nullptr);
    if (mDebugMonitor.joinable()) {
        dprintf(fd, "%s - Enable(already enabled)\n", kDebugBanner);
        return;
    }
    mDebugMonitorRunning = true;
    try {
        mDebugMonitor = std::thread(&Codec2InfoService::debugMonitorTask, this);
    } catch (const std::system_error& e) {
        // No thread, so still stopped: a later enable may try again.
        mDebugMonitorRunning = false;
        dprintf(fd, "%s - Enable(failed: %s)\n", kDebugBanner, e.what());
        logText(ANDROID_LOG_ERROR, "[%s] cannot start the debug monitor: %s", "cmdEnable",
                e.what());
    }
}

void Codec2InfoService::cmdDisable(StagedOutput& output) {
    if (calledFromCallback(RankedMutex::kDebugCommand, "debug")) return;
    int fd = output.fd();
    MuxGuard commandLock(mDebugCommandLock);
    MuxLock lock(mLock);
    dprintf(fd, "%s - Disable\n", kDebugBanner);
    printSystemTime(fd, nullptr);
    if (!mDebugMonitor.joinable()) {
        dprintf(fd, "%s - Disable(already disabled)\n", kDebugBanner);
        return;
    }
    mDebugMonitorRunning = false;
    mDebugDescList[0].clear();
    mDebugDescList[1].clear();
    mLastDebugInfoTimeMs = 0;
    mDebugMonitorWakeUp.notify_all();
    // The monitor takes the lock for its last round.
    lock.unlock();
    dprintf(fd, "%s - Disable(joining)\n", kDebugBanner);
    output.flush();
    mDebugMonitor.join();
    dprintf(fd, "%s - Disable(joined)\n", kDebugBanner);
}

void Codec2InfoService::cmdDump(int fd) {
    if (calledFromCallback(RankedMutex::kMain, "debug")) return;
    MuxGuard lock(mLock);
    dprintf(fd, "%s - %s\n", kDebugBanner, kDumpCommand);
    printSystemTime(fd, nullptr);
    if (!mDebugMonitorRunning) {
        dprintf(fd, "%s - %s%s\n", kDebugBanner, kDumpCommand, kNotEnabled);
        return;
    }
    dumpDebugInfo_l(fd);
}

void Codec2InfoService::cmdOwner(int fd) {
    if (calledFromCallback(RankedMutex::kMain, "debug")) return;
    MuxGuard lock(mLock);
    dprintf(fd, "%s - Owner\n", kDebugBanner);
    printSystemTime(fd, nullptr);
    if (!mDebugMonitorRunning) {
        dprintf(fd, "%s - Owner(not enabled)\n", kDebugBanner);
        return;
    }
    dumpGetOwner_l(fd);
}

void Codec2InfoService::cmdReloadProp(int fd) {
    if (calledFromCallback(RankedMutex::kMain, "debug")) return;
    MuxGuard lock(mLock);
    printSystemTime(fd, "Reload Prop");
    reloadLogSwitch();
    for (const auto& [streamId, callbacks] : Codec2InfoInternalCallbacks) {
        if (callbacks == nullptr || !callbacks->reloadPropCb) continue;
        callComponent("cmdReloadProp", "reloadPropCb", callbacks->reloadPropCb);
    }
}

void Codec2InfoService::cmdReset(int fd) {
    dprintf(fd, "%s - Reset\n", kDebugBanner);
}

void Codec2InfoService::cmdC2Dump(int fd, int streamId, bool enable) {
    if (calledFromCallback(RankedMutex::kMain, "debug")) return;
    MuxGuard lock(mLock);
    dprintf(fd, "%s - Dump streamId: %d %s\n", kDebugBanner, streamId,
            enable ? "enable" : "disable");
    std::shared_ptr<Callbacks> callbacks = findCallbacks_l(static_cast<uint32_t>(streamId));
    if (callbacks == nullptr || !callbacks->c2DumpCb) return;
    callComponent("cmdC2Dump", "c2DumpCb", [&] { callbacks->c2DumpCb(enable); });
}

void Codec2InfoService::addDebugTarget(std::shared_ptr<Codec2InfoDebugTarget> target) {
    const char* kFunction = "addDebugTarget";
    if (target == nullptr) {
        logText(ANDROID_LOG_ERROR, "[%s] null target", kFunction);
        return;
    }
    if (target->targetName().empty()) {
        logText(ANDROID_LOG_ERROR, "[%s] empty target name", kFunction);
        return;
    }
    logDebugText("[%s] add target %s", kFunction, target->targetName().c_str());
    std::lock_guard<std::mutex> lock(mDebugTargetsLock);
    mDebugTargets.push_back(std::move(target));
}

// The first target of that name: names are not unique, the earlier wins.
std::shared_ptr<Codec2InfoDebugTarget> Codec2InfoService::getDebugTarget(std::string_view name) {
    for (const std::shared_ptr<Codec2InfoDebugTarget>& target : debugTargets()) {
        if (target != nullptr && EqualsIgnoreCase(target->targetName(), name)) {
            return target;
        }
    }
    return nullptr;
}

// A copy, so that targets are called without the lock.
std::vector<std::shared_ptr<Codec2InfoDebugTarget>> Codec2InfoService::debugTargets() {
    std::lock_guard<std::mutex> lock(mDebugTargetsLock);
    return mDebugTargets;
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
