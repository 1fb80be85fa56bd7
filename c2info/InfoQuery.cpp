// The generic information interface: stream ids, key/value queries that the
// components answer, and one information listener per stream.
#include <Codec2InfoService.h>

#include "ComponentCall.h"
#include "ServiceLog.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {

// The 64-bit ids of this interface stand for 32-bit unique stream ids.
uint32_t lowerBits(uint64_t id) {
    return static_cast<uint32_t>(id);
}

}  // namespace

Return<CmtReturn> Codec2InfoService::registerListener(uint64_t uniqueId,
                                                      const sp<ICmtInfoServiceListener>& listener,
                                                      const hidl_vec<uint64_t>& ids) {
    const char* kFunction = "registerListener";
    logDebugLine(522, kFunction, "id = %llu", static_cast<unsigned long long>(uniqueId));
    if (calledFromCallback(RankedMutex::kQueryListener, kFunction)) return CmtReturn::FAILURE;
    if (listener == nullptr) {
        logText(ANDROID_LOG_ERROR, "[%s] null listener", kFunction);
        return CmtReturn::FAILURE;
    }
    // Not the main lock: a stream listener may call this from inside its
    // notification, which holds it. The stream is looked up in the set of
    // live ids instead, so it is not there yet while an addition is being
    // told and still there while a removal is.
    MuxLock postLock = awaitInfoNotification();
    MuxGuard queryLock(mQueryListenerLock);
    if ((uniqueId >> 32) != 0 || !streamIdLive(lowerBits(uniqueId))) {
        logLine(ANDROID_LOG_ERROR, 542, kFunction, " uniqueId(%llu) is not exist",
                static_cast<unsigned long long>(uniqueId));
        return CmtReturn::FAILURE;
    }
    logDebugLine(530, kFunction, " uniqueId(%llu) is exist",
                 static_cast<unsigned long long>(uniqueId));
    uint32_t id = lowerBits(uniqueId);
    mInfoListenerActive[id] = true;
    mInfoListeners[id] = listener;
    mInfoListenIds[id] = ids;
    return CmtReturn::SUCCESS;
}

// The listener and its event filter stay in their maps; only the active
// flag goes down.
Return<CmtReturn> Codec2InfoService::unregisterListener(uint64_t uniqueId) {
    const char* kFunction = "unregisterListener";
    logDebugLine(549, kFunction, "id = %llu", static_cast<unsigned long long>(uniqueId));
    if (calledFromCallback(RankedMutex::kQueryListener, kFunction)) return CmtReturn::FAILURE;
    MuxLock postLock = awaitInfoNotification();
    MuxGuard queryLock(mQueryListenerLock);
    if (mInfoListeners.empty()) {
        logLine(ANDROID_LOG_ERROR, 553, kFunction, " unregisterListener is empty");
        return CmtReturn::SUCCESS;
    }
    uint32_t id = lowerBits(uniqueId);
    if (mInfoListeners.count(id) == 0) {
        logLine(ANDROID_LOG_ERROR, 562, kFunction, " uniqueId(%llu) is not exist, ok",
                static_cast<unsigned long long>(uniqueId));
        return CmtReturn::FAILURE;
    }
    mInfoListenerActive[id] = false;
    logDebugLine(560, kFunction, " uniqueId(%llu) is exist , removed success",
                 static_cast<unsigned long long>(uniqueId));
    return CmtReturn::SUCCESS;
}

// Once registering or unregistering has returned, the old listener is never
// told again. Its own notification, and a stream listener's (main lock
// held), do not wait: the listener would wait for itself.
Codec2InfoService::MuxLock Codec2InfoService::awaitInfoNotification() {
    if (RankedMutex::heldFromRank(RankedMutex::kPost)) return MuxLock(mPostLock, std::defer_lock);
    return MuxLock(mPostLock);
}

Return<void> Codec2InfoService::getIdList(getIdList_cb cb) {
    const char* kFunction = "getIdList";
    logDebugLine(569, kFunction, "enter");
    if (calledFromCallback(RankedMutex::kMain, kFunction)) {
        cb(CmtReturn::FAILURE, CmtIdType::UNIQUE_STREAM_ID, hidl_vec<uint64_t>());
        return Void();
    }
    std::vector<uint64_t> ids;
    {
        MuxGuard lock(mLock);
        for (const ST_STREAM_LIST& stream : mStreamList) ids.push_back(stream.streamid);
    }
    logDebugLine(579, kFunction, "unlock");
    cb(CmtReturn::SUCCESS, CmtIdType::UNIQUE_STREAM_ID, hidl_vec<uint64_t>(ids));
    return Void();
}

// The component answers with the main lock held; the keys and items are
// its business.
Return<void> Codec2InfoService::getInfo(uint64_t uniqueStreamId, const hidl_vec<hidl_string>& keys,
                                        getInfo_cb cb) {
    const char* kFunction = "getInfo";
    logDebugText("getInfo : , uniqueStreamId = %llu",
                 static_cast<unsigned long long>(uniqueStreamId));
    if (calledFromCallback(RankedMutex::kMain, kFunction)) {
        cb(CmtReturn::FAILURE, hidl_vec<CmtInfoStruct>());
        return Void();
    }
    bool answered = false;
    std::vector<CmtInfoStruct> items;
    {
        MuxGuard lock(mLock);
        uint32_t id = lowerBits(uniqueStreamId);
        std::shared_ptr<Callbacks> callbacks = findCallbacks_l(id);
        if (callbacks != nullptr && callbacks->getInfoCb) {
            answered = callComponent(kFunction, "getInfoCb", [&] {
                items = callbacks->getInfoCb(std::vector<std::string>(keys.begin(), keys.end()),
                                             id);
            });
        }
    }
    logDebugLine(600, kFunction, "unlock");
    // The component's answer goes to the client without another copy.
    hidl_vec<CmtInfoStruct> answer;
    answer.setToExternal(items.data(), items.size());
    cb(answered ? CmtReturn::SUCCESS : CmtReturn::FAILURE, answer);
    return Void();
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
