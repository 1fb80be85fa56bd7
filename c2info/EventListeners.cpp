// Remote listeners subscribed by name to the playback events of one stream.
#include <Codec2InfoService.h>

#include "ServiceLog.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

// Unknown names stand in the answer as NONE, so that their lines can be
// written in order later.
std::vector<NotifyEvent> Codec2InfoService::resolveEventNames(
        const hidl_vec<hidl_string>& names) const {
    std::vector<NotifyEvent> resolved;
    resolved.reserve(names.size());
    for (const hidl_string& name : names) resolved.push_back(stringToEvent(name));
    return resolved;
}

void Codec2InfoService::logEventNames(const hidl_vec<hidl_string>& names,
                                      const std::vector<NotifyEvent>& resolved, int knownLine,
                                      int unknownLine, const char* function) {
    for (size_t i = 0; i < names.size(); ++i) {
        if (resolved[i] == NotifyEvent::NONE) {
            logLine(ANDROID_LOG_WARN, unknownLine, function, "unknown event %s", names[i].c_str());
        } else {
            logDebugLine(knownLine, function, "update event %s", names[i].c_str());
        }
    }
}

std::vector<NotifyEvent> Codec2InfoService::knownEvents(const std::vector<NotifyEvent>& resolved) {
    std::vector<NotifyEvent> events;
    for (NotifyEvent event : resolved) {
        if (event != NotifyEvent::NONE) events.push_back(event);
    }
    return events;
}

// The names are resolved and their lines written before the main lock is
// taken: a client's long list must not hold up the components' posts.
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
    uint64_t id = mEventListenerId.fetch_add(1);
    logLine(ANDROID_LOG_INFO, 898, kFunction, "newEventListenerId = %llu",
            static_cast<unsigned long long>(id));
    std::vector<NotifyEvent> resolved = resolveEventNames(events);
    logEventNames(events, resolved, 904, 906, kFunction);
    InfoReturn result;
    {
        MuxGuard lock(mLock);
        mEventListenerInfo[id] = {uniqueStreamId, knownEvents(resolved), listener};
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

// The registration is found and changed in one hold of the main lock; the
// names are resolved before it and their lines written after it, in the
// order they would have had under it.
Return<InfoReturn> Codec2InfoService::updateListenEvents(uint64_t id,
                                                         const hidl_vec<hidl_string>& events) {
    const char* kFunction = "updateListenEvents";
    logDebugEntry(941, kFunction);
    if (calledFromCallback(RankedMutex::kMain, kFunction)) return InfoReturn::FAILURE;
    std::vector<NotifyEvent> resolved = resolveEventNames(events);
    std::vector<NotifyEvent> subscribed = knownEvents(resolved);
    bool found;
    {
        MuxGuard lock(mLock);
        auto registration = mEventListenerInfo.find(id);
        found = registration != mEventListenerInfo.end();
        if (found) registration->second.events.swap(subscribed);
    }
    if (!found) {
        logLine(ANDROID_LOG_ERROR, 962, kFunction, "cannot find EventListenerId %llu",
                static_cast<unsigned long long>(id));
        return InfoReturn::FAILURE;
    }
    logEventNames(events, resolved, 953, 955, kFunction);
    logLine(ANDROID_LOG_INFO, 959, kFunction, "update EventListenerId %llu",
            static_cast<unsigned long long>(id));
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
