// The lshal debug front end: any words, with two components and a debug
// target registered, onto a pipe that a thread drains.
#include <DebugDescription.h>
#include <fcntl.h>
#include <unistd.h>

#include <thread>

#include "FuzzSupport.h"

namespace {

using namespace c2info_fuzz;
using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoDebugTarget;

class Probe : public Codec2InfoDebugTarget {
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
    (void)Codec2InfoInternal::addStreamInfo(makeStream(streamId)).isOk();
    auto callbacks = std::make_shared<Callbacks>();
    callbacks->getDebugInfoCb = [streamId](_DebugDescription* description) {
        description->component = "c2.fuzz." + std::to_string(streamId);
        description->sideBand = streamId % 2;
        description->inputSource = 5;
        description->input = static_cast<int32_t>(streamId * 100);
    };
    callbacks->enableDebugCb = [](bool) {};
    callbacks->c2DumpCb = [](bool) {};
    callbacks->reloadPropCb = [] {};
    Codec2InfoInternal::setCodec2InfoServiceCallback(callbacks, streamId);
}

native_handle_t* gPipe;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    auto service = quietService();
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
    gPipe = handleOf({ends[1]});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> request = words(data, size);
    // No words is the default command, which sleeps a second between passes.
    if (request.empty()) return 0;
    hidl_vec<hidl_string> args(request.begin(), request.end());
    (void)Codec2InfoService::getInstance()->debug(hidl_handle(gPipe), args).isOk();
    return 0;
}
