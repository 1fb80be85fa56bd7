// The in-process face of the service for the decoder components that live in
// the same process: every function reaches the one Codec2InfoService.
#pragma once

#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <vendor/larkspan/hardware/c2/info/1.0/types.h>
#include <vendor/larkspan/hardware/cmt/1.0/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

struct _DebugDescription;
class Codec2InfoService;

// One attribute update for updateStreamInfo().
struct StreamInfoItem {
    // Attribute number: the field's position in ST_STREAM_LIST, 0 to 16.
    int32_t attr;
    // The new value, read during the call only: 64 bits for attributes 11
    // (hwSyncId), 15 and 16 (luma and chroma offsets), 32 bits otherwise.
    const void* value;
    // The value's size as the caller states it; only logged.
    int32_t size;
};

class Codec2InfoInternal {
public:
    // The callables through which the service reaches one stream's
    // component. Any of them may be empty.
    struct Codec2InfoServiceCallback {
        // Answers an information query: one item per key it can report.
        std::function<std::vector<::vendor::larkspan::hardware::cmt::V1_0::CmtInfoStruct>(
                std::vector<std::string> keys, uint32_t uniqueStreamId)>
                getInfoCb;
        // Captures the current output buffer and binds it with bindCaptured().
        std::function<void()> captureBufferCb;
        std::function<void()> releaseBufferCb;
        std::function<void(bool enable)> enableDebugCb;
        std::function<void(_DebugDescription* description)> getDebugInfoCb;
        std::function<void(bool enable, uint64_t value)> enableCaptureCb;
        std::function<void(bool enable)> c2DumpCb;
        std::function<void()> reloadPropCb;
    };

    static ::android::hardware::Return<::vendor::larkspan::hardware::c2::info::V1_0::InfoReturn>
    addStreamInfo(const ::vendor::larkspan::hardware::c2::info::V1_0::ST_STREAM_LIST& info);
    static ::android::hardware::Return<::vendor::larkspan::hardware::c2::info::V1_0::InfoReturn>
    updateStreamInfo(uint32_t streamUniqueId, const std::vector<StreamInfoItem>& items);
    static ::android::hardware::Return<::vendor::larkspan::hardware::c2::info::V1_0::InfoReturn>
    removeStreamInfoByUniqueId(uint32_t uniqueId);
    // Called from inside captureBufferCb, under the service's lock: takes none.
    static ::android::hardware::Return<::vendor::larkspan::hardware::c2::info::V1_0::InfoReturn>
    bindCaptured(uint32_t id, const ::android::hardware::hidl_handle& handle);

    // Registers, or replaces, the callables of one stream. The component's
    // object is copied, not kept.
    static void setCodec2InfoServiceCallback(std::shared_ptr<Codec2InfoServiceCallback> cb,
                                             uint32_t uniqueStreamId);

    // Posts a playback event of one stream; true when the stream has an
    // active information listener.
    static bool postCodec2EventToAPK(
            uint32_t uniqueStreamId,
            ::vendor::larkspan::hardware::c2::info::V1_0::NotifyEvent event);
    static bool postCodec2EventToAPK(
            uint32_t uniqueStreamId,
            ::vendor::larkspan::hardware::c2::info::V1_0::NotifyEvent event,
            ::vendor::larkspan::hardware::cmt::V1_0::CmtInfoStruct info);

    // The drop mode bits (1: timed drop requested, 2: drop on) and the time
    // of the last timed request, as clients set them.
    static uint32_t getDropMode();
    static int64_t getBootCompleteTime();

private:
    // The service, made on first use; a plain pointer, since it is never
    // destroyed, spares every call two atomic reference counts.
    static Codec2InfoService* instance();
};

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
