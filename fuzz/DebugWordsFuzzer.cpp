// The lshal debug front end: any words, with two components and a debug
// target registered, onto a pipe that a thread drains.
#include <Codec2InfoInternal.h>
#include <DebugDescription.h>
#include <Harness.h>
#include <fcntl.h>
#include <unistd.h>

#include <thread>

#include "FuzzSupport.h"

namespace {

using namespace ::vendor::larkspan::hardware::c2::info;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;

class Probe : public implementation::Codec2InfoDebugTarget {
public:
    const std::string& targetName() override { return mName; }
    void printUsage(int fd, int indent) override { dprintf(fd, "%*s--probe ARGS\n", indent, ""); }
    void dump(int fd, const std::vector<std::string_view>& args) override {
        for (std::string_view arg : args)
            dprintf(fd, "%.*s\n", static_cast<int>(arg.size()), arg.data());
    }

private:
    const std::string mName = "probe";
};

void addComponent(uint32_t streamId) {
    (void)implementation::Codec2InfoInternal::addStreamInfo(c2info_test::makeStream(streamId))
            .isOk();
    auto callbacks =
            std::make_shared<implementation::Codec2InfoInternal::Codec2InfoServiceCallback>();
    callbacks->getDebugInfoCb = [streamId](implementation::_DebugDescription* description) {
        description->component = "c2.fuzz." + std::to_string(streamId);
        description->sideBand = streamId % 2;
        description->inputSource = 5;
        description->input = static_cast<int32_t>(streamId * 100);
    };
    callbacks->enableDebugCb = [](bool) {};
    callbacks->c2DumpCb = [](bool) {};
    callbacks->reloadPropCb = [] {};
    implementation::Codec2InfoInternal::setCodec2InfoServiceCallback(callbacks, streamId);
}

native_handle_t* gPipe;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    auto service = c2info_fuzz::quietService();
    addComponent(1);
    addComponent(2);
    service->addDebugTarget(std::make_shared<Probe>());
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) abort();
    std::thread([reader = ends[0]] {
        char buffer[4096];
        while (read(reader, buffer, sizeof(buffer)) > 0) {
        }
    }).detach();
    gPipe = c2info_test::handleOf({ends[1]});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> words = c2info_fuzz::words(data, size);
    // No words is the default command, which sleeps a second between passes.
    if (words.empty()) return 0;
    hidl_vec<hidl_string> args(words.begin(), words.end());
    (void)implementation::Codec2InfoService::getInstance()->debug(hidl_handle(gPipe), args).isOk();
    return 0;
}
