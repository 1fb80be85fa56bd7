// Posting a component's playback event to the event listeners of its stream
// and to the stream's information listener.
#include <Codec2InfoService.h>

#include <algorithm>

#include "ServiceLog.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {

// The notification refers to the name in the event table and to the
// component's payload, both alive until the last listener is told, instead
// of copying them for every post.
NotifyEventInfo notificationOf(const std::string& name, const CmtInfoStruct& info) {
    NotifyEventInfo notification;
    notification.event.setToExternal(name.data(), name.size());
    notification.info.intValue = info.intValue;
    notification.info.strValue.setToExternal(info.strValue.c_str(), info.strValue.size());
    return notification;
}

}  // namespace

// One post at a time, start to end: the event listeners under the main
// lock, then the information listener with no lock but the post lock held,
// so that it may call the service back like any client. The information
// listener gets the event's value, never the component's payload.
bool Codec2InfoService::postEvent(uint32_t uniqueStreamId, NotifyEvent event,
                                  const CmtInfoStruct& info) {
    const char* kFunction = "postCodec2EventToAPK";
    if (calledFromCallback(RankedMutex::kPost, kFunction)) return false;
    MuxGuard postLock(mPostLock);
    Return<InfoReturn> posted = postCodec2EventToAPK(uniqueStreamId, event, info);
    if (posted.withDefault(InfoReturn::FAILURE) != InfoReturn::SUCCESS) {
        logLine(ANDROID_LOG_ERROR, 206, kFunction, "post to infoservice fail");
    }

    auto value = static_cast<unsigned long long>(event);
    bool active = false;
    sp<ICmtInfoServiceListener> listener = infoListenerFor(uniqueStreamId, value, &active);
    if (listener == nullptr) return active;
    CmtInfoStruct empty{};
    Return<void> ret = listener->onNotify(uniqueStreamId, value, empty);
    if (!ret.isOk()) {
        logText(ANDROID_LOG_ERROR, "Listener onNotify error: %s", ret.description().c_str());
    }
    return true;
}

sp<ICmtInfoServiceListener> Codec2InfoService::infoListenerFor(uint32_t uniqueStreamId,
                                                               uint64_t value, bool* active) {
    const char* kFunction = "postCodec2EventToAPK";
    auto logged = static_cast<unsigned long long>(value);
    MuxGuard queryLock(mQueryListenerLock);
    auto listener = mInfoListeners.find(uniqueStreamId);
    auto activeFlag = mInfoListenerActive.find(uniqueStreamId);
    auto filter = mInfoListenIds.find(uniqueStreamId);
    if (listener == mInfoListeners.end() || activeFlag == mInfoListenerActive.end() ||
        !activeFlag->second || filter == mInfoListenIds.end()) {
        logDebugLine(228, kFunction, "postCodec2EventToAPK  %llu, uniqueStreamId not exist",
                     logged);
        *active = false;
        return nullptr;
    }
    *active = true;
    logDebugLine(213, kFunction, "=[1]postCodec2EventToAPK  %llu", logged);
    const std::vector<uint64_t>& wanted = filter->second;
    if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), value) == wanted.end()) {
        return nullptr;
    }
    logDebugLine(219, kFunction, "[2]postCodec2EventToAPK  %llu", logged);
    return listener->second;
}

Return<InfoReturn> Codec2InfoService::postCodec2EventToAPK(uint32_t uniqueStreamId,
                                                           NotifyEvent event,
                                                           const CmtInfoStruct& info) {
    const char* kFunction = "postCodec2EventToAPK";
    logDebugEntry(794, kFunction);
    if (calledFromCallback(RankedMutex::kMain, kFunction)) return InfoReturn::FAILURE;
    const std::string* name = eventName(event);
    if (name == nullptr) {
        // Events without a name never reach event listeners.
        logDebugLine(799, kFunction, "Unknown event");
        return InfoReturn::SUCCESS;
    }
    logDebugLine(802, kFunction, "%s event", name->c_str());
    MuxGuard lock(mLock);
    if (mEventListenerInfo.empty()) return InfoReturn::SUCCESS;

    const NotifyEventInfo notification = notificationOf(*name, info);
    for (const auto& [id, registration] : mEventListenerInfo) {
        const std::vector<NotifyEvent>& events = registration.events;
        if (registration.uniqueStreamId != uniqueStreamId ||
            std::find(events.begin(), events.end(), event) == events.end()) {
            continue;
        }
        logDebugLine(817, kFunction, "onNotify Event, streamId %u", uniqueStreamId);
        Return<void> ret = registration.listener->onNotify(notification);
        if (!ret.isOk()) {
            logText(ANDROID_LOG_ERROR, "Listener onNotify error: %s", ret.description().c_str());
        }
    }
    logDebugLine(826, kFunction, "unlock");
    return InfoReturn::SUCCESS;
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
