#include <FrameGenerator.h>
#include <FrameGeometry.h>
#include <libyuv/convert.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "SharedMemory.h"

FrameGenerator::FrameGenerator() = default;
FrameGenerator::~FrameGenerator() = default;

int FrameGenerator::detile(const native_handle* src, const native_handle* dst,
                           const BufferInfo& srcInfo, const BufferInfo& dstInfo) {
    if (srcInfo.format != kFormatTiledNV12 || dstInfo.format != kFormatLinearNV12) return -EINVAL;
    if (srcInfo.width != dstInfo.width || srcInfo.height != dstInfo.height) return -EINVAL;

    SharedMemory source(src, PROT_READ);
    SharedMemory destination(dst, PROT_READ | PROT_WRITE);
    if (!source.valid() || !destination.valid()) return -EBADF;
    if (!framegeometry::fits(srcInfo, source.size()) ||
        !framegeometry::fits(dstInfo, destination.size())) {
        return -EINVAL;
    }

    const uint8_t* in = source.data();
    uint8_t* out = destination.data();
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
    SharedMemory memory(handle, PROT_READ);
    if (!memory.valid()) return -EBADF;
    uint64_t end;
    if (__builtin_add_overflow(info.metadataOffset, framegeometry::kMetaDataBlockSize, &end) ||
        end > memory.size()) {
        return -EINVAL;
    }
    const uint8_t* block = memory.data() + info.metadataOffset;
    if (memcmp(block, kMetaDataMagic, sizeof(kMetaDataMagic)) != 0) return -ENODATA;
    memcpy(out, block + sizeof(kMetaDataMagic), sizeof(*out));
    return 0;
}
