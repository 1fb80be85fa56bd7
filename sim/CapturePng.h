// A frame as an application grabs it: the decoder's current buffer is
// fetched, detiled through the service into a linear frame of its own and
// handed back, then written as a PNG.
#pragma once

#include <vendor/larkspan/hardware/c2/info/1.0/ICodec2InfoService.h>

#include <string>

namespace sim {

// True with a one-line summary in *report, false with the reason.
bool captureToPng(
        const ::android::sp<::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoService>&
                service,
        uint32_t streamId, const std::string& path, std::string* report);

}  // namespace sim
