// Plane sizes of the substitute converter's buffers (see FrameGenerator.h)
// and the check that a geometry stays inside its memory.
#pragma once

#include <FrameGenerator.h>

#include <cstdint>

namespace framegeometry {

constexpr uint32_t kLumaTileHeight = 32;
constexpr uint32_t kChromaTileHeight = 16;
constexpr uint32_t kTileWidth = 16;
constexpr uint64_t kMetaDataBlockSize =
        sizeof(FrameGenerator::kMetaDataMagic) + sizeof(FrameGenerator::FrameMetaData);

constexpr uint32_t alignUp(uint32_t value, uint32_t alignment) {
    return (value + alignment - 1) / alignment * alignment;
}

// The bytes each plane spans from its offset; 0 for a geometry that no
// buffer can have (zero or odd sizes, strides too small or misaligned, an
// unknown format, values libyuv cannot take: it steps through a tiled plane
// by stride times tile height in int).
uint64_t lumaPlaneSize(const FrameGenerator::BufferInfo& info);
uint64_t chromaPlaneSize(const FrameGenerator::BufferInfo& info);

// The bytes [*begin, *end) of the memory that both planes lie in; false for
// a geometry that no buffer can have.
bool span(const FrameGenerator::BufferInfo& info, uint64_t* begin, uint64_t* end);

}  // namespace framegeometry
