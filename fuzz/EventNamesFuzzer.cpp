// Event listeners subscribed, resubscribed and served with any names, then
// told of events posted with any value.
#include <fuzzer/FuzzedDataProvider.h>

#include "FuzzSupport.h"

namespace {

using namespace c2info_fuzz;

class Listener : public ICodec2InfoServiceEventListener {
public:
    Return<void> onNotify(const NotifyEventInfo& event) override {
        mHeard += event.event.size();
        return Void();
    }

private:
    size_t mHeard = 0;
};

hidl_vec<hidl_string> names(FuzzedDataProvider& input) {
    std::string text = input.ConsumeRandomLengthString(512);
    std::vector<std::string> list =
            words(reinterpret_cast<const uint8_t*>(text.data()), text.size(), 64);
    return hidl_vec<hidl_string>(list.begin(), list.end());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    quietService();
    ST_STREAM_LIST stream{};
    stream.streamid = 1;
    (void)Codec2InfoInternal::addStreamInfo(stream).isOk();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    auto service = Codec2InfoService::getInstance();
    uint64_t streamId = input.ConsumeBool() ? 1 : input.ConsumeIntegral<uint64_t>();
    sp<Listener> listener = new Listener();
    auto [calls, answer] = answerOf<InfoReturn, uint64_t>(
            [&](auto cb) { service->registerEventListener(streamId, names(input), listener, cb); });
    auto [registered, id] = answer;
    if (registered == InfoReturn::SUCCESS) {
        (void)service
                ->updateListenEvents(input.ConsumeBool() ? id : input.ConsumeIntegral<uint64_t>(),
                                     names(input))
                .isOk();
    }
    for (int i = 0; i < 4; ++i) {
        auto event = static_cast<NotifyEvent>(input.ConsumeIntegralInRange<uint64_t>(0, 32));
        Codec2InfoInternal::postCodec2EventToAPK(1, event);
    }
    if (registered == InfoReturn::SUCCESS) (void)service->unregisterEventListener(id).isOk();
    return 0;
}
