// One input's triage: its dump read back and the owner analysis run on each
// stream's newest complete record, as `lshal debug --owner` would have run
// it on the TV.
#pragma once

#include <OwnerAnalysis.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BugreportHeader.h"
#include "History.h"

namespace triage {

struct StreamResult {
    // For an empty newest generation, one verdict without a stream.
    OwnerVerdict verdict;
    std::string recordTime;
    // The record judged, and its change over the last second when the
    // pass shows the older generation too.
    std::optional<_DebugDescription> record;
    std::optional<_DiffInfo> lastChange;
};

struct Outcome {
    std::string path;
    // The zip entry the dump was read from; empty for a text input.
    std::string entry;
    // A bugreport's build fingerprint and the time dumpstate ran (ISO 8601,
    // the TV's local time), each as printed when of another shape; empty
    // for a text input and where the bugreport's header lacks them.
    std::string build;
    std::string takenAt;
    // The same for the same report read under another name (LoadedInput).
    std::string identity;
    // Empty when the input held the service's dump; else why not.
    std::string error;
    // The header, the records used, what was dropped, then the analysis.
    std::string report;
    std::vector<StreamResult> streams;
    // Every stream's story when asked for and the text is a recording
    // (more passes than a default dump's two), from every dump in it.
    History history;
};

// The report's first line, which names the input it was read from.
std::string reportHeading(const std::string& path, const std::string& entry);

// Triage of a dump's text; `notes` (such as a cut at the size limit) and a
// bugreport's build and time go into the report's header.
Outcome triageText(std::string path, std::string entry, std::string_view text,
                   const std::vector<std::string>& notes, bool withHistory = false,
                   BugreportHeader bugreport = {});

// One input: its zip entry or text, read and judged; what is wrong with it
// in the outcome's error.
Outcome triageInput(const std::string& path, bool withHistory = false);

}  // namespace triage
