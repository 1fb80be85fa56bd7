#include "Triage.h"

#include <sys/mman.h>
#include <unistd.h>

#include <map>

#include "DumpReader.h"

namespace triage {
namespace {

using ::vendor::larkspan::hardware::c2::info::implementation::OwnerRecord;
using ::vendor::larkspan::hardware::c2::info::implementation::writeOwnerAnalysis;

// The analysis writes to a descriptor, as it does for lshal; a memory file
// takes it here.
class MemoryText {
public:
    MemoryText() : mFd(memfd_create("c2info-triage", MFD_CLOEXEC)) {}
    ~MemoryText() {
        if (mFd >= 0) close(mFd);
    }
    int fd() const { return mFd; }
    std::string text() const {
        std::string text;
        char buffer[16384];
        for (off_t at = 0;;) {
            ssize_t n = pread(mFd, buffer, sizeof(buffer), at);
            if (n <= 0) return text;
            text.append(buffer, static_cast<size_t>(n));
            at += n;
        }
    }

private:
    const int mFd;
};

}  // namespace

Outcome triageText(std::string path, std::string entry, std::string_view text,
                   const std::vector<std::string>& notes) {
    Outcome outcome{std::move(path), std::move(entry), "", "", {}};
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
    MemoryText analysis;
    if (analysis.fd() < 0) {
        outcome.error = "no memory file for the analysis";
        return outcome;
    }
    std::vector<OwnerVerdict> verdicts =
            writeOwnerAnalysis(analysis.fd(), dump.snapshotCount, dump.latestIndex, records);
    outcome.report += analysis.text();
    for (const OwnerVerdict& verdict : verdicts) {
        outcome.streams.push_back({verdict, newest[verdict.streamId]->recordTime});
    }
    return outcome;
}

}  // namespace triage
