#include "Follow.h"

#include <DumpLayout.h>

#include <cstdlib>
#include <utility>

#include "Inputs.h"

namespace triage {
namespace {

namespace service = ::vendor::larkspan::hardware::c2::info::implementation;

const std::string kBanner = std::string(service::kDebugBanner) + " - ";
const std::string kDumpBanner = kBanner + service::kDumpCommand;
const std::string kNotEnabled = kDumpBanner + service::kNotEnabled;
const std::string kNoStreams = kBanner + service::kNoStreamsLabel;
// The Diff End line without its padding.
const std::string_view kDifferencesEnd(service::kDifferencesEnd,
                                       std::string_view(service::kDifferencesEnd).find('{'));

bool startsWith(std::string_view line, std::string_view prefix) {
    return line.substr(0, prefix.size()) == prefix;
}

// As a terminal shows it: without its CR and trailing blanks.
std::string_view trimmed(std::string_view line) {
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.remove_suffix(1);
    return line;
}

// The reader's "line N: what" counts from the dump's first line.
std::string inInput(const std::string& error, size_t firstLine) {
    if (startsWith(error, "line ")) {
        char* end = nullptr;
        unsigned long line = strtoul(error.c_str() + 5, &end, 10);
        if (end != error.c_str() + 5 && line > 0) {
            return "line " + std::to_string(firstLine + line - 1) + end;
        }
    }
    return "line " + std::to_string(firstLine) + ": " + error;
}

StreamState stateOf(const StreamResult& stream) {
    return {stream.verdict.component, stream.record->width,   stream.record->height,
            stream.verdict.owner,     stream.verdict.finding, stream.recordTime};
}

}  // namespace

std::vector<FollowEvent> Follower::feed(std::string_view bytes) {
    std::vector<FollowEvent> events;
    for (;;) {
        size_t end = bytes.find('\n');
        if (end == std::string_view::npos) break;
        if (mPartial.empty()) {
            takeLine(bytes.substr(0, end + 1), &events);
        } else {
            mPartial.append(bytes.substr(0, end + 1));
            takeLine(std::exchange(mPartial, {}), &events);
        }
        bytes.remove_prefix(end + 1);
    }
    mPartial.append(bytes);
    return events;
}

std::vector<FollowEvent> Follower::finish() {
    std::vector<FollowEvent> events;
    if (!mPartial.empty()) takeLine(std::exchange(mPartial, {}), &events);
    endStray(mLine, &events);
    if (mDumpLine != 0) {
        events.push_back(FollowProblem{"line " + std::to_string(mDumpLine) +
                                       ": a dump cut short by the end of the input"});
        mDumpLine = 0;
        mDump.clear();
    }
    return events;
}

// A line with its line end, if it has one.
void Follower::takeLine(std::string_view line, std::vector<FollowEvent>* events) {
    ++mLine;
    std::string_view text = trimmed(line.substr(0, line.find('\n')));
    // Output cut in the middle of a line runs on into the next banner.
    if (text.size() >= kDumpBanner.size() &&
        text.substr(text.size() - kDumpBanner.size()) == kDumpBanner) {
        bool runsOn = text.size() > kDumpBanner.size() && mDumpLine == 0;
        if (runsOn && mStrayLine == 0) mStrayLine = mLine;
        endStray(runsOn ? mLine : mLine - 1, events);
        if (mDumpLine != 0) {
            events->push_back(FollowProblem{"line " + std::to_string(mDumpLine) +
                                            ": a dump cut short, the next began at line " +
                                            std::to_string(mLine)});
        }
        mDumpLine = mLine;
        mDump.assign(line.substr(text.size() - kDumpBanner.size()));
        return;
    }
    if (mDumpLine != 0) {
        mDump.append(line);
        if (text == kNotEnabled) {
            events->push_back(FollowProblem{"line " + std::to_string(mLine) +
                                            ": the service's debug monitor is not enabled"});
            mDumpLine = 0;
            mDump.clear();
        } else if (startsWith(text, kDifferencesEnd) || startsWith(text, kNoStreams)) {
            judgeDump(events);
        } else if (mDump.size() > kReadLimit) {
            // As much as any other input is read; what follows is other text.
            events->push_back(FollowProblem{"line " + std::to_string(mDumpLine) +
                                            ": a dump longer than " +
                                            std::to_string(kReadLimit >> 20) + " MB"});
            mDumpLine = 0;
            mDump.clear();
        }
        return;
    }
    // Between dumps: other commands' output (--enable's), their banner and
    // the system time line each prints next, is the service's too.
    bool service = startsWith(text, kBanner) || mAfterBanner || text.empty();
    mAfterBanner = startsWith(text, kBanner);
    if (service) {
        endStray(mLine - 1, events);
    } else if (mStrayLine == 0) {
        mStrayLine = mLine;
    }
}

// The run of other text ended at line `last`.
void Follower::endStray(size_t last, std::vector<FollowEvent>* events) {
    if (mStrayLine == 0) return;
    std::string lines = std::to_string(mStrayLine);
    if (last > mStrayLine) lines += "-" + std::to_string(last);
    events->push_back(FollowProblem{"line " + lines + ": not the service's output"});
    mStrayLine = 0;
}

void Follower::judgeDump(std::vector<FollowEvent>* events) {
    size_t firstLine = std::exchange(mDumpLine, 0);
    Outcome outcome = triageText(mPath, "", mDump, {});
    mDump.clear();
    if (!outcome.error.empty()) {
        events->push_back(FollowProblem{inInput(outcome.error, firstLine)});
        return;
    }
    std::vector<StreamChange> changes = changesTo(outcome);
    events->push_back(FollowedDump{firstLine, std::move(outcome), std::move(changes)});
}

std::vector<StreamChange> Follower::changesTo(const Outcome& outcome) {
    std::map<uint32_t, StreamState> now;
    std::string newestTime;
    for (const StreamResult& stream : outcome.streams) {
        if (!stream.verdict.hasStream || !stream.record) continue;
        now[stream.verdict.streamId] = stateOf(stream);
        if (stream.recordTime > newestTime) newestTime = stream.recordTime;
    }
    std::vector<StreamChange> changes;
    auto before = mStreams.begin();
    auto after = now.begin();
    while (before != mStreams.end() || after != now.end()) {
        if (after == now.end() || (before != mStreams.end() && before->first < after->first)) {
            StreamState gone = before->second;
            if (!newestTime.empty()) gone.recordTime = newestTime;
            changes.push_back({StreamChange::Kind::kGoes, before->first, before->second, gone});
            ++before;
            continue;
        }
        if (before == mStreams.end() || after->first < before->first) {
            changes.push_back({StreamChange::Kind::kAppears, after->first, {}, after->second});
            ++after;
            continue;
        }
        const StreamState& was = before->second;
        const StreamState& is = after->second;
        if (was.width != is.width || was.height != is.height) {
            changes.push_back({StreamChange::Kind::kResolution, after->first, was, is});
        }
        if (was.owner != is.owner || was.finding != is.finding) {
            changes.push_back({StreamChange::Kind::kVerdict, after->first, was, is});
        }
        ++before;
        ++after;
    }
    mStreams = std::move(now);
    return changes;
}

}  // namespace triage
