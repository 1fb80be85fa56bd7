// The generic information interface: stream ids, key/value queries that the
// components answer, and one information listener per stream.
#include <Codec2InfoService.h>

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
    if (listener == nullptr) {
        logText(ANDROID_LOG_ERROR, "[%s] null listener", kFunction);
        return CmtReturn::FAILURE;
    }
    std::lock_guard<std::mutex> queryLock(mQueryListenerLock);
    bool streamExists;
    {
        // The stream list belongs to the main lock, which may be taken
        // inside the query-listener lock (never the other way round).
        std::lock_guard<std::mutex> lock(mLock);
        streamExists =
                (uniqueId >> 32) == 0 && findStream_l(lowerBits(uniqueId)) != mStreamList.end();
    }
    if (!streamExists) {
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
    std::lock_guard<std::mutex> queryLock(mQueryListenerLock);
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

Return<void> Codec2InfoService::getIdList(getIdList_cb cb) {
    const char* kFunction = "getIdList";
    logDebugLine(569, kFunction, "enter");
    std::vector<uint64_t> ids;
    {
        std::lock_guard<std::mutex> lock(mLock);
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
    logDebugText("getInfo : , uniqueStreamId = %llu",
                 static_cast<unsigned long long>(uniqueStreamId));
    bool answered = false;
    std::vector<CmtInfoStruct> items;
    {
        std::lock_guard<std::mutex> lock(mLock);
        uint32_t id = lowerBits(uniqueStreamId);
        std::shared_ptr<Callbacks> callbacks = findCallbacks_l(id);
        if (callbacks != nullptr && callbacks->getInfoCb) {
            items = callbacks->getInfoCb(std::vector<std::string>(keys.begin(), keys.end()), id);
            answered = true;
        }
    }
    logDebugLine(600, "getInfo", "unlock");
    cb(answered ? CmtReturn::SUCCESS : CmtReturn::FAILURE, hidl_vec<CmtInfoStruct>(items));
    return Void();
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
