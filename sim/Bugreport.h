// A bugreport as Android 12's dumpstate writes it, for a simulated TV:
// version.txt, main_entry.txt naming the main text (its header giving the
// build and the time, then the log), the service's default dump under the
// entry lshal-debug gives it and one other HAL's entry.
#pragma once

#include <cstddef>
#include <string>

namespace sim {

struct BugreportHeader {
    // brand/product/device:release/id/incremental:type/tags
    std::string fingerprint;
    // YYYY-MM-DD HH:MM:SS, the TV's local time
    std::string takenAt;
};

// The build the simulated TV runs unless told otherwise.
constexpr const char* kDefaultFingerprint =
        "larkspan/tv_product/tv_device:12/SP1A.210812.016/20261101:user/release-keys";

// Writes FILE.zip; false with *error set when it cannot. The main text
// holds about mainTextBytes of log lines after its header.
bool writeBugreport(const std::string& path, const std::string& serviceDump,
                    const BugreportHeader& header, size_t mainTextBytes, std::string* error);

}  // namespace sim
