#include <FrameGenerator.h>
#include <FrameGeometry.h>
#include <libyuv/convert.h>

#include <cerrno>
#include <cstring>

#include "MappingCache.h"

FrameGenerator::FrameGenerator() : mMappings(std::make_unique<MappingCache>()) {}
FrameGenerator::~FrameGenerator() = default;

int FrameGenerator::detile(const native_handle* src, const native_handle* dst,
                           const BufferInfo& srcInfo, const BufferInfo& dstInfo) {
    if (srcInfo.format != kFormatTiledNV12 || dstInfo.format != kFormatLinearNV12) return -EINVAL;
    if (srcInfo.width != dstInfo.width || srcInfo.height != dstInfo.height) return -EINVAL;

    std::shared_ptr<const MappingCache::Mapping> source = mMappings->map(src, false);
    std::shared_ptr<const MappingCache::Mapping> destination = mMappings->map(dst, true);
    if (source == nullptr || destination == nullptr) return -EBADF;
    if (!framegeometry::fits(srcInfo, source->size()) ||
        !framegeometry::fits(dstInfo, destination->size())) {
        return -EINVAL;
    }

    const uint8_t* in = source->data();
    uint8_t* out = destination->data();
    int status =
            libyuv::MM21ToNV12(in + srcInfo.lumaOffset, static_cast<int>(srcInfo.lumaStride),
                               in + srcInfo.chromaOffset, static_cast<int>(srcInfo.chromaStride),
                               out + dstInfo.lumaOffset, static_cast<int>(dstInfo.lumaStride),
                               out + dstInfo.chromaOffset, static_cast<int>(dstInfo.chromaStride),
                               static_cast<int>(dstInfo.width), static_cast<int>(dstInfo.height));
    return status == 0 ? 0 : -EINVAL;
}

int FrameGenerator::getMetaData(const native_handle* handle, const BufferInfo& info,
                                FrameMetaData* out) {
    if (out == nullptr) return -EINVAL;
    std::shared_ptr<const MappingCache::Mapping> memory = mMappings->map(handle, false);
    if (memory == nullptr) return -EBADF;
    uint64_t end;
    if (__builtin_add_overflow(info.metadataOffset, framegeometry::kMetaDataBlockSize, &end) ||
        end > memory->size()) {
        return -EINVAL;
    }
    const uint8_t* block = memory->data() + info.metadataOffset;
    if (memcmp(block, kMetaDataMagic, sizeof(kMetaDataMagic)) != 0) return -ENODATA;
    memcpy(out, block + sizeof(kMetaDataMagic), sizeof(*out));
    return 0;
}
