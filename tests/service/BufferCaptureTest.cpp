// Capture of a decoder's current output buffer.
#include <android/log.h>
#include <sys/mman.h>

#include "support/LogCapture.h"
#include "support/ServiceTestSupport.h"

namespace c2info_test {
namespace {

using ::vendor::larkspan::hardware::c2::info::V1_0::CAPTURE_BUFFER_DESCRIPTION;

// hidl-gen gives structs with handles no operator==: fields and the
// handle's address.
::testing::AssertionResult same(const CAPTURE_BUFFER_DESCRIPTION& actual,
                                const CAPTURE_BUFFER_DESCRIPTION& expected) {
    auto fields = [](const CAPTURE_BUFFER_DESCRIPTION& d) {
        return std::make_tuple(d.width, d.height, d.field3, d.field4, d.field5, d.field6, d.field7,
                               d.interlace, d.colorformat, d.lumaoffset, d.chromaoffset,
                               d.buffer.getNativeHandle());
    };
    if (fields(actual) == fields(expected)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << toString(actual) << "\n  expected " << toString(expected);
}

// A component that binds one of its buffers when asked to capture.
struct Component {
    Component() : buffer(native_handle_create(1, 0)), other(native_handle_create(1, 0)) {
        buffer->data[0] = memfd_create("capture-a", MFD_CLOEXEC);
        other->data[0] = memfd_create("capture-b", MFD_CLOEXEC);
    }
    ~Component() {
        for (native_handle_t* handle : {buffer, other}) {
            native_handle_close(handle);
            native_handle_delete(handle);
        }
    }
    std::shared_ptr<Callbacks> callbacks(uint32_t id) {
        auto cb = std::make_shared<Callbacks>();
        cb->captureBufferCb = [this, id] {
            ++captures;
            if (bind != nullptr) {
                bindResult = Codec2InfoInternal::bindCaptured(id, hidl_handle(bind));
            }
        };
        cb->releaseBufferCb = [this] { ++releases; };
        cb->enableCaptureCb = [this](bool enable, uint64_t value) {
            enables.emplace_back(enable, value);
        };
        return cb;
    }

    native_handle_t* buffer;
    native_handle_t* other;
    native_handle_t* bind = nullptr;  // what the next capture binds
    InfoReturn bindResult = InfoReturn::FAILURE;
    int captures = 0;
    int releases = 0;
    std::vector<std::pair<bool, uint64_t>> enables;
};

class BufferCaptureTest : public ServiceTest {
protected:
    std::pair<InfoReturn, CAPTURE_BUFFER_DESCRIPTION> capture(uint32_t id) {
        std::pair<InfoReturn, CAPTURE_BUFFER_DESCRIPTION> answer{InfoReturn::SUCCESS, {}};
        int calls = 0;
        mService->getCurrentVDECBuffer(id, [&](InfoReturn ret,
                                               const CAPTURE_BUFFER_DESCRIPTION& d) {
            ++calls;
            answer.first = ret;
            answer.second = d;
            answer.second.buffer = d.buffer.getNativeHandle();  // borrowed, like the client's copy
            // The lock is released by now: a call that takes it returns.
            streamList();
        });
        EXPECT_EQ(calls, 1);
        return answer;
    }

    Component mComponent;
};

TEST_F(BufferCaptureTest, TheBoundBufferComesWithItsStreamsGeometry) {
    struct Case {
        const char* name;
        int32_t colorformat;
        uint32_t width, height;
    } cases[] = {
            {"colour format 2 keeps the size", 2, 1920, 1080},
            {"colour format 3 halves it", 3, 960, 540},
            {"any larger format halves it", 0x7fffffff, 960, 540},
            {"negative formats compare unsigned", -1, 960, 540},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ST_STREAM_LIST stream = makeStream(1);
        stream.colorformat = c.colorformat;
        stream.interlace = 1;
        Codec2InfoInternal::addStreamInfo(stream);
        Codec2InfoInternal::setCodec2InfoServiceCallback(mComponent.callbacks(1), 1);
        mComponent.bind = mComponent.buffer;

        auto [ret, desc] = capture(1);
        EXPECT_EQ(ret, InfoReturn::SUCCESS);
        EXPECT_EQ(mComponent.bindResult, InfoReturn::SUCCESS);
        CAPTURE_BUFFER_DESCRIPTION expected{
                c.width,       c.height,          stream.field3,       stream.field4,
                stream.field5, stream.field6,     stream.field7,       1,
                c.colorformat, stream.lumaoffset, stream.chromaoffset, mComponent.buffer};
        EXPECT_TRUE(same(desc, expected));
    }
}

TEST_F(BufferCaptureTest, WithoutCallbacksNothingIsCapturedOrAdded) {
    Codec2InfoInternal::addStreamInfo(makeStream(1));
    auto [ret, desc] = capture(1);
    EXPECT_EQ(ret, InfoReturn::FAILURE);
    EXPECT_TRUE(same(desc, CAPTURE_BUFFER_DESCRIPTION{}));
    EXPECT_EQ(mService->releaseVDECBuffer(1), InfoReturn::FAILURE);
    EXPECT_EQ(mService->enableCapture(1, true, 3), InfoReturn::FAILURE);
}

TEST_F(BufferCaptureTest, AComponentThatBindsNothingFailsUnlessAnEarlierBufferIsStillBound) {
    Codec2InfoInternal::addStreamInfo(makeStream(1));
    Codec2InfoInternal::setCodec2InfoServiceCallback(mComponent.callbacks(1), 1);
    {
        LogCapture log;
        auto [ret, desc] = capture(1);
        EXPECT_EQ(ret, InfoReturn::FAILURE);
        EXPECT_TRUE(same(desc, CAPTURE_BUFFER_DESCRIPTION{}));
        EXPECT_EQ(log.texts(ANDROID_LOG_ERROR),
                  std::vector<std::string>{"getCurrentVDECBuffer fail, uniqueStreamId = 1"});
    }
    mComponent.bind = mComponent.buffer;
    capture(1);
    mComponent.bind = nullptr;
    auto [ret, desc] = capture(1);
    EXPECT_EQ(ret, InfoReturn::SUCCESS);
    EXPECT_EQ(desc.buffer.getNativeHandle(), mComponent.buffer);

    // Once released, the old buffer is forgotten.
    EXPECT_EQ(mService->releaseVDECBuffer(1), InfoReturn::SUCCESS);
    EXPECT_EQ(capture(1).first, InfoReturn::FAILURE);
    EXPECT_EQ(mComponent.captures, 4);
}

TEST_F(BufferCaptureTest, AStreamMissingFromTheRegistryStillGetsItsBuffer) {
    Codec2InfoInternal::setCodec2InfoServiceCallback(mComponent.callbacks(6), 6);
    mComponent.bind = mComponent.buffer;
    LogCapture log;
    auto [ret, desc] = capture(6);
    EXPECT_EQ(ret, InfoReturn::SUCCESS);
    CAPTURE_BUFFER_DESCRIPTION expected{};
    expected.buffer = mComponent.buffer;
    EXPECT_TRUE(same(desc, expected));
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR),
              std::vector<std::string>{"getCurrentVDECBuffer fail, uniqueStreamId = 6 not found"});
}

TEST_F(BufferCaptureTest, ReleasingTwiceAsksTheComponentTwice) {
    Codec2InfoInternal::setCodec2InfoServiceCallback(mComponent.callbacks(1), 1);
    EXPECT_EQ(mService->releaseVDECBuffer(1), InfoReturn::SUCCESS);
    EXPECT_EQ(mService->releaseVDECBuffer(1), InfoReturn::SUCCESS);
    EXPECT_EQ(mComponent.releases, 2);
}

TEST_F(BufferCaptureTest, AnEmptyBindKeepsTheEarlierBuffer) {
    Codec2InfoInternal::setCodec2InfoServiceCallback(mComponent.callbacks(1), 1);
    mComponent.bind = mComponent.buffer;
    capture(1);
    LogCapture log;
    EXPECT_EQ(Codec2InfoInternal::bindCaptured(5, hidl_handle()), InfoReturn::FAILURE);
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR), std::vector<std::string>{"[5] invalid handle... "});
    mComponent.bind = nullptr;
    EXPECT_EQ(capture(1).second.buffer.getNativeHandle(), mComponent.buffer);
    // One slot serves the whole service: the last bind wins, whatever its id.
    EXPECT_EQ(Codec2InfoInternal::bindCaptured(9, hidl_handle(mComponent.other)),
              InfoReturn::SUCCESS);
    EXPECT_EQ(capture(1).second.buffer.getNativeHandle(), mComponent.other);
}

TEST_F(BufferCaptureTest, CaptureSwitchesPassThroughToTheComponent) {
    Codec2InfoInternal::setCodec2InfoServiceCallback(mComponent.callbacks(1), 1);
    EXPECT_EQ(mService->enableCapture(1, true, 0xFFFFFFFFFFull), InfoReturn::SUCCESS);
    EXPECT_EQ(mService->enableCapture(1, false, 0), InfoReturn::SUCCESS);
    EXPECT_EQ(mComponent.enables,
              (std::vector<std::pair<bool, uint64_t>>{{true, 0xFFFFFFFFFFull}, {false, 0}}));
}

}  // namespace
}  // namespace c2info_test
