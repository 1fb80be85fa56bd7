// The stuck-playback owner analysis, run on the service's newest snapshot
// generation or on records read back from the text of a dump. It judges
// into data; printOwnerAnalysis() writes the text `lshal debug --owner`
// prints, and every other view reads the data.
#pragma once

#include <DebugDescription.h>

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

enum class OwnerLineKind {
    kStreamHeader,  // "strId(1) - component(...) ... mode"
    kPassed,        // a check that passed: "[Checked] ..."
    kFinding,       // what failed, the line before the owner's
    kNote,          // what to look at next, after a finding
    kDispatch,      // the owner, or every owner still possible
    kUndecidable,   // a check the record cannot decide
    kContinue,      // on to the next stream
};

struct OwnerLine {
    OwnerLineKind kind;
    // Said only on the assumption that an undecidable check passed; the
    // assumption leads the text.
    bool assumed;
    // As printed, without its line end.
    std::string text;
};

// What the analysis found for one stream.
struct OwnerVerdict {
    // False for the one verdict on an empty generation.
    bool hasStream = true;
    uint32_t streamId = 0;
    std::string component;
    int inputSource = 0;
    bool tunnel = false;
    // The finding's line, without its blanks.
    std::string finding;
    // The owner as its line names it ("APK owner", "C2 Owner", ...); with
    // checks left undecided, every owner still possible, joined by " or ".
    std::string owner;
    // The modules those owners belong to, whatever their lines' capitals
    // ("APK", "TPC", "C2", "C2BWM", "Displink"), joined the same way.
    std::string module;
    bool complete = true;
    std::vector<OwnerLine> lines;
};

struct OwnerAnalysis {
    uint64_t snapshotCount = 0;
    uint32_t latestIndex = 0;
    // One per record (ascending stream ids), or one without a stream when
    // there is none.
    std::vector<OwnerVerdict> verdicts;
};

OwnerAnalysis analyseOwners(uint64_t snapshotCount, uint32_t latestIndex,
                            const std::vector<OwnerRecord>& latest);
// One stream's verdict alone.
OwnerVerdict analyseOwner(const OwnerRecord& record);

// Appends the text of `lshal debug --owner` for the analysis.
void printOwnerAnalysis(std::string* text, const OwnerAnalysis& analysis);
// Appends the lines, each with its line end.
void printOwnerLines(std::string* text, const std::vector<OwnerLine>& lines);

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
