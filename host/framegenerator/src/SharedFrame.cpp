#include <FrameGeometry.h>
#include <SharedFrame.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace {

using framegeometry::alignUp;

// Byte offset of pixel (x, row) in a plane of 16-byte-wide tiles.
size_t tiledOffset(uint32_t x, uint32_t row, uint32_t stride, uint32_t tileHeight) {
    size_t tileRowStart = size_t{row / tileHeight} * stride * tileHeight;
    size_t tileStart =
            size_t{x / framegeometry::kTileWidth} * framegeometry::kTileWidth * tileHeight;
    return tileRowStart + tileStart + (row % tileHeight) * framegeometry::kTileWidth +
           x % framegeometry::kTileWidth;
}

// Copies rows between a linear plane and a plane of the frame, either way.
template <typename Copy>
void forEachChunk(uint32_t width, uint32_t rows, uint32_t stride, uint32_t tileHeight, bool tiled,
                  Copy copy) {
    for (uint32_t row = 0; row < rows; ++row) {
        for (uint32_t x = 0; x < width; x += framegeometry::kTileWidth) {
            size_t length = std::min(framegeometry::kTileWidth, width - x);
            size_t offset =
                    tiled ? tiledOffset(x, row, stride, tileHeight) : size_t{row} * stride + x;
            copy(size_t{row} * width + x, offset, length);
        }
    }
}

struct Rgb {
    uint8_t y, u, v;
};

}  // namespace

::vendor::larkspan::hardware::c2::info::V1_0::ST_BUFFER_DESCRIPTION describe(
        const FrameGenerator::BufferInfo& info) {
    ::vendor::larkspan::hardware::c2::info::V1_0::ST_BUFFER_DESCRIPTION desc;
    static_assert(sizeof(desc) == sizeof(info), "the wire and the converter share one layout");
    memcpy(&desc, &info, sizeof(desc));
    return desc;
}

LinearPicture drawColorBars(uint32_t width, uint32_t height, uint32_t frameNumber) {
    // White, yellow, cyan, green, magenta, red, blue, black in BT.601 YUV.
    static const Rgb kBars[] = {{235, 128, 128}, {210, 16, 146}, {170, 166, 16}, {145, 54, 34},
                                {106, 202, 222}, {81, 90, 240},  {41, 240, 110}, {16, 128, 128}};
    LinearPicture picture{width, height, std::vector<uint8_t>(size_t{width} * height),
                          std::vector<uint8_t>(size_t{width} * (height / 2))};
    uint32_t box = std::max(2u, std::min(width, height) / 8) & ~1u;
    uint32_t boxX = (frameNumber * 8) % std::max(2u, width - box) & ~1u;
    uint32_t boxY = (frameNumber * 4) % std::max(2u, height - box) & ~1u;
    for (uint32_t row = 0; row < height; ++row) {
        for (uint32_t x = 0; x < width; ++x) {
            bool inBox = x >= boxX && x < boxX + box && row >= boxY && row < boxY + box;
            const Rgb& color = inBox ? kBars[0] : kBars[x * 8 / width];
            picture.y[size_t{row} * width + x] = color.y;
            if (row % 2 == 0 && x % 2 == 0) {
                uint8_t* uv = &picture.uv[size_t{row / 2} * width + x];
                uv[0] = color.u;
                uv[1] = color.v;
            }
        }
    }
    return picture;
}

SharedFrame::SharedFrame(const FrameGenerator::BufferInfo& info, size_t size)
    : mInfo(info), mSize(size) {}

std::unique_ptr<SharedFrame> SharedFrame::create(uint32_t width, uint32_t height, uint32_t format) {
    FrameGenerator::BufferInfo info{};
    info.width = width;
    info.height = height;
    info.lumaStride = format == FrameGenerator::kFormatTiledNV12
                              ? alignUp(width, framegeometry::kTileWidth)
                              : width;
    info.chromaStride = info.lumaStride;
    info.format = format;
    uint64_t luma = framegeometry::lumaPlaneSize(info);
    uint64_t chroma = framegeometry::chromaPlaneSize(info);
    if (luma == 0 || chroma == 0) return nullptr;
    info.chromaOffset = static_cast<uint32_t>(luma);
    info.metadataOffset = luma + chroma;
    std::unique_ptr<SharedFrame> frame(
            new SharedFrame(info, luma + chroma + framegeometry::kMetaDataBlockSize));
    return frame->map() ? std::move(frame) : nullptr;
}

bool SharedFrame::map() {
    // The converter maps only memory that cannot shrink under it.
    int fd = memfd_create("c2info-frame", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (fd < 0) return false;
    if (ftruncate(fd, static_cast<off_t>(mSize)) != 0 ||
        fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK) != 0) {
        close(fd);
        return false;
    }
    void* data = mmap(nullptr, mSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (data == MAP_FAILED) {
        close(fd);
        return false;
    }
    mData = static_cast<uint8_t*>(data);
    mHandle = native_handle_create(1, 0);
    mHandle->data[0] = fd;
    return true;
}

SharedFrame::~SharedFrame() {
    if (mData != nullptr) munmap(mData, mSize);
    if (mHandle != nullptr) {
        native_handle_close(mHandle);
        native_handle_delete(mHandle);
    }
}

void SharedFrame::writePicture(const LinearPicture& picture) {
    bool tiled = mInfo.format == FrameGenerator::kFormatTiledNV12;
    forEachChunk(mInfo.width, mInfo.height, mInfo.lumaStride, framegeometry::kLumaTileHeight, tiled,
                 [&](size_t from, size_t to, size_t length) {
                     memcpy(mData + mInfo.lumaOffset + to, picture.y.data() + from, length);
                 });
    forEachChunk(mInfo.width, mInfo.height / 2, mInfo.chromaStride,
                 framegeometry::kChromaTileHeight, tiled,
                 [&](size_t from, size_t to, size_t length) {
                     memcpy(mData + mInfo.chromaOffset + to, picture.uv.data() + from, length);
                 });
}

LinearPicture SharedFrame::readPicture() const {
    LinearPicture picture{mInfo.width, mInfo.height,
                          std::vector<uint8_t>(size_t{mInfo.width} * mInfo.height),
                          std::vector<uint8_t>(size_t{mInfo.width} * (mInfo.height / 2))};
    bool tiled = mInfo.format == FrameGenerator::kFormatTiledNV12;
    forEachChunk(mInfo.width, mInfo.height, mInfo.lumaStride, framegeometry::kLumaTileHeight, tiled,
                 [&](size_t to, size_t from, size_t length) {
                     memcpy(picture.y.data() + to, mData + mInfo.lumaOffset + from, length);
                 });
    forEachChunk(mInfo.width, mInfo.height / 2, mInfo.chromaStride,
                 framegeometry::kChromaTileHeight, tiled,
                 [&](size_t to, size_t from, size_t length) {
                     memcpy(picture.uv.data() + to, mData + mInfo.chromaOffset + from, length);
                 });
    return picture;
}

void SharedFrame::storeMetaData(const FrameGenerator::FrameMetaData& metaData) {
    uint8_t* block = mData + mInfo.metadataOffset;
    memcpy(block, FrameGenerator::kMetaDataMagic, sizeof(FrameGenerator::kMetaDataMagic));
    memcpy(block + sizeof(FrameGenerator::kMetaDataMagic), &metaData, sizeof(metaData));
}
