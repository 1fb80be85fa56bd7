// A recording followed as it is written (`c2info-triage --follow`): the
// bytes split into --dump outputs, each judged as soon as its last line has
// arrived, and what changed for each stream since the dump before.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Triage.h"

namespace triage {

// What a change compares of a stream.
struct StreamState {
    std::string component;
    int32_t width = 0;
    int32_t height = 0;
    // The verdict's owner and finding, as the analysis has them.
    std::string owner;
    std::string finding;
    std::string recordTime;
};

struct StreamChange {
    enum class Kind { kAppears, kGoes, kResolution, kVerdict };
    Kind kind;
    uint32_t streamId;
    // Empty for kAppears.
    StreamState before;
    // As last seen for kGoes, with the record time of the dump it was
    // missing from when that dump has any.
    StreamState after;
};

struct FollowedDump {
    // The line of the input its banner is on, counting from 1.
    size_t firstLine;
    Outcome outcome;
    // In ascending stream id.
    std::vector<StreamChange> changes;
};

// Text skipped: "line N: what", N a line of the input.
struct FollowProblem {
    std::string what;
};

using FollowEvent = std::variant<FollowedDump, FollowProblem>;

class Follower {
public:
    explicit Follower(std::string path) : mPath(std::move(path)) {}

    // The bytes as they arrive, cut anywhere; what the lines they end
    // complete, in order.
    std::vector<FollowEvent> feed(std::string_view bytes);
    // The end of the input: its last line, and a dump left open is cut.
    std::vector<FollowEvent> finish();

private:
    void takeLine(std::string_view line, std::vector<FollowEvent>* events);
    void endStray(size_t last, std::vector<FollowEvent>* events);
    void judgeDump(std::vector<FollowEvent>* events);
    std::vector<StreamChange> changesTo(const Outcome& outcome);

    const std::string mPath;
    std::string mPartial;  // the bytes after the last line end
    size_t mLine = 0;      // lines taken
    std::string mDump;     // the open dump's text
    size_t mDumpLine = 0;  // its banner's line; 0 while none is open
    // The line after another command's banner, its system time's.
    bool mAfterBanner = false;
    size_t mStrayLine = 0;  // the first of a run of other text; 0 outside one
    std::map<uint32_t, StreamState> mStreams;
};

}  // namespace triage
