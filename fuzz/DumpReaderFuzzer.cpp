// Any text read as the service's lshal debug output and as the top of a
// bugreport's main text, as c2info-triage reads what it finds in a
// bugreport: it is answered or refused, never more.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "BugreportHeader.h"
#include "DumpReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    triage::readHeader(triage::headerOf(text));
    try {
        triage::readDump(text);
    } catch (const triage::DumpError&) {
    }
    return 0;
}
