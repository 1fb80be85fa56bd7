// What a stream's detail shows beyond its row: the counters beside their
// change over the last second, and the kinds of its analysis lines. The
// page shows them and the store keeps them, both by these names.
#pragma once

#include <DebugReports.h>
#include <OwnerAnalysis.h>

#include <optional>
#include <string_view>

namespace triage {

struct Counter {
    const char* name;
    const char* label;
    bool sideBandOnly;
    // Worked out from other counters, so never kept apart from them.
    bool derived;
};

// The counters a detail shows, in order; a record and a difference name
// these members alike, and pending VDEC is derived as the difference block
// derives it. `visit` gets each member itself (assignable when `c` is),
// and the derived value as a temporary.
template <typename Counts, typename Visit>
void visitCounters(Counts& c, Visit visit) {
    using ::vendor::larkspan::hardware::c2::info::implementation::decoderPending;
    visit(Counter{"decode", "decode", false, false}, c.decode);
    visit(Counter{"input", "input", false, false}, c.input);
    visit(Counter{"push", "push", false, false}, c.push);
    visit(Counter{"pop", "pop", false, false}, c.pop);
    visit(Counter{"skip", "skip", false, false}, c.skip);
    visit(Counter{"queue", "queue", false, false}, c.queue);
    visit(Counter{"get", "get", false, false}, c.get);
    visit(Counter{"drop", "drop", false, false}, c.drop);
    visit(Counter{"inputLate", "inputLate", false, false}, c.inputLate);
    visit(Counter{"decodeLate", "decodeLate", false, false}, c.decodeLate);
    visit(Counter{"fbLate", "fbLate", false, false}, c.fbLate);
    visit(Counter{"inputFps", "inputFps", false, false}, c.inputFps);
    visit(Counter{"decodeFps", "decodeFps", false, false}, c.decodeFps);
    visit(Counter{"pendingES", "pendingES", false, false}, c.pendingES);
    visit(Counter{"pendingFB", "pendingFB", false, false}, c.pendingFB);
    visit(Counter{"pendingVDEC", "pendingVDEC (pop - skip - get)", false, true},
          decoderPending(c.pop, c.skip, c.get));
    visit(Counter{"queueCnt", "queueCnt", true, false}, c.queueCnt);
    visit(Counter{"flipCnt", "flipCnt", true, false}, c.flipCnt);
    visit(Counter{"pendingRender", "pendingRender", true, false}, c.pendingRender);
}

using ::vendor::larkspan::hardware::c2::info::implementation::OwnerLineKind;

const char* lineKindName(OwnerLineKind kind);
// The kind of that name; none for a name no kind has.
std::optional<OwnerLineKind> lineKindNamed(std::string_view name);

}  // namespace triage
