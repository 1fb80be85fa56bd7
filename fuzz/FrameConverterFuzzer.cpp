// detile and getMetaData through the service with any geometry (words drawn
// near the edges of 2^31 and 2^32) and hostile handles: no descriptor,
// several, memory smaller than described, unsealed, read-only.
#include <SharedFrame.h>
#include <fcntl.h>
#include <fuzzer/FuzzedDataProvider.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

#include "FuzzSupport.h"

namespace {

using namespace c2info_fuzz;

constexpr uint32_t kEdges[] = {0,          1,          2,          16,         32,
                               64,         640,        1u << 26,   1u << 27,   0x7FFFFFF0,
                               0x7FFFFFFF, 0x80000000, 0xFFFFFFF0, 0xFFFFFFFF, 4096};

// Kept for the whole run (a vector's destructor would leave them to the
// leak checker).
native_handle_t* gHandles[9];

int memory(off_t size, bool sealed) {
    int fd = memfd_create("c2info-fuzz", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (fd < 0 || ftruncate(fd, size) != 0) abort();
    if (sealed && fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK) != 0) abort();
    return fd;
}

uint32_t word(FuzzedDataProvider& input) {
    return input.ConsumeBool() ? input.PickValueInArray(kEdges) : input.ConsumeIntegral<uint32_t>();
}

ST_BUFFER_DESCRIPTION description(FuzzedDataProvider& input) {
    ST_BUFFER_DESCRIPTION desc{};
    for (size_t i = 0; i < 4; ++i) desc.geometry[i] = word(input);
    desc.word4 = input.ConsumeIntegralInRange<uint32_t>(0, 2);
    desc.word5 = word(input);
    desc.word6 = word(input);
    desc.extent = input.ConsumeBool() ? uint64_t{word(input)} : input.ConsumeIntegral<uint64_t>();
    return desc;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    quietService();
    int frame = memory(1 << 20, true);
    int small = memory(4096, true);
    int large = memory(4 << 20, true);
    int unsealed = memory(1 << 20, false);
    int readOnly = open(("/proc/self/fd/" + std::to_string(frame)).c_str(), O_RDONLY | O_CLOEXEC);
    int pipeEnds[2];
    if (pipe2(pipeEnds, O_CLOEXEC) != 0) abort();
    native_handle_t* handles[] = {handleOf({}),
                                  handleOf({frame}),
                                  handleOf({small}),
                                  handleOf({large}),
                                  handleOf({unsealed}),
                                  handleOf({readOnly}),
                                  handleOf({frame, small}),
                                  handleOf({pipeEnds[0]}),
                                  nullptr};
    std::copy(std::begin(handles), std::end(handles), gHandles);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    auto service = Codec2InfoService::getInstance();
    native_handle_t* src = input.PickValueInArray(gHandles);
    native_handle_t* dst = input.PickValueInArray(gHandles);
    ST_BUFFER_DESCRIPTION srcDesc = description(input);
    ST_BUFFER_DESCRIPTION dstDesc = description(input);
    if (input.ConsumeBool()) {
        (void)service->detile(hidl_handle(src), hidl_handle(dst), srcDesc, dstDesc).isOk();
    } else {
        service->getMetaData(hidl_handle(src), srcDesc,
                             [](InfoReturn, const ST_Frame_MetaData&) {});
    }
    return 0;
}
