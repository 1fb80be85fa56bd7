// Shared pieces of the service's tests: listeners that act as remote peers
// and record what they hear, stream records, and a fixture that starts every
// test on a service of its own.
#pragma once

#include <Codec2InfoInternal.h>
#include <Codec2InfoService.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hidl/RemotePeer.h>

#include <memory>
#include <string>
#include <vector>

namespace c2info_test {

using ::android::sp;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::RemotePeer;
using ::android::hardware::Return;
using ::android::hardware::Status;
using ::android::hardware::Void;
using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoInternal;
using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoService;
using ::vendor::larkspan::hardware::c2::info::implementation::StreamInfoItem;
using ::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoServiceEventListener;
using ::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoServiceStreamListener;
using ::vendor::larkspan::hardware::c2::info::V1_0::InfoReturn;
using ::vendor::larkspan::hardware::c2::info::V1_0::NotifyEvent;
using ::vendor::larkspan::hardware::c2::info::V1_0::NotifyEventInfo;
using ::vendor::larkspan::hardware::c2::info::V1_0::ST_STREAM_LIST;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtInfoStruct;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtReturn;
using ::vendor::larkspan::hardware::cmt::V1_0::ICmtInfoServiceListener;
using Callbacks = Codec2InfoInternal::Codec2InfoServiceCallback;

class MockStreamListener : public RemotePeer<ICodec2InfoServiceStreamListener> {
public:
    MOCK_METHOD(void, notified, (uint32_t type, uint64_t streamId, std::string info));
    Return<void> onNotify(uint32_t type, uint64_t streamId, const hidl_string& info) override {
        if (Status status = transportStatus(); !status.isOk()) return status;
        notified(type, streamId, info);
        return Void();
    }
};

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

// A stream record whose every field derives from its id, so that records
// are told apart.
ST_STREAM_LIST makeStream(uint32_t streamId, const std::string& info = "stream");

// Every test runs in a process of its own (ctest runs each one alone), so
// each starts with a service that has never been used. Listeners are made
// here so that their expectations are verified at the end of the test: the
// service keeps them alive beyond it.
class ServiceTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    sp<MockStreamListener> makeStreamListener() { return makeListener<MockStreamListener>(); }
    sp<MockEventListener> makeEventListener() { return makeListener<MockEventListener>(); }
    sp<MockInfoListener> makeInfoListener() { return makeListener<MockInfoListener>(); }

    // The registry as a client sees it.
    std::vector<ST_STREAM_LIST> streamList();
    // Registers a stream listener; returns {result, id}.
    std::pair<InfoReturn, uint64_t> registerStreamListener(const sp<MockStreamListener>& listener);
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
