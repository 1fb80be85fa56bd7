#include "Triage.h"

#include <map>

#include "DumpReader.h"

namespace triage {

using ::vendor::larkspan::hardware::c2::info::implementation::OwnerRecord;
using ::vendor::larkspan::hardware::c2::info::implementation::writeOwnerAnalysis;

Outcome triageText(std::string path, std::string entry, std::string_view text,
                   const std::vector<std::string>& notes, bool /*withHistory*/) {
    Outcome outcome{std::move(path), std::move(entry), "", "", {}, {}};
    if (text.empty()) {
        outcome.error = "empty";
        return outcome;
    }
    Dump dump;
    try {
        dump = readDump(text);
    } catch (const DumpError& error) {
        outcome.error = error.what();
        return outcome;
    }

    // The text runs forward in time: each stream's last complete block is
    // its newest record.
    std::map<uint32_t, const Snapshot*> newest;
    for (const Snapshot& snapshot : dump.snapshots) newest[snapshot.streamId] = &snapshot;
    std::map<uint32_t, const _DiffInfo*> lastChange;
    for (const Difference& difference : dump.differences) {
        lastChange[difference.streamId] = &difference.diff;
    }
    std::vector<OwnerRecord> records;
    std::string used;
    for (const auto& [streamId, snapshot] : newest) {
        auto change = lastChange.find(streamId);
        records.push_back({streamId, &snapshot->record, false,
                           change != lastChange.end() ? change->second : nullptr});
        used += (used.empty() ? "" : ", ") + std::string("strId(") + std::to_string(streamId) +
                ") " + (snapshot->recordTime.empty() ? "(no time)" : snapshot->recordTime);
    }

    outcome.report = "== " + outcome.path + (outcome.entry.empty() ? "" : ": " + outcome.entry) +
                     "\n   records used: " + (used.empty() ? "none" : used) + "\n";
    for (const std::string& note : notes) outcome.report += "   " + note + "\n";
    for (const std::string& dropped : dump.dropped) outcome.report += "   " + dropped + "\n";
    std::vector<OwnerVerdict> verdicts =
            writeOwnerAnalysis(&outcome.report, dump.snapshotCount, dump.latestIndex, records);
    for (const OwnerVerdict& verdict : verdicts) {
        std::string recordTime = verdict.hasStream ? newest[verdict.streamId]->recordTime : "";
        outcome.streams.push_back({verdict, recordTime, "", std::nullopt, std::nullopt});
    }
    return outcome;
}

}  // namespace triage
