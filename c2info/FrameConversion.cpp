// Detile and frame metadata through the platform's frame converter. The
// service works on clones of the client's handles and frees them before it
// returns; the client's own handles are never closed here.
#include <Codec2InfoService.h>
#include <FrameGenerator.h>

#include <cstring>

#include "ServiceLog.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {

struct CloseAndDelete {
    void operator()(native_handle_t* handle) const {
        native_handle_close(handle);
        native_handle_delete(handle);
    }
};
using ClonedHandle = std::unique_ptr<native_handle_t, CloseAndDelete>;

// The converter's geometry, by position; bytes 28 to 31 are padding on the
// wire and never reach the converter.
FrameGenerator::BufferInfo toBufferInfo(const ST_BUFFER_DESCRIPTION& desc) {
    static_assert(sizeof(FrameGenerator::BufferInfo) == sizeof(ST_BUFFER_DESCRIPTION),
                  "the converter's geometry and the wire's share one layout");
    constexpr size_t kPaddingOffset = 28;
    constexpr size_t kPaddingSize = 4;
    FrameGenerator::BufferInfo info;
    auto* to = reinterpret_cast<unsigned char*>(&info);
    const auto* from = reinterpret_cast<const unsigned char*>(&desc);
    memcpy(to, from, kPaddingOffset);
    memset(to + kPaddingOffset, 0, kPaddingSize);
    memcpy(to + kPaddingOffset + kPaddingSize, from + kPaddingOffset + kPaddingSize,
           sizeof(info) - kPaddingOffset - kPaddingSize);
    return info;
}

}  // namespace

// Made on first use and kept. Two first calls at once may each make one;
// the last stored wins and the other goes with its last reference.
std::shared_ptr<FrameGenerator> Codec2InfoService::frameGenerator() {
    std::shared_ptr<FrameGenerator> converter = std::atomic_load(&mFrameGenerator);
    if (converter == nullptr) {
        converter = std::make_shared<FrameGenerator>();
        std::atomic_store(&mFrameGenerator, converter);
    }
    return converter;
}

Return<InfoReturn> Codec2InfoService::detile(const hidl_handle& src, const hidl_handle& dst,
                                             const ST_BUFFER_DESCRIPTION& srcDesc,
                                             const ST_BUFFER_DESCRIPTION& dstDesc) {
    const char* kFunction = "detile";
    std::shared_ptr<FrameGenerator> converter = frameGenerator();
    if (src.getNativeHandle() == nullptr) {
        logText(ANDROID_LOG_ERROR, "%s: src_nativeHandle is null", kFunction);
        return InfoReturn::FAILURE;
    }
    if (dst.getNativeHandle() == nullptr) {
        logText(ANDROID_LOG_ERROR, "%s: dst_nativeHandle is null", kFunction);
        return InfoReturn::FAILURE;
    }
    ClonedHandle srcClone(native_handle_clone(src.getNativeHandle()));
    if (srcClone == nullptr) {
        logLine(ANDROID_LOG_ERROR, 479, kFunction, "src_nativeHandle is null");
        return InfoReturn::FAILURE;
    }
    ClonedHandle dstClone(native_handle_clone(dst.getNativeHandle()));
    if (dstClone == nullptr) {
        logLine(ANDROID_LOG_ERROR, 484, kFunction, "dst_nativeHandle is null");
        return InfoReturn::FAILURE;
    }
    int status = converter->detile(srcClone.get(), dstClone.get(), toBufferInfo(srcDesc),
                                   toBufferInfo(dstDesc));
    if (status != 0) logLine(ANDROID_LOG_ERROR, 509, kFunction, "detile fail");
    srcClone.reset();
    dstClone.reset();
    return status == 0 ? InfoReturn::SUCCESS : InfoReturn::FAILURE;
}

Return<void> Codec2InfoService::getMetaData(const hidl_handle& handle,
                                            const ST_BUFFER_DESCRIPTION& desc, getMetaData_cb cb) {
    const char* kFunction = "getMetaData";
    std::shared_ptr<FrameGenerator> converter = frameGenerator();
    ST_Frame_MetaData metaData{};
    if (handle.getNativeHandle() == nullptr) {
        logText(ANDROID_LOG_ERROR, "%s: src_nativeHandle is null", kFunction);
        cb(InfoReturn::FAILURE, metaData);
        return Void();
    }
    ClonedHandle clone(native_handle_clone(handle.getNativeHandle()));
    if (clone == nullptr) {
        logLine(ANDROID_LOG_ERROR, 745, kFunction, "src_nativeHandle is null");
        cb(InfoReturn::FAILURE, metaData);
        return Void();
    }
    FrameGenerator::FrameMetaData read{};
    if (converter->getMetaData(clone.get(), toBufferInfo(desc), &read) != 0) {
        // Whatever the converter wrote before failing is dropped.
        logLine(ANDROID_LOG_ERROR, 761, kFunction, "getMetaData fail");
        cb(InfoReturn::FAILURE, metaData);
        return Void();
    }
    static_assert(sizeof(read) == sizeof(metaData), "the metadata share one layout");
    memcpy(&metaData, &read, sizeof(metaData));
    cb(InfoReturn::SUCCESS, metaData);
    return Void();
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
