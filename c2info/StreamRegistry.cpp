// The registry of the decoder streams alive in the process.
#include <Codec2InfoService.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <type_traits>
#include <utility>

#include "ServiceLog.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {

enum class AttributeKind { kSigned32, kUnsigned32, kUnsigned64 };

struct AttributeField {
    void* address;
    AttributeKind kind;
};

// The field that an attribute number addresses: its position in
// ST_STREAM_LIST. False for a number outside 0..16.
bool findAttributeField(ST_STREAM_LIST& r, uint32_t attr, AttributeField* field) {
    using K = AttributeKind;
    using S = ST_STREAM_LIST;
    static_assert(std::is_standard_layout_v<S>, "fields are found by their offsets");
    // Offsets, not the record's addresses: the table is made once, and this
    // runs for every item a component sends.
    static constexpr std::pair<size_t, AttributeKind> kFields[] = {
            {offsetof(S, sourcetype), K::kSigned32},     {offsetof(S, width), K::kUnsigned32},
            {offsetof(S, height), K::kUnsigned32},       {offsetof(S, field3), K::kUnsigned32},
            {offsetof(S, field4), K::kUnsigned32},       {offsetof(S, field5), K::kUnsigned32},
            {offsetof(S, field6), K::kUnsigned32},       {offsetof(S, field7), K::kUnsigned32},
            {offsetof(S, framerate), K::kUnsigned32},    {offsetof(S, streamid), K::kUnsigned32},
            {offsetof(S, pqid), K::kSigned32},           {offsetof(S, hwSyncId), K::kUnsigned64},
            {offsetof(S, portId), K::kUnsigned32},       {offsetof(S, interlace), K::kSigned32},
            {offsetof(S, colorformat), K::kSigned32},    {offsetof(S, lumaoffset), K::kUnsigned64},
            {offsetof(S, chromaoffset), K::kUnsigned64},
    };
    if (attr >= std::size(kFields)) return false;
    *field = {reinterpret_cast<unsigned char*>(&r) + kFields[attr].first, kFields[attr].second};
    return true;
}

// Copies the caller's value, which may be unaligned, into the field.
template <typename T>
T copyValue(void* field, const void* value) {
    T copy;
    memcpy(&copy, value, sizeof(copy));
    memcpy(field, &copy, sizeof(copy));
    return copy;
}

void storeAttribute(const AttributeField& field, const StreamInfoItem& item) {
    const char* kFunction = "updateStreamInfo";
    switch (field.kind) {
        case AttributeKind::kSigned32: {
            int32_t value = copyValue<int32_t>(field.address, item.value);
            logDebugText("[%s] value:%d, size:%d", kFunction, value, item.size);
            break;
        }
        case AttributeKind::kUnsigned32: {
            uint32_t value = copyValue<uint32_t>(field.address, item.value);
            logDebugText("[%s] value:%u, size:%d", kFunction, value, item.size);
            break;
        }
        case AttributeKind::kUnsigned64: {
            auto value =
                    static_cast<unsigned long long>(copyValue<uint64_t>(field.address, item.value));
            logDebugText("[%s] value:%llu, size:%d", kFunction, value, item.size);
            break;
        }
    }
}

}  // namespace

std::vector<ST_STREAM_LIST>::iterator Codec2InfoService::findStream_l(uint32_t uniqueStreamId) {
    return std::find_if(mStreamList.begin(), mStreamList.end(),
                        [&](const ST_STREAM_LIST& s) { return s.streamid == uniqueStreamId; });
}

void Codec2InfoService::noteStreamIdAdded(uint32_t streamId) {
    std::lock_guard<std::mutex> lock(mLiveStreamIdsLock);
    mLiveStreamIds.insert(streamId);
}

void Codec2InfoService::noteStreamIdRemoved(uint32_t streamId) {
    std::lock_guard<std::mutex> lock(mLiveStreamIdsLock);
    auto found = mLiveStreamIds.find(streamId);
    if (found != mLiveStreamIds.end()) mLiveStreamIds.erase(found);
}

bool Codec2InfoService::streamIdLive(uint32_t streamId) {
    std::lock_guard<std::mutex> lock(mLiveStreamIdsLock);
    return mLiveStreamIds.count(streamId) != 0;
}

Return<InfoReturn> Codec2InfoService::addStreamInfo(const ST_STREAM_LIST& info) {
    const char* kFunction = "addStreamInfo";
    if (calledFromCallback(RankedMutex::kMain, kFunction)) return InfoReturn::FAILURE;
    MuxGuard lock(mLock);
    auto earlier = findStream_l(info.streamid);
    bool reannounced = earlier != mStreamList.end();
    if (reannounced) {
        // The component re-announced its stream: the record moves to the end
        // and nobody hears of it again.
        mStreamList.erase(earlier);
    } else {
        reloadLogSwitch();
        notifyStreamListeners_l(0, info.streamid, info.info, 301, kFunction);
    }
    logDebugLine(308, kFunction, "streamlist size:%d", static_cast<int>(mStreamList.size()));
    mStreamList.push_back(info);
    // A re-announced id never left the set: no gap for registerListener.
    if (!reannounced) noteStreamIdAdded(info.streamid);
    logLine(ANDROID_LOG_INFO, 312, kFunction,
            "addStreamInfo, sourcetype(%u),width(%u),height(%u),framerate(%u),streamid(%u),"
            "pqid(%d),hwSyncId(%llu),portId(%u),interlace(%d), colorformat(%d), lumaoffset (%llu) "
            ",chromaoffset(%llu)",
            static_cast<uint32_t>(info.sourcetype), info.width, info.height, info.framerate,
            info.streamid, info.pqid, static_cast<unsigned long long>(info.hwSyncId), info.portId,
            info.interlace, info.colorformat, static_cast<unsigned long long>(info.lumaoffset),
            static_cast<unsigned long long>(info.chromaoffset));
    return InfoReturn::SUCCESS;
}

