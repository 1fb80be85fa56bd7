// Host substitute for the platform's closed frame converter
// (libcodec2_framegenerator), behind the same interface. It works on buffers
// whose native handle carries one file descriptor of shared memory (a memfd
// sealed with F_SEAL_SHRINK) as its first fd, and never keeps, closes or
// frees a handle it is given.
//
// What the geometry words mean here (the service copies them by position):
//
//   BufferInfo           offset  meaning
//   width, height        0, 4    picture size in pixels; even, non-zero
//   lumaStride           8       bytes per luma row; for a tiled buffer the
//                                aligned width (multiple of 16), i.e. one row
//                                of 16x32 tiles holds lumaStride * 32 bytes
//   chromaStride         12      the same for the interleaved UV plane, whose
//                                tiles are 16x16
//   format               16      kFormatTiledNV12 (MM21 block layout) or
//                                kFormatLinearNV12
//   lumaOffset           20      byte offset of the Y plane in the memory
//   chromaOffset         24      byte offset of the UV plane
//   reserved             28      must be 0
//   metadataOffset       32      byte offset of the frame's metadata block:
//                                the 8 bytes kMetaDataMagic, then a
//                                FrameMetaData
//
// detile() converts a tiled NV12 source into a linear NV12 destination of the
// same size; getMetaData() reads the block a producer stored. Mappings of the
// buffers are kept between calls (see MappingCache). Every geometry is
// checked against the real size of the memory before the range it needs is
// mapped: anything that would reach outside it, a handle without a
// descriptor, memory that could shrink or a read-only destination is
// refused with a negative errno status.
#pragma once

#include <cutils/native_handle.h>

#include <cstdint>
#include <memory>

class MappingCache;

class FrameGenerator {
public:
    static constexpr uint32_t kFormatTiledNV12 = 0;
    static constexpr uint32_t kFormatLinearNV12 = 1;
    static constexpr char kMetaDataMagic[8] = {'C', '2', 'F', 'M', 'E', 'T', 'A', '1'};

    struct BufferInfo {
        uint32_t width;
        uint32_t height;
        uint32_t lumaStride;
        uint32_t chromaStride;
        uint32_t format;
        uint32_t lumaOffset;
        uint32_t chromaOffset;
        uint32_t reserved;
        uint64_t metadataOffset;
    };

    struct FrameMetaData {
        uint64_t timestampUs;  // presentation time
        uint64_t frameNumber;
        uint32_t displayWidth;
        uint32_t displayHeight;
    };

    FrameGenerator();
    ~FrameGenerator();

    // 0 on success, a negative errno value otherwise.
    int detile(const native_handle* src, const native_handle* dst, const BufferInfo& srcInfo,
               const BufferInfo& dstInfo);
    // Fills *out (given zeroed) from the buffer's metadata block.
    int getMetaData(const native_handle* handle, const BufferInfo& info, FrameMetaData* out);

private:
    // Safe for concurrent calls: one converter serves every client.
    std::unique_ptr<MappingCache> mMappings;
};

static_assert(sizeof(FrameGenerator::BufferInfo) == 40, "BufferInfo layout");
static_assert(sizeof(FrameGenerator::FrameMetaData) == 24, "FrameMetaData layout");
