#include "ChangeLines.h"

namespace triage {
namespace {

std::string sizeOf(const StreamState& state) {
    return std::to_string(state.width) + "x" + std::to_string(state.height);
}

}  // namespace

std::string changeText(const StreamChange& change) {
    const StreamState& after = change.after;
    std::string text = "strId(" + std::to_string(change.streamId) + ") " + after.component + ": ";
    switch (change.kind) {
        case StreamChange::Kind::kAppears:
            return text + "appears (" + sizeOf(after) + ", " + after.owner + ")";
        case StreamChange::Kind::kGoes:
            return text + "goes";
        case StreamChange::Kind::kResolution:
            return text + sizeOf(change.before) + " -> " + sizeOf(after);
        case StreamChange::Kind::kVerdict:
            return text + change.before.owner + " -> " + after.owner + " (" + after.finding + ")";
    }
    return text;
}

std::string changeLine(const StreamChange& change) {
    return change.after.recordTime + " " + changeText(change);
}

void ChangePrinter::print(const FollowEvent& event) {
    if (const auto* problem = std::get_if<FollowProblem>(&event)) {
        fprintf(mErr, "c2info-triage: %s: %s (skipped)\n", mInput.c_str(), problem->what.c_str());
        fflush(mErr);
        return;
    }
    for (const StreamChange& change : std::get<FollowedDump>(event).changes) {
        fprintf(mOut, "%s\n", changeLine(change).c_str());
    }
    fflush(mOut);
}

}  // namespace triage
