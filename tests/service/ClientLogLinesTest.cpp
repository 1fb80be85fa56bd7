// The debug lines of the operations whose exact texts no other test reads,
// written only while the log switch is on.
#include <android/log.h>
#include <sys/mman.h>

#include "support/LogCapture.h"
#include "support/ServiceTestSupport.h"

namespace c2info_test {
namespace {

using ::testing::_;
using ::testing::AnyNumber;

class NamedTarget
    : public ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoDebugTarget {
public:
    const std::string& targetName() override { return mName; }
    void printUsage(int, int) override {}
    void dump(int, const std::vector<std::string_view>&) override {}

private:
    std::string mName = "vdec";
};

class ClientLogLinesTest : public ServiceTest {};

TEST_F(ClientLogLinesTest, EveryOperationWritesItsDebugLinesInOrder) {
    native_handle_t* buffer = native_handle_create(1, 0);
    buffer->data[0] = memfd_create("log-lines", MFD_CLOEXEC);
    auto callbacks = std::make_shared<Callbacks>();
    callbacks->getInfoCb = [](std::vector<std::string>, uint32_t) {
        return std::vector<CmtInfoStruct>();
    };
    callbacks->captureBufferCb = [buffer] {
        Codec2InfoInternal::bindCaptured(1, hidl_handle(buffer));
    };
    Codec2InfoInternal::addStreamInfo(makeStream(1));
    turnLogSwitchOn();
    sp<MockInfoListener> info = makeInfoListener();
    sp<MockEventListener> events = makeEventListener();
    EXPECT_CALL(*events, notified(_, _, _)).Times(AnyNumber());

    struct Step {
        const char* name;
        std::function<void()> run;
        std::vector<std::string> lines;
    } steps[] = {
            {"component callbacks",
             [&] { Codec2InfoInternal::setCodec2InfoServiceCallback(callbacks, 1); },
             {"[L 163][setCodec2InfoServiceCallback] uniqueStreamId = 1"}},
            {"information listener",
             [&] { mService->registerListener(1, info, {}); },
             {"[L 522][registerListener] id = 1",
              "[L 530][registerListener]  uniqueId(1) is exist"}},
            {"information listener gone",
             [&] { mService->unregisterListener(1); },
             {"[L 549][unregisterListener] id = 1",
              "[L 560][unregisterListener]  uniqueId(1) is exist , removed success"}},
            {"id list",
             [&] { mService->getIdList([](auto, auto, auto) {}); },
             {"[L 569][getIdList] enter", "[L 579][getIdList] unlock"}},
            {"query",
             [&] { mService->getInfo(1, {}, [](auto, auto) {}); },
             {"getInfo : , uniqueStreamId = 1", "[L 600][getInfo] unlock"}},
            {"sync id",
             [&] { mService->convertHwSyncIdToStreamId(0x100000001ull, [](auto, auto) {}); },
             {"[L 704][convertHwSyncIdToStreamId] hwSyncId = 4294967297",
              "convertHwSyncIdToStreamId : hwSyncId = 4294967297, streamUniqueId = 1",
              "[L 721][convertHwSyncIdToStreamId] unlock"}},
            {"event listener",
             [&] { registerEventListener(1, {"hdr_change"}, events); },
             {"[L 887][registerEventListener]",
              "[L 904][registerEventListener] update event hdr_change",
              "[L 915][registerEventListener] mEventListenerInfo size = 1",
              "[L 922][registerEventListener] unlock"}},
            {"events updated",
             [&] { mService->updateListenEvents(0, {"vrr_change"}); },
             {"[L 941][updateListenEvents]",
              "[L 953][updateListenEvents] update event vrr_change"}},
            {"event listener gone",
             [&] { mService->unregisterEventListener(0); },
             {"[L 928][unregisterEventListener]"}},
            {"event listener dead: both its links are told",
             [&] {
                 registerEventListener(1, {}, events);
                 events->die();
             },
             {"[L 887][registerEventListener]",
              "[L 915][registerEventListener] mEventListenerInfo size = 1",
              "[L 922][registerEventListener] unlock", "[serviceDied] eventListener died. cookie:0",
              "[L 928][unregisterEventListener]", "[serviceDied] eventListener died. cookie:1",
              "[L 928][unregisterEventListener]"}},
            {"stream listener gone",
             [&] { mService->unregisterStreamListener(UINT64_MAX); },
             {"[L 873][unregisterStreamListener]"}},
            {"capture",
             [&] { mService->getCurrentVDECBuffer(1, [](auto, auto) {}); },
             {"getCurrentVDECBuffer : uniqueStreamId = 1", "[1] bind()... ",
              "bInterlace : 0 , colorformat = 1 lumaoffset 8589934593 chromaoffset 12884901889",
              "[L 654][getCurrentVDECBuffer] unlock"}},
            {"drop modes",
             [&] {
                 mService->setTimedDropMode(-7);
                 mService->setDropMode(true);
                 Codec2InfoInternal::getDropMode();
                 Codec2InfoInternal::getBootCompleteTime();
             },
             {"[L 831][setTimedMode] systime = -7", "[L 838][setMode] enable = 1",
              "[L 235][getMode] mMode = 3", "[L 241][getBootCompleteTime] systime = -7"}},
            {"debug target",
             [&] { mService->addDebugTarget(std::make_shared<NamedTarget>()); },
             {"[addDebugTarget] add target vdec"}},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.name);
        LogCapture log;
        step.run();
        EXPECT_EQ(log.texts(ANDROID_LOG_DEBUG), step.lines);
    }
    native_handle_close(buffer);
    native_handle_delete(buffer);
}

}  // namespace
}  // namespace c2info_test
