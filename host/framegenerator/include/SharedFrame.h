// Frames in shared memory as a decoder produces them, for tests and the
// simulated codec process: a memfd behind a native handle, a geometry in the
// substitute converter's terms, and the frame's metadata block.
#pragma once

#include <FrameGenerator.h>
#include <vendor/larkspan/hardware/c2/info/1.0/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// A linear NV12 picture in ordinary memory.
struct LinearPicture {
    uint32_t width;
    uint32_t height;
    std::vector<uint8_t> y;   // width bytes per row
    std::vector<uint8_t> uv;  // width bytes per row, height / 2 rows
};

// A geometry as a client hands it to the service's detile and getMetaData:
// the same 40 bytes, by position.
::vendor::larkspan::hardware::c2::info::V1_0::ST_BUFFER_DESCRIPTION describe(
        const FrameGenerator::BufferInfo& info);

// Eight colour bars with a white box whose place moves with frameNumber, so
// that consecutive frames are told apart at a glance.
LinearPicture drawColorBars(uint32_t width, uint32_t height, uint32_t frameNumber);

class SharedFrame {
public:
    // A frame of even, non-zero size in one of FrameGenerator's formats,
    // with room for a metadata block; null when the memory cannot be had.
    static std::unique_ptr<SharedFrame> create(uint32_t width, uint32_t height, uint32_t format);
    ~SharedFrame();
    SharedFrame(const SharedFrame&) = delete;
    SharedFrame& operator=(const SharedFrame&) = delete;

    const native_handle_t* handle() const { return mHandle; }
    const FrameGenerator::BufferInfo& info() const { return mInfo; }
    uint8_t* data() const { return mData; }
    size_t size() const { return mSize; }

    // Stores the picture in the frame's own layout; it must be of its size.
    void writePicture(const LinearPicture& picture);
    // The frame's picture as linear NV12, read back from its own layout.
    LinearPicture readPicture() const;
    void storeMetaData(const FrameGenerator::FrameMetaData& metaData);

private:
    SharedFrame(const FrameGenerator::BufferInfo& info, size_t size);
    bool map();

    FrameGenerator::BufferInfo mInfo;
    size_t mSize;
    native_handle_t* mHandle = nullptr;
    uint8_t* mData = nullptr;
};
