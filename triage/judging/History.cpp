#include "History.h"

#include <DebugReports.h>

#include <map>
#include <set>

namespace triage {

using ::vendor::larkspan::hardware::c2::info::implementation::analyseOwner;
using ::vendor::larkspan::hardware::c2::info::implementation::fillDebugDiff;
using ::vendor::larkspan::hardware::c2::info::implementation::OwnerRecord;

namespace {

int64_t millisecondsOf(const timespec& time) {
    return static_cast<int64_t>(time.tv_sec) * 1000 + time.tv_nsec / 1000000;
}

std::string sizeOf(const _DebugDescription& record) {
    return std::to_string(record.width) + "x" + std::to_string(record.height);
}

// One stream's points as the passes go by.
class StreamStory {
public:
    explicit StreamStory(uint32_t streamId) : mHistory{streamId, "", {}, {}} {}

    // A record of this stream; `printed` is its difference block when the
    // record is the newer of a pass.
    void add(const Snapshot& snapshot, const _DiffInfo* printed) {
        // A record without a time that reads cannot be placed on the axis.
        if (snapshot.record.recordTimeNs == 0) return;
        if (!mSeen.insert(snapshot.record.recordTimeNs).second) {
            // The older generation of a pass repeats the newest of the one
            // before; its difference block comes with the later pass.
            return;
        }
        const _DebugDescription& record = snapshot.record;
        HistoryPoint point{millisecondsOf(record.recordTime), snapshot.recordTime, record,
                           std::nullopt, judge(snapshot, printed)};
        if (!mPresent) {
            mHistory.marks.push_back({point.ms, MarkKind::kAppear, "appears"});
        } else if (const HistoryPoint& before = mHistory.points.back();
                   before.record.width != record.width || before.record.height != record.height) {
            mHistory.marks.push_back(
                    {point.ms, MarkKind::kResize, sizeOf(before.record) + " -> " + sizeOf(record)});
        }
        if (mPresent) {
            _DiffInfo change{};
            change.streamId = mHistory.streamId;
            fillDebugDiff(change, mHistory.points.back().record, record);
            point.change = change;
        }
        mHistory.component = record.component;
        mHistory.points.push_back(std::move(point));
        mPresent = true;
    }

    // A complete generation without this stream: it is gone.
    void absent() {
        if (!mPresent) return;
        mHistory.marks.push_back({mHistory.points.back().ms, MarkKind::kDisappear, "disappears"});
        mPresent = false;
    }

    StreamHistory take() { return std::move(mHistory); }

private:
    // As --owner would have judged the stream at that moment.
    // A point keeps the verdict without its lines, which a long session
    // would otherwise hold thousands of times over.
    static OwnerVerdict judge(const Snapshot& snapshot, const _DiffInfo* printed) {
        OwnerVerdict verdict = analyseOwner({snapshot.streamId, &snapshot.record, false, printed});
        verdict.lines.clear();
        return verdict;
    }

    StreamHistory mHistory;
    std::set<uint64_t> mSeen;
    bool mPresent = false;
};

}  // namespace

History buildHistory(const Dump& dump) {
    std::map<uint32_t, StreamStory> stories;
    auto story = [&](uint32_t streamId) -> StreamStory& {
        return stories.try_emplace(streamId, streamId).first->second;
    };
    for (const Pass& pass : dump.passes) {
        const Generation* newest = pass.newest();
        for (const Generation& generation : pass.generations) {
            bool isNewest = &generation == newest;
            for (const Snapshot& snapshot : generation.snapshots) {
                story(snapshot.streamId)
                        .add(snapshot, isNewest ? pass.differenceOf(snapshot.streamId) : nullptr);
            }
        }
        if (newest == nullptr || !newest->ended) continue;
        std::set<uint32_t> present;
        for (const Snapshot& snapshot : newest->snapshots) present.insert(snapshot.streamId);
        for (auto& [streamId, told] : stories) {
            if (present.count(streamId) == 0) told.absent();
        }
    }
    History history;
    for (auto& [streamId, told] : stories) history.streams.push_back(told.take());
    return history;
}

}  // namespace triage
