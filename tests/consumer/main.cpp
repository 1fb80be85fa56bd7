// Registers a stream as a decoder component would and reads it back as a
// remote client would; exits 0 when both agree.
#include <Codec2InfoInternal.h>
#include <Codec2InfoService.h>
#include <vendor/larkspan/hardware/c2/info/1.0/ICodec2InfoService.h>

#include <cstdio>

using ::android::sp;
using ::android::hardware::hidl_vec;
using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoInternal;
using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoService;
using ::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoService;
using ::vendor::larkspan::hardware::c2::info::V1_0::InfoReturn;
using ::vendor::larkspan::hardware::c2::info::V1_0::ST_STREAM_LIST;

int main() {
    ST_STREAM_LIST stream{};
    stream.streamid = 42;
    stream.info = "consumer";
    if (Codec2InfoInternal::addStreamInfo(stream) != InfoReturn::SUCCESS) return 1;

    sp<ICodec2InfoService> service = Codec2InfoService::getInstance();
    bool seen = false;
    auto ret = service->getStreamList([&](InfoReturn result, const hidl_vec<ST_STREAM_LIST>& list) {
        seen = result == InfoReturn::SUCCESS && list.size() == 1 && list[0].streamid == 42;
    });
    if (!ret.isOk() || !seen) return 1;
    printf("stream 42 registered and listed\n");
    return 0;
}
