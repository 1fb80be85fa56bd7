// Remote listeners subscribed by name to the playback events of one stream.
#include <Codec2InfoService.h>

#include "ServiceLog.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

std::vector<NotifyEvent> Codec2InfoService::resolveEventNames(const hidl_vec<hidl_string>& names,
                                                              int knownLine, int unknownLine,
                                                              const char* function) {
    std::vector<NotifyEvent> events;
    for (const hidl_string& name : names) {
        NotifyEvent event = stringToEvent(name);
        if (event == NotifyEvent::NONE) {
            logLine(ANDROID_LOG_WARN, unknownLine, function, "unknown event %s", name.c_str());
            continue;
        }
        events.push_back(event);
        logDebugLine(knownLine, function, "update event %s", name.c_str());
    }
    return events;
}

Return<void> Codec2InfoService::registerEventListener(
        uint64_t uniqueStreamId, const hidl_vec<hidl_string>& events,
        const sp<ICodec2InfoServiceEventListener>& listener, registerEventListener_cb cb) {
    const char* kFunction = "registerEventListener";
    logDebugEntry(887, kFunction);
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
        id = mEventListenerId.fetch_add(1);
        logLine(ANDROID_LOG_INFO, 898, kFunction, "newEventListenerId = %llu",
                static_cast<unsigned long long>(id));
        mEventListenerInfo[id] = {uniqueStreamId, resolveEventNames(events, 904, 906, kFunction),
                                  listener};
        logDebugLine(915, kFunction, "mEventListenerInfo size = %zu", mEventListenerInfo.size());
        result = linkListenerDeath(listener, mEventDeathRecipient, id);
    }
    logDebugLine(922, kFunction, "unlock");
    cb(result, id);
    return Void();
}

Return<InfoReturn> Codec2InfoService::unregisterEventListener(uint64_t id) {
    const char* kFunction = "unregisterEventListener";
    logDebugEntry(928, kFunction);
    if (calledFromCallback(RankedMutex::kMain, kFunction)) return InfoReturn::FAILURE;
    MuxGuard lock(mLock);
    if (mEventListenerInfo.erase(id) == 0) {
        logLine(ANDROID_LOG_ERROR, 933, kFunction, "erase Cb fail");
        return InfoReturn::FAILURE;
    }
    return InfoReturn::SUCCESS;
}

Return<InfoReturn> Codec2InfoService::updateListenEvents(uint64_t id,
                                                         const hidl_vec<hidl_string>& events) {
    const char* kFunction = "updateListenEvents";
    logDebugEntry(941, kFunction);
    if (calledFromCallback(RankedMutex::kMain, kFunction)) return InfoReturn::FAILURE;
    MuxGuard lock(mLock);
    auto registration = mEventListenerInfo.find(id);
    if (registration == mEventListenerInfo.end()) {
        logLine(ANDROID_LOG_ERROR, 962, kFunction, "cannot find EventListenerId %llu",
                static_cast<unsigned long long>(id));
        return InfoReturn::FAILURE;
    }
    std::vector<NotifyEvent> resolved = resolveEventNames(events, 953, 955, kFunction);
    logLine(ANDROID_LOG_INFO, 959, kFunction, "update EventListenerId %llu",
            static_cast<unsigned long long>(id));
    registration->second.events = std::move(resolved);
    return InfoReturn::SUCCESS;
}

void Codec2InfoService::EventDeathRecipient::serviceDied(uint64_t cookie,
                                                         const wp<IBase>& /*who*/) {
    logDebugText("[%s] eventListener died. cookie:%llu", "serviceDied",
                 static_cast<unsigned long long>(cookie));
    ICodec2InfoService* service = mService;
    Return<InfoReturn> ret = service->unregisterEventListener(cookie);
    (void)ret.isOk();
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
