// What detiling a 3840x2160 frame through the service costs, against a plain
// memcpy of the same bytes, against libyuv's conversion on memory already
// mapped, and against calling the converter directly (which maps both
// buffers per call; the service adds handle clones). Frames rotate through
// more memory than the caches hold, so every run starts cold.
#include <Codec2InfoService.h>
#include <SharedFrame.h>
#include <benchmark/benchmark.h>
#include <libyuv/convert.h>

#include <cstring>

namespace {

using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoService;
using ::vendor::larkspan::hardware::c2::info::V1_0::InfoReturn;

constexpr uint32_t kWidth = 3840;
constexpr uint32_t kHeight = 2160;
constexpr int kFrames = 6;

struct FramePair {
    std::unique_ptr<SharedFrame> tiled;
    std::unique_ptr<SharedFrame> linear;
};

std::vector<FramePair>& frames() {
    static std::vector<FramePair> pairs = [] {
        std::vector<FramePair> made;
        for (int i = 0; i < kFrames; ++i) {
            FramePair pair{SharedFrame::create(kWidth, kHeight, FrameGenerator::kFormatTiledNV12),
                           SharedFrame::create(kWidth, kHeight, FrameGenerator::kFormatLinearNV12)};
            pair.tiled->writePicture(drawColorBars(kWidth, kHeight, i));
            memset(pair.linear->data(), 0, pair.linear->size());
            made.push_back(std::move(pair));
        }
        return made;
    }();
    return pairs;
}

// The picture bytes a detile writes: one NV12 frame.
int64_t pictureBytes() {
    return int64_t{kWidth} * kHeight * 3 / 2;
}

void BM_Memcpy(benchmark::State& state) {
    std::vector<FramePair>& pairs = frames();
    size_t next = 0;
    for (auto _ : state) {
        FramePair& pair = pairs[next++ % pairs.size()];
        memcpy(pair.linear->data(), pair.tiled->data(), static_cast<size_t>(pictureBytes()));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * pictureBytes());
}

void BM_LibyuvOnMappedMemory(benchmark::State& state) {
    std::vector<FramePair>& pairs = frames();
    size_t next = 0;
    for (auto _ : state) {
        FramePair& pair = pairs[next++ % pairs.size()];
        const FrameGenerator::BufferInfo& in = pair.tiled->info();
        const FrameGenerator::BufferInfo& out = pair.linear->info();
        libyuv::MM21ToNV12(pair.tiled->data() + in.lumaOffset, in.lumaStride,
                           pair.tiled->data() + in.chromaOffset, in.chromaStride,
                           pair.linear->data() + out.lumaOffset, out.lumaStride,
                           pair.linear->data() + out.chromaOffset, out.chromaStride, kWidth,
                           kHeight);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * pictureBytes());
}

void BM_ConverterDetile(benchmark::State& state) {
    std::vector<FramePair>& pairs = frames();
    FrameGenerator converter;
    size_t next = 0;
    for (auto _ : state) {
        FramePair& pair = pairs[next++ % pairs.size()];
        if (converter.detile(pair.tiled->handle(), pair.linear->handle(), pair.tiled->info(),
                             pair.linear->info()) != 0) {
            state.SkipWithError("detile failed");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * pictureBytes());
}

void BM_ServiceDetile(benchmark::State& state) {
    std::vector<FramePair>& pairs = frames();
    auto service = Codec2InfoService::getInstance();
    size_t next = 0;
    for (auto _ : state) {
        FramePair& pair = pairs[next++ % pairs.size()];
        if (service->detile(pair.tiled->handle(), pair.linear->handle(),
                            describe(pair.tiled->info()),
                            describe(pair.linear->info())) != InfoReturn::SUCCESS) {
            state.SkipWithError("detile failed");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * pictureBytes());
}

BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_LibyuvOnMappedMemory)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_ConverterDetile)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_ServiceDetile)->Unit(benchmark::kMillisecond)->MinTime(1.0);

}  // namespace

BENCHMARK_MAIN();
