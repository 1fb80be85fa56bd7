// Detile and frame metadata through the frame converter, on real frames in
// shared memory.
#include <FrameGeometry.h>
#include <SharedFrame.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cinttypes>
#include <cstring>
#include <fstream>

#include "support/ServiceTestSupport.h"
#include "support/Transcript.h"

namespace c2info_test {
namespace {

// While alive, the process can open no new file descriptor, so cloning a
// handle that carries one fails.
class NoNewFileDescriptors {
public:
    NoNewFileDescriptors() {
        getrlimit(RLIMIT_NOFILE, &mSaved);
        rlimit none = mSaved;
        none.rlim_cur = 0;
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoNewFileDescriptors() { setrlimit(RLIMIT_NOFILE, &mSaved); }

private:
    rlimit mSaved;
};

class FrameConversionTest : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        mSource = SharedFrame::create(kWidth, kHeight, FrameGenerator::kFormatTiledNV12);
        mDestination = SharedFrame::create(kWidth, kHeight, FrameGenerator::kFormatLinearNV12);
        ASSERT_NE(mSource, nullptr);
        ASSERT_NE(mDestination, nullptr);
    }

    InfoReturn detile(const hidl_handle& src, const hidl_handle& dst,
                      const ST_BUFFER_DESCRIPTION& s, const ST_BUFFER_DESCRIPTION& d) {
        return mService->detile(src, dst, s, d);
    }
    std::pair<InfoReturn, ST_Frame_MetaData> getMetaData(const hidl_handle& handle,
                                                         const ST_BUFFER_DESCRIPTION& desc) {
        auto [calls, answer] = answerOf<InfoReturn, ST_Frame_MetaData>(
                [&](auto cb) { mService->getMetaData(handle, desc, cb); });
        EXPECT_EQ(calls, 1);
        return {std::get<0>(answer), std::get<1>(answer)};
    }

