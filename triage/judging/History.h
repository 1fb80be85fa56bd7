// A stream's story over a recorded session: every dump in a text read, one
// point per distinct record time, each judged as `--owner` would have judged
// it then.
#pragma once

#include <OwnerAnalysis.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "DumpReader.h"

namespace triage {

using ::vendor::larkspan::hardware::c2::info::implementation::OwnerVerdict;

enum class MarkKind { kAppear, kDisappear, kResize };

struct HistoryMark {
    int64_t ms;  // on the points' time axis
    MarkKind kind;
    std::string text;  // "appears", "disappears", "1920x1080 -> 1280x720"
};

struct HistoryPoint {
    // The record time in milliseconds, as the dump's local time reads
    // (the year is not printed); points of one input share the axis.
    int64_t ms;
    std::string recordTime;  // as printed
    _DebugDescription record;
    // From the stream's previous point, as the service's difference block
    // computes it (each field wraps at its width); none at the first point
    // or after a gap in which the stream was absent.
    std::optional<_DiffInfo> change;
    OwnerVerdict verdict;
};

struct StreamHistory {
    uint32_t streamId;
    std::string component;             // of its newest point
    std::vector<HistoryPoint> points;  // ascending time
    std::vector<HistoryMark> marks;
};

struct History {
    std::vector<StreamHistory> streams;  // ascending stream id
};

// Every record of every pass of the dump, deduplicated by record time.
History buildHistory(const Dump& dump);

}  // namespace triage
