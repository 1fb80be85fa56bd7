// Shows the capture path to a person: a decoder's tiled frame (colour bars
// with a box that moves with the frame number) is detiled through the
// service into a linear frame, which is written as a PNG.
//
//   detile_to_png OUT.png [WIDTH HEIGHT [FRAME]]
#include <Codec2InfoService.h>
#include <SharedFrame.h>
#include <libyuv/convert_argb.h>
#include <png.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoService;
using ::vendor::larkspan::hardware::c2::info::V1_0::InfoReturn;

bool writePng(const char* path, const std::vector<uint8_t>& rgb, uint32_t width, uint32_t height) {
    FILE* file = fopen(path, "wb");
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

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 4 && argc != 5) {
        fprintf(stderr, "usage: %s OUT.png [WIDTH HEIGHT [FRAME]]\n", argv[0]);
        return 2;
    }
    uint32_t width = argc > 2 ? strtoul(argv[2], nullptr, 10) : 640;
    uint32_t height = argc > 3 ? strtoul(argv[3], nullptr, 10) : 360;
    uint32_t frameNumber = argc > 4 ? strtoul(argv[4], nullptr, 10) : 0;

    auto tiled = SharedFrame::create(width, height, FrameGenerator::kFormatTiledNV12);
    auto linear = SharedFrame::create(width, height, FrameGenerator::kFormatLinearNV12);
    if (tiled == nullptr || linear == nullptr) {
        fprintf(stderr, "no frame of %ux%u: the size must be even and non-zero\n", width, height);
        return 1;
    }
    tiled->writePicture(drawColorBars(width, height, frameNumber));

    auto service = Codec2InfoService::getInstance();
    if (service->detile(tiled->handle(), linear->handle(), describe(tiled->info()),
                        describe(linear->info())) != InfoReturn::SUCCESS) {
        fprintf(stderr, "detile failed\n");
        return 1;
    }

    const FrameGenerator::BufferInfo& out = linear->info();
    std::vector<uint8_t> rgb(size_t{width} * height * 3);
    libyuv::NV12ToRAW(linear->data() + out.lumaOffset, out.lumaStride,
                      linear->data() + out.chromaOffset, out.chromaStride, rgb.data(), width * 3,
                      width, height);
    if (!writePng(argv[1], rgb, width, height)) {
        fprintf(stderr, "cannot write %s\n", argv[1]);
        return 1;
    }
    printf("%s: %ux%u frame %u, detiled through the service\n", argv[1], width, height,
           frameNumber);
    return 0;
}
