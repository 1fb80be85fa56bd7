// One input's triage: its dump read back and the owner analysis run on each
// stream's newest complete record, as `lshal debug --owner` would have run
// it on the TV.
#pragma once

#include <OwnerAnalysis.h>

#include <string>
#include <string_view>
#include <vector>

namespace triage {

using ::vendor::larkspan::hardware::c2::info::implementation::OwnerVerdict;

struct StreamResult {
    OwnerVerdict verdict;
    std::string recordTime;
};

struct Outcome {
    std::string path;
    // The zip entry the dump was read from; empty for a text input.
    std::string entry;
    // Empty when the input held the service's dump; else why not.
    std::string error;
    // The header, the records used, what was dropped, then the analysis.
    std::string report;
    std::vector<StreamResult> streams;
};

// Triage of a dump's text; `notes` (such as a cut at the size limit) go
// into the report's header.
Outcome triageText(std::string path, std::string entry, std::string_view text,
                   const std::vector<std::string>& notes);

}  // namespace triage
