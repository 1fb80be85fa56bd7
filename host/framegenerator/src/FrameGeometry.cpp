#include <FrameGeometry.h>

#include <algorithm>
#include <climits>

namespace framegeometry {

namespace {

constexpr uint32_t kMaxDimension = 1u << 15;

bool plausible(const FrameGenerator::BufferInfo& info) {
    if (info.reserved != 0) return false;
    if (info.width == 0 || info.height == 0 || info.width % 2 != 0 || info.height % 2 != 0) {
        return false;
    }
    if (info.width > kMaxDimension || info.height > kMaxDimension) return false;
    if (info.lumaStride > INT_MAX || info.chromaStride > INT_MAX) return false;
    switch (info.format) {
        case FrameGenerator::kFormatTiledNV12:
            return info.lumaStride % kTileWidth == 0 && info.chromaStride % kTileWidth == 0 &&
                   info.lumaStride >= alignUp(info.width, kTileWidth) &&
                   info.chromaStride >= alignUp(info.width, kTileWidth) &&
                   info.lumaStride <= INT_MAX / kLumaTileHeight &&
                   info.chromaStride <= INT_MAX / kChromaTileHeight;
        case FrameGenerator::kFormatLinearNV12:
            return info.lumaStride >= info.width && info.chromaStride >= info.width;
    }
    return false;
}

// Rows of `stride` bytes, the last one only `lastRow` bytes long.
uint64_t planeSpan(uint64_t rows, uint64_t stride, uint64_t lastRow) {
    return (rows - 1) * stride + lastRow;
}

}  // namespace

uint64_t lumaPlaneSize(const FrameGenerator::BufferInfo& info) {
    if (!plausible(info)) return 0;
    if (info.format == FrameGenerator::kFormatTiledNV12) {
        return uint64_t{alignUp(info.height, kLumaTileHeight)} * info.lumaStride;
    }
    return planeSpan(info.height, info.lumaStride, info.width);
}

uint64_t chromaPlaneSize(const FrameGenerator::BufferInfo& info) {
    if (!plausible(info)) return 0;
    uint32_t rows = info.height / 2;
    if (info.format == FrameGenerator::kFormatTiledNV12) {
        return uint64_t{alignUp(rows, kChromaTileHeight)} * info.chromaStride;
    }
    return planeSpan(rows, info.chromaStride, info.width);
}

bool span(const FrameGenerator::BufferInfo& info, uint64_t* begin, uint64_t* end) {
    uint64_t luma = lumaPlaneSize(info);
    uint64_t chroma = chromaPlaneSize(info);
    if (luma == 0 || chroma == 0) return false;
    *begin = std::min(info.lumaOffset, info.chromaOffset);
    *end = std::max(uint64_t{info.lumaOffset} + luma, uint64_t{info.chromaOffset} + chroma);
    return true;
}

}  // namespace framegeometry
