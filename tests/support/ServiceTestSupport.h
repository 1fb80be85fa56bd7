// Shared pieces of the service's tests: listeners that act as remote peers
// and record what they hear, stream records, and a fixture that starts every
// test on a service of its own.
#pragma once

#include <Harness.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace c2info_test {

class MockEventListener : public RemotePeer<ICodec2InfoServiceEventListener> {
public:
    MOCK_METHOD(void, notified, (std::string event, int32_t intValue, std::string strValue));
    Return<void> onNotify(const NotifyEventInfo& info) override {
        if (Status status = transportStatus(); !status.isOk()) return status;
        notified(info.event, info.info.intValue, info.info.strValue);
        return Void();
    }
};

class MockInfoListener : public RemotePeer<ICmtInfoServiceListener> {
public:
    MOCK_METHOD(void, notified,
                (uint64_t id, uint64_t event, int32_t intValue, std::string strValue));
    Return<void> onNotify(uint64_t id, uint64_t event, const CmtInfoStruct& info) override {
        if (Status status = transportStatus(); !status.isOk()) return status;
        notified(id, event, info.intValue, info.strValue);
        return Void();
    }
};

// Every test runs in a process of its own (ctest runs each one alone), so
// each starts with a service that has never been used. Listeners are made
// here so that their expectations are verified at the end of the test: the
// service keeps them alive beyond it.
class ServiceTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    sp<MockEventListener> makeEventListener() { return makeListener<MockEventListener>(); }
    sp<MockInfoListener> makeInfoListener() { return makeListener<MockInfoListener>(); }

    // Registers an event listener; returns {result, id}.
    std::pair<InfoReturn, uint64_t> registerEventListener(uint64_t streamId,
                                                          std::vector<std::string> names,
                                                          const sp<MockEventListener>& listener);

    sp<Codec2InfoService> mService;

private:
    template <typename Mock>
    sp<Mock> makeListener() {
        sp<Mock> listener = new Mock();
        ::testing::Mock::AllowLeak(listener.get());
        mMocks.push_back({listener, listener.get()});
        return listener;
    }

    // Kept alive until their expectations are verified.
    std::vector<std::pair<sp<::android::RefBase>, void*>> mMocks;
};

}  // namespace c2info_test
