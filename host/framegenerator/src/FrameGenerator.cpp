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
    uint64_t srcBegin, srcEnd, dstBegin, dstEnd;
    if (!framegeometry::span(srcInfo, &srcBegin, &srcEnd) ||
        !framegeometry::span(dstInfo, &dstBegin, &dstEnd)) {
        return -EINVAL;
    }

    int status;
    std::shared_ptr<const MappingCache::Mapping> source =
            mMappings->map(src, srcBegin, srcEnd, MappingCache::Access::kRead, &status);
    if (source == nullptr) return status;
    std::shared_ptr<const MappingCache::Mapping> destination =
            mMappings->map(dst, dstBegin, dstEnd, MappingCache::Access::kWrite, &status);
    if (destination == nullptr) return status;

    status = libyuv::MM21ToNV12(
            source->at(srcInfo.lumaOffset), static_cast<int>(srcInfo.lumaStride),
            source->at(srcInfo.chromaOffset), static_cast<int>(srcInfo.chromaStride),
            destination->at(dstInfo.lumaOffset), static_cast<int>(dstInfo.lumaStride),
            destination->at(dstInfo.chromaOffset), static_cast<int>(dstInfo.chromaStride),
            static_cast<int>(dstInfo.width), static_cast<int>(dstInfo.height));
    return status == 0 ? 0 : -EINVAL;
}

int FrameGenerator::getMetaData(const native_handle* handle, const BufferInfo& info,
                                FrameMetaData* out) {
    if (out == nullptr) return -EINVAL;
    uint64_t end;
    if (__builtin_add_overflow(info.metadataOffset, framegeometry::kMetaDataBlockSize, &end)) {
        return -EINVAL;
    }
    int status;
    std::shared_ptr<const MappingCache::Mapping> memory =
            mMappings->map(handle, info.metadataOffset, end, MappingCache::Access::kRead, &status);
    if (memory == nullptr) return status;
    const uint8_t* block = memory->at(info.metadataOffset);
    if (memcmp(block, kMetaDataMagic, sizeof(kMetaDataMagic)) != 0) return -ENODATA;
    memcpy(out, block + sizeof(kMetaDataMagic), sizeof(*out));
    return 0;
}
