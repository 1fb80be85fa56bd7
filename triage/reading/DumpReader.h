// Reads the text of the service's lshal debug output back: every pass of
// the report, each snapshot block as the record it was printed from, in its
// generation, and the difference blocks.
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

// One generation as a pass printed it.
struct Generation {
    // From its Begin line; -1 for blocks outside any (text pasted in part).
    int index = -1;
    std::vector<Snapshot> snapshots;  // complete blocks, ascending stream id
    bool ended = false;               // its End line was read
};

// One printing of the report: the default dump prints two a second apart,
// --dump one.
struct Pass {
    bool hasHeader = false;
    uint64_t snapshotCount = 0;
    uint32_t latestIndex = 0;
    // The generations in the order printed, the older first.
    std::vector<Generation> generations;
    // Holds the C2BWM differences, the only ones read back.
    std::vector<Difference> differences;

    // The generation the service's owner analysis reads; null when the
    // text ends before it begins.
    const Generation* newest() const;
    // The other one, when printed.
    const Generation* older() const;
    // The stream's difference block; null when not printed.
    const _DiffInfo* differenceOf(uint32_t streamId) const;
};

struct Dump {
    // In the order of the text, which is the order in time.
    std::vector<Pass> passes;
    // Blocks that the text ends in the middle of (a reader cut off by the
    // service's time limit), one line each.
    std::vector<std::string> dropped;
};

// A text that is not the service's output: "line N: what".
class DumpError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads the default dump, --dump output (one or many, as a loop records
// them) or text pasted from a terminal (CR line ends and trailing blanks are
// tolerated; lines outside the report's blocks are skipped). Throws
// DumpError when a block holds a line it cannot understand or a number out
// of its field's range, or when the text holds no report at all.
Dump readDump(std::string_view text);

}  // namespace triage
