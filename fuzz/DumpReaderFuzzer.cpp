// Any text read as the service's lshal debug output, as c2info-triage reads
// what it finds in a bugreport: it is answered or refused, never more.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "DumpReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    try {
        triage::readDump(std::string_view(reinterpret_cast<const char*>(data), size));
    } catch (const triage::DumpError&) {
    }
    return 0;
}
