#include "Rows.h"

namespace triage {

nlohmann::ordered_json streamRow(const Outcome& outcome, const StreamResult& stream) {
    const OwnerVerdict& v = stream.verdict;
    return {{"source", outcome.path},
            {"entry", outcome.entry},
            {"stream", v.hasStream ? nlohmann::ordered_json(v.streamId) : ""},
            {"component", v.component},
            {"inputSource", v.inputSource},
            {"tunnel", v.tunnel},
            {"finding", v.finding},
            {"owner", v.owner},
            {"complete", v.complete},
            {"recordTime", stream.recordTime}};
}

}  // namespace triage
