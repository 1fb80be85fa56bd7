// Detile and frame metadata through the frame converter, on real frames in
// shared memory.
#include <SharedFrame.h>
#include <android/log.h>
#include <dirent.h>
#include <sys/resource.h>

#include <cstring>

#include "support/LogCapture.h"
#include "support/ServiceTestSupport.h"

namespace c2info_test {
namespace {

using ::vendor::larkspan::hardware::c2::info::V1_0::ST_BUFFER_DESCRIPTION;
using ::vendor::larkspan::hardware::c2::info::V1_0::ST_Frame_MetaData;

size_t openFileDescriptors() {
    size_t count = 0;
    DIR* dir = opendir("/proc/self/fd");
    while (readdir(dir) != nullptr) ++count;
    closedir(dir);
    return count;
}

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
        std::pair<InfoReturn, ST_Frame_MetaData> answer{InfoReturn::SUCCESS, {}};
        int calls = 0;
        mService->getMetaData(handle, desc, [&](InfoReturn ret, const ST_Frame_MetaData& m) {
            ++calls;
            answer = {ret, m};
        });
        EXPECT_EQ(calls, 1);
        return answer;
    }

    static constexpr uint32_t kWidth = 200;  // not a whole number of tiles
    static constexpr uint32_t kHeight = 90;
    std::unique_ptr<SharedFrame> mSource;
    std::unique_ptr<SharedFrame> mDestination;
};

TEST_F(FrameConversionTest, DetileTurnsATiledFrameIntoTheSameLinearPicture) {
    LinearPicture picture = drawColorBars(kWidth, kHeight, 17);
    mSource->writePicture(picture);
    size_t descriptors = openFileDescriptors();

    EXPECT_EQ(detile(mSource->handle(), mDestination->handle(), describe(mSource->info()),
                     describe(mDestination->info())),
              InfoReturn::SUCCESS);
    LinearPicture result = mDestination->readPicture();
    EXPECT_EQ(result.y, picture.y);
    EXPECT_EQ(result.uv, picture.uv);
    EXPECT_EQ(openFileDescriptors(), descriptors);  // the clones are gone, the originals open
}

TEST_F(FrameConversionTest, PaddingBytesOfTheDescriptionNeverReachTheConverter) {
    // The substitute refuses a non-zero reserved word, which lies where the
    // wire's padding does.
    ST_BUFFER_DESCRIPTION src = describe(mSource->info());
    ST_BUFFER_DESCRIPTION dst = describe(mDestination->info());
    memset(reinterpret_cast<char*>(&src) + 28, 0xA5, 4);
    memset(reinterpret_cast<char*>(&dst) + 28, 0xA5, 4);
    EXPECT_EQ(detile(mSource->handle(), mDestination->handle(), src, dst), InfoReturn::SUCCESS);
}

TEST_F(FrameConversionTest, DetileFailuresReleaseEveryCloneAndSayWhy) {
    native_handle_t* noFds = native_handle_create(0, 0);
    FrameGenerator::BufferInfo shrunk = mDestination->info();
    shrunk.width -= 2;
    struct Case {
        const char* name;
        const native_handle_t* src;
        const native_handle_t* dst;
        FrameGenerator::BufferInfo dstInfo;
        bool noNewDescriptors;
        const char* error;
    } cases[] = {
            {"no source", nullptr, mDestination->handle(), mDestination->info(), false,
             "detile: src_nativeHandle is null"},
            {"neither handle: the source is named", nullptr, nullptr, mDestination->info(), false,
             "detile: src_nativeHandle is null"},
            {"no destination", mSource->handle(), nullptr, mDestination->info(), false,
             "detile: dst_nativeHandle is null"},
            {"source cannot be cloned", mSource->handle(), mDestination->handle(),
             mDestination->info(), true, "[L 479][detile] src_nativeHandle is null"},
            {"destination cannot be cloned", noFds, mDestination->handle(), mDestination->info(),
             true, "[L 484][detile] dst_nativeHandle is null"},
            {"converter refuses", mSource->handle(), mDestination->handle(), shrunk, false,
             "[L 509][detile] detile fail"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        size_t descriptors = openFileDescriptors();
        LogCapture log;
        InfoReturn ret;
        {
            std::unique_ptr<NoNewFileDescriptors> limit;
            if (c.noNewDescriptors) limit = std::make_unique<NoNewFileDescriptors>();
            ret = detile(c.src, c.dst, describe(mSource->info()), describe(c.dstInfo));
        }
        EXPECT_EQ(ret, InfoReturn::FAILURE);
        EXPECT_EQ(log.texts(ANDROID_LOG_ERROR), std::vector<std::string>{c.error});
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

TEST_F(FrameConversionTest, MetaDataStoredWithTheFrameIsReadBack) {
    mSource->storeMetaData({123456789, 42, 1920, 1080});
    auto [ret, metaData] = getMetaData(mSource->handle(), describe(mSource->info()));
    EXPECT_EQ(ret, InfoReturn::SUCCESS);
    EXPECT_EQ(metaData, (ST_Frame_MetaData{123456789, 42, 1920, 1080}));
}

TEST_F(FrameConversionTest, MetaDataFailuresAnswerZerosAndReleaseTheClone) {
    FrameGenerator::BufferInfo pastTheEnd = mSource->info();
    pastTheEnd.metadataOffset = UINT64_MAX - 4;
    struct Case {
        const char* name;
        const native_handle_t* handle;
        FrameGenerator::BufferInfo info;
        bool noNewDescriptors;
        const char* error;
    } cases[] = {
            {"no handle", nullptr, mSource->info(), false, "getMetaData: src_nativeHandle is null"},
            {"handle cannot be cloned", mSource->handle(), mSource->info(), true,
             "[L 745][getMetaData] src_nativeHandle is null"},
            {"nothing stored", mSource->handle(), mSource->info(), false,
             "[L 761][getMetaData] getMetaData fail"},
            {"block past the end", mSource->handle(), pastTheEnd, false,
             "[L 761][getMetaData] getMetaData fail"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        size_t descriptors = openFileDescriptors();
        LogCapture log;
        std::pair<InfoReturn, ST_Frame_MetaData> answer;
        {
            std::unique_ptr<NoNewFileDescriptors> limit;
            if (c.noNewDescriptors) limit = std::make_unique<NoNewFileDescriptors>();
            answer = getMetaData(c.handle, describe(c.info));
        }
        EXPECT_EQ(answer.first, InfoReturn::FAILURE);
        EXPECT_EQ(answer.second, ST_Frame_MetaData{});
        EXPECT_EQ(log.texts(ANDROID_LOG_ERROR), std::vector<std::string>{c.error});
        EXPECT_EQ(openFileDescriptors(), descriptors);
    }
}

}  // namespace
}  // namespace c2info_test
