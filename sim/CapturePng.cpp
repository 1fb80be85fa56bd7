#include "CapturePng.h"

#include <SharedFrame.h>
#include <libyuv/convert_argb.h>
#include <png.h>

#include <cstdio>
#include <memory>
#include <vector>

namespace sim {
namespace {

using ::android::sp;
using ::android::hardware::hidl_handle;
using ::vendor::larkspan::hardware::c2::info::V1_0::CAPTURE_BUFFER_DESCRIPTION;
using ::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoService;
using ::vendor::larkspan::hardware::c2::info::V1_0::InfoReturn;

bool writePng(const std::string& path, const std::vector<uint8_t>& rgb, uint32_t width,
              uint32_t height) {
    FILE* file = fopen(path.c_str(), "wb");
    if (file == nullptr) return false;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        fclose(file);
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, width, height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (uint32_t row = 0; row < height; ++row) {
        png_write_row(png, rgb.data() + size_t{row} * width * 3);
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return fclose(file) == 0;
}

// The sim's decoders describe their tiled NV12 frames in the stream
// record: strides in field3 and field4, the metadata block at field5.
FrameGenerator::BufferInfo sourceGeometry(const CAPTURE_BUFFER_DESCRIPTION& desc) {
    return {desc.width,
            desc.height,
            desc.field3,
            desc.field4,
            FrameGenerator::kFormatTiledNV12,
            static_cast<uint32_t>(desc.lumaoffset),
            static_cast<uint32_t>(desc.chromaoffset),
            0,
            desc.field5};
}

}  // namespace

bool captureToPng(const sp<ICodec2InfoService>& service, uint32_t streamId, const std::string& path,
                  std::string* report) {
    if (service->enableCapture(streamId, true, 0).withDefault(InfoReturn::FAILURE) !=
        InfoReturn::SUCCESS) {
        *report = "stream " + std::to_string(streamId) + " has no component that captures";
        return false;
    }
    std::unique_ptr<SharedFrame> linear;
    InfoReturn result = InfoReturn::FAILURE;
    service->getCurrentVDECBuffer(streamId, [&](InfoReturn ret,
                                                const CAPTURE_BUFFER_DESCRIPTION& desc) {
        if (ret != InfoReturn::SUCCESS) return;
        linear = SharedFrame::create(desc.width, desc.height, FrameGenerator::kFormatLinearNV12);
        if (linear == nullptr) return;
        result = service->detile(desc.buffer, hidl_handle(linear->handle()),
                                 describe(sourceGeometry(desc)), describe(linear->info()))
                         .withDefault(InfoReturn::FAILURE);
    });
    (void)service->releaseVDECBuffer(streamId).isOk();
    if (result != InfoReturn::SUCCESS) {
        *report = "no frame of stream " + std::to_string(streamId) + " could be captured";
        return false;
    }

    const FrameGenerator::BufferInfo& out = linear->info();
    std::vector<uint8_t> rgb(size_t{out.width} * out.height * 3);
    libyuv::NV12ToRAW(linear->data() + out.lumaOffset, static_cast<int>(out.lumaStride),
                      linear->data() + out.chromaOffset, static_cast<int>(out.chromaStride),
                      rgb.data(), static_cast<int>(out.width * 3), static_cast<int>(out.width),
                      static_cast<int>(out.height));
    if (!writePng(path, rgb, out.width, out.height)) {
        *report = "cannot write " + path;
        return false;
    }
    *report = path + ": stream " + std::to_string(streamId) + ", " + std::to_string(out.width) +
              "x" + std::to_string(out.height) + ", detiled through the service";
    return true;
}

}  // namespace sim
