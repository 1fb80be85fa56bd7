// Remote listeners of stream additions and removals.
#include <android/log.h>

#include "support/LogCapture.h"
#include "support/ServiceTestSupport.h"

namespace c2info_test {
namespace {

using ::testing::_;
using ::testing::InSequence;

class StreamListenerTest : public ServiceTest {};

TEST_F(StreamListenerTest, IdsCountFromZeroAndListenersHearInIdOrder) {
    sp<MockStreamListener> first = makeStreamListener();
    sp<MockStreamListener> second = makeStreamListener();
    EXPECT_EQ(registerStreamListener(first), std::make_pair(InfoReturn::SUCCESS, uint64_t{0}));
    EXPECT_EQ(registerStreamListener(second), std::make_pair(InfoReturn::SUCCESS, uint64_t{1}));
    // The same object registered again is a listener of its own.
    EXPECT_EQ(registerStreamListener(first), std::make_pair(InfoReturn::SUCCESS, uint64_t{2}));

    InSequence inOrder;
    EXPECT_CALL(*first, notified(0, 7, "text"));
    EXPECT_CALL(*second, notified(0, 7, "text"));
    EXPECT_CALL(*first, notified(0, 7, "text"));
    EXPECT_CALL(*first, notified(1, 7, "text"));
    EXPECT_CALL(*second, notified(1, 7, "text"));
    EXPECT_CALL(*first, notified(1, 7, "text"));
    Codec2InfoInternal::addStreamInfo(makeStream(7, "text"));
    Codec2InfoInternal::removeStreamInfoByUniqueId(7);
}

TEST_F(StreamListenerTest, UnregisteringTwiceFailsTheSecondTime) {
    sp<MockStreamListener> listener = makeStreamListener();
    uint64_t id = registerStreamListener(listener).second;
    EXPECT_EQ(mService->unregisterStreamListener(id), InfoReturn::SUCCESS);
    LogCapture log;
    EXPECT_EQ(mService->unregisterStreamListener(id), InfoReturn::FAILURE);
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR),
              std::vector<std::string>{"[L 878][unregisterStreamListener] erase Cb fail"});
    EXPECT_CALL(*listener, notified(_, _, _)).Times(0);
    Codec2InfoInternal::addStreamInfo(makeStream(1));
}

TEST_F(StreamListenerTest, AFailingListenerIsLoggedKeptAndTheOthersStillHear) {
    sp<MockStreamListener> failing = makeStreamListener();
    sp<MockStreamListener> healthy = makeStreamListener();
    registerStreamListener(failing);
    registerStreamListener(healthy);
    failing->setTransportFailing(true);
    EXPECT_CALL(*healthy, notified(0, 3, _));

    LogCapture log;
    EXPECT_EQ(Codec2InfoInternal::addStreamInfo(makeStream(3)), InfoReturn::SUCCESS);
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR),
              std::vector<std::string>{"Listener onNotify error: Status(EX_TRANSACTION_FAILED): "
                                       "'FAILED_TRANSACTION: '"});
    EXPECT_EQ(streamList().size(), 1u);

    failing->setTransportFailing(false);
    EXPECT_CALL(*failing, notified(1, 3, _));
    EXPECT_CALL(*healthy, notified(1, 3, _));
    Codec2InfoInternal::removeStreamInfoByUniqueId(3);
}

TEST_F(StreamListenerTest, ADeadListenerIsRemovedWithoutAnyCallToIt) {
    sp<MockStreamListener> dying = makeStreamListener();
    sp<MockStreamListener> living = makeStreamListener();
    registerStreamListener(dying);
    registerStreamListener(living);
    turnLogSwitchOn();
    EXPECT_CALL(*dying, notified(_, _, _)).Times(0);
    EXPECT_CALL(*living, notified(0, 4, _));
    {
        LogCapture log;
        dying->die();
        EXPECT_EQ(log.count(ANDROID_LOG_DEBUG, "[serviceDied] streamListener died. cookie:0"), 1u);
    }
    LogCapture log;
    Codec2InfoInternal::addStreamInfo(makeStream(4));
    EXPECT_TRUE(log.texts(ANDROID_LOG_ERROR).empty());
    // Unregistered then dead: the death finds nothing.
    sp<MockStreamListener> leaving = makeStreamListener();
    mService->unregisterStreamListener(registerStreamListener(leaving).second);
    log.clear();
    leaving->die();
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR),
              std::vector<std::string>{"[L 878][unregisterStreamListener] erase Cb fail"});
}

TEST_F(StreamListenerTest, AListenerThatCannotBeLinkedIsReportedAndKept) {
    sp<MockStreamListener> dead = makeStreamListener();
    dead->die();
    LogCapture log;
    EXPECT_EQ(registerStreamListener(dead), std::make_pair(InfoReturn::FAILURE, uint64_t{0}));
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR),
              std::vector<std::string>{
                      "Failed to register death recipient to get death notification"});
    log.clear();
    Codec2InfoInternal::addStreamInfo(makeStream(2));
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR,
                        "Listener onNotify error: Status(EX_TRANSACTION_FAILED): "
                        "'DEAD_OBJECT: '"),
              1u);
}

TEST_F(StreamListenerTest, ANullListenerIsRefusedAndTakesNoId) {
    LogCapture log;
    std::pair<InfoReturn, uint64_t> answer = registerStreamListener(nullptr);
    EXPECT_EQ(answer.first, InfoReturn::FAILURE);
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR),
              std::vector<std::string>{"[registerStreamListener] null listener"});
    EXPECT_EQ(registerStreamListener(makeStreamListener()).second, 0u);
    EXPECT_EQ(Codec2InfoInternal::addStreamInfo(makeStream(1)), InfoReturn::SUCCESS);
}

}  // namespace
}  // namespace c2info_test
