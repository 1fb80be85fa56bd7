// The stuck-playback owner analysis, run on the service's newest snapshot
// generation or on records read back from the text of a dump.
#pragma once

#include <DebugDescription.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "DiffInfo.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

// One stream's record, as the analysis reads it.
struct OwnerRecord {
    uint32_t streamId;
    const _DebugDescription* record;
    // False for a record read back from a dump, which does not print the
    // C2BWM counts: the checks that read them cannot be decided, and their
    // change over the last second (lastChange, when the dump shows it) is
    // the evidence given instead.
    bool holdsC2BwmCounts = true;
    const _DiffInfo* lastChange = nullptr;
};

// What the analysis found for one stream.
struct OwnerVerdict {
    // False for the one verdict on an empty generation.
    bool hasStream = true;
    uint32_t streamId = 0;
    std::string component;
    int inputSource = 0;
    bool tunnel = false;
    // The line before the owner line, without its blanks.
    std::string finding;
    // The owner as its line names it ("APK owner", "C2 Owner", ...); with
    // checks left undecided, every owner still possible, joined by " or ".
    std::string owner;
    bool complete = true;
    // Where this stream's lines are in the text written.
    size_t textBegin = 0;
    size_t textEnd = 0;
};

// Appends to text the owner analysis of `lshal debug --owner` for these
// records (ascending stream ids) and answers one verdict per stream, or
// one without a stream when there is none.
std::vector<OwnerVerdict> writeOwnerAnalysis(std::string* text, uint64_t snapshotCount,
                                             uint32_t latestIndex,
                                             const std::vector<OwnerRecord>& latest);

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
