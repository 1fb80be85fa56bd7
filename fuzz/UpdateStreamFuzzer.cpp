// updateStreamInfo with any item sequence: attribute numbers in and out of
// range, values of exactly the width the attribute reads (or none), any
// stated size; the registry must stay consistent for its readers.
#include <fuzzer/FuzzedDataProvider.h>

#include <memory>

#include "FuzzSupport.h"

namespace {

using namespace c2info_fuzz;

constexpr uint32_t kStreams[] = {1, 2, 0xFFFFFFFF};

// Streams 1 and 2 and nothing else, whatever the last input renamed.
void resetRegistry(Codec2InfoService& service) {
    auto [calls, listed] = answerOf<InfoReturn, hidl_vec<ST_STREAM_LIST>>(
            [&](auto cb) { service.getStreamList(cb); });
    for (const auto& stream : std::get<1>(listed))
        (void)Codec2InfoInternal::removeStreamInfoByUniqueId(stream.streamid).isOk();
    for (uint32_t streamId : {1u, 2u})
        (void)Codec2InfoInternal::addStreamInfo(makeStream(streamId)).isOk();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    quietService();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    auto service = Codec2InfoService::getInstance();
    resetRegistry(*service);
    uint32_t streamId = input.ConsumeBool() ? input.PickValueInArray(kStreams)
                                            : input.ConsumeIntegral<uint32_t>();
    std::vector<StreamInfoItem> items;
    // Heap storage of the exact width, so that a read past it is caught.
    std::vector<std::unique_ptr<uint8_t[]>> values;
    size_t count = input.ConsumeIntegralInRange<size_t>(0, 8);
    for (size_t i = 0; i < count; ++i) {
        auto attr = static_cast<int32_t>(input.ConsumeIntegral<int8_t>());
        size_t width = attr == 11 || attr == 15 || attr == 16 ? 8 : 4;
        const void* value = nullptr;
        if (!input.ConsumeBool()) {
            values.push_back(std::make_unique<uint8_t[]>(width));
            for (size_t b = 0; b < width; ++b) values.back()[b] = input.ConsumeIntegral<uint8_t>();
            value = values.back().get();
        }
        items.push_back({attr, value, input.ConsumeIntegral<int32_t>()});
    }
    (void)Codec2InfoInternal::updateStreamInfo(streamId, items).isOk();

    service->getStreamList([](InfoReturn, const auto& list) {
        for (const auto& stream : list) (void)stream.info.size();
    });
    service->convertHwSyncIdToStreamId(input.ConsumeIntegral<uint64_t>(),
                                       [](InfoReturn, uint32_t) {});
    if (input.ConsumeBool()) (void)Codec2InfoInternal::removeStreamInfoByUniqueId(streamId).isOk();
    return 0;
}
