#include "Triage.h"

#include <DebugReports.h>

#include <map>

#include "DumpReader.h"
#include "Inputs.h"

namespace triage {

using ::vendor::larkspan::hardware::c2::info::implementation::analyseOwners;
using ::vendor::larkspan::hardware::c2::info::implementation::fillDebugDiff;
using ::vendor::larkspan::hardware::c2::info::implementation::OwnerAnalysis;
using ::vendor::larkspan::hardware::c2::info::implementation::OwnerRecord;
using ::vendor::larkspan::hardware::c2::info::implementation::printOwnerAnalysis;

namespace {

// A record judged, with the pass that printed it.
struct Judged {
    const Snapshot* snapshot;
    const Pass* pass;
};

struct Selection {
    std::map<uint32_t, Judged> records;
    // The pass whose header the analysis names.
    const Pass* header = nullptr;
};

void takeGeneration(const Pass& pass, Selection* selection) {
    for (const Snapshot& snapshot : pass.newest()->snapshots) {
        selection->records[snapshot.streamId] = {&snapshot, &pass};
    }
    selection->header = &pass;
}

// Text without a complete pass (pasted in part, or its only pass cut): each
// stream's last complete block, as near to the newest as the text goes.
Selection lastBlocks(const Dump& dump) {
    Selection selection;
    for (const Pass& pass : dump.passes) {
        for (const Generation& generation : pass.generations) {
            for (const Snapshot& snapshot : generation.snapshots) {
                selection.records[snapshot.streamId] = {&snapshot, &pass};
            }
        }
        if (pass.hasHeader || selection.header == nullptr) selection.header = &pass;
    }
    return selection;
}

// What the service's analysis would read: the newest generation of the
// newest complete pass. A pass cut after it (dumpstate's time limit) still
// gives the streams it printed whole; the newest pass, in ascending stream
// id, was cut at or after the last of them, so only the streams after it
// fall back to the complete pass.
Selection judgedRecords(const Dump& dump) {
    auto complete = dump.passes.rend();
    for (auto pass = dump.passes.rbegin(); pass != dump.passes.rend(); ++pass) {
        if (pass->newest() != nullptr && pass->newest()->ended) {
            complete = pass;
            break;
        }
    }
    if (complete == dump.passes.rend()) return lastBlocks(dump);
    Selection selection;
    takeGeneration(*complete, &selection);
    const Pass& last = dump.passes.back();
    if (&last == &*complete || last.newest() == nullptr || last.newest()->snapshots.empty()) {
        return selection;
    }
    uint32_t cutAfter = last.newest()->snapshots.back().streamId;
    for (auto judged = selection.records.begin(); judged != selection.records.end();) {
        judged = judged->first <= cutAfter ? selection.records.erase(judged) : std::next(judged);
    }
    takeGeneration(last, &selection);
    return selection;
}

// The change over the last second, as the pass's difference block has it,
// computed from its two generations; the C2BWM counts only the printed
// block holds.
std::optional<_DiffInfo> lastChangeOf(const Pass& pass, const Snapshot& newer) {
    const Generation* older = pass.older();
    if (older == nullptr) return std::nullopt;
    for (const Snapshot& before : older->snapshots) {
        if (before.streamId != newer.streamId) continue;
        _DiffInfo change{};
        change.streamId = newer.streamId;
        fillDebugDiff(change, before.record, newer.record);
        if (const _DiffInfo* printed = pass.differenceOf(newer.streamId)) {
            change.executeCount = printed->executeCount;
            change.finishCount = printed->finishCount;
            change.executeFlushCount = printed->executeFlushCount;
            change.c2BwmPending = printed->c2BwmPending;
        }
        return change;
    }
    return std::nullopt;
}

// Only a bugreport's header has them; a text input's report keeps its shape.
std::string buildLine(const Outcome& outcome) {
    if (outcome.build.empty() && outcome.takenAt.empty()) return "";
    std::string line = "  ";
    if (!outcome.build.empty()) line += " build: " + outcome.build;
    if (!outcome.build.empty() && !outcome.takenAt.empty()) line += ",";
    if (!outcome.takenAt.empty()) line += " taken at " + outcome.takenAt;
    return line + "\n";
}

}  // namespace

std::string reportHeading(const std::string& path, const std::string& entry) {
    return "== " + path + (entry.empty() ? "" : ": " + entry) + "\n";
}

Outcome triageText(std::string path, std::string entry, std::string_view text,
                   const std::vector<std::string>& notes, bool withHistory,
                   BugreportHeader bugreport) {
    Outcome outcome{std::move(path),
                    std::move(entry),
                    std::move(bugreport.build),
                    std::move(bugreport.takenAt),
                    "",
                    "",
                    "",
                    {},
                    {}};
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

    Selection selection = judgedRecords(dump);
    std::vector<OwnerRecord> records;
    std::string used;
    for (const auto& [streamId, judged] : selection.records) {
        records.push_back(
                {streamId, &judged.snapshot->record, false, judged.pass->differenceOf(streamId)});
        const std::string& time = judged.snapshot->recordTime;
        used += (used.empty() ? "" : ", ") + std::string("strId(") + std::to_string(streamId) +
                ") " + (time.empty() ? "(no time)" : time);
    }

    outcome.report = reportHeading(outcome.path, outcome.entry) + buildLine(outcome) +
                     "   records used: " + (used.empty() ? "none" : used) + "\n";
    for (const std::string& note : notes) outcome.report += "   " + note + "\n";
    for (const std::string& dropped : dump.dropped) outcome.report += "   " + dropped + "\n";
    const Pass* header = selection.header;
    OwnerAnalysis analysis = analyseOwners(header != nullptr ? header->snapshotCount : 0,
                                           header != nullptr ? header->latestIndex : 0, records);
    printOwnerAnalysis(&outcome.report, analysis);
    for (OwnerVerdict& verdict : analysis.verdicts) {
        StreamResult result{std::move(verdict), "", std::nullopt, std::nullopt};
        if (result.verdict.hasStream) {
            const Judged& judged = selection.records.at(result.verdict.streamId);
            result.recordTime = judged.snapshot->recordTime;
            result.record = judged.snapshot->record;
            result.lastChange = lastChangeOf(*judged.pass, *judged.snapshot);
        }
        outcome.streams.push_back(std::move(result));
    }
    // A bugreport's default dump is two passes a second apart; a story
    // takes a recording of more.
    if (withHistory && dump.passes.size() > 2) outcome.history = buildHistory(dump);
    return outcome;
}

Outcome triageInput(const std::string& path, bool withHistory) {
    try {
        LoadedInput input = loadInput(path);
        Outcome outcome = triageText(path, input.entry, input.text, input.notes, withHistory,
                                     std::move(input.header));
        outcome.identity = std::move(input.identity);
        return outcome;
    } catch (const InputError& error) {
        return {path, "", "", "", "", error.what(), "", {}, {}};
    }
}

}  // namespace triage
