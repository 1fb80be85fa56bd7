// Reads the text of the service's lshal debug output back: every snapshot
// block as the record it was printed from, in the order of the text (older
// generation first, pass by pass), and the difference blocks.
#pragma once

#include <DebugDescription.h>
#include <DiffInfo.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace triage {

using ::vendor::larkspan::hardware::c2::info::implementation::_DebugDescription;
using ::vendor::larkspan::hardware::c2::info::implementation::_DiffInfo;

struct Snapshot {
    uint32_t streamId;
    _DebugDescription record;
    // As printed; empty when the block has no time line.
    std::string recordTime;
};

struct Difference {
    uint32_t streamId;
    // Holds the C2BWM differences, the only ones read back.
    _DiffInfo diff;
};

struct Dump {
    // Complete blocks, in the order of the text, which is the order in time.
    std::vector<Snapshot> snapshots;
    std::vector<Difference> differences;
    // The header of the last report: its snapshot count and latest index.
    bool hasReport = false;
    uint64_t snapshotCount = 0;
    uint32_t latestIndex = 0;
    // Blocks that the text ends in the middle of (a reader cut off by the
    // service's time limit), one line each.
    std::vector<std::string> dropped;
};

// A text that is not the service's output: "line N: what".
class DumpError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads the default dump, --dump output or text pasted from a terminal (CR
// line ends and trailing blanks are tolerated; lines outside the report's
// blocks are skipped). Throws DumpError when a block holds a line it cannot
// understand or a number out of its field's range, or when the text holds
// no report at all.
Dump readDump(std::string_view text);

}  // namespace triage
