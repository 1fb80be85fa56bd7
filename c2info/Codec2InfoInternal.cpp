// Each entry point fetches the singleton and forwards to it.
#include <Codec2InfoInternal.h>
#include <Codec2InfoService.h>

#include "ServiceLog.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

Codec2InfoService* Codec2InfoInternal::instance() {
    if (Codec2InfoService* service = Codec2InfoService::mInstance.load(std::memory_order_acquire)) {
        return service;
    }
    return Codec2InfoService::getInstance().get();
}

Return<InfoReturn> Codec2InfoInternal::addStreamInfo(const ST_STREAM_LIST& info) {
    Codec2InfoService* service = instance();
    if (service == nullptr) {
        logLine(ANDROID_LOG_ERROR, 126, "addStreamInfo", "addStreamInfo mInstance is null");
        return InfoReturn::FAILURE;
    }
    return service->addStreamInfo(info);
}

Return<InfoReturn> Codec2InfoInternal::updateStreamInfo(uint32_t streamUniqueId,
                                                        const std::vector<StreamInfoItem>& items) {
    Codec2InfoService* service = instance();
    if (service == nullptr) {
        logLine(ANDROID_LOG_ERROR, 135, "updateStreamInfo", "updateStreamInfo mInstance is null");
        return InfoReturn::FAILURE;
    }
    return service->updateStreamInfo(streamUniqueId, items);
}

Return<InfoReturn> Codec2InfoInternal::bindCaptured(uint32_t id, const hidl_handle& handle) {
    Codec2InfoService* service = instance();
    if (service == nullptr) {
        logLine(ANDROID_LOG_ERROR, 144, "bindCaptured", "bindCaptured mInstance is null");
        return InfoReturn::FAILURE;
    }
    return service->bindCaptured(id, handle);
}

Return<InfoReturn> Codec2InfoInternal::removeStreamInfoByUniqueId(uint32_t uniqueId) {
    Codec2InfoService* service = instance();
    if (service == nullptr) {
        // The text names an older function; scripts match it as it is.
        logLine(ANDROID_LOG_ERROR, 154, "removeStreamInfoByUniqueId",
                "removeStreamInfoByPqId mInstance is null");
        return InfoReturn::FAILURE;
    }
    return service->removeStreamInfoByUniqueId(uniqueId);
}

void Codec2InfoInternal::setCodec2InfoServiceCallback(std::shared_ptr<Codec2InfoServiceCallback> cb,
                                                      uint32_t uniqueStreamId) {
    const char* kFunction = "setCodec2InfoServiceCallback";
    logDebugLine(163, kFunction, "uniqueStreamId = %u", uniqueStreamId);
    if (cb == nullptr) {
        logLine(ANDROID_LOG_ERROR, 165, kFunction, "Callback NULL!");
        return;
    }
    Codec2InfoService* service = instance();
    if (service == nullptr) {
        logLine(ANDROID_LOG_ERROR, 170, kFunction,
                "setCodec2InfoServiceCallback mInstance is null");
        return;
    }
    service->setCallbacks(*cb, uniqueStreamId);
}

bool Codec2InfoInternal::postCodec2EventToAPK(uint32_t uniqueStreamId, NotifyEvent event) {
    return postCodec2EventToAPK(uniqueStreamId, event, CmtInfoStruct{});
}

bool Codec2InfoInternal::postCodec2EventToAPK(uint32_t uniqueStreamId, NotifyEvent event,
                                              CmtInfoStruct info) {
    Codec2InfoService* service = instance();
    if (service == nullptr) {
        logLine(ANDROID_LOG_ERROR, 199, "postCodec2EventToAPK",
                "postCodec2EventToAPK mInstance is null");
        return false;
    }
    return service->postEvent(uniqueStreamId, event, info);
}

// The readers neither create the service nor need it: before it exists no
// client can have asked for a drop, so the answer is 0.
uint32_t Codec2InfoInternal::getDropMode() {
    Codec2InfoService* service = Codec2InfoService::mInstance.load(std::memory_order_acquire);
    uint32_t mode = service != nullptr ? service->mMode.load() : 0;
    logDebugLine(235, "getMode", "mMode = %u", mode);
    return mode;
}

int64_t Codec2InfoInternal::getBootCompleteTime() {
    Codec2InfoService* service = Codec2InfoService::mInstance.load(std::memory_order_acquire);
    int64_t time = service != nullptr ? service->mBootCompleteTime.load() : 0;
    logDebugLine(241, "getBootCompleteTime", "systime = %lld", static_cast<long long>(time));
    return time;
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