// Items before a failing one stay applied.
Return<InfoReturn> Codec2InfoService::updateStreamInfo(uint32_t streamUniqueId,
                                                       const std::vector<StreamInfoItem>& items) {
    const char* kFunction = "updateStreamInfo";
    if (calledFromCallback(RankedMutex::kMain, kFunction)) return InfoReturn::FAILURE;
    MuxGuard lock(mLock);
    auto record = findStream_l(streamUniqueId);
    if (record == mStreamList.end()) {
        logText(ANDROID_LOG_ERROR, "[%s]find streamid %u error", kFunction, streamUniqueId);
        return InfoReturn::FAILURE;
    }
    logDebugText("[%s] streamUniqueId %u, queryItemsSize:%u", kFunction, streamUniqueId,
                 static_cast<uint32_t>(items.size()));
    for (const StreamInfoItem& item : items) {
        logDebugText("[%s] attr:%d", kFunction, item.attr);
        if (item.value == nullptr) {
            logText(ANDROID_LOG_ERROR, "[%s]value is NULL", kFunction);
            return InfoReturn::FAILURE;
        }
        AttributeField field;
        if (!findAttributeField(*record, static_cast<uint32_t>(item.attr), &field)) {
            logText(ANDROID_LOG_ERROR, "[%s]unknown item", kFunction);
            return InfoReturn::FAILURE;
        }
        uint32_t streamId = record->streamid;
        storeAttribute(field, item);
        if (record->streamid != streamId) {
            noteStreamIdAdded(record->streamid);
            noteStreamIdRemoved(streamId);
        }
    }
    return InfoReturn::SUCCESS;
}

Return<InfoReturn> Codec2InfoService::removeStreamInfoByUniqueId(uint32_t uniqueId) {
    const char* kFunction = "removeStreamInfoByUniqueId";
    if (calledFromCallback(RankedMutex::kMain, kFunction)) return InfoReturn::FAILURE;
    // A capture being answered keeps the stream, and with it the buffer its
    // component bound, until the client has the handle.
    MuxLock lock(mLock);
    if (!awaitCaptureAnswers_l(lock, uniqueId, kFunction)) return InfoReturn::FAILURE;
    if (Codec2InfoInternalCallbacks.count(uniqueId) != 0) {
        logDebugLine(421, kFunction,
                     "removed uniqueId(%u) Callback form Codec2InfoInternalCallbacks", uniqueId);
        Codec2InfoInternalCallbacks.erase(uniqueId);
        mDebugDescList[0].erase(uniqueId);
        mDebugDescList[1].erase(uniqueId);
    }
    forgetCapturedBuffer_l(uniqueId);
    for (auto record = mStreamList.begin(); record != mStreamList.end();) {
        if (record->streamid != uniqueId) {
            ++record;
            continue;
        }
        notifyStreamListeners_l(1, uniqueId, record->info, 432, kFunction);
        record = mStreamList.erase(record);
        noteStreamIdRemoved(uniqueId);
        logLine(ANDROID_LOG_INFO, 439, kFunction, "removed uniqueId(%u) Info form mStreamList",
                uniqueId);
    }
    logDebugLine(445, kFunction, "unlock");
    return InfoReturn::SUCCESS;
}

Return<void> Codec2InfoService::getStreamList(getStreamList_cb cb) {
    const char* kFunction = "getStreamList";
    logDebugLine(269, kFunction, "enter");
    if (calledFromCallback(RankedMutex::kMain, kFunction)) {
        cb(InfoReturn::FAILURE, hidl_vec<ST_STREAM_LIST>());
        return Void();
    }
    // One deep copy, made under the lock, goes to the client as it is.
    hidl_vec<ST_STREAM_LIST> streams;
    {
        MuxGuard lock(mLock);
        streams = mStreamList;
    }
    logDebugLine(275, kFunction, "unlock");
    cb(InfoReturn::SUCCESS, streams);
    return Void();
}

Return<void> Codec2InfoService::convertHwSyncIdToStreamId(uint64_t hwSyncId,
                                                          convertHwSyncIdToStreamId_cb cb) {
    const char* kFunction = "convertHwSyncIdToStreamId";
    logDebugLine(704, kFunction, "hwSyncId = %llu", static_cast<unsigned long long>(hwSyncId));
    if (calledFromCallback(RankedMutex::kMain, kFunction)) {
        cb(InfoReturn::FAILURE, 0xFFFFFFFF);
        return Void();
    }
    bool found = false;
    uint32_t streamUniqueId = 0xFFFFFFFF;
    {
        MuxGuard lock(mLock);
        auto record = std::find_if(mStreamList.begin(), mStreamList.end(),
                                   [&](const ST_STREAM_LIST& s) { return s.hwSyncId == hwSyncId; });
        if (record != mStreamList.end()) {
            found = true;
            streamUniqueId = record->streamid;
            logDebugText("convertHwSyncIdToStreamId : hwSyncId = %llu, streamUniqueId = %u",
                         static_cast<unsigned long long>(hwSyncId), streamUniqueId);
        }
    }
    logDebugLine(721, kFunction, "unlock");
    cb(found ? InfoReturn::SUCCESS : InfoReturn::FAILURE, streamUniqueId);
    return Void();
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
