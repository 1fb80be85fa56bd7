// Remote listeners told of every stream added to or removed from the registry.
#include <Codec2InfoService.h>

#include "ServiceLog.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

Return<void> Codec2InfoService::registerStreamListener(
        const sp<ICodec2InfoServiceStreamListener>& listener, registerStreamListener_cb cb) {
    const char* kFunction = "registerStreamListener";
    logDebugEntry(848, kFunction);
    if (calledFromCallback(RankedMutex::kMain, kFunction)) {
        cb(InfoReturn::FAILURE, UINT64_MAX);
        return Void();
    }
    if (listener == nullptr) {
        logText(ANDROID_LOG_ERROR, "[%s] null listener", kFunction);
        cb(InfoReturn::FAILURE, UINT64_MAX);
        return Void();
    }
    InfoReturn result;
    uint64_t id;
    {
        MuxGuard lock(mLock);
        id = mStreamListenerId.fetch_add(1);
        logLine(ANDROID_LOG_INFO, 856, kFunction, "newStreamListenerId = %llu",
                static_cast<unsigned long long>(id));
        mStreamListenerCb[id] = listener;
        logDebugLine(859, kFunction, "mStreamListenerCb size = %zu", mStreamListenerCb.size());
        result = linkListenerDeath(listener, mStreamDeathRecipient, id);
    }
    logDebugLine(867, kFunction, "unlock");
    cb(result, id);
    return Void();
}

// The death link stays: a listener that dies after this still reaches
// serviceDied, which then finds nothing.
Return<InfoReturn> Codec2InfoService::unregisterStreamListener(uint64_t listenerId) {
    const char* kFunction = "unregisterStreamListener";
    logDebugEntry(873, kFunction);
    if (calledFromCallback(RankedMutex::kMain, kFunction)) return InfoReturn::FAILURE;
    MuxGuard lock(mLock);
    if (mStreamListenerCb.erase(listenerId) == 0) {
        logLine(ANDROID_LOG_ERROR, 878, kFunction, "erase Cb fail");
        return InfoReturn::FAILURE;
    }
    logDebugLine(882, kFunction, "unlock");
    return InfoReturn::SUCCESS;
}

void Codec2InfoService::notifyStreamListeners_l(uint32_t type, uint32_t streamId,
                                                const hidl_string& info, int line,
                                                const char* function) {
    const char* message = type == 0 ? "onNotify STREAM_INFO_ADD" : "onNotify STREAM_INFO_DEL";
    for (const auto& [id, listener] : mStreamListenerCb) {
        logDebugLine(line, function, "%s", message);
        Return<void> ret = listener->onNotify(type, streamId, info);
        if (!ret.isOk()) {
            logText(ANDROID_LOG_ERROR, "Listener onNotify error: %s", ret.description().c_str());
        }
    }
}

void Codec2InfoService::StreamDeathRecipient::serviceDied(uint64_t cookie,
                                                          const wp<IBase>& /*who*/) {
    logDebugText("[%s] streamListener died. cookie:%llu", "serviceDied",
                 static_cast<unsigned long long>(cookie));
    ICodec2InfoService* service = mService;
    Return<InfoReturn> ret = service->unregisterStreamListener(cookie);
    (void)ret.isOk();
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