    static constexpr uint32_t kWidth = 200;  // not a whole number of tiles
    static constexpr uint32_t kHeight = 90;
    std::unique_ptr<SharedFrame> mSource;
    std::unique_ptr<SharedFrame> mDestination;
};

// The substitute refuses a non-zero reserved word, which lies where the
// wire's padding does: the padding must never reach it.
TEST_F(FrameConversionTest, DetileTurnsATiledFrameIntoTheSameLinearPicture) {
    LinearPicture picture = drawColorBars(kWidth, kHeight, 17);
    mSource->writePicture(picture);
    std::set<std::string> descriptors = openFileDescriptors();
    ST_BUFFER_DESCRIPTION src = describe(mSource->info());
    ST_BUFFER_DESCRIPTION dst = describe(mDestination->info());
    memset(reinterpret_cast<char*>(&src) + 28, 0xA5, 4);
    memset(reinterpret_cast<char*>(&dst) + 28, 0xA5, 4);

    EXPECT_EQ(detile(mSource->handle(), mDestination->handle(), src, dst), InfoReturn::SUCCESS);
    LinearPicture result = mDestination->readPicture();
    EXPECT_EQ(result.y, picture.y);
    EXPECT_EQ(result.uv, picture.uv);
    EXPECT_EQ(openFileDescriptors(), descriptors);  // the clones are gone, the originals open
}

TEST_F(FrameConversionTest, FailuresReleaseEveryCloneAndSayWhy) {
    logIntoTranscript();
    using Info = FrameGenerator::BufferInfo;
    const native_handle_t* src = mSource->handle();
    const native_handle_t* dst = mDestination->handle();
    native_handle_t* noFds = native_handle_create(0, 0);
    Info shrunk = mDestination->info(), pastTheEnd = mSource->info();
    shrunk.width -= 2;
    pastTheEnd.metadataOffset = UINT64_MAX - 4;
    // Each answers whether it failed and told nothing: metadata as zeros.
    auto detiled = [&](const native_handle_t* from, const native_handle_t* to, Info toInfo) {
        return [=] {
            return detile(from, to, describe(mSource->info()), describe(toInfo)) ==
                   InfoReturn::FAILURE;
        };
    };
    auto read = [&](const native_handle_t* from, Info info) {
        return [=] {
            auto [ret, metaData] = getMetaData(from, describe(info));
            return ret == InfoReturn::FAILURE && metaData == ST_Frame_MetaData{};
        };
    };
    struct Case {
        const char* name;
        std::function<bool()> failed;
        bool noNewDescriptors;
        const char* error;
    } cases[] = {
            {"no source", detiled(nullptr, dst, mDestination->info()), false,
             "detile: src_nativeHandle is null"},
            {"neither handle: the source is named", detiled(nullptr, nullptr, mDestination->info()),
             false, "detile: src_nativeHandle is null"},
            {"no destination", detiled(src, nullptr, mDestination->info()), false,
             "detile: dst_nativeHandle is null"},
            {"source cannot be cloned", detiled(src, dst, mDestination->info()), true,
             "[L 479][detile] src_nativeHandle is null"},
            {"destination cannot be cloned", detiled(noFds, dst, mDestination->info()), true,
             "[L 484][detile] dst_nativeHandle is null"},
            {"converter refuses", detiled(src, dst, shrunk), false, "[L 509][detile] detile fail"},
            {"no metadata handle", read(nullptr, mSource->info()), false,
             "getMetaData: src_nativeHandle is null"},
            {"metadata handle cannot be cloned", read(src, mSource->info()), true,
             "[L 745][getMetaData] src_nativeHandle is null"},
            {"no metadata stored", read(src, mSource->info()), false,
             "[L 761][getMetaData] getMetaData fail"},
            {"metadata past the end", read(src, pastTheEnd), false,
             "[L 761][getMetaData] getMetaData fail"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::set<std::string> descriptors = openFileDescriptors();
        size_t before = transcript().size();
        bool failed;
        {
            std::unique_ptr<NoNewFileDescriptors> limit;
            if (c.noNewDescriptors) limit = std::make_unique<NoNewFileDescriptors>();
            failed = c.failed();
        }
        EXPECT_TRUE(failed);
        EXPECT_EQ(transcript().substr(before), "  E/service_tests: " + std::string(c.error) + "\n");
        EXPECT_EQ(openFileDescriptors(), descriptors);
    }
    native_handle_delete(noFds);
}

TEST_F(FrameConversionTest, HostileGeometriesAreRefusedWithoutTouchingOtherMemory) {
    using Info = FrameGenerator::BufferInfo;
    struct Case {
        const char* name;
        std::function<void(Info&, Info&)> spoil;
    } cases[] = {
            {"zero width", [](Info& s, Info& d) { s.width = d.width = 0; }},
            {"odd height", [](Info& s, Info& d) { s.height = d.height = kHeight - 1; }},
            {"huge height", [](Info& s, Info& d) { s.height = d.height = 0x7ffffffe; }},
            {"tiled stride below the width", [](Info& s, Info&) { s.lumaStride = 16; }},
            {"tiled stride not a tile multiple", [](Info& s, Info&) { s.chromaStride += 2; }},
            {"linear stride below the width", [](Info&, Info& d) { d.chromaStride = kWidth - 2; }},
            {"luma past the end", [](Info& s, Info&) { s.lumaOffset = 0xFFFFFF00; }},
            {"chroma past the end", [](Info&, Info& d) { d.chromaOffset += 4096; }},
            {"destination too tall", [](Info& s, Info& d) { s.height = d.height = 2 * kHeight; }},
            {"formats swapped", [](Info& s, Info& d) { std::swap(s.format, d.format); }},
            {"unknown format", [](Info& s, Info&) { s.format = 7; }},
            {"stride beyond int", [](Info&, Info& d) { d.lumaStride = 0x80000000u; }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Info src = mSource->info(), dst = mDestination->info();
        c.spoil(src, dst);
        EXPECT_EQ(detile(mSource->handle(), mDestination->handle(), describe(src), describe(dst)),
                  InfoReturn::FAILURE);
    }
    native_handle_t* noFds = native_handle_create(0, 1);
    EXPECT_EQ(detile(noFds, mDestination->handle(), describe(mSource->info()),
                     describe(mDestination->info())),
              InfoReturn::FAILURE);
    native_handle_delete(noFds);
}

// Each hands the converter something a careless one would act on: strides
// whose product with the tile height wraps libyuv's int, memory the client
// could truncate under us, and a read-only descriptor of memory that was
// written through a writable one before.
TEST_F(FrameConversionTest, HostileMemoryIsRefusedAndNothingIsWritten) {
    FrameGenerator::BufferInfo wide{};  // tiled NV12
    wide.width = 16, wide.height = 64, wide.lumaStride = 1u << 26, wide.chromaStride = 1u << 27;
    ClientMemory huge(uint64_t{1} << 33, true);
    auto tall = SharedFrame::create(16, 64, FrameGenerator::kFormatLinearNV12);
    ClientMemory unsealed(mSource->size(), false);
    ClientMemory unsealedDestination(mDestination->size(), false);
    ClientMemory destination(mDestination->size(), true);
    ClientMemory readOnly(destination, O_RDONLY);
    mSource->writePicture(drawColorBars(kWidth, kHeight, 3));
    ASSERT_EQ(detile(mSource->handle(), destination.handle(), describe(mSource->info()),
                     describe(mDestination->info())),
              InfoReturn::SUCCESS);
    ASSERT_EQ(ftruncate(destination.fd(), 0), -1);  // sealed
    const uint8_t zeros[64] = {};
    ASSERT_EQ(pwrite(destination.fd(), zeros, sizeof(zeros), 0), 64);

    struct Case {
        const char* name;
        const native_handle_t* src;
        FrameGenerator::BufferInfo srcInfo;
        const native_handle_t* dst;
        FrameGenerator::BufferInfo dstInfo;
    } cases[] = {
            {"strides times tile height beyond int", huge.handle(), wide, tall->handle(),
             tall->info()},
            {"unsealed source", unsealed.handle(), mSource->info(), mDestination->handle(),
             mDestination->info()},
            {"unsealed destination", mSource->handle(), mSource->info(),
             unsealedDestination.handle(), mDestination->info()},
            {"read-only destination", mSource->handle(), mSource->info(), readOnly.handle(),
             mDestination->info()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(detile(c.src, c.dst, describe(c.srcInfo), describe(c.dstInfo)),
                  InfoReturn::FAILURE);
    }
    uint8_t head[64];
    ASSERT_EQ(pread(destination.fd(), head, sizeof(head), 0), 64);
    EXPECT_EQ(memcmp(head, zeros, sizeof(head)), 0);
    EXPECT_EQ(tall->readPicture().y, std::vector<uint8_t>(16 * 64));
}

// Before, a read-only mapping kept for one descriptor could be handed to a
// writer of the same memory and range, and the write through it faulted.
TEST_F(FrameConversionTest, AMappingKeptForReadingIsNeverWrittenThrough) {
    ClientMemory memory(4096, true);
    ClientMemory readOnly(memory, O_RDONLY);
    ASSERT_EQ(pwrite(memory.fd(), FrameGenerator::kMetaDataMagic, 8, 0), 8);
    FrameGenerator::BufferInfo withBlockAtZero = mSource->info();
    withBlockAtZero.metadataOffset = 0;
    EXPECT_EQ(getMetaData(readOnly.handle(), describe(withBlockAtZero)).first, InfoReturn::SUCCESS);

    // A 2x2 linear frame over exactly the metadata block's bytes.
    ClientMemory source(4096, true);
    FrameGenerator::BufferInfo tiled{2, 2, 16, 16, FrameGenerator::kFormatTiledNV12, 0, 512, 0, 0};
    FrameGenerator::BufferInfo overBlock{
            2,
            2,
            2,
            2,
            FrameGenerator::kFormatLinearNV12,
            0,
            static_cast<uint32_t>(framegeometry::kMetaDataBlockSize - 2),
            0,
            0};
    EXPECT_EQ(detile(source.handle(), memory.handle(), describe(tiled), describe(overBlock)),
              InfoReturn::SUCCESS);
}

// The pages of this process that map the client's memory.
uint64_t mappedBytesOf(const char* name) {
    std::ifstream maps("/proc/self/maps");
    uint64_t total = 0;
    for (std::string line; std::getline(maps, line);) {
        if (line.find(name) == std::string::npos) continue;
        uint64_t begin = 0, end = 0;
        sscanf(line.c_str(), "%" SCNx64 "-%" SCNx64, &begin, &end);
        total += end - begin;
    }
    return total;
}

TEST_F(FrameConversionTest, OnlyTheRangeAnOperationNeedsIsMapped) {
    constexpr uint64_t kSize = uint64_t{256} << 20;
    ClientMemory memory(kSize, true);
    FrameGenerator::BufferInfo info = mSource->info();
    info.metadataOffset = kSize - 32;
    const char block[32] = {'C', '2', 'F', 'M', 'E', 'T', 'A', '1', 7};
    ASSERT_EQ(pwrite(memory.fd(), block, sizeof(block), static_cast<off_t>(kSize - 32)), 32);

    auto [ret, metaData] = getMetaData(memory.handle(), describe(info));
    EXPECT_EQ(ret, InfoReturn::SUCCESS);
    EXPECT_EQ(metaData.value0, 7u);
    EXPECT_LE(mappedBytesOf("memfd:c2info-client"), 2 * 4096u);

    // Frames whose planes lie far apart need large ranges; the converter
    // keeps no more of them than its byte budget (256 MB).
    std::vector<std::unique_ptr<ClientMemory>> sparse;
    for (int i = 0; i < 4; ++i) {
        sparse.push_back(std::make_unique<ClientMemory>(uint64_t{100} << 20, true));
        FrameGenerator::BufferInfo far = mSource->info();
        far.lumaOffset = 0;
        far.chromaOffset = (uint64_t{99} << 20);
        EXPECT_EQ(detile(sparse.back()->handle(), mDestination->handle(), describe(far),
                         describe(mDestination->info())),
                  InfoReturn::SUCCESS);
    }
    EXPECT_LE(mappedBytesOf("memfd:c2info-client"), uint64_t{256} << 20);
}

// Whether a page mapped from `offset` (page-aligned or not) shows the byte
// that pread finds there.
bool mapsAtFullOffset(int fd, uint64_t offset, char byte) {
    uint64_t page = offset & ~uint64_t{4095};
    void* data = mmap(nullptr, 8192, PROT_READ, MAP_SHARED, fd, static_cast<off_t>(page));
    if (data == MAP_FAILED) return false;
    bool same = static_cast<const char*>(data)[offset - page + 8] == byte;
    munmap(data, 8192);
    return same;
}

// On the product's 32-bit ABI, size_t and pointers end at 2^32 and off_t,
// unless widened, at 2^31: frames and metadata high in a client's memory
// must still be found at their own bytes, and a span no address space
// there can hold refused rather than wrapped.
TEST_F(FrameConversionTest, OffsetsNearTheThirtyTwoBitEdgesReachTheirOwnBytes) {
    constexpr uint64_t kHigh = 0xFFFF0000;  // the frame ends below 2^32
    ClientMemory memory(kHigh + (uint64_t{1} << 17), true);
    LinearPicture picture = drawColorBars(kWidth, kHeight, 5);
    mSource->writePicture(picture);
    ASSERT_EQ(pwrite(memory.fd(), mSource->data(), mSource->size(), static_cast<off_t>(kHigh)),
              static_cast<ssize_t>(mSource->size()));
    FrameGenerator::BufferInfo high = mSource->info();
    high.lumaOffset += kHigh;
    high.chromaOffset += kHigh;
    EXPECT_EQ(detile(memory.handle(), mDestination->handle(), describe(high),
                     describe(mDestination->info())),
              InfoReturn::SUCCESS);
    EXPECT_EQ(mDestination->readPicture().y, picture.y);

    // Luma at the start, chroma near 2^32: more than a 32-bit process can map.
    FrameGenerator::BufferInfo apart = mSource->info();
    apart.chromaOffset += kHigh;
    EXPECT_EQ(detile(memory.handle(), mDestination->handle(), describe(apart),
                     describe(mDestination->info())),
              sizeof(size_t) == 4 ? InfoReturn::FAILURE : InfoReturn::SUCCESS);

    // A block across 2^32, and one whose offset only its high bits tell from
    // the block at 0.
    const char block[32] = {'C', '2', 'F', 'M', 'E', 'T', 'A', '1', 7};
    const char other[32] = {'C', '2', 'F', 'M', 'E', 'T', 'A', '1', 9};
    ASSERT_EQ(pwrite(memory.fd(), other, sizeof(other), 0), 32);
    for (uint64_t offset : {(uint64_t{1} << 32) - 8, uint64_t{1} << 32}) {
        SCOPED_TRACE(offset);
        ASSERT_EQ(pwrite(memory.fd(), block, sizeof(block), static_cast<off_t>(offset)), 32);
        if (!mapsAtFullOffset(memory.fd(), offset, block[8])) {
            GTEST_SKIP() << "mmap here cuts file offsets to 32 bits (qemu-user 7.2 does)";
        }
        FrameGenerator::BufferInfo info = mSource->info();
        info.metadataOffset = offset;
        auto [ret, metaData] = getMetaData(memory.handle(), describe(info));
        EXPECT_EQ(ret, InfoReturn::SUCCESS);
        EXPECT_EQ(metaData.value0, 7u);
    }
}

TEST_F(FrameConversionTest, MetaDataStoredWithTheFrameIsReadBack) {
    mSource->storeMetaData({123456789, 42, 1920, 1080});
    auto [ret, metaData] = getMetaData(mSource->handle(), describe(mSource->info()));
    EXPECT_EQ(ret, InfoReturn::SUCCESS);
    EXPECT_EQ(metaData, (ST_Frame_MetaData{123456789, 42, 1920, 1080}));
}

}  // namespace
}  // namespace c2info_test
