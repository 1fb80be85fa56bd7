// Event listeners subscribed, resubscribed and served with any names, then
// told of events posted with any value.
#include <Codec2InfoInternal.h>
#include <fuzzer/FuzzedDataProvider.h>

#include "FuzzSupport.h"

namespace {

using namespace ::vendor::larkspan::hardware::c2::info;
using ::android::sp;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using ::android::hardware::Void;

class Listener : public V1_0::ICodec2InfoServiceEventListener {
public:
    Return<void> onNotify(const V1_0::NotifyEventInfo& event) override {
        mHeard += event.event.size();
        return Void();
    }

private:
    size_t mHeard = 0;
};

hidl_vec<hidl_string> names(FuzzedDataProvider& input) {
    std::string text = input.ConsumeRandomLengthString(512);
    std::vector<std::string> words =
            c2info_fuzz::words(reinterpret_cast<const uint8_t*>(text.data()), text.size(), 64);
    return hidl_vec<hidl_string>(words.begin(), words.end());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    c2info_fuzz::quietService();
    V1_0::ST_STREAM_LIST stream{};
    stream.streamid = 1;
    (void)implementation::Codec2InfoInternal::addStreamInfo(stream).isOk();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    auto service = implementation::Codec2InfoService::getInstance();
    uint64_t streamId = input.ConsumeBool() ? 1 : input.ConsumeIntegral<uint64_t>();
    sp<Listener> listener = new Listener();
    uint64_t id = 0;
    V1_0::InfoReturn registered = V1_0::InfoReturn::FAILURE;
    service->registerEventListener(streamId, names(input), listener,
                                   [&](V1_0::InfoReturn ret, uint64_t newId) {
                                       registered = ret;
                                       id = newId;
                                   });
    if (registered == V1_0::InfoReturn::SUCCESS) {
        (void)service
                ->updateListenEvents(input.ConsumeBool() ? id : input.ConsumeIntegral<uint64_t>(),
                                     names(input))
                .isOk();
    }
    for (int i = 0; i < 4; ++i) {
        auto event = static_cast<V1_0::NotifyEvent>(input.ConsumeIntegralInRange<uint64_t>(0, 32));
        implementation::Codec2InfoInternal::postCodec2EventToAPK(1, event);
    }
    if (registered == V1_0::InfoReturn::SUCCESS) (void)service->unregisterEventListener(id).isOk();
    return 0;
}
